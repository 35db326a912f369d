#!/usr/bin/env bash
# Captures the boxes a user sees into docs/images/: the warning, the warning over its full-screen
# backdrop, an extended box with mark-up and links, a mark-up sample, and the configuration
# utility's schedule editor, message editor, data-loss warning and Activity dialog, and the
# update check's offer of a newer version. Runs tv-showbox from a
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

# capture TITLE FILE [whole]: waits for the window captioned TITLE and captures it (the whole
# screen with "whole"); answers its window id in $shot_id.
capture() {
  local title=$1 file=$2 whole=${3:-} id=
  for _ in $(seq 150); do
    id=$(xdotool search --onlyvisible --name "^${title}\$" 2>/dev/null | head -n1) && [ -n "$id" ] && break
    sleep 0.1
  done
  [ -n "$id" ] || { echo "screenshots: no window '$title' for $file" >&2; return 1; }
  sleep 2.5  # the countdown's first second and the mark-up's painting
  if [ -n "$whole" ]; then
    import -window root "$out/$file"
  else
    eval "$(xdotool getwindowgeometry --shell "$id")"
    import -window root -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" +repage "$out/$file"
  fi
  shot_id=$id
  echo "screenshots: $out/$file"
}

# shot KIND FILE [TITLE] [whole]: shows box KIND of tv-showbox (caption TITLE, default Tarnvale).
shot() {
  local kind=$1 file=$2 title=${3:-Tarnvale} whole=${4:-}
  wine "$bin/tv-showbox.exe" "$kind" 12 </dev/null >/dev/null 2>&1 &
  local pid=$!
  capture "$title" "$file" "$whole" || { kill "$pid" 2>/dev/null; return 1; }
  wait "$pid" || true
}

# utility FILE: the configuration utility on the settings in the registry. It is ended outright:
# its close box would first ask about the settings, and a second start would only bring it forward.
utility() {
  wine "$bin/Tarnvale64.EXE" </dev/null >/dev/null 2>&1 &
  local pid=$!
  capture "Tarnvale Lite" "$1" || true
  wine taskkill /F /IM Tarnvale64.EXE >/dev/null 2>&1 || true
  wait "$pid" 2>/dev/null || true
}

shot warning warning-box.png
shot fullscreen warning-fullscreen.png Tarnvale whole
shot markup msgbox-markup.png
shot sample markup-sample.png
shot schedule schedule-editor.png
shot custom-msg custom-message.png
shot data-loss data-loss-warning.png WARNING
shot activity activity-dialog.png Activity

# The utility on a configured computer, then on one whose settings come from a group policy.
settings='HKLM\SOFTWARE\Brellick\Tarnvale'
policy='HKLM\SOFTWARE\Policies\Brellick\Tarnvale'
wine reg add "$settings" /v Config /t REG_DWORD /d 13 /f >/dev/null 2>&1
for v in Enable:1 Timeout:30 MessageTimeout:5 KeepLastActiveUser:1 MonitorCPU:1 PercentCPU:40 UseSchedule:1; do
  wine reg add "$settings" /v "${v%%:*}" /t REG_DWORD /d "${v##*:}" /f >/dev/null 2>&1
done
wine reg add "$settings\ApplyTo" /v 1 /t REG_SZ /d Users /f >/dev/null 2>&1
wine reg add "$settings\ApplyTo" /v 2 /t REG_SZ /d 'Remote Desktop Users' /f >/dev/null 2>&1
wine reg add "$settings\Exclude" /v 1 /t REG_SZ /d Administrators /f >/dev/null 2>&1
utility main-dialog.png
wine reg add "$policy" /v Enable /t REG_DWORD /d 1 /f >/dev/null 2>&1
wine reg add "$policy" /v Timeout /t REG_DWORD /d 15 /f >/dev/null 2>&1
utility main-dialog-policy.png
wine reg delete "$policy" /f >/dev/null 2>&1

# The update check's offer, from a manifest in a folder as an administrator would publish it
# (only the package's hash is checked, and only when it is downloaded).
updates="$WINEPREFIX/drive_c/updates"
mkdir -p "$updates"
head -c 4096 /dev/zero > "$updates/Tarnvale-24.10.0-x64.msi"
sha=$(sha256sum "$updates/Tarnvale-24.10.0-x64.msi" | cut -d' ' -f1)
printf '<?xml version="1.0"?>\r\n<TarnvaleUpdate>\r\n\t<Version>24.10.0</Version>\r\n\t<Package Size="4096" SHA256="%s">Tarnvale-24.10.0-x64.msi</Package>\r\n\t<Released>2024-10-01</Released>\r\n\t<Notes>Calls, videos, presentations and listed programs can keep a session alive; kiosks count idle time from the first input.</Notes>\r\n</TarnvaleUpdate>\r\n' "$sha" > "$updates/Tarnvale-update.xml"
wine reg add "$settings" /v UpdateSource /t REG_SZ /d 'C:\updates\Tarnvale-update.xml' /f >/dev/null 2>&1
wine "$bin/TV64.EXE" /CHECK4UPDATES </dev/null >/dev/null 2>&1 &
check_pid=$!
capture Tarnvale update-newer.png || true
wine taskkill /F /IM TV64.EXE >/dev/null 2>&1 || true
wait "$check_pid" 2>/dev/null || true
wine reg delete "$settings" /v UpdateSource /f >/dev/null 2>&1
