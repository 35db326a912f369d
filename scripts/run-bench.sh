#!/usr/bin/env bash
# Runs every benchmark of the native build once. Benchmarks are measurements, never tests:
# nothing here passes or fails on a figure.
set -euo pipefail
cd "$(dirname "$0")/.."
found=0
for b in build/native/bench/*_bench; do
  [ -x "$b" ] || continue
  found=1
  printf '\n==== %s\n' "$(basename "$b")"
  "$b" "$@"
done
[ "$found" -eq 1 ] || { echo "no benchmarks built (is libbenchmark-dev installed?)" >&2; exit 1; }
