// What administrators type instead of the schedule format, the mistake named and the canonical
// text offered; and every schedule the documents show, read by the parser.
#include "settings/schedule_advice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <string>

#include "settings/schedule.h"
#include "settings/schedule_examples.h"
#include "settings/schedule_grid.h"

namespace tv {
namespace {

std::wstring Widen(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

// Reads as the service reads it: "*", or periods that leave some half hour active.
bool ServiceReads(const std::wstring& text) {
  Schedule s;
  s.Set(text.c_str());
  if (s.IsDefault()) return true;
  PeriodList periods;
  return !s.Parse(periods) && !GridFromPeriods(periods).IsAllOff();
}

TEST(ScheduleAdvice, NamesTheMistakeAndWritesWhatWasMeant) {
  struct Case {
    const wchar_t* typed;
    const wchar_t* mistake;  // part of the named mistake
    const wchar_t* rewrite;  // "" when what was meant cannot be told
  };
  const Case cases[] = {
      // Several days in one period: one period for each, round the week end.
      {L"Mon-Fri 8:00-18:00", L"\"Mon-Fri\" names several days",
       L"Mon 8:00-18:00, Tue 8:00-18:00, Wed 8:00-18:00, Thu 8:00-18:00, Fri 8:00-18:00"},
      {L"Fri - Mon 9:00-10:00", L"names several days",
       L"Fri 9:00-10:00, Sat 9:00-10:00, Sun 9:00-10:00, Mon 9:00-10:00"},
      {L"Mon, Wed 9:00-10:00", L"names several days", L"Mon 9:00-10:00, Wed 9:00-10:00"},
      // Day names: case, full names, their starts.
      {L"mon 8:00-18:00", L"\"mon\" should be Mon", L"Mon 8:00-18:00"},
      {L"Thursday 8:00-9:00", L"\"Thursday\" should be Thu", L"Thu 8:00-9:00"},
      {L"tues-THU 8:00-9:00", L"day names are written", L"Tue 8:00-9:00, Wed 8:00-9:00, Thu 8:00-9:00"},
      // A period ends on its own day: past midnight is two, into the next week too.
      {L"Mon 18:00-08:00", L"runs past midnight", L"Mon 18:00-24:00, Tue 0:00-8:00"},
      {L"Sat 22:00-6:30", L"runs past midnight", L"Sat 22:00-24:00, Sun 0:00-6:30"},
      {L"Mon 18:00-0:00", L"\"0:00\" should be 24:00", L"Mon 18:00-24:00"},
      {L"Mon-Tue 22:00-6:00", L"runs past midnight",
       L"Mon 22:00-24:00, Tue 0:00-6:00, Tue 22:00-24:00, Wed 0:00-6:00"},
      // Times: half hours (rounded to cover what was asked), the 24-hour clock, hours:minutes.
      {L"Mon 8:15-17:45", L"\"8:15\" should be 8:00", L"Mon 8:00-18:00"},
      {L"Mon 23:45-24:00", L"half hours", L"Mon 23:30-24:00"},
      {L"Mon 23:00-24:30", L"\"24:30\" should be 24:00", L"Mon 23:00-24:00"},
      {L"Sat 9am-1:30 PM", L"24-hour clock", L"Sat 9:00-13:30"},
      {L"Sat 12am-12pm", L"24-hour clock", L"Sat 0:00-12:00"},
      {L"Sat 12pm-12am", L"should be 24:00", L"Sat 12:00-24:00"},
      {L"Mon 8-18", L"\"8\" should be 8:00", L"Mon 8:00-18:00"},
      {L"Mon 0800-1800", L"\"0800\" should be 8:00", L"Mon 8:00-18:00"},
      {L"Mon 8.30-17h30", L"hours:minutes", L"Mon 8:30-17:30"},
      // What joins and follows.
      {L"Mon8:00-9:00", L"put a blank between the day and the time", L"Mon 8:00-9:00"},
      {L"Mon 8:00 to 9:00", L"with \"-\"", L"Mon 8:00-9:00"},
      {L"Mon 8:00\u20139:00", L"with \"-\"", L"Mon 8:00-9:00"},
      {L"Mon 8:00-9:00Tue 10:00-11:00", L"put a comma between two periods", L"Mon 8:00-9:00, "},
      {L"Mon 8:00-9:00.", L"\".\" after the period", L"Mon 8:00-9:00"},
      {L" * ", L"without blanks", L"*"},
      // Nothing to guess.
      {L"Xyz 1:00-2:00", L"\"Xyz\" is not a day", L""},
      {L"Mon 25:00-26:00", L"\"25:00\" is not a time of day", L""},
      {L"Sat 13pm-2pm", L"\"13pm\" is not a time of day", L""},
      {L"Mon 8:00-8:00", L"covers no time", L""},
      {L"Mon 8:00-", L"has no end time", L""},
      {L"Mon", L"needs a start and an end time", L""},
      {L"8:00-17:00", L"a period starts with a day", L""},
      {L"Mon 8:00-9:00-10:00", L"one start and one end time", L""},
      {L"Mon 8:00-9:00, *", L"\"*\" means always only as the whole schedule", L""},
      {L";Mon 8:00-9:00", L"\";\" cannot be read", L""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.typed)));
    const std::optional<ScheduleAdvice> a = AdviseOnSchedule(c.typed);
    ASSERT_TRUE(a.has_value());
    EXPECT_NE(a->mistake.find(c.mistake), std::wstring::npos) << testing::PrintToString(a->mistake);
    EXPECT_EQ(a->rewrite, c.rewrite);
    if (*c.rewrite) {
      const std::wstring fixed = std::wstring(c.typed).replace(a->offset, a->length, a->rewrite);
      EXPECT_NE(DescribeScheduleAdvice(*a).find(L"write \"" + a->rewrite + L"\" instead"), std::wstring::npos);
      // The separator case leaves the next period to the next round.
      if (a->rewrite.back() != L' ') {
        EXPECT_TRUE(ServiceReads(fixed)) << testing::PrintToString(fixed);
      }
    } else {
      EXPECT_EQ(DescribeScheduleAdvice(*a), a->mistake);
      EXPECT_EQ(RewriteSchedule(c.typed), L"");
    }
  }
}

TEST(ScheduleAdvice, PointsAtTheRefusedPeriodAndRewritesTheWholeText) {
  const std::wstring text = L"Mon 8:00-9:00, tue 1:00-2:00; Wed 3:00-4:00";
  const std::optional<ScheduleAdvice> a = AdviseOnSchedule(text);
  ASSERT_TRUE(a.has_value());
  EXPECT_EQ(a->offset, 15u);
  EXPECT_EQ(a->typed, L"tue 1:00-2:00");
  EXPECT_EQ(text.substr(a->offset, a->length), L"tue 1:00-2:00");

  EXPECT_EQ(RewriteSchedule(L"mon 8:00-9:00, Tue 18:00-6:00; Fri-Sat 9-12 Sun 1:00-2:00Mon 3:00-4:00"),
            L"Mon 8:00-9:00, Tue 18:00-24:00, Wed 0:00-6:00; Fri 9:00-12:00, Sat 9:00-12:00 Sun 1:00-2:00, "
            L"Mon 3:00-4:00");
  EXPECT_EQ(RewriteSchedule(L"Mon 8:00-9:00, Tue 25:00-26:00"), L"");
  EXPECT_EQ(RewriteSchedule(L"Mon 8:00-9:00, "), L"Mon 8:00-9:00, ");

  // What reads as it stands needs no advice, "*" and blank text among it.
  for (const wchar_t* fine : {L"", L"*", L"  \t", L"Mon 8:00-17:30, ", L"Sun\r\n08:30 - -9:00;;,Sat 1:00 2:30"}) {
    EXPECT_FALSE(AdviseOnSchedule(fine).has_value()) << testing::PrintToString(std::wstring(fine));
  }
}

// The guide marks each schedule it shows: class="schedule" reads, class="schedule-typed" is a
// common mistake whose row goes on with what it is written as.
TEST(ScheduleDocuments, EveryScheduleTheUserGuideAndTheTemplatesShowReads) {
  for (const schedule_help::Example& e : schedule_help::kExamples) {
    EXPECT_TRUE(ServiceReads(Widen(e.text))) << e.text;
  }

  const std::filesystem::path guide =
      std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "docs" / "user-guide.html";
  std::string html;
  if (std::FILE* f = std::fopen(guide.string().c_str(), "rb")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) html.append(buffer, n);
    std::fclose(f);
  }
  ASSERT_FALSE(html.empty()) << guide;

  std::vector<std::string> shown;
  const std::regex example(R"(<code class="schedule">([^<]*)</code>)");
  for (auto it = std::sregex_iterator(html.begin(), html.end(), example); it != std::sregex_iterator(); ++it) {
    shown.push_back((*it)[1]);
    EXPECT_TRUE(ServiceReads(Widen(shown.back()))) << shown.back();
  }
  for (const schedule_help::Example& e : schedule_help::kExamples) {
    EXPECT_NE(std::find(shown.begin(), shown.end(), e.text), shown.end()) << "the guide leaves out " << e.text;
  }

  const std::regex mistake(R"(<code class="schedule-typed">([^<]*)</code></td><td><code class="schedule">([^<]*)</code>)");
  int mistakes = 0;
  for (auto it = std::sregex_iterator(html.begin(), html.end(), mistake); it != std::sregex_iterator(); ++it) {
    ++mistakes;
    const std::wstring typed = Widen((*it)[1]);
    EXPECT_FALSE(ServiceReads(typed)) << (*it)[1];
    EXPECT_EQ(RewriteSchedule(typed), Widen((*it)[2])) << (*it)[1];
  }
  const std::regex marked("schedule-typed");
  EXPECT_EQ(mistakes, std::distance(std::sregex_iterator(html.begin(), html.end(), marked), std::sregex_iterator()))
      << "each typed mistake sits in a row with what it is written as";
  EXPECT_GT(mistakes, 0);
}

}  // namespace
}  // namespace tv
