// Waiting for the first of two events, portable build: the in-process events offer no wait on
// several objects, so the wait runs in short slices on the first and looks at the second between
// them. Only tests and the simulator run here; a few milliseconds of latency do not matter.
#ifndef _WIN32
#include <algorithm>

#include "service/session_signals.h"

namespace tv {

DWORD WaitForEitherEvent(Event& first, Event& second, DWORD timeoutMs) {
  constexpr DWORD kSliceMs = 5;
  DWORD remaining = timeoutMs;
  for (;;) {
    const DWORD slice = std::min(remaining, kSliceMs);
    if (first.Wait(slice)) return 0;
    if (second.Wait(0)) return 1;
    if (remaining <= slice) return 258;  // WAIT_TIMEOUT
    remaining -= slice;
  }
}

}  // namespace tv
#endif
