// Portable simulated clock: virtual time that only moves when a test or the simulator says so.
// The tick count can start anywhere (just before the 49.7-day wrap, say) and the local time at
// any calendar time; Advance moves both together, the setters move one alone.
#pragma once

#include <cstdint>
#include <mutex>

#include "platform/clock.h"
#include "platform/last_error.h"

namespace tv {

class SimulatedClock final : public Clock {
 public:
  // 2024-01-01 00:00:00.000, a Monday.
  static SystemTime DefaultStart();

  // Starts at `startTick` and, when `startLocal` is a valid calendar time, at that local time
  // (else at DefaultStart()).
  explicit SimulatedClock(Tick startTick = 0, const SystemTime& startLocal = DefaultStart());

  // Lets `ms` milliseconds pass: the tick count (wrapping) and the local time move on together.
  void Advance(std::uint64_t ms);
  void AdvanceSeconds(std::uint64_t seconds) { Advance(seconds * 1000); }

  // Moves the tick count alone (as after a suspend the tick count kept running).
  void SetTickCount(Tick tick);

  // Moves the local time alone (a daylight-saving change, someone setting the clock). Answers 0
  // for an invalid calendar time and leaves the clock as it was.
  BOOL SetLocalTime(const SystemTime& local);

  // The local time as a FILETIME-style count (100 ns since 1601, the wall-clock fields read as
  // if they were UTC), handy as a time source for other simulated seams.
  std::int64_t LocalFileTime() const;

  Tick GetTickCount() const override;
  SystemTime GetLocalTime() const override;

 private:
  mutable std::mutex mutex_;
  Tick tick_;
  std::int64_t local_;  // naive local FILETIME
  mutable std::int64_t cachedAt_ = -1;
  mutable SystemTime cached_;
};

}  // namespace tv
