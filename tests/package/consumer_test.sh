#!/usr/bin/env bash
# Installs a build tree into a staging prefix and builds programs against that copy:
# tests/consumer with find_package (CMake, Ninja) and the same source with one compiler line
# from pkg-config. Both must build and run; an incompatible version must be refused.
#
#   consumer_test.sh BUILD_DIR CONSUMER_SOURCE CMAKE CXX MAKE_PROGRAM VERSION [PKG_CONFIG]
set -euo pipefail

build=$1 source=$2 cmake=$3 cxx=$4 make_program=$5 version=$6 pkg_config=${7:-}
stage=$build/stage
work=$build/consumer-test
rm -rf "$stage" "$work"
mkdir -p "$work"

step() { echo "-- $*"; }
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

step "install into $stage"
"$cmake" --install "$build" --prefix "$stage" >"$work/install.log" ||
  { cat "$work/install.log"; fail "cmake --install"; }

libdir=$(dirname "$(find "$stage" -name 'qxinstall_cpputilConfig.cmake' -print -quit)")
libdir=${libdir%/cmake/qxinstall_cpputil}
[[ -d $libdir ]] || fail "no qxinstall_cpputilConfig.cmake under $stage"
for file in \
  "$libdir/cmake/qxinstall_cpputil/qxinstall_cpputilConfigVersion.cmake" \
  "$libdir/pkgconfig/qxinstall_cpputil.pc" \
  "$stage/include/install/cpputil.hpp" \
  "$stage/include/install/cpputil/logger.hpp" \
  "$stage/include/fl/i18n.hpp" \
  "$stage/include/foundation/log/diagnostic_logger.hpp"; do
  [[ -f $file ]] || fail "not installed: ${file#"$stage"/}"
done
for lib in qxinstall_cpputil qxinstall_platform; do
  compgen -G "$libdir/lib$lib.*" >/dev/null || fail "not installed: lib$lib"
done

step "CMake consumer: find_package(qxinstall_cpputil $version CONFIG REQUIRED)"
"$cmake" -S "$source" -B "$work/cmake" -G Ninja -DCMAKE_MAKE_PROGRAM="$make_program" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$stage" \
  -DQX_REQUIRED_VERSION="$version" >"$work/configure.log" 2>&1 ||
  { cat "$work/configure.log"; fail "configuring the CMake consumer"; }
"$cmake" --build "$work/cmake" >"$work/build.log" 2>&1 ||
  { cat "$work/build.log"; fail "building the CMake consumer"; }
"$work/cmake/consumer" "$work/cmake-run" || fail "running the CMake consumer"

major=${version%%.*}
step "CMake consumer asking for version $((major + 1)).0 is refused"
if "$cmake" -S "$source" -B "$work/cmake-next" -G Ninja -DCMAKE_MAKE_PROGRAM="$make_program" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$stage" \
  -DQX_REQUIRED_VERSION="$((major + 1)).0" >"$work/configure-next.log" 2>&1; then
  fail "find_package accepted version $((major + 1)).0"
fi
grep -q "qxinstall_cpputil" "$work/configure-next.log" ||
  { cat "$work/configure-next.log"; fail "the refusal does not name the package"; }

if [[ -x $stage/bin/qxinstall ]]; then
  step "installed qxinstall runs from the prefix"
  [[ $("$stage/bin/qxinstall" version-compare 1.10 1.9) == 1 ]] || fail "installed qxinstall"
fi

if [[ -z $pkg_config ]]; then
  echo "pkg-config not found: skipping the pkg-config consumer"
  exit 77
fi
step "pkg-config consumer: \$(pkg-config --cflags --libs qxinstall_cpputil)"
flags=$(PKG_CONFIG_PATH="$libdir/pkgconfig" "$pkg_config" --cflags --libs qxinstall_cpputil) ||
  fail "pkg-config does not know qxinstall_cpputil"
echo "   $flags"
# shellcheck disable=SC2086 # the flags are meant to split into words
"$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror "$source/main.cpp" $flags \
  -Wl,-rpath,"$libdir" -o "$work/pkg-config-consumer" || fail "compiling with pkg-config flags"
"$work/pkg-config-consumer" "$work/pkg-config-run" || fail "running the pkg-config consumer"
echo "package: both consumers built and ran against $stage"
