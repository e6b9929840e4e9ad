#!/usr/bin/env bash
# Checks what `make macos-cross` built, as a Mac would load it: Mach-O arm64 files; exported
# symbols exactly those the exported-symbols lists allow, with every public scope present;
# @rpath install names with the project's version; the rpaths of the installed layout; and
# nothing left to load-time lookup but Boost's and CoreFoundation's symbols. The test programs
# too: one executable for each tests/*_test.cpp, which finds the libraries in the build tree.
#
#   check.sh BUILD_DIR VERSION EXPORTS_TXT
set -euo pipefail
build=$1 version=$2 exports=$3
source=$(cd "$(dirname "$0")/../../.." && pwd)
platform=$build/platform/libqxinstall_platform.$version.dylib
cpputil=$build/src/libqxinstall_cpputil.$version.dylib
tool=$build/tools/qxinstall
failures=0
fail() { echo "FAIL: $*" && failures=$((failures + 1)); }
dylibs() { llvm-objdump-14 --macho --dylibs-used "$1" | tail -n +2 | sed 's/^[[:space:]]*//'; }
rpaths() { llvm-objdump-14 --macho --private-headers "$1" | awk '/cmd LC_RPATH/ {r = 1} r && $1 == "path" {print $2; r = 0}' | xargs; }

# check_binary FILE KIND: a Mach-O arm64 file of KIND that loads libc++ and leaves nothing but
# Boost's and CoreFoundation's symbols to load time.
check_binary() {
  [[ $(file -b "$1") == "Mach-O 64-bit arm64 $2"* ]] || fail "$1: $(file -b "$1")"
  local lookups
  lookups=$(llvm-objdump-14 --macho --bind --lazy-bind --weak-bind "$1" |
    awk '/flat-namespace/ {print $NF}' | grep -vE '^(__ZN5boost|__ZNK5boost|_CF|_kCF)' || true)
  [[ -z $lookups ]] || fail "$1 leaves more than Boost and CoreFoundation to load time: $lookups"
  dylibs "$1" | grep -q '^/usr/lib/libc++.1.dylib ' || fail "$1 does not load libc++"
}
check_binary "$platform" "dynamically linked shared library"
check_binary "$cpputil" "dynamically linked shared library"
check_binary "$tool" executable

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

# The test programs, linked and never run here: each @rpath library they load is found through
# their rpaths, as it would be with the build tree copied to a Mac.
programs=()
for test_source in "$source"/tests/*_test.cpp; do
  program=$build/tests/$(basename "$test_source" .cpp)
  programs+=("$(basename "$program")")
  [[ -f $program ]] || { fail "no test program $program" && continue; }
  check_binary "$program" executable
  for library in $(dylibs "$program" | awk '$1 ~ /^@rpath\// {print substr($1, 8)}'); do
    found=0
    for rpath in $(rpaths "$program"); do
      [[ -e ${rpath/#@loader_path/$(dirname "$program")}/$library ]] && found=1 && break
    done
    ((found)) || fail "$program: $library is not found through its rpaths [$(rpaths "$program")]"
  done
done
echo "tests: ${#programs[@]} test programs checked: ${programs[*]}"

((failures == 0)) || { echo "macos-cross: $failures checks failed" && exit 1; }
echo "macos-cross: Mach-O arm64 libraries, tool and test programs, exports, install names and rpaths as intended"
