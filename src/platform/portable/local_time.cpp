// The fixed-rule zone for tests and the simulator (both platforms), and the portable body of the
// computer's zone: the C library's local time, which follows TZ.
#include <algorithm>
#include <ctime>

#include "platform/local_time.h"

namespace tv {

void FixedTimeZone::AddChange(FileTime utc, std::int32_t offsetSeconds) {
  auto at = std::upper_bound(changes_.begin(), changes_.end(), utc,
                             [](FileTime t, const Change& c) { return t < c.at; });
  changes_.insert(at, Change{utc, offsetSeconds});
}

BOOL FixedTimeZone::OffsetAt(FileTime utc, std::int32_t& offsetSeconds) const {
  if (failing_) return Fail(failureCode_);
  auto next = std::upper_bound(changes_.begin(), changes_.end(), utc,
                               [](FileTime t, const Change& c) { return t < c.at; });
  offsetSeconds = next == changes_.begin() ? initialOffset_ : std::prev(next)->offset;
  return kTrue;
}

#ifndef _WIN32

namespace {

// Seconds from 1601-01-01 to the C library's epoch, 1970-01-01.
constexpr std::int64_t kEpochDifference = 11'644'473'600;

class CLibraryTimeZone final : public LocalTimeZone {
 public:
  BOOL OffsetAt(FileTime utc, std::int32_t& offsetSeconds) const override {
    std::int64_t seconds = utc / kFileTimePerSecond;
    if (utc % kFileTimePerSecond < 0) --seconds;
    const std::time_t t = static_cast<std::time_t>(seconds - kEpochDifference);
    std::tm local{};
    if (!localtime_r(&t, &local)) return Fail(err::kInvalidParameter);
    // The local reading minus the instant, rather than tm_gmtoff, which not every C library has.
    const std::int64_t shown = DaysFromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) * 86'400 +
                               local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    offsetSeconds = static_cast<std::int32_t>(shown - seconds);
    return kTrue;
  }
};

}  // namespace

const LocalTimeZone& SystemLocalTimeZone() {
  static const CLibraryTimeZone zone;
  return zone;
}

#endif  // !_WIN32

}  // namespace tv
