#!/usr/bin/env bash
# Renders the simulator's HTML report of the example week into docs/images/report.png (the
# picture in the README), with Debian's headless Chromium, which it installs when missing. Not
# part of `make test`: it is run by hand after the report changes.
#
#   scripts/report-screenshot.sh [NATIVE_BUILD_DIR]   (default build/native)
set -euo pipefail
cd "$(dirname "$0")/.."
native=${1:-build/native}
sim=$native/tools/tv-sim
[ -x "$sim" ] || { echo "report-screenshot: $sim is missing: make native first" >&2; exit 1; }
browser=$(command -v chromium || true)
if [ -z "$browser" ]; then
  [ "$(id -u)" -eq 0 ] || { echo "report-screenshot: chromium is missing; run as root to install it" >&2; exit 1; }
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends chromium >/dev/null
  browser=$(command -v chromium)
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$sim" --settings examples/office.cfg --scenario examples/office-week.txt --report "$work/report.html" >/dev/null
mkdir -p docs/images
"$browser" --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1240,1000 \
  --screenshot="$PWD/docs/images/report.png" "file://$work/report.html" >/dev/null 2>&1
[ -s docs/images/report.png ] || { echo "report-screenshot: no picture was written" >&2; exit 1; }
echo "report-screenshot: docs/images/report.png"
