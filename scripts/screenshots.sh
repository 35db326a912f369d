#!/usr/bin/env bash
# Captures the boxes a user sees into docs/images/: the warning, the warning over its full-screen
# backdrop, an extended box with mark-up and links, a mark-up sample, and the configuration
# utility's schedule editor, message editor and data-loss warning. Runs tv-showbox from a
# Windows build under Wine on a private Xvfb display and a private prefix inside the build folder.
#   scripts/screenshots.sh [BUILD_DIR]      (default build/windows)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/windows}" && pwd)
out="$root/docs/images"
bin="$build/bin"
[ -x "$bin/tv-showbox.exe" ] || { echo "screenshots: $bin/tv-showbox.exe is missing (make windows)" >&2; exit 1; }
mkdir -p "$out"

export WINEPREFIX="$build/wineprefix-screenshots"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
mkdir -p "$WINEPREFIX"

xvfb_pid=
for n in $(seq 150 199); do
  [ -e "/tmp/.X${n}-lock" ] || [ -e "/tmp/.X11-unix/X${n}" ] && continue
  Xvfb ":$n" -screen 0 1024x640x24 -nolisten tcp >/dev/null 2>&1 &
  xvfb_pid=$!
  for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X${n}" ] && break; sleep 0.1; done
  if kill -0 "$xvfb_pid" 2>/dev/null; then export DISPLAY=":$n"; break; fi
  xvfb_pid=
done
[ -n "$xvfb_pid" ] || { echo "screenshots: no Xvfb display could be started" >&2; exit 1; }
stop() {
  wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true
  kill "$xvfb_pid" 2>/dev/null || true
}
trap stop EXIT INT TERM

wineserver -p </dev/null >/dev/null 2>&1
wine wineboot </dev/null >/dev/null 2>&1

wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f >/dev/null 2>&1
wine reg add 'HKCU\Control Panel\Colors' /v Background /t REG_SZ /d '58 110 165' /f >/dev/null 2>&1
# The pointer stays in a corner, away from where the boxes appear.
xdotool mousemove 1023 639 >/dev/null 2>&1 || true

# shot KIND FILE [TITLE] [whole]: shows box KIND, finds its window by its caption TITLE (default
# Tarnvale) and captures it (the whole screen with "whole").
shot() {
  local kind=$1 file=$2 title=${3:-Tarnvale} whole=${4:-}
  wine "$bin/tv-showbox.exe" "$kind" 12 </dev/null >/dev/null 2>&1 &
  local pid=$! id=
  for _ in $(seq 100); do
    id=$(xdotool search --onlyvisible --name "^${title}\$" 2>/dev/null | head -n1) && [ -n "$id" ] && break
    sleep 0.1
  done
  [ -n "$id" ] || { echo "screenshots: no box for $kind" >&2; kill "$pid" 2>/dev/null; return 1; }
  sleep 2.5  # the countdown's first second and the mark-up's painting
  if [ -n "$whole" ]; then
    import -window root "$out/$file"
  else
    eval "$(xdotool getwindowgeometry --shell "$id")"
    import -window root -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" +repage "$out/$file"
  fi
  wait "$pid" || true
  echo "screenshots: $out/$file"
}

shot warning warning-box.png
shot fullscreen warning-fullscreen.png Tarnvale whole
shot markup msgbox-markup.png
shot sample markup-sample.png
shot schedule schedule-editor.png
shot custom-msg custom-message.png
shot data-loss data-loss-warning.png WARNING
