#!/usr/bin/env bash
# Installs, once and only what is missing, the Debian packages that building and testing need.
# Safe to run again: it asks dpkg first and calls apt-get only for what is absent.
#   scripts/install-deps.sh            everything: both toolchains, Wine, the fuzzers, packaging
#   scripts/install-deps.sh --native   only what the native build of the simulator needs (make run)
set -euo pipefail

native=(cmake ninja-build g++ make libgtest-dev)
packages=("${native[@]}")
if [ "${1:-}" != --native ]; then
  packages+=(
    libbenchmark-dev libpugixml-dev
    g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
    wine wine64
    # Wine's own fonts: without them there is no Marlett, and caption buttons draw as letters.
    fonts-wine
    clang libclang-rt-14-dev
    xvfb xauth xdotool imagemagick
    wixl msitools
  )
fi

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
