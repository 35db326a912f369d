// Local wall-clock time and absolute time. The weekly schedule speaks in local wall-clock times,
// but "how many seconds until 17:00 next Tuesday" must count real seconds, across month and year
// ends and daylight-saving changes. A zone answers one question, the offset of local time from
// UTC at an instant; both directions of conversion are built on that answer, so every zone (the
// computer's, or a fake with chosen transitions) resolves ambiguous wall-clock times the same way.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/last_error.h"
#include "platform/system_time.h"
#include "platform/types.h"

namespace tv {

// An absolute instant: 100-nanosecond intervals since 1601-01-01 00:00 UTC, as Windows' FILETIME.
using FileTime = std::int64_t;
inline constexpr FileTime kFileTimePerSecond = 10'000'000;

// Calendar arithmetic on the proleptic Gregorian calendar, no time zone involved.

// True when year, month, day, hour, minute, second and milliseconds form a real calendar time in
// the range Windows accepts (years 1601..30827). The day of the week is not checked.
bool IsValidCalendarTime(const SystemTime& t);

// Days since 1601-01-01 of a date (no range check).
std::int64_t DaysFromCivil(int year, int month, int day);

// `t` with its date moved by `days` (negative moves back) and its day of the week set to match;
// the clock fields stay. Answers 0 when `t` is not a valid calendar time or the result leaves
// the supported range.
BOOL AddDays(const SystemTime& t, int days, SystemTime& out);

// The fields of `t` read as if they were UTC: the "naive" instant of a wall-clock time.
// Answers 0 when `t` is not a valid calendar time.
BOOL NaiveFileTime(const SystemTime& t, FileTime& out);

// The calendar time of instant `t` read in UTC, day of the week filled. Answers 0 outside the
// supported range.
BOOL NaiveSystemTime(FileTime t, SystemTime& out);

// A time zone's rules: the offset of local time from UTC at any instant.
class LocalTimeZone {
 public:
  virtual ~LocalTimeZone() = default;

  // Local time minus UTC, in seconds, in force at instant `utc` (daylight saving included).
  // Answers 0 with the last-error code set when the zone cannot tell.
  virtual BOOL OffsetAt(FileTime utc, std::int32_t& offsetSeconds) const = 0;

  // The instant a local wall-clock time stands for: the first instant at which the local clock
  // shows `local` or a later time. So a time in a fall-back overlap (shown twice) means its first
  // occurrence, and a time in a spring-forward gap (never shown) means the instant of the jump,
  // when the clock first shows a later time. The mapping never runs backwards: an earlier
  // wall-clock time never stands for a later instant. Answers 0 for an invalid calendar time
  // or when the zone cannot tell; `out` is then untouched.
  BOOL ToFileTime(const SystemTime& local, FileTime& out) const;

  // The local wall-clock time at instant `utc`, day of the week filled.
  BOOL ToLocal(FileTime utc, SystemTime& out) const;

  // `local` moved on by `seconds` of real time (negative moves back), as a local time.
  BOOL AddSeconds(const SystemTime& local, std::int64_t seconds, SystemTime& out) const;
};

// The computer's own zone: Windows' current time zone, or the C library's (TZ) elsewhere.
const LocalTimeZone& SystemLocalTimeZone();

// A zone with a fixed standard offset and a list of offset changes at chosen instants, for tests
// and the simulator. It can be told to fail, as a zone whose rules cannot be read would.
class FixedTimeZone final : public LocalTimeZone {
 public:
  explicit FixedTimeZone(std::int32_t offsetSeconds = 0) : initialOffset_(offsetSeconds) {}

  // From instant `utc` on, the offset is `offsetSeconds` (until a later change). Changes may be
  // added in any order.
  void AddChange(FileTime utc, std::int32_t offsetSeconds);

  // While set, OffsetAt fails with `code`.
  void SetFailure(bool failing, ErrorCode code = err::kGenFailure) {
    failing_ = failing;
    failureCode_ = code;
  }

  BOOL OffsetAt(FileTime utc, std::int32_t& offsetSeconds) const override;

 private:
  struct Change {
    FileTime at;
    std::int32_t offset;
  };
  std::int32_t initialOffset_;
  std::vector<Change> changes_;  // sorted by instant
  bool failing_ = false;
  ErrorCode failureCode_ = err::kGenFailure;
};

}  // namespace tv
