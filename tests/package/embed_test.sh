#!/usr/bin/env bash
# Builds a parent project that embeds ours with FetchContent: the parent must get our two
# libraries and nothing else (its `ctest -N` lists only its own test), and must link and run
# against qxinstall::cpputil.
#
#   embed_test.sh WORK_DIR PARENT_SOURCE OUR_SOURCE CMAKE CXX NINJA
# A cross build sets QX_TOOLCHAIN_FILE; the parent then runs its program through its emulator.
set -euo pipefail
work=$1 parent=$2 ours=$3 cmake=$4 cxx=$5 ninja=$6
rm -rf "$work"
fail() { echo "FAILED: $*" >&2 && exit 1; }
"$cmake" -S "$parent" -B "$work" -G Ninja -DCMAKE_MAKE_PROGRAM="$ninja" -DCMAKE_CXX_COMPILER="$cxx" \
  -DQX_SOURCE_DIR="$ours" ${QX_TOOLCHAIN_FILE:+-DCMAKE_TOOLCHAIN_FILE="$QX_TOOLCHAIN_FILE"} >"$work.log" 2>&1 || { cat "$work.log" && fail "configuring"; }
"$cmake" --build "$work" >>"$work.log" 2>&1 || { cat "$work.log" && fail "building"; }
listed=$(cd "$work" && ctest -N)
[[ $listed == *"Test #1: parent.runs"* && $listed == *"Total Tests: 1"* ]] ||
  fail "the parent lists other tests than its own: $listed"
targets=$("$cmake" --build "$work" --target help | grep -oE '^(qx|unattended|consumer)[a-z_]*' | sort -u | xargs)
[[ $targets == "qxinstall_cpputil qxinstall_platform" ]] ||
  fail "the parent got more than our two libraries: $targets"
(cd "$work" && ctest --output-on-failure) || fail "the parent's program against qxinstall::cpputil"
echo "embedded: the parent got our two libraries and ran against them"
