#include "service/event_texts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <utility>

#include "foundation/service_log.h"

namespace tv {
namespace {

TEST(EventTexts, EveryEntryTheServiceWritesHasItsText) {
  const DWORD written[] = {
      evt::kUpdateAvailable,    evt::kUpdateUpToDate,       evt::kUpdateInstalling,    evt::kUpdateCheckFailed,
      evt::kUpdatePackageRefused, evt::kUpdateInstallFailed,
      evt::kServiceStarted,     evt::kStopInitiated,        evt::kServiceStopped,      evt::kMonitoringStarted,
      evt::kSkippedExcluded,    evt::kSkippedExcludedGroup, evt::kSkippedNotApplied,   evt::kLoggedOff,
      evt::kShutdownInitiated,  evt::kSuspendInitiated,     evt::kStaleLoggedOff,      evt::kNotEnabledAtStart,
      evt::kNotEnabledAtLogon,  evt::kNotEnabledAtTimeout,  evt::kSparedLastActive,    evt::kScheduleInactive,
      evt::kLogoffFailed,       evt::kAgentStartFailed,     evt::kShutdownFailed,      evt::kSuspendFailed,
      evt::kStaleLogoffFailed,  evt::kSettingUnusable,      evt::kQuitWorkReceived,    evt::kAgentRestarted,
      evt::kHooksReinstalled,   evt::kObjectExisted,        evt::kAgentGaveUp,         evt::kSkippedGroupsUnknown,
      evt::kDecidedWithoutGroups, evt::kWarningShown,          evt::kLogoffDetails,       evt::kWarningNotShown,
      evt::kKeptAlive};
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

// The user guide lists every entry as Event Viewer shows it: the low 16 bits of the identifier as
// the event id, the level its severity gives, and the text with its insertions as %1, %2, ...
TEST(EventTexts, TheUserGuideListsEveryEntryAsEventViewerShowsIt) {
  const std::filesystem::path guide =
      std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "docs" / "user-guide.html";
  std::string html;
  if (std::FILE* f = std::fopen(guide.string().c_str(), "rb")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) html.append(buffer, n);
    std::fclose(f);
  }
  const std::size_t from = html.find("<table class=\"events\">");
  ASSERT_NE(from, std::string::npos) << guide;
  const std::string table = html.substr(from, html.find("</table>", from) - from);

  std::map<unsigned long, std::pair<std::string, std::string>> rows;
  const std::regex row(R"(<tr><td>(\d+)</td><td>(\w+)</td><td>([^<]*)</td></tr>)");
  for (auto it = std::sregex_iterator(table.begin(), table.end(), row); it != std::sregex_iterator(); ++it) {
    EXPECT_TRUE(rows.emplace(std::stoul((*it)[1]), std::make_pair((*it)[2], (*it)[3])).second) << (*it)[1];
  }
  EXPECT_EQ(rows.size(), AllEventTexts().size()) << "each event id has one row, and there is no other";
  for (const EventTextEntry& e : AllEventTexts()) {
    const auto found = rows.find(e.id & 0xFFFF);
    ASSERT_NE(found, rows.end()) << "the guide leaves out " << std::hex << e.id;
    const char* level = EventTypeOf(e.id) == EventType::kError     ? "Error"
                        : EventTypeOf(e.id) == EventType::kWarning ? "Warning"
                                                                   : "Information";
    EXPECT_EQ(found->second.first, level) << std::hex << e.id;
    const std::wstring text = TrimEventText(e.text);
    EXPECT_EQ(found->second.second, std::string(text.begin(), text.end())) << std::hex << e.id;
  }
}

}  // namespace
}  // namespace tv
