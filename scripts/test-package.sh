#!/usr/bin/env bash
# Tests the Windows installer under Wine, in a fresh prefix of its own: install, what it leaves
# (files, running service with its quoted path, event-log source, statistics, the complete default
# settings with both account lists), a harmless run of
# the installed program, uninstall (service and files gone, settings kept), and a major upgrade
# from an older package (settings kept, service restarted on the new files). Also checks the MSI
# tables: the same component GUIDs from two builds, the fixed upgrade code.
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
new_msi=$work/new/Tarnvale-$version-x64.msi
old_msi=$work/old/Tarnvale-$old_version-x64.msi
again_msi=$work/again/Tarnvale-$version-x64.msi
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

echo
if [ "$failures" -ne 0 ]; then
  echo "test-package: $failures check(s) failed"
  exit 1
fi
echo "test-package: every check passed"
