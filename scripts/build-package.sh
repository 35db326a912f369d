#!/usr/bin/env bash
# Builds the Windows installer Tarnvale-<version>-x64.msi with wixl from packaging/Tarnvale.wxs,
# with the administrative templates (written by the native tv-admx) beside it.
#
#   scripts/build-package.sh [--build DIR] [--native DIR] [--out DIR] [--version X.Y.Z]
#
#   --build DIR     the Windows build folder with bin/TV64.EXE (default build/windows)
#   --native DIR    the native build folder with tools/tv-admx (default build/native)
#   --out DIR       where the MSI and PolicyDefinitions go (default <build>/package)
#   --version V     package version instead of the project's (for an older package in tests)
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/windows native=build/native out="" version=""
while [ $# -gt 0 ]; do
  case "$1" in
    --build) build=${2:?}; shift 2 ;;
    --native) native=${2:?}; shift 2 ;;
    --out) out=${2:?}; shift 2 ;;
    --version) version=${2:?}; shift 2 ;;
    *) echo "build-package: unknown argument '$1'" >&2; exit 2 ;;
  esac
done
out=${out:-$build/package}
fail() { echo "build-package: $*" >&2; exit 1; }

# The configuration utility an administrator starts; packaged with its Start-menu shortcut.
config_exe=Tarnvale64.EXE

bin=$build/bin
for f in TV64.EXE TV64.DLL; do
  [ -f "$bin/$f" ] || fail "$bin/$f is missing: build the Windows binaries first (make windows)"
done
admx_tool=$native/tools/tv-admx
[ -x "$admx_tool" ] || fail "$admx_tool is missing: build the native tools first (make native)"
manifest_tool=$native/tools/tv-update-manifest
[ -x "$manifest_tool" ] || fail "$manifest_tool is missing: build the native tools first (make native)"
if [ -z "$version" ]; then
  [ -f "$build/product-version.txt" ] || fail "$build/product-version.txt is missing: configure $build again"
  version=$(tr -d '\r\n' < "$build/product-version.txt")
fi
[[ $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "version '$version' is not major.minor.patch"
command -v wixl >/dev/null || fail "wixl is not installed (scripts/install-deps.sh installs it)"

mkdir -p "$out"
stage=$(cd "$out" && pwd)/stage-$version
rm -rf "$stage"
mkdir -p "$stage"

# The licence as the RTF file that the data-loss warning names, after the statement that the
# responsibility for lost work stays with whoever configures the log-off.
{
  printf '{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\fswiss Segoe UI;}}\\f0\\fs20\n'
  cat packaging/License-responsibility.txt LICENSE | sed -e 's/\\/\\\\/g' -e 's/{/\\{/g' -e 's/}/\\}/g' -e 's/$/\\par/'
  printf '}\n'
} > "$stage/License.rtf"
sed "s/@VERSION@/$version/g" docs/user-guide.html > "$stage/Tarnvale.html"
"$admx_tool" "$stage/PolicyDefinitions"

cp "$bin/TV64.EXE" "$bin/TV64.DLL" packaging/Tarnvale.wxs "$stage/"
defines=(-D "Version=$version")
if [ -f "$bin/TVH64.DLL" ]; then cp "$bin/TVH64.DLL" "$stage/"; defines+=(-D HaveHook=1); fi
if [ -f "$bin/$config_exe" ]; then cp "$bin/$config_exe" "$stage/"; defines+=(-D "ConfigExe=$config_exe"); fi

msi=$(cd "$out" && pwd)/Tarnvale-$version-x64.msi
# wixl warns that Package/@Platform is unknown to it; -a x64 is what makes the package 64-bit.
(cd "$stage" && wixl -a x64 "${defines[@]}" Tarnvale.wxs -o "$msi") 2>&1 | { grep -v -e "Platform" -e '^$' >&2 || true; }
[ -s "$msi" ] || fail "wixl did not write $msi"
# The update manifest the organisation publishes beside the MSI (see "Keeping Tarnvale up to date").
"$manifest_tool" "$msi" "$version" "$(date -u +%F)" packaging/release-notes.txt "$out/Tarnvale-update.xml" ||
  fail "the update manifest could not be written"
rm -rf "$out/PolicyDefinitions"
cp -r "$stage/PolicyDefinitions" "$out/PolicyDefinitions"

echo "Package: $msi ($(du -k "$msi" | cut -f1) KiB)"
echo "  with:  $(msiinfo export "$msi" File 2>/dev/null | awk -F'\t' 'NR>3 {print $3}' | sed 's/.*|//' | tr '\n' ' ')"
echo "Group policy templates for the central store: $out/PolicyDefinitions"
echo "Update manifest to publish beside the MSI: $out/Tarnvale-update.xml"
