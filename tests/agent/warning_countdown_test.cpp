// The warning's countdown on a given clock.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "agent/warning.h"
#include "agent/warning_countdown.h"
#include "settings/my_opts.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

bool Has(const std::wstring& text, const wchar_t* part) { return text.find(part) != std::wstring::npos; }

TEST(WarningCountdown, BuiltInTextCountsDownFromTheFullTimeAndKeepsItsLastReading) {
  MyOpts opts;
  opts.MessageTimeout = 5;
  WarningCountdown countdown;
  const std::int64_t start = 1'700'000'000;
  countdown.Start(opts, start);
  EXPECT_EQ(countdown.Deadline(), start + 300);

  EXPECT_TRUE(Has(countdown.InitialText(), L"in less than 5:00 minute(s)"));
  std::wstring text;
  ASSERT_TRUE(countdown.TextAt(start + 1, text));
  EXPECT_TRUE(Has(text, L"in less than 4:59 minute(s)"));
  ASSERT_TRUE(countdown.TextAt(start + 61, text));
  EXPECT_TRUE(Has(text, L"3:59"));
  ASSERT_TRUE(countdown.TextAt(start + 299, text));
  EXPECT_TRUE(Has(text, L"0:01"));
  EXPECT_FALSE(countdown.TextAt(start + 300, text));
  EXPECT_FALSE(countdown.TextAt(start + 10'000, text));
  EXPECT_TRUE(Has(text, L"0:01")) << "past the deadline the box keeps its last reading";
}

TEST(WarningCountdown, CustomTextsCountDownInEveryPlaceholderOrStayAsWritten) {
  MyOpts opts;
  opts.MessageTimeout = 2;
  std::wcscpy(opts.MessageText, L"Left: %d. Really, %d!");
  WarningCountdown countdown;
  countdown.Start(opts, 0);
  EXPECT_EQ(countdown.InitialText(), L"Left: 2:00. Really, 2:00!");
  std::wstring text;
  ASSERT_TRUE(countdown.TextAt(31, text));
  EXPECT_EQ(text, L"Left: 1:29. Really, 1:29!");

  std::wcscpy(opts.MessageText, L"Save your work now.");
  EXPECT_EQ(countdown.InitialText(), L"Save your work now.");
  ASSERT_TRUE(countdown.TextAt(100, text));
  EXPECT_EQ(text, L"Save your work now.");

  // The lowest time-out the settings allow is still a full countdown, never a negative one.
  opts.MessageTimeout = 0;
  countdown.Start(opts, 50);
  EXPECT_FALSE(countdown.TextAt(50, text));
}

#ifndef _WIN32
TEST(WarningCountdown, MessageModeWithoutAMonitorWindowShowsTheWarningItself) {
  test::MessageRecorder messages;
  EXPECT_EQ(RunMessageMode(3), 0);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_TRUE(Has(messages.shown[0].text, L"less than 5:00 minute(s)")) << "the default time-out";
  EXPECT_EQ(messages.shown[0].icon, MsgIcon::kWarning);
  EXPECT_EQ(GetOpenWarningBox(), nullptr) << "nothing is left open";
}
#endif

}  // namespace
}  // namespace tv
