#!/usr/bin/env bash
# Installs, once and only what is missing, the Debian packages that building and testing need.
# Safe to run again: it asks dpkg first and calls apt-get only for what is absent.
set -euo pipefail

packages=(
  cmake ninja-build g++ make
  libgtest-dev libbenchmark-dev libpugixml-dev
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
  wine wine64
  clang libclang-rt-14-dev
  xvfb xauth xdotool imagemagick
  wixl msitools
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: missing packages: ${missing[*]}; run as root to install them" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
