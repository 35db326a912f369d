// Calendar arithmetic and the zone-independent half of local-time conversion, shared by all zones.
#include "platform/local_time.h"

#include <algorithm>

namespace tv {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr FileTime kFileTimePerDay = kSecondsPerDay * kFileTimePerSecond;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days since 1970-01-01 (H. Hinnant's days_from_civil), exact for any Gregorian date.
std::int64_t DaysFromEpoch(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void CivilFromEpochDays(std::int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(static_cast<std::int64_t>(yoe) + era * 400 + (month <= 2));
}

const std::int64_t kEpochOf1601 = DaysFromEpoch(1601, 1, 1);

}  // namespace

bool IsValidCalendarTime(const SystemTime& t) {
  if (t.year < kFirstYear || t.year > kLastYear || t.month < 1 || t.month > 12) return false;
  if (t.day < 1 || t.day > DaysInMonth(t.year, t.month)) return false;
  return t.hour < 24 && t.minute < 60 && t.second < 60 && t.milliseconds < 1000;
}

std::int64_t DaysFromCivil(int year, int month, int day) {
  return DaysFromEpoch(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) - kEpochOf1601;
}

BOOL NaiveFileTime(const SystemTime& t, FileTime& out) {
  if (!IsValidCalendarTime(t)) return Fail(err::kInvalidParameter);
  const std::int64_t seconds =
      DaysFromCivil(t.year, t.month, t.day) * kSecondsPerDay + t.hour * 3600 + t.minute * 60 + t.second;
  out = seconds * kFileTimePerSecond + static_cast<FileTime>(t.milliseconds) * 10'000;
  return kTrue;
}

BOOL NaiveSystemTime(FileTime t, SystemTime& out) {
  if (t < 0) return Fail(err::kInvalidParameter);
  const std::int64_t days = t / kFileTimePerDay;
  FileTime rest = t % kFileTimePerDay;
  int year = 0, month = 0, day = 0;
  CivilFromEpochDays(days + kEpochOf1601, year, month, day);
  if (year > kLastYear) return Fail(err::kInvalidParameter);
  SystemTime r;
  r.year = static_cast<std::uint16_t>(year);
  r.month = static_cast<std::uint16_t>(month);
  r.day = static_cast<std::uint16_t>(day);
  r.dayOfWeek = static_cast<std::uint16_t>((days + 1) % 7);  // 1601-01-01 was a Monday
  r.hour = static_cast<std::uint16_t>(rest / (3600 * kFileTimePerSecond));
  rest %= 3600 * kFileTimePerSecond;
  r.minute = static_cast<std::uint16_t>(rest / (60 * kFileTimePerSecond));
  rest %= 60 * kFileTimePerSecond;
  r.second = static_cast<std::uint16_t>(rest / kFileTimePerSecond);
  r.milliseconds = static_cast<std::uint16_t>(rest % kFileTimePerSecond / 10'000);
  out = r;
  return kTrue;
}

BOOL AddDays(const SystemTime& t, int days, SystemTime& out) {
  FileTime naive = 0;
  if (!NaiveFileTime(t, naive)) return kFalse;
  return NaiveSystemTime(naive + static_cast<FileTime>(days) * kFileTimePerDay, out);
}

BOOL LocalTimeZone::ToFileTime(const SystemTime& local, FileTime& out) const {
  FileTime naive = 0;
  if (!NaiveFileTime(local, naive)) return kFalse;

  // The instant lies within a day of the naive one (offsets are below a day), so the offsets in
  // force a day either side are the only ones it can have been read with.
  std::int32_t offsets[3];
  for (int i = 0; i < 3; ++i) {
    if (!OffsetAt(naive + (i - 1) * kFileTimePerDay, offsets[i])) return kFalse;
  }
  bool found = false;
  FileTime best = 0;
  for (std::int32_t offset : offsets) {
    const FileTime candidate = naive - offset * kFileTimePerSecond;
    std::int32_t actual = 0;
    if (!OffsetAt(candidate, actual)) return kFalse;
    // Shown at `candidate` indeed; of two such instants (an overlap) the earlier one counts.
    if (actual == offset && (!found || candidate < best)) {
      best = candidate;
      found = true;
    }
  }
  if (!found) {
    // A spring-forward gap: the clock jumps over `local`. Find the jump: the first instant whose
    // local reading is not earlier than `local`. Between the two readings there is one change,
    // so "reads at least `local`" turns true once and stays true.
    const std::int32_t low = *std::min_element(offsets, offsets + 3);
    const std::int32_t high = *std::max_element(offsets, offsets + 3);
    FileTime before = naive - high * kFileTimePerSecond;  // reads earlier than `local`
    FileTime after = naive - low * kFileTimePerSecond;    // reads later than `local`
    if (low == high) {
      best = after;  // a zone that contradicts itself; take its one offset at its word
    } else {
      while (after - before > 1) {
        const FileTime mid = before + (after - before) / 2;
        std::int32_t offset = 0;
        if (!OffsetAt(mid, offset)) return kFalse;
        if (mid + offset * kFileTimePerSecond >= naive) {
          after = mid;
        } else {
          before = mid;
        }
      }
      best = after;
    }
  }
  out = best;
  return kTrue;
}

BOOL LocalTimeZone::ToLocal(FileTime utc, SystemTime& out) const {
  std::int32_t offset = 0;
  if (!OffsetAt(utc, offset)) return kFalse;
  return NaiveSystemTime(utc + offset * kFileTimePerSecond, out);
}

BOOL LocalTimeZone::AddSeconds(const SystemTime& local, std::int64_t seconds, SystemTime& out) const {
  // Beyond this no result can be in range, and the product below would overflow.
  constexpr std::int64_t kLimit = std::int64_t{1} << 40;
  if (seconds > kLimit || seconds < -kLimit) return Fail(err::kInvalidParameter);
  FileTime t = 0;
  if (!ToFileTime(local, t)) return kFalse;
  return ToLocal(t + seconds * kFileTimePerSecond, out);
}

}  // namespace tv
