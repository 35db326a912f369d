#!/usr/bin/env bash
# Processor time of the session agent (TV64.EXE /monitor) under Wine: first while nobody types
# (IDLE_SECONDS, default 60), then under RATE synthetic inputs a second (default 1000) for
# LOAD_SECONDS (default 20). Prints the agent's and the wineserver's CPU time as a share of one
# core, and how often the idle event was set. A measurement, never a test.
#   bench/agent_cpu_wine.sh [BUILD_DIR]      (default build/windows; needs TV64.EXE and TVH64.DLL)
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build/windows}" && pwd)
idle_s=${IDLE_SECONDS:-60}; load_s=${LOAD_SECONDS:-20}; rate=${RATE:-1000}
work=$(mktemp -d); trap 'cleanup' EXIT
export WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
xvfb_pid=; agent_pid=
cleanup() {
  [ -z "$agent_pid" ] || kill "$agent_pid" 2>/dev/null || true
  wineserver -k >/dev/null 2>&1 || true; wineserver -w >/dev/null 2>&1 || true
  [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2>/dev/null || true
  rm -rf "$work"
}
for n in $(seq 150 190); do
  [ -e "/tmp/.X${n}-lock" ] || [ -e "/tmp/.X11-unix/X${n}" ] && continue
  Xvfb ":$n" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 & xvfb_pid=$!
  sleep 1; kill -0 "$xvfb_pid" 2>/dev/null && { export DISPLAY=":$n"; break; }; xvfb_pid=
done
[ -n "$xvfb_pid" ] || { echo "no Xvfb display" >&2; exit 1; }

# The input driver: creates the session's events as the service would, sends input at the rate
# asked for, and counts the idle signals.
cat > "$work/drive.cpp" <<'CPP'
#include <windows.h>
#include <atomic>
#include <cstdio>
#include <cstdlib>
static std::atomic<int> g_signals{0};
static HANDLE g_idle;
static DWORD WINAPI Count(void*) {
  while (WaitForSingleObject(g_idle, INFINITE) == WAIT_OBJECT_0) ++g_signals;
  return 0;
}
int wmain(int argc, wchar_t** argv) {
  const int seconds = _wtoi(argv[1]), rate = _wtoi(argv[2]);
  g_idle = CreateEventW(nullptr, FALSE, FALSE, L"Global\\TarnvaleEventIdle-4242");
  HANDLE cancel = CreateEventW(nullptr, FALSE, FALSE, L"Global\\TarnvaleEventCancel-4242");
  if (argc > 3) { Sleep(INFINITE); }
  CreateThread(nullptr, 0, &Count, nullptr, 0, nullptr);
  timeBeginPeriod(1);
  long long sent = 0;
  const ULONGLONG start = GetTickCount64(), end = start + seconds * 1000ULL;
  for (ULONGLONG now; (now = GetTickCount64()) < end; Sleep(1)) {
    // Catch up in one go when the sleep overslept: the rate is kept on average.
    for (const long long due = static_cast<long long>(now - start) * rate / 1000; sent < due; ++sent) {
      INPUT in = {};
      in.type = INPUT_MOUSE; in.mi.dwFlags = MOUSEEVENTF_MOVE; in.mi.dx = (sent & 1) ? -1 : 1;
      SendInput(1, &in, sizeof(in));
    }
  }
  std::printf("  %lld inputs, %d idle signals in %d s\n", sent, g_signals.load(), seconds);
  CloseHandle(cancel);
  return 0;
}
CPP
x86_64-w64-mingw32-g++ -O2 -static -municode -o "$work/drive.exe" "$work/drive.cpp" -lwinmm

mkdir -p "$WINEPREFIX"
wineserver -p </dev/null >/dev/null 2>&1 || true
wine wineboot </dev/null >/dev/null 2>&1 || true
wine reg add 'HKLM\SOFTWARE\Brellick\Tarnvale' /v Enable /t REG_DWORD /d 1 /f >/dev/null 2>&1
wine "$work/drive.exe" 1 1 hold >"$work/holder.txt" 2>/dev/null & holder=$!
sleep 2
wine "$build/bin/TV64.EXE" /monitor:4242 >/dev/null 2>&1 & agent_pid=$!
sleep 3
apid=$(pgrep -n -f 'TV64.EXE /monitor:4242' || true)
# This prefix's wineserver (other prefixes may run theirs): it works in the folder named after
# the prefix's device and inode.
server_dir=$(printf 'server-%x-%x' "$(stat -c %d "$WINEPREFIX")" "$(stat -c %i "$WINEPREFIX")")
spid=
for p in $(pgrep -f wineserver || true); do
  case "$(readlink "/proc/$p/cwd" 2>/dev/null)" in */"$server_dir") spid=$p ;; esac
done
[ -n "$spid" ] || { echo "this prefix's wineserver not found" >&2; exit 1; }
[ -n "$apid" ] || { echo "the agent did not start" >&2; exit 1; }
ticks=$(getconf CLK_TCK)
cpu() { awk '{print $14 + $15}' "/proc/$1/stat"; }
measure() {  # label seconds command...
  local label=$1 secs=$2; shift 2
  local a0 s0 a1 s1
  a0=$(cpu "$apid"); s0=$(cpu "$spid")
  "$@"
  a1=$(cpu "$apid"); s1=$(cpu "$spid")
  awk -v l="$label" -v a=$((a1 - a0)) -v s=$((s1 - s0)) -v t="$ticks" -v d="$secs" \
    'BEGIN { printf "%-28s agent %.2f %% of a core, wineserver %.2f %%\n", l, 100*a/t/d, 100*s/t/d }'
}
measure "idle ${idle_s} s:" "$idle_s" sleep "$idle_s"
measure "${rate} inputs/s for ${load_s} s:" "$load_s" wine "$work/drive.exe" "$load_s" "$rate"
kill "$holder" 2>/dev/null || true
