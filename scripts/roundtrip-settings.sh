#!/usr/bin/env bash
# Shows the settings-file round trip between the two toolchains: a file exported from the real
# registry by the Windows build (under Wine) imports into the portable in-memory store and
# exports again byte for byte, and back. Needs `make native windows` first.
set -euo pipefail
cd "$(dirname "$0")/.."
win=build/windows/tools/tv-regxml.exe
lin=build/native/tools/tv-regxml
work=$(mktemp -d)
trap 'rm -rf "$work"; wineserver -k >/dev/null 2>&1 || true' EXIT
export WINEPREFIX="$PWD/build/windows/wineprefix" WINEDEBUG=-all
key='HKCU\Software\TarnvaleRoundTrip'
src=tests/settings/data/valid_export.cfg

wine "$win" import "$key" "$src"                 # into the real registry (under Wine)
wine "$win" export "$key" "$work/win.cfg"        # out of it, by the Windows build
"$lin" --store "$work/store.cfg" import 'HKLM\SOFTWARE\Brellick\Tarnvale' "$work/win.cfg"
"$lin" --store "$work/store.cfg" export 'HKLM\SOFTWARE\Brellick\Tarnvale' "$work/lin.cfg"
wine "$win" import "$key" "$work/lin.cfg"        # and back into the real registry
wine "$win" export "$key" "$work/win2.cfg"
wine reg delete "$key" /f >/dev/null 2>&1 || true

cmp "$src" "$work/win.cfg" && cmp "$work/win.cfg" "$work/lin.cfg" && cmp "$work/lin.cfg" "$work/win2.cfg"
echo "round trip: Windows export -> portable store -> export -> Windows import -> export: byte for byte equal ($(stat -c %s "$src") bytes)"
