// Schedule texts from arbitrary bytes: reading never fails badly, and whatever reads is a set of
// half hours that its canonical text reproduces exactly and that the seconds count agrees with.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/local_time.h"
#include "settings/schedule.h"
#include "settings/schedule_grid.h"

namespace {
void Check(bool ok) {
  if (!ok) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tv;
  // The first two bytes pick the half hour asked about; the rest, one character a byte, is the text.
  if (size < 2) return 0;
  const int slot = (data[0] | data[1] << 8) % (7 * kCellsPerDay);
  std::wstring text;
  for (std::size_t i = 2; i < size && data[i] != 0; ++i) text += static_cast<wchar_t>(data[i]);

  Schedule schedule;
  schedule.Set(text.c_str());
  PeriodList list;
  const wchar_t* bad = schedule.Parse(list);
  const std::wstring stored = schedule.Get();
  if (bad) {
    Check(bad >= schedule.Get() && bad < schedule.Get() + stored.size());
    return 0;
  }
  for (const AllowedPeriod& p : list) {
    Check(p.day <= 6 && p.startHour <= 23 && (p.startMinute == 0 || p.startMinute == 30));
    Check(p.endHour * 60 + p.endMinute > p.startHour * 60 + p.startMinute && p.endHour * 60 + p.endMinute <= 1440);
  }

  const WeekGrid grid = GridFromPeriods(list);
  const std::wstring canonical = FormatSchedule(grid);
  PeriodList again;
  Check(Schedule::ParseText(canonical.c_str(), again) == nullptr);
  const WeekGrid regrown = GridFromPeriods(again);
  Check(regrown == grid);
  Check(FormatSchedule(regrown) == canonical);

  // The count's sign says whether the half hour asked about is active.
  if (schedule.IsDefault()) return 0;
  // A week from Sunday 24 March 2024, in a zone whose clocks go forward on the Sunday after it,
  // so the longer counts cross the change.
  const SystemTime sunday{2024, 3, 0, 24}, change{2024, 3, 0, 31, 1};
  SystemTime now;
  Check(AddDays(sunday, slot / kCellsPerDay, now));
  const int cell = slot % kCellsPerDay;
  now.hour = static_cast<std::uint16_t>(cell / 2);
  now.minute = static_cast<std::uint16_t>(cell % 2 * 30 + 15);
  FileTime changeAt = 0;
  Check(NaiveFileTime(change, changeAt));
  FixedTimeZone zone(3600);
  zone.AddChange(changeAt, 7200);
  const std::int32_t seconds = schedule.GetSecondsRemaining(now, nullptr, 0, zone);
  if (grid.IsAllOff() || grid.IsAllOn()) {
    Check(seconds == Schedule::kAlwaysOn);
  } else {
    const bool active = grid.IsActive(now.dayOfWeek, cell);
    Check(active ? seconds >= 0 : seconds < 0);
    Check(seconds > -8 * 86400 && seconds < 8 * 86400);
  }
  return 0;
}
