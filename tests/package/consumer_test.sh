#!/usr/bin/env bash
# Installs a build tree into a staging prefix and builds programs against that copy:
# tests/consumer with find_package (CMake, Ninja) and the same source with one compiler line
# from pkg-config. Both must build and run; an incompatible version must be refused.
#
#   consumer_test.sh BUILD_DIR CONSUMER_SOURCE CMAKE CXX NINJA VERSION PKG_CONFIG
# A cross build sets QX_TOOLCHAIN_FILE, QX_EMULATOR (the command that runs its programs) and
# QX_CROSS_LINK_FLAGS.
set -euo pipefail
build=$1 source=$2 cmake=$3 cxx=$4 ninja=$5 version=$6 pkg_config=$7
read -r -a emulator <<<"${QX_EMULATOR:-}"
stage=$build/stage work=$build/consumer-test
rm -rf "$stage" "$work" && mkdir -p "$work"
fail() { echo "FAILED: $*" >&2 && exit 1; }
# run LOG COMMAND...: runs quietly, showing the log when the command fails.
run() { local log=$work/$1 && shift && "$@" >"$log" 2>&1 || { cat "$log" && fail "$*"; }; }

run install.log "$cmake" --install "$build" --prefix "$stage"
libdir=$(dirname "$(find "$stage" -name qxinstall_cpputilConfig.cmake)") && libdir=${libdir%/cmake/*}
for file in include/install/cpputil.hpp include/fl/path.hpp share/qxinstall/lnav/qxinstall_log.json \
  "${libdir#"$stage"/}/pkgconfig/qxinstall_cpputil.pc"; do
  [[ -f $stage/$file ]] || fail "not installed: $file"
done
[[ ! -e $stage/include/fl/posix_io.hpp ]] || fail "a test seam is installed"

configure() { "$cmake" -S "$source" -B "$work/$1" -G Ninja -DCMAKE_MAKE_PROGRAM="$ninja" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$stage" -DQX_REQUIRED_VERSION="$2" \
  ${QX_TOOLCHAIN_FILE:+-DCMAKE_TOOLCHAIN_FILE="$QX_TOOLCHAIN_FILE"}; }
run configure.log configure cmake "$version"
run build.log "$cmake" --build "$work/cmake"
"${emulator[@]}" "$work/cmake/consumer" "$work/cmake-run" || fail "running the CMake consumer"
next=$((${version%%.*} + 1)).0
! configure cmake-next "$next" >"$work/next.log" 2>&1 || fail "find_package accepted $next"
grep -q qxinstall_cpputil "$work/next.log" || fail "the refusal of $next does not name the package"
[[ $("${emulator[@]}" "$stage/bin/qxinstall" version-compare 1.10 1.9) == 1 ]] || fail "installed qxinstall"

flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig "$pkg_config" --cflags --libs qxinstall_cpputil)
# shellcheck disable=SC2086 # the flags are meant to split into words
run pkg-config.log "$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror "$source/main.cpp" $flags \
  -Wl,-rpath,"$libdir" ${QX_CROSS_LINK_FLAGS:-} -o "$work/pkg-config-consumer"
"${emulator[@]}" "$work/pkg-config-consumer" "$work/pkg-config-run" || fail "running the pkg-config consumer"
echo "package: both consumers built and ran against $stage"
