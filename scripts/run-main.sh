#!/usr/bin/env bash
# The main job: show what Tarnvale would do over a representative week of a terminal server,
# by running the real monitoring logic in the simulator on the example that ships in the repo.
set -euo pipefail
cd "$(dirname "$0")/.."
sim=build/native/tools/tv-sim
if [ ! -x "$sim" ]; then
  echo "run-main: $sim is missing: build it with 'make run' (or 'make native')" >&2
  exit 1
fi
mkdir -p build/report
report=build/report/report.html
"$sim" --settings examples/office.cfg --scenario examples/office-week.txt --report "$report"
echo
echo "The same week as a page, one row per session: $report"
echo "The Windows programs themselves (service, agent, configuration utility) are built by 'make windows'."
