#include "simulator/report.h"

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace tv {
namespace {

TEST(Report, Utf8IsTheSameFromSixteenAndThirtyTwoBitWideText) {
  EXPECT_EQ(ToUtf8(L"CORP\\j\u00FCrgen \u20AC"), "CORP\\j\xC3\xBCrgen \xE2\x82\xAC");
  // U+1F600 is one wchar_t on Linux and a surrogate pair on Windows; both give four bytes.
  const std::wstring smile = sizeof(wchar_t) == 2 ? std::wstring{wchar_t(0xD83D), wchar_t(0xDE00)}
                                                  : std::wstring(1, wchar_t(0x1F600));
  EXPECT_EQ(ToUtf8(smile), "\xF0\x9F\x98\x80");
  // A lone surrogate cannot be encoded: a replacement character, never invalid bytes.
  EXPECT_EQ(ToUtf8(std::wstring{wchar_t(0xD800), L'x'}), "\xEF\xBF\xBDx");
}

TEST(Report, TimelineHasADayHeadingPerDayAndMarksWhoActed) {
  const Scenario s = test::MustParse(L"start 2024-01-06\nsession 12 user=j\u00FCrgen domain=CORP\n");
  SimulationResult r;
  auto add = [&](std::int64_t at, TimelineEntry::Kind kind, SessionId id, const wchar_t* text) {
    TimelineEntry e;
    e.at = at;
    e.kind = kind;
    e.session = id;
    e.account = id == kNoSession ? L"" : L"CORP\\j\u00FCrgen";
    e.text = text;
    r.timeline.push_back(e);
  };
  add(8 * 3600, TimelineEntry::Kind::kComputer, kNoSession, L"The computer starts.");
  add(8 * 3600 + 5, TimelineEntry::Kind::kUser, 12, L"logs on");
  add(86400 + 61, TimelineEntry::Kind::kService, 12, L"Tarnvale logged off the user 'CORP\\j\u00FCrgen'.");
  const std::string text = FormatTimeline(s, r);
  EXPECT_EQ(text,
            "\nSaturday 2024-01-06\n"
            "  08:00:00                    * The computer starts.\n"
            "  08:00:05  #12   CORP\\j\xC3\xBCrgen   logs on\n"
            "\nSunday 2024-01-07\n"
            "  00:01:01  #12   CORP\\j\xC3\xBCrgen > Tarnvale logged off the user 'CORP\\j\xC3\xBCrgen'.\n");
  EXPECT_EQ(FormatWhen(s, 86400 + 61), L"Sun 00:01:01");
}

}  // namespace
}  // namespace tv
