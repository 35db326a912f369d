#!/usr/bin/env bash
# Tests the Windows installer under Wine, in a fresh prefix of its own: install, what it leaves
# (files, running service with its quoted path, event-log source, statistics, the complete default
# settings with both account lists), a harmless run of
# the installed program, uninstall (service and files gone, settings kept), and a major upgrade
# from an older package (settings kept, service restarted on the new files), and the installed
# program's own unattended update check (/CHECK4UPDATES /install) installing the newer package from a
# file path and from a loopback web server (settings kept, package copy deleted), or refusing one
# whose manifest gives another SHA-256. Also checks the MSI tables: the same component GUIDs from two
# builds, the fixed upgrade code.
#
#   scripts/test-package.sh [WINDOWS_BUILD_DIR] [NATIVE_BUILD_DIR]   (default build/windows build/native)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/windows}
native=${2:-build/native}

upgrade_code='{38726A64-650D-47EB-9706-BDCC79AE0460}'
settings_key='HKLM\SOFTWARE\Brellick\Tarnvale'
service_key='HKLM\SYSTEM\CurrentControlSet\Services\Tarnvale'
source_key='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Tarnvale'

work=$(mktemp -d /tmp/tv-package-test.XXXXXX)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEARCH=win64 WINEDLLOVERRIDES="mscoree,mshtml="
# No display: nothing here shows a window, and a test must not draw on someone else's screen.
unset DISPLAY
cleanup() {
  [ ! -f "$work/server.state" ] || python3 tests/update/test_server.py stop "$work/server.state"
  wineserver -k >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
# Any command that stops the script says where, so a failure is never silent.
trap 'echo "test-package: line $LINENO failed with exit code $?" >&2' ERR

failures=0
pass() { printf '  ok    %s\n' "$*"; }
fail() { printf '  FAIL  %s\n' "$*"; failures=$((failures + 1)); }
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@" >/dev/null 2>&1; then pass "$what"; else fail "$what"; fi
}
stage() { printf '\n-- %s\n' "$*"; }
wine_quiet() { wine "$@" 2>/dev/null | tr -d '\r'; }

# ---- packages
stage "packages"
version=$(tr -d '\r\n' < "$build/product-version.txt")
IFS=. read -r major minor patch <<< "$version"
if [ "$minor" -gt 0 ]; then old_version=$major.$((minor - 1)).$patch; else old_version=$((major - 1)).9.$patch; fi
scripts/build-package.sh --build "$build" --native "$native" --out "$work/new" >/dev/null
scripts/build-package.sh --build "$build" --native "$native" --out "$work/again" >/dev/null
scripts/build-package.sh --build "$build" --native "$native" --out "$work/old" --version "$old_version" >/dev/null
next_version=$major.$((minor + 1)).$patch
scripts/build-package.sh --build "$build" --native "$native" --out "$work/next" --version "$next_version" >/dev/null
new_msi=$work/new/Tarnvale-$version-x64.msi
old_msi=$work/old/Tarnvale-$old_version-x64.msi
again_msi=$work/again/Tarnvale-$version-x64.msi
next_msi=$work/next/Tarnvale-$next_version-x64.msi
printf '  MSI %s: %s KiB\n' "$(basename "$new_msi")" "$(du -k "$new_msi" | cut -f1)"

prop() { msiinfo export "$1" Property | tr -d '\r' | awk -F'\t' -v k="$2" '$1 == k {print $2}'; }
components() { msiinfo export "$1" Component | tr -d '\r' | tail -n +4 | cut -f1,2 | sort; }
check "upgrade code is the fixed one" test "$(prop "$new_msi" UpgradeCode)" = "$upgrade_code"
check "older package has the same upgrade code" test "$(prop "$old_msi" UpgradeCode)" = "$upgrade_code"
check "product version $version taken from the build" test "$(prop "$new_msi" ProductVersion)" = "$version"
check "component GUIDs are the same in two builds" test "$(components "$new_msi")" = "$(components "$again_msi")"
check "every component has a GUID" test -z "$(components "$new_msi" | grep -Ev $'\t\\{[0-9A-F-]{36}\\}$')"
check "no ServiceInstall rows: the product registers its own service" \
  test -z "$(msiinfo export "$new_msi" ServiceInstall | tail -n +4)"
check "64-bit package (x64 template)" bash -c "msiinfo suminfo '$new_msi' | grep -q 'x64;'"
check "launch condition refuses 32-bit Windows" bash -c "msiinfo export '$new_msi' LaunchCondition | grep -q '^VersionNT64'"

# ---- Wine prefix
stage "fresh Wine prefix"
# Without the wait the first msiexec on a new prefix rolls back at StartServices. A prefix that
# could not be made (seen once on a loaded machine) is made again before the test gives up.
boot_prefix() { wineboot -i >/dev/null 2>&1 && wineserver -w; }
if ! boot_prefix; then
  echo "  wineboot -i failed; making the prefix again"
  wineserver -k >/dev/null 2>&1 || true
  wineserver -w >/dev/null 2>&1 || true
  rm -rf "$WINEPREFIX"
  boot_prefix || { echo "test-package: no Wine prefix could be made in $WINEPREFIX" >&2; exit 1; }
fi
wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1 || true
install_dir=$WINEPREFIX/drive_c/Program\ Files/Tarnvale
program_files=$(wine_quiet cmd /c echo %ProgramW6432% | tail -1 || true)
[ -n "$program_files" ] || program_files="C:\\Program Files"

msi() {  # msi /i|/x FILE LOG: msiexec quietly, timed, exit code checked
  local start=$(date +%s%N) rc=0
  wine msiexec "$1" "$(winepath -w "$2" 2>/dev/null)" /qn /l*v "$(winepath -w "$3" 2>/dev/null)" >/dev/null 2>&1 || rc=$?
  wineserver -w
  printf '  msiexec %s %s: exit %d in %.1f s\n' "$1" "$(basename "$2")" "$rc" "$(awk -v ns=$(( $(date +%s%N) - start )) 'BEGIN {print ns / 1e9}')"
  return "$rc"
}
service_state() { wine_quiet sc query Tarnvale | awk '/STATE/ {print $4}'; }
reg_value() {  # reg_value KEY NAME -> the data, empty when missing
  wine_quiet reg query "$1" /v "$2" | awk -v n="$2" '$1 == n {$1 = ""; $2 = ""; sub(/^ +/, ""); print}'
}
wait_for() {  # wait_for SECONDS COMMAND...: true once the command succeeds
  local end=$(( $(date +%s) + $1 )); shift
  until "$@" >/dev/null 2>&1; do [ "$(date +%s)" -lt "$end" ] || return 1; sleep 1; done
}
running() { test "$(service_state)" = RUNNING; }
has_statistics() { test -n "$(reg_value "$settings_key" SessionsTotal)"; }
installed_files_present() {
  for f in TV64.EXE TV64.DLL License.rtf Tarnvale.html PolicyDefinitions/Tarnvale.admx PolicyDefinitions/en-US/Tarnvale.adml; do
    [ -f "$install_dir/$f" ] || return 1
  done
  if [ -f "$build/bin/TVH64.DLL" ]; then [ -f "$install_dir/TVH64.DLL" ] || return 1; fi
}
start_menu_entries() { find "$WINEPREFIX/drive_c" -path '*Programs/Tarnvale/*.lnk' | grep -q .; }
uninstall_entries() {
  wine_quiet reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall' /s | grep -c 'DisplayName.*Tarnvale' || true
}

# ---- install
stage "install $version"
if msi /i "$new_msi" "$work/install.log"; then pass "msiexec /i exits 0"; else fail "msiexec /i exits 0 (log: see below)"; tail -30 "$work/install.log" | iconv -f utf-16 -t utf-8 2>/dev/null || true; fi
check "files installed into $program_files\\Tarnvale" installed_files_present
check "installed binaries are the build's" cmp "$install_dir/TV64.DLL" "$build/bin/TV64.DLL"
check "service Tarnvale is running" wait_for 20 running
image_path=$(reg_value "$service_key" ImagePath)
check "service image path is quoted ($image_path)" test "$image_path" = "\"$program_files\\Tarnvale\\TV64.EXE\" /service"
check "event-log source registered with TV64.DLL" bash -c "[[ '$(reg_value "$source_key" EventMessageFile)' == *TV64.DLL ]]"
check "the service writes its statistics" wait_for 30 has_statistics
# Loading reads a missing list subkey as an empty list, so the installation must write the lists
# or the log-off would apply to administrators too.
check "default idle time written (Timeout 10)" test "$(reg_value "$settings_key" Timeout)" = 0xa
check "default Apply-to list written (1 Users)" test "$(reg_value "$settings_key\ApplyTo" 1)" = "Users"
check "default Apply-to list written (3 Remote Desktop Users)" \
  test "$(reg_value "$settings_key\ApplyTo" 3)" = "Remote Desktop Users"
check "default Never-apply-to list written (1 Administrators)" \
  test "$(reg_value "$settings_key\Exclude" 1)" = "Administrators"
check "Start-menu entry for the user guide" start_menu_entries
check "License.rtf holds the Apache License 2.0" grep -q 'Apache License' "$install_dir/License.rtf"
check "License.rtf keeps the responsibility for lost work with whoever configures it" \
  grep -q 'stays with whoever' "$install_dir/License.rtf"
# The utility opens its window whatever the command line, so it is only compared here; its own
# tests drive it.
if [ -f "$build/bin/Tarnvale64.EXE" ]; then
  check "configuration utility installed" cmp "$install_dir/Tarnvale64.EXE" "$build/bin/Tarnvale64.EXE"
fi
check "installed launcher runs a harmless switch (exit 0)" wine "$install_dir/TV64.EXE" /user-load

# ---- uninstall
stage "uninstall"
wine reg add "$settings_key" /v Timeout /t REG_DWORD /d 42 /f >/dev/null 2>&1
if msi /x "$new_msi" "$work/uninstall.log"; then pass "msiexec /x exits 0"; else fail "msiexec /x exits 0"; fi
check "service removed" test -z "$(service_state)"
check "every installed file removed" test ! -e "$install_dir"
check "Start-menu entries removed" bash -c "! find '$WINEPREFIX/drive_c' -path '*Programs/Tarnvale*' | grep -q ."
check "settings key kept with its values" test "$(reg_value "$settings_key" Timeout)" = 0x2a
check "no uninstall entry left" test "$(uninstall_entries)" = 0

# ---- major upgrade
stage "upgrade $old_version -> $version"
if msi /i "$old_msi" "$work/old.log"; then pass "older package installs"; else fail "older package installs"; fi
check "older service running" wait_for 20 running
wine reg add "$settings_key" /v Timeout /t REG_DWORD /d 37 /f >/dev/null 2>&1
wine reg add "$settings_key\Exclude" /v 1 /t REG_SZ /d Helpdesk /f >/dev/null 2>&1
wine reg delete "$settings_key" /v SessionsTotal /f >/dev/null 2>&1 || true
if msi /i "$new_msi" "$work/upgrade.log"; then pass "newer package installs over it"; else fail "newer package installs over it"; fi
check "one product registered after the upgrade" test "$(uninstall_entries)" = 1
check "changed setting kept" test "$(reg_value "$settings_key" Timeout)" = 0x25
check "changed list kept" test "$(reg_value "$settings_key\Exclude" 1)" = "Helpdesk"
check "service running after the upgrade" wait_for 20 running
check "restarted service wrote its statistics again" wait_for 30 has_statistics
check "the new files are installed" grep -q "Version $version" "$install_dir/Tarnvale.html"
if msi /i "$old_msi" "$work/downgrade.log"; then fail "older package refused over a newer one"; else pass "older package refused over a newer one"; fi
if msi /x "$new_msi" "$work/final.log"; then pass "final uninstall"; else fail "final uninstall"; fi

# ---- the installed program's update check installs the newer package over itself
# The check compares with the version built into the running program, so the package it finds
# must be newer than the build, not only than the older package.
stage "update check: $version -> $next_version from the update source"
updates_dir=$(winepath -u "$(wine_quiet cmd /c echo %ProgramData% | tail -1)" 2>/dev/null)/Tarnvale/Updates
installed_version() {  # DisplayVersion of the registered product, empty when there is none
  wine_quiet reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall' /s | awk '
    /^HKEY/ {named = 0; shown = ""}
    $1 == "DisplayName" && /Tarnvale/ {named = 1}
    $1 == "DisplayVersion" {shown = $3}
    named && shown != "" {print shown; named = 0}'
}
packages_left() { find "$updates_dir" -name '*.msi' 2>/dev/null | grep -q .; }
no_packages_left() { ! packages_left; }
updated() { test "$(installed_version)" = "$next_version" && no_packages_left; }
changed_settings() {
  printf '%s|%s|%s|%s' "$(reg_value "$settings_key" Timeout)" "$(reg_value "$settings_key" MessageText)" \
    "$(reg_value "$settings_key\Exclude" 1)" "$(reg_value "$settings_key" UpdateSource)"
}
unattended_check() {  # unattended_check NAME: the installed check; its Wine event-log trace in $work/NAME.trace
  local rc=0
  # Wine keeps no event log; its eventlog channel prints the strings of every reported event.
  WINEDEBUG=-all,+eventlog wine "$install_dir/TV64.EXE" /CHECK4UPDATES /install >/dev/null 2>"$work/$1.trace" || rc=$?
  return "$rc"
}
installed_with_changed_settings() {  # installed_with_changed_settings SOURCE
  msi /i "$new_msi" "$work/update-base.log" >/dev/null || fail "$version installs again"
  wait_for 20 running || fail "$version service running again"
  wine reg add "$settings_key" /v Timeout /t REG_DWORD /d 23 /f >/dev/null 2>&1
  wine reg add "$settings_key" /v MessageText /t REG_SZ /d "Save your work, please" /f >/dev/null 2>&1
  wine reg add "$settings_key\Exclude" /v 1 /t REG_SZ /d Auditors /f >/dev/null 2>&1
  set_source "$1"
}
set_source() { wine reg add "$settings_key" /v UpdateSource /t REG_SZ /d "$1" /f >/dev/null 2>&1; }
update_from() {  # update_from SOURCE NAME: the installed program updated by its own check from SOURCE
  local name=$2 rc=0 start
  set_source "$1"
  wine reg delete "$settings_key" /v SessionsTotal /f >/dev/null 2>&1 || true
  start=$(date +%s)
  unattended_check "check-$name" || rc=$?
  check "$name: the check starts the installer (exit 3, got $rc)" test "$rc" = 3
  check "$name: the event names the installer's log" grep -qF "Tarnvale-$next_version-install.log" "$work/check-$name.trace"
  if wait_for 120 updated; then
    pass "$name: $next_version installed and the package copy deleted, $(( $(date +%s) - start )) s after the check began"
  else
    fail "$name: $next_version installed and the package copy deleted (installed '$(installed_version)'; left: $(ls "$updates_dir" 2>&1 | tr '\n' ' '))"
  fi
  check "$name: one product registered" test "$(uninstall_entries)" = 1
  check "$name: the new files are installed" grep -q "Version $next_version" "$install_dir/Tarnvale.html"
  check "$name: service running on them" wait_for 20 running
  check "$name: the restarted service wrote its statistics" wait_for 30 has_statistics
  check "$name: the changed settings are kept" test "$(changed_settings)" = "0x17|Save your work, please|Auditors|$1"
  # "Return value 1" is an action's success.
  check "$name: the installer's log is kept and ends in success" \
    grep -q 'INSTALL\. Return value 1\.' "$updates_dir/Tarnvale-$next_version-install.log"
  msi /x "$next_msi" "$work/update-$name-removed.log" >/dev/null || fail "$name: uninstall after the update"
}

# A manifest that vouches for other bytes: nothing reaches the private folder, nothing is run.
mkdir -p "$work/forged"
cp "$next_msi" "$work/forged/"
sed -E 's/SHA256="0/SHA256="1/; t; s/SHA256="[0-9A-Fa-f]/SHA256="0/' "$work/next/Tarnvale-update.xml" \
  > "$work/forged/Tarnvale-update.xml"
check "the forged manifest differs only in its SHA-256" \
  test "$(diff "$work/next/Tarnvale-update.xml" "$work/forged/Tarnvale-update.xml" | grep -c SHA256)" = 2
installed_with_changed_settings "$(winepath -w "$work/forged/Tarnvale-update.xml" 2>/dev/null)"
rc=0; unattended_check check-forged || rc=$?
check "forged manifest: the package is refused (exit 1, got $rc)" test "$rc" = 1
check "forged manifest: the event says why" grep -q "SHA-256" "$work/check-forged.trace"
check "forged manifest: no package left in the private folder" no_packages_left
check "forged manifest: $version stays installed" test "$(installed_version)" = "$version"

update_from "$(winepath -w "$work/next/Tarnvale-update.xml" 2>/dev/null)" file
# The same over a loopback web server (the only plain http the check accepts).
installed_with_changed_settings ""
python3 tests/update/test_server.py start "$work/next" "$work/server.state"
wait_for 10 test -s "$work/server.state" || fail "the loopback web server did not start"
update_from "http://127.0.0.1:$(cut -d' ' -f1 "$work/server.state")/Tarnvale-update.xml" http
python3 tests/update/test_server.py stop "$work/server.state"

echo
if [ "$failures" -ne 0 ]; then
  echo "test-package: $failures check(s) failed"
  exit 1
fi
echo "test-package: every check passed"
