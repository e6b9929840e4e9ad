#!/usr/bin/env bash
# Installs what the build needs and is missing; does nothing when everything is there.
set -euo pipefail

debian_packages=(
  g++ cmake ninja-build make pkg-config
  libboost1.81-dev libboost-log1.81-dev libboost-locale1.81-dev libboost-url1.81-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev abigail-tools
)
# Only for `make fuzz` and the fuzz step of CI.
if [[ "${QX_WITH_FUZZ:-0}" == 1 ]]; then
  debian_packages+=(clang-14 libclang-rt-14-dev)
fi

case "$(uname -s)" in
  Linux)
    missing=()
    for pkg in "${debian_packages[@]}"; do
      dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' ||
        missing+=("$pkg")
    done
    if ((${#missing[@]})); then
      echo "bootstrap: installing ${missing[*]}"
      sudo=""
      [[ $(id -u) -eq 0 ]] || sudo="sudo"
      $sudo apt-get update -qq
      DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
    ;;
  Darwin)
    for formula in cmake ninja boost googletest google-benchmark cli11 nlohmann-json pkg-config; do
      brew list --versions "$formula" >/dev/null 2>&1 || brew install "$formula"
    done
    ;;
  *)
    echo "bootstrap: unsupported system $(uname -s)" >&2
    exit 1
    ;;
esac
