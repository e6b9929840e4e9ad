#!/usr/bin/env bash
# Checks what `make macos-cross` built, as a Mac would load it: Mach-O arm64 files; exported
# symbols exactly those the exported-symbols lists allow, with every public scope present;
# @rpath install names with the project's version; the rpaths of the installed layout; and
# nothing left to load-time lookup but Boost's and CoreFoundation's symbols.
#
#   check.sh BUILD_DIR VERSION EXPORTS_TXT
set -euo pipefail
build=$1 version=$2 exports=$3
platform=$build/platform/libqxinstall_platform.$version.dylib
cpputil=$build/src/libqxinstall_cpputil.$version.dylib
tool=$build/tools/qxinstall
failures=0
fail() { echo "FAIL: $*" && failures=$((failures + 1)); }
dylibs() { llvm-objdump-14 --macho --dylibs-used "$1" | tail -n +2 | sed 's/^[[:space:]]*//'; }
rpaths() { llvm-objdump-14 --macho --private-headers "$1" | awk '/cmd LC_RPATH/ {r = 1} r && $1 == "path" {print $2; r = 0}' | xargs; }

for binary in "$platform" "$cpputil" "$tool"; do
  [[ $(file -b "$binary") == "Mach-O 64-bit arm64 "* ]] || fail "$binary: $(file -b "$binary")"
  lookups=$(llvm-objdump-14 --macho --bind --lazy-bind --weak-bind "$binary" |
    awk '/flat-namespace/ {print $NF}' | grep -vE '^(__ZN5boost|__ZNK5boost|_CF|_kCF)' || true)
  [[ -z $lookups ]] || fail "$binary leaves more than Boost and CoreFoundation to load time: $lookups"
  dylibs "$binary" | grep -q '^/usr/lib/libc++.1.dylib ' || fail "$binary does not load libc++"
done

# check_library FILE NAME DEPENDENCY RPATHS
check_library() {
  local symbols patterns pattern symbol allowed
  [[ $(dylibs "$1" | head -1) == "@rpath/lib$2.1.dylib (compatibility version 1.0.0, current version $version)" ]] ||
    fail "$1: install name and versions: $(dylibs "$1" | head -1)"
  [[ -z $3 ]] || dylibs "$1" | grep -q "^@rpath/lib$3.1.dylib " || fail "$1 does not load $3 through @rpath"
  [[ $(rpaths "$1") == "$4" ]] || fail "$1: rpaths [$(rpaths "$1")], expected [$4]"
  symbols=$(llvm-nm-14 -gU -j "$1")
  mapfile -t patterns <"$build/exports/$2.exp"
  for symbol in $symbols; do
    allowed=0
    for pattern in "${patterns[@]}"; do
      # shellcheck disable=SC2053 # the pattern is a wildcard
      [[ $symbol == $pattern ]] && allowed=1 && break
    done
    ((allowed)) || fail "$2 exports $symbol ($(c++filt --strip-underscore "$symbol"))"
  done
  # Every public scope and function exports something: an empty list would pass the loop above.
  local demangled library kind name
  demangled=$(c++filt --strip-underscore <<<"$symbols")
  while read -r library kind name; do
    [[ $library == "$2" ]] || continue
    grep -qE "(^|[ :])$name(::|\()" <<<"$demangled" || fail "$2 exports nothing of $kind $name"
  done < <(grep -v '^#' "$exports")
  echo "$2: $(wc -w <<<"$symbols") exported symbols checked against its list"
}
check_library "$platform" qxinstall_platform "" ""
check_library "$cpputil" qxinstall_cpputil qxinstall_platform "@loader_path"
dylibs "$tool" | grep -q '^@rpath/libqxinstall_cpputil.1.dylib ' || fail "$tool does not load the library"
[[ $(rpaths "$tool") == "@loader_path/../lib" ]] || fail "$tool: rpaths [$(rpaths "$tool")]"

((failures == 0)) || { echo "macos-cross: $failures checks failed" && exit 1; }
echo "macos-cross: Mach-O arm64 libraries and tool, exports, install names and rpaths as intended"
