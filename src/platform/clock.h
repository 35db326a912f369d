// The clock seam: the two times the service's decisions read, the 32-bit millisecond tick count
// and the local wall-clock time. Waiting is not part of it: the loops that wait stay apart from
// the decisions, which take the time from here, so tests and the simulator run the decisions on
// SimulatedClock (platform/portable/clock.h) without sleeping.
#pragma once

#include <memory>

#include "platform/system_time.h"
#include "platform/types.h"

namespace tv {

class Clock {
 public:
  virtual ~Clock() = default;

  // Milliseconds since the system started, wrapping to 0 after 49.7 days: compare two ticks by
  // their unsigned difference, never by their order.
  virtual Tick GetTickCount() const = 0;

  // The local wall-clock time, day of the week filled.
  virtual SystemTime GetLocalTime() const = 0;
};

// The computer's own clock (GetTickCount and GetLocalTime on Windows; a monotonic clock and the
// C library's local time elsewhere).
std::unique_ptr<Clock> CreateSystemClock();

}  // namespace tv
