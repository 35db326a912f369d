// Portable clocks: the simulated clock (both toolchains) and, outside Windows, the system clock
// over a monotonic clock and the C library's local time.
#include "platform/portable/clock.h"

#include "platform/local_time.h"

#ifndef _WIN32
#include <chrono>
#include <ctime>
#endif

namespace tv {

SystemTime SimulatedClock::DefaultStart() {
  SystemTime t;
  t.year = 2024;
  t.month = 1;
  t.day = 1;
  t.dayOfWeek = 1;
  return t;
}

SimulatedClock::SimulatedClock(Tick startTick, const SystemTime& startLocal) : tick_(startTick), local_(0) {
  PreserveLastError keep;  // constructing a clock is not an operation that reports errors
  if (!NaiveFileTime(startLocal, local_)) NaiveFileTime(DefaultStart(), local_);
}

void SimulatedClock::Advance(std::uint64_t ms) {
  std::lock_guard<std::mutex> lock(mutex_);
  tick_ = static_cast<Tick>(tick_ + ms);  // modulo 2^32, as the real counter wraps
  local_ += static_cast<std::int64_t>(ms) * 10'000;
}

void SimulatedClock::SetTickCount(Tick tick) {
  std::lock_guard<std::mutex> lock(mutex_);
  tick_ = tick;
}

BOOL SimulatedClock::SetLocalTime(const SystemTime& local) {
  FileTime naive = 0;
  if (!NaiveFileTime(local, naive)) return kFalse;
  std::lock_guard<std::mutex> lock(mutex_);
  local_ = naive;
  return kTrue;
}

std::int64_t SimulatedClock::LocalFileTime() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return local_;
}

Tick SimulatedClock::GetTickCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return tick_;
}

SystemTime SimulatedClock::GetLocalTime() const {
  std::lock_guard<std::mutex> lock(mutex_);
  // The simulator asks far more often than time moves; convert once per distinct instant.
  if (cachedAt_ != local_) {
    PreserveLastError keep;
    SystemTime t;
    if (NaiveSystemTime(local_, t)) {
      cached_ = t;
      cachedAt_ = local_;
    }
  }
  return cached_;
}

#ifndef _WIN32
namespace {

class PosixClock final : public Clock {
 public:
  Tick GetTickCount() const override {
    auto since = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<Tick>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
  }

  SystemTime GetLocalTime() const override {
    auto now = std::chrono::system_clock::now();
    std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    localtime_r(&seconds, &parts);
    SystemTime t;
    t.year = static_cast<std::uint16_t>(parts.tm_year + 1900);
    t.month = static_cast<std::uint16_t>(parts.tm_mon + 1);
    t.dayOfWeek = static_cast<std::uint16_t>(parts.tm_wday);
    t.day = static_cast<std::uint16_t>(parts.tm_mday);
    t.hour = static_cast<std::uint16_t>(parts.tm_hour);
    t.minute = static_cast<std::uint16_t>(parts.tm_min);
    t.second = static_cast<std::uint16_t>(parts.tm_sec < 60 ? parts.tm_sec : 59);  // leap second
    t.milliseconds = static_cast<std::uint16_t>(ms < 0 ? 0 : ms);
    return t;
  }
};

}  // namespace

std::unique_ptr<Clock> CreateSystemClock() { return std::make_unique<PosixClock>(); }
#endif

}  // namespace tv
