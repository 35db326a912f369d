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

# Tests that show windows need a real X display: a private Xvfb unless the caller gives one
# (TV_KEEP_DISPLAY=1 keeps $DISPLAY, for watching the windows on a real screen).
xvfb_pid=
if [ "${TV_KEEP_DISPLAY:-0}" != 1 ] || [ -z "${DISPLAY:-}" ]; then
  for n in $(seq 90 140); do
    [ -e "/tmp/.X${n}-lock" ] || [ -e "/tmp/.X11-unix/X${n}" ] && continue
    Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb_pid=$!
    for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X${n}" ] && break; sleep 0.1; done
    if kill -0 "$xvfb_pid" 2>/dev/null; then export DISPLAY=":$n"; break; fi
    xvfb_pid=
  done
  [ -n "$xvfb_pid" ] || echo "wine-ctest: no Xvfb display could be started; window tests will fail" >&2
fi

stop() {
  wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2>/dev/null || true
}
trap stop EXIT

wineserver -p </dev/null >/dev/null 2>&1
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "wine-ctest: creating the prefix in $WINEPREFIX"
fi
wine wineboot </dev/null >/dev/null 2>&1
# No window manager under Xvfb: unmanaged windows hide at once (managed ones blocked about 2 s),
# and a crash prints its backtrace and exits instead of waiting on a dialog nobody can close.
wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f >/dev/null 2>&1
wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
export TV_TEST_DISPLAY="${DISPLAY:-}"
ctest --test-dir "$build" --output-on-failure "$@"
