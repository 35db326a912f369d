#!/usr/bin/env bash
# Renders the simulator's HTML report of the example week into docs/images/report.png and of the
# week with calls and jobs into docs/images/report-calls.png (the pictures in the README), with Debian's headless Chromium, which it installs when missing. Not
# part of `make test`: `make screenshots` runs it (through scripts/screenshots.sh), and it can be run
# by hand after the report changes.
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
mkdir -p docs/images
# The example week, and the week whose calls, presentations and jobs keep sessions in use.
for pair in office.cfg:office-week.txt:report office-calls.cfg:calls-week.txt:report-calls; do
  IFS=: read -r cfg week picture <<<"$pair"
  rm -f "docs/images/$picture.png"
  "$sim" --settings "examples/$cfg" --scenario "examples/$week" --report "$work/$picture.html" >/dev/null
  "$browser" --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1240,1000 \
    --screenshot="$PWD/docs/images/$picture.png" "file://$work/$picture.html" >/dev/null 2>&1
  [ -s "docs/images/$picture.png" ] || { echo "report-screenshot: no picture was written" >&2; exit 1; }
  echo "report-screenshot: docs/images/$picture.png"
done
