#!/usr/bin/env bash
# Captures the boxes a user sees into docs/images/: the warning, the warning over its full-screen
# backdrop, an extended box with mark-up and links, a mark-up sample, the configuration utility
# at work (at 100 % and at 150 % scaling) and under a policy, its schedule editor, message editor,
# data-loss warning and Activity dialog, and the update check's offer of a newer version; then the
# simulator report's pictures (scripts/report-screenshot.sh). Runs a Windows build under Wine on a
# private Xvfb display and a prefix inside the build folder that is made afresh for every run.
# Every window is read back (tv-peek) and every picture checked for content; a shot that does not
# show what the script set fails the run.
#   scripts/screenshots.sh [BUILD_DIR] [NATIVE_BUILD_DIR]   (default build/windows, build/native)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/windows}" && pwd)
native=${2:-$root/build/native}
out="$root/docs/images"
bin="$build/bin"
standin="$build/test-fixtures/wtsapi32.dll"
for f in "$bin/tv-showbox.exe" "$bin/tv-peek.exe" "$bin/TV64.EXE" "$bin/Tarnvale64.EXE" "$standin"; do
  [ -f "$f" ] || { echo "screenshots: $f is missing (make windows)" >&2; exit 1; }
done
wine_fonts=/usr/share/wine/fonts
[ -f "$wine_fonts/marlett.ttf" ] || { echo "screenshots: Wine's fonts are missing (scripts/install-deps.sh installs fonts-wine)" >&2; exit 1; }
mkdir -p "$out"

export WINEPREFIX="$build/wineprefix-screenshots"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="

failures=()
fail() { echo "screenshots: FAILED: $*" >&2; failures+=("$*"); }

xvfb_pid=
stop() {
  wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2>/dev/null || true
}
trap stop EXIT INT TERM

# A display large enough for the main dialog at 150 %.
for n in $(seq 150 199); do
  [ -e "/tmp/.X${n}-lock" ] || [ -e "/tmp/.X11-unix/X${n}" ] && continue
  Xvfb ":$n" -screen 0 1280x960x24 -nolisten tcp >/dev/null 2>&1 &
  xvfb_pid=$!
  for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X${n}" ] && break; sleep 0.1; done
  if kill -0 "$xvfb_pid" 2>/dev/null; then export DISPLAY=":$n"; break; fi
  xvfb_pid=
done
[ -n "$xvfb_pid" ] || { echo "screenshots: no Xvfb display could be started" >&2; exit 1; }

reg() { wine reg "$@" >/dev/null 2>&1; }

# fresh_prefix [DPI]: a new prefix, so nothing of an earlier or interrupted run is left in it,
# with the screen's DPI set where Wine reads it.
fresh_prefix() {
  local dpi=${1:-96}
  wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true
  rm -rf "$WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  wine wineboot -i </dev/null >/dev/null 2>&1
  # Debian's Wine 8 does not look in its own font folder, only in the prefix's: without Marlett
  # the caption buttons draw as letters. Wine's own Tahoma is left out: at dialog sizes it draws
  # narrower than the widths it reports (measured 19 px of ink for a 26 px extent), so every piece
  # of mark-up after a link or a bold word lands in the wrong place; the substitute Wine picks
  # instead draws as wide as it measures.
  cp "$wine_fonts"/*.ttf "$wine_fonts"/*.fon "$WINEPREFIX/drive_c/windows/Fonts/"
  rm -f "$WINEPREFIX"/drive_c/windows/Fonts/tahoma*.ttf
  # The services a new prefix starts must have settled, or the first service install can fail.
  wineserver -w
  wineserver -p </dev/null >/dev/null 2>&1
  reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f
  reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
  reg add 'HKCU\Control Panel\Colors' /v Background /t REG_SZ /d '58 110 165' /f
  reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$dpi" /f
  reg add 'HKLM\System\CurrentControlSet\Hardware Profiles\Current\Software\Fonts' /v LogPixels /t REG_DWORD /d "$dpi" /f
  # The pointer stays in a corner, away from where the boxes appear: a window mapped under it
  # would count as activity.
  xdotool mousemove 1279 959 >/dev/null 2>&1 || true
}

peek() { wine "$bin/tv-peek.exe" "$@" </dev/null 2>/dev/null | tr -d '\r'; }

# expect FILE WHAT TEXT PATTERN: fails FILE unless TEXT holds PATTERN (a fixed string).
expect() {
  case "$3" in *"$4"*) ;; *) fail "$1: $2 is '$3', expected it to hold '$4'" ;; esac
}

# not_blank FILE: a picture of one flat colour, or nearly, shows nothing.
not_blank() {
  local colours
  colours=$(identify -format %k "$out/$1" 2>/dev/null || echo 0)
  [ "$colours" -gt 8 ] || fail "$1: only $colours colours: the picture is blank"
}

# capture TITLE FILE [whole] [WAIT]: waits for the window captioned TITLE, lets it paint for WAIT
# seconds (default 2.5: the countdown's first second and the mark-up's painting) and captures
# it (the whole screen with "whole").
capture() {
  local title=$1 file=$2 whole=${3:-} wait=${4:-2.5} id=
  rm -f "$out/$file"
  for _ in $(seq 150); do
    id=$(xdotool search --onlyvisible --name "^${title}\$" 2>/dev/null | head -n1) && [ -n "$id" ] && break
    sleep 0.1
  done
  [ -n "$id" ] || { fail "$file: no window captioned '$title' appeared"; return 1; }
  sleep "$wait"
  if [ -n "$whole" ]; then
    import -window root "$out/$file"
  else
    eval "$(xdotool getwindowgeometry --shell "$id")"
    import -window root -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" +repage "$out/$file"
  fi
  not_blank "$file"
  echo "screenshots: $out/$file"
}

# shot KIND FILE TITLE CHECK...: shows box KIND of tv-showbox captioned TITLE, captures it and
# runs CHECK (a function and its arguments) while it is still open.
shot() {
  local kind=$1 file=$2 title=$3; shift 3
  wine "$bin/tv-showbox.exe" "$kind" 12 </dev/null >/dev/null 2>&1 &
  local pid=$!
  capture "$title" "$file" "$([ "$kind" = fullscreen ] && echo whole)" && "$@"
  wait "$pid" || true
}

# box_says FILE TITLE TEXT: the box captioned TITLE shows TEXT.
box_says() { expect "$1" "the message of '$2'" "$(peek box "$2")" "$3"; }
# item_says FILE TITLE ID TEXT: control ID of the window captioned TITLE reads TEXT ("ID<TAB>...").
item_says() { expect "$1" "control $3 of '$2'" "$(peek window "$2" "$3")" "$4"; }

settings='HKLM\SOFTWARE\Brellick\Tarnvale'
policy='HKLM\SOFTWARE\Policies\Brellick\Tarnvale'
script='HKLM\SOFTWARE\TarnvaleTest\WtsStandin'

# The settings an administrator has set on a terminal server: not the defaults, lists filled.
configure() {
  reg add "$settings" /v Config /t REG_DWORD /d 13 /f
  for v in Enable:1 Timeout:30 MessageTimeout:5 KeepLastActiveUser:1 MonitorCPU:1 PercentCPU:40; do
    reg add "$settings" /v "${v%%:*}" /t REG_DWORD /d "${v##*:}" /f
  done
  reg add "$settings\\ApplyTo" /v 1 /t REG_SZ /d Users /f
  reg add "$settings\\ApplyTo" /v 2 /t REG_SZ /d 'Remote Desktop Users' /f
  reg add "$settings\\Exclude" /v 1 /t REG_SZ /d 'svc-backup' /f
}

# The service at work. Wine lists no user sessions, so the terminal-services stand-in the
# Windows tests use (tests/fixtures/wtsapi_standin) lists three logged-on users to TV64.EXE alone:
# the real service watches them and starts a real agent for each, this session's among them.
start_service() {
  local system="$WINEPREFIX/drive_c/windows/system32" user computer owner
  cp "$system/wtsapi32.dll" "$system/wine_wtsapi32.dll"
  cp "$standin" "$system/wtsapi32.dll"
  reg add 'HKCU\Software\Wine\AppDefaults\TV64.EXE\DllOverrides' /v wtsapi32 /t REG_SZ /d native,builtin /f
  user=$(wine cmd /c 'echo %USERNAME%' </dev/null 2>/dev/null | tr -d '\r')
  computer=$(wine cmd /c 'echo %COMPUTERNAME%' </dev/null 2>/dev/null | tr -d '\r')
  # The script holds while its owner runs: the prefix's service manager, which outlives the run.
  owner=$(peek pid services.exe)
  [ -n "$owner" ] || { fail "main-dialog: the service manager's process id could not be read"; return 1; }
  reg add "$script" /v Owner /t REG_DWORD /d "$owner" /f
  reg add "$script" /v Journal /t REG_SZ /d 'C:\windows\temp\standin-journal.txt' /f
  local id=1
  for name in "$user" jmorgan aplatt; do
    reg add "$script\\Sessions\\$id" /v User /t REG_SZ /d "$name" /f
    reg add "$script\\Sessions\\$id" /v Domain /t REG_SZ /d "$computer" /f
    reg add "$script\\Sessions\\$id" /v State /t REG_DWORD /d 0 /f
    id=$((id + 1))
  done
  wine "$bin/TV64.EXE" /load-silent </dev/null >/dev/null 2>&1 || { fail "main-dialog: TV64.EXE /load-silent failed"; return 1; }
  local monitoring=
  for _ in $(seq 60); do
    monitoring=$(wine reg query "$settings" /v SessionsMonitoring </dev/null 2>/dev/null | tr -d '\r' |
      awk '$1 == "SessionsMonitoring" { print $3 }')
    monitoring=$((${monitoring:-0}))
    [ "$monitoring" -eq 3 ] && break
    sleep 1
  done
  [ "$monitoring" -eq 3 ] || fail "main-dialog: the service watches $monitoring sessions, not the 3 scripted"
  # A log-off from before the picture, worded as the service records it (DOMAIN\user): a real
  # one would take the whole Timeout of idleness first.
  last_logoff="$computer\\ewalsh"
}

# utility FILE WAIT CHECK...: the configuration utility on the settings in the registry, captured
# after WAIT seconds and read back by CHECK. It is ended outright: its close box would first ask
# about the settings, and a second start would only bring it forward.
utility() {
  local file=$1 wait=$2; shift 2
  wine "$bin/Tarnvale64.EXE" </dev/null >/dev/null 2>&1 &
  local pid=$!
  capture "Tarnvale Lite" "$file" "" "$wait" && "$@"
  wine taskkill /F /IM Tarnvale64.EXE >/dev/null 2>&1 || true
  wait "$pid" 2>/dev/null || true
}

# What the utility shows of the settings above, the running service and its sessions.
at_work() {
  local file=$1 state
  state=$(peek window "Tarnvale Lite" 1001 1002 1009 1010 1023 1024)
  expect "$file" "Enable" "$(grep '^1001' <<<"$state")" "checked"
  case "$(grep '^1001' <<<"$state")" in *unchecked*) fail "$file: Enable is not ticked" ;; esac
  expect "$file" "Timeout" "$(grep '^1002' <<<"$state")" "$(printf '1002\t30')"
  expect "$file" "Apply to" "$(grep '^1009' <<<"$state")" "$(printf '\tUsers\tRemote Desktop Users')"
  expect "$file" "Do not apply to" "$(grep '^1010' <<<"$state")" "$(printf '\tsvc-backup')"
  expect "$file" "the status panel's first line" "$(grep '^1023' <<<"$state")" "Logged off the user '$last_logoff'."
  expect "$file" "the status panel's second line" "$(grep '^1024' <<<"$state")" "No activity for"
}

# The main dialog at work: the last log-off shows for the first nine refreshes, and the idle line
# of this watched session from its fifth second, so the picture is taken in between.
main_dialog() {
  reg add "$settings" /v LastLogoff /t REG_SZ /d "$last_logoff" /f
  utility "$1" 6.5 at_work "$1"
}

under_policy() {
  local file=$1 state
  state=$(peek window "Tarnvale Lite" 1001 1002 1023)
  case "$(grep '^1001' <<<"$state")" in *unchecked*) fail "$file: Enable is not ticked" ;; esac
  expect "$file" "Timeout" "$(grep '^1002' <<<"$state")" "$(printf '1002\t15')"
  expect "$file" "the status panel's first line" "$(grep '^1023' <<<"$state")" "as a group policy sets"
}

fresh_prefix 96
shot warning warning-box.png Tarnvale box_says warning-box.png Tarnvale "Press OK to keep your session active"
shot fullscreen warning-fullscreen.png Tarnvale box_says warning-fullscreen.png Tarnvale "Press OK to keep your session active"
shot markup msgbox-markup.png Tarnvale box_says msgbox-markup.png Tarnvale "Settings were changed by a group policy."
shot sample markup-sample.png Tarnvale box_says markup-sample.png Tarnvale "Mark-up sample"
shot schedule schedule-editor.png Tarnvale item_says schedule-editor.png Tarnvale 1049 "&Active"
shot custom-msg custom-message.png Tarnvale item_says custom-message.png Tarnvale 1016 "Press OK to keep your session active"
shot data-loss data-loss-warning.png WARNING item_says data-loss-warning.png WARNING 1026 unchecked
shot activity activity-dialog.png Activity item_says activity-dialog.png Activity 1114 "$(printf '\trender.exe')"

configure
last_logoff=
if start_service; then
  main_dialog main-dialog.png
  # Under a policy: the panel says where the settings come from.
  reg delete "$settings" /v LastLogoff /f
  reg add "$policy" /v Enable /t REG_DWORD /d 1 /f
  reg add "$policy" /v Timeout /t REG_DWORD /d 15 /f
  utility main-dialog-policy.png 2.5 under_policy main-dialog-policy.png
  reg delete "$policy" /f
fi

# The update check's offer, from a manifest in a folder as an administrator would publish it
# (only the package's hash is checked, and only when it is downloaded).
updates="$WINEPREFIX/drive_c/updates"
mkdir -p "$updates"
head -c 4096 /dev/zero > "$updates/Tarnvale-24.10.0-x64.msi"
sha=$(sha256sum "$updates/Tarnvale-24.10.0-x64.msi" | cut -d' ' -f1)
printf '<?xml version="1.0"?>\r\n<TarnvaleUpdate>\r\n\t<Version>24.10.0</Version>\r\n\t<Package Size="4096" SHA256="%s">Tarnvale-24.10.0-x64.msi</Package>\r\n\t<Released>2024-10-01</Released>\r\n\t<Notes>Calls, videos, presentations and listed programs can keep a session alive; kiosks count idle time from the first input.</Notes>\r\n</TarnvaleUpdate>\r\n' "$sha" > "$updates/Tarnvale-update.xml"
reg add "$settings" /v UpdateSource /t REG_SZ /d 'C:\updates\Tarnvale-update.xml' /f
wine "$bin/TV64.EXE" /CHECK4UPDATES </dev/null >/dev/null 2>&1 &
check_pid=$!
capture Tarnvale update-newer.png && box_says update-newer.png Tarnvale "24.10.0"
# The service and its agents end with it: this prefix has no picture left to take.
wine taskkill /F /IM TV64.EXE >/dev/null 2>&1 || true
wait "$check_pid" 2>/dev/null || true
reg delete "$settings" /v UpdateSource /f

# The same dialog at 150 % (a LogPixels of 144), in a prefix of its own.
fresh_prefix 144
configure
last_logoff=
start_service && main_dialog main-dialog-150.png

stop
trap - EXIT INT TERM
xvfb_pid=

if [ -x "$native/tools/tv-sim" ]; then
  "$root/scripts/report-screenshot.sh" "$native" || fail "report-screenshot.sh failed"
else
  fail "$native/tools/tv-sim is missing: make native"
fi

if [ ${#failures[@]} -ne 0 ]; then
  echo "screenshots: ${#failures[@]} picture(s) do not show what was set:" >&2
  printf '  %s\n' "${failures[@]}" >&2
  exit 1
fi
echo "screenshots: every picture checked"
