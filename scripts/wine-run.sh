#!/usr/bin/env bash
# Runs one Windows executable under Wine in the build folder's private prefix.
# ctest calls this as the cross-compiling emulator; scripts/wine-ctest.sh starts the prefix's
# persistent wineserver beforehand so that no Wine helper inherits ctest's output pipe.
set -u
exe=$1; shift
if [ -z "${WINEPREFIX:-}" ]; then
  # Walk up from the executable to the build folder, which holds the prefix.
  dir=$(cd "$(dirname "$exe")" && pwd)
  while [ "$dir" != / ] && [ ! -f "$dir/CMakeCache.txt" ]; do dir=$(dirname "$dir"); done
  export WINEPREFIX="$dir/wineprefix"
fi
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
exec wine "$exe" "$@"
