#include "service/event_texts.h"

#include <gtest/gtest.h>

#include "service/service_log.h"

namespace tv {
namespace {

TEST(EventTexts, EveryEntryTheServiceWritesHasItsText) {
  const DWORD written[] = {
      evt::kServiceStarted,     evt::kStopInitiated,        evt::kServiceStopped,      evt::kMonitoringStarted,
      evt::kSkippedExcluded,    evt::kSkippedExcludedGroup, evt::kSkippedNotApplied,   evt::kLoggedOff,
      evt::kShutdownInitiated,  evt::kSuspendInitiated,     evt::kStaleLoggedOff,      evt::kNotEnabledAtStart,
      evt::kNotEnabledAtLogon,  evt::kNotEnabledAtTimeout,  evt::kSparedLastActive,    evt::kScheduleInactive,
      evt::kLogoffFailed,       evt::kAgentStartFailed,     evt::kShutdownFailed,      evt::kSuspendFailed,
      evt::kStaleLogoffFailed,  evt::kSettingUnusable,      evt::kQuitWorkReceived,    evt::kAgentRestarted,
      evt::kHooksReinstalled,   evt::kObjectExisted,        evt::kAgentGaveUp,         evt::kSkippedGroupsUnknown,
      evt::kDecidedWithoutGroups};
  // Each is one line ending as the message compiler leaves it, and the table is in identifier order.
  for (DWORD id : written) {
    const std::wstring t = FindEventText(id) ? FindEventText(id) : L"";
    EXPECT_EQ(t.find(L"\r\n"), t.size() - 2) << std::hex << id;
  }
  EXPECT_EQ(AllEventTexts().size(), std::size(written));
  for (std::size_t i = 1; i < AllEventTexts().size(); ++i) EXPECT_LT(AllEventTexts()[i - 1].id, AllEventTexts()[i].id);
}

TEST(EventTexts, InsertionsAreFilledAsTheEventViewerFillsThem) {
  EXPECT_EQ(FormatEventText(0x60000006, {L"CORP\\alice"}), L"Tarnvale started monitoring the user 'CORP\\alice'. \r\n");
  EXPECT_EQ(FormatEventText(0xe000000b, {L"bob", L"5"}), L"Tarnvale could not log off the user 'bob'. (Code 5)\r\n");
  // A missing insertion stays visible rather than vanishing; an inserted "%1" is not read again.
  EXPECT_EQ(FormatEventText(0xe000000b, {L"%2"}), L"Tarnvale could not log off the user '%2'. (Code %2)\r\n");
  EXPECT_EQ(FormatEventText(0x60000099, {L"x", L"y"}), L"Event 0x60000099 [x] [y]");
  EXPECT_EQ(TrimEventText(FormatEventText(0x60000006, {L"a"})), L"Tarnvale started monitoring the user 'a'.");
  EXPECT_EQ(TrimEventText(L" \r\n \r\n"), L"");
}

}  // namespace
}  // namespace tv
