#!/usr/bin/env bash
# Runs ctest for a Windows build folder under Wine: a private prefix inside the build folder, a
# persistent wineserver started before ctest (so no Wine helper holds ctest's output pipe open)
# and stopped afterwards whatever the outcome. Extra arguments go to ctest (-R name, -V, ...).
set -u
build=$(cd "${1:?usage: wine-ctest.sh BUILD_DIR [ctest args]}" && pwd); shift
export WINEPREFIX="$build/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
mkdir -p "$WINEPREFIX"

stop() { wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true; }
trap stop EXIT

wineserver -p </dev/null >/dev/null 2>&1
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "wine-ctest: creating the prefix in $WINEPREFIX"
fi
wine wineboot </dev/null >/dev/null 2>&1
ctest --test-dir "$build" --output-on-failure "$@"
