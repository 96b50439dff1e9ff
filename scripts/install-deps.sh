#!/usr/bin/env bash
# Installs the Debian packages the library, its tests and tools need, only when missing.
# Run as root on Debian 12 (bookworm). Extra packages may be given as arguments.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang clang-format clang-tidy libclang-rt-14-dev
  libboost-json1.81-dev libcurl4-openssl-dev libcpp-httplib-dev libcli11-dev libfmt-dev
  libicu-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libpng-dev chromium
  qt6-base-dev qt6-webengine-dev xvfb xauth
  curl ca-certificates
  "$@"
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
