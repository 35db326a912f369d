// The warning's countdown on a given clock, and the "/msg" process that shows it without an agent.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "agent/warning.h"
#include "agent/warning_countdown.h"
#include "foundation/event.h"
#include "foundation/object_names.h"
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
// The "/msg" process with no agent in the session, on the portable layer: it shows the warning
// itself, and its answer is activity of its own session only, and not once the session was let
// go. The box itself and the quit event ending it are warning_e2e_test's.
struct TaggedSession {
  Event idle, quit;
  bool Create(DWORD session, const std::wstring& tag) {
    return idle.CreateNewForUser(IdleEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU", kEventModifyState,
                                 kFalse, kFalse) &&
           quit.CreateNewForUser(QuitEventName(L"Tarnvale", tag).c_str(), kTrue, L"IU", kSynchronize, kTrue, kFalse);
  }
};

TEST(MessageMode, ShowsTheWarningItselfAndOkIsActivityOfItsOwnSessionOnly) {
  TaggedSession tagged, plain;
  ASSERT_TRUE(tagged.Create(3, L"5eed"));
  ASSERT_TRUE(plain.Create(3, L""));
  // The session number is part of the name too.
  Event otherIdle;
  ASSERT_TRUE(otherIdle.CreateNewForUser(IdleEventName(L"Tarnvale", 4, L"5eed").c_str(), kTrue, L"IU",
                                         kEventModifyState, kFalse, kFalse));
  const auto answer = [](int button, const wchar_t* tag) {
    test::MessageRecorder messages(button);
    EXPECT_EQ(RunMessageMode(3, tag), 0);
    EXPECT_EQ(messages.shown.size(), 1u);
    return messages.shown.empty() ? test::MessageRecorder::Shown{} : messages.shown[0];
  };
  const auto shown = answer(kAnswerOk, L"5eed");
  EXPECT_TRUE(Has(shown.text, L"less than 5:00 minute(s)")) << "the default time-out";
  EXPECT_EQ(shown.icon, MsgIcon::kWarning);
  EXPECT_EQ(GetOpenWarningBox(), nullptr) << "nothing is left open";
  EXPECT_TRUE(tagged.idle.Wait(0)) << "OK pressed: the user is there";
  EXPECT_FALSE(plain.idle.Wait(0)) << "the plain name is another service's object";
  EXPECT_FALSE(otherIdle.Wait(0));

  answer(kAnswerCancel, L"5eed");
  EXPECT_FALSE(tagged.idle.Wait(0)) << "closing the box is no answer";
  // The service has let the session go while the box was up: its answer changes nothing.
  tagged.quit.Set();
  answer(kAnswerOk, L"5eed");
  EXPECT_FALSE(tagged.idle.Wait(0));

  // Without a tag (started by hand) the plain names; the plain quit event is the whole
  // service's, which says nothing about this session.
  plain.quit.Set();
  answer(kAnswerOk, L"");
  EXPECT_TRUE(plain.idle.Wait(0));
  EXPECT_FALSE(tagged.idle.Wait(0));
}
#endif

}  // namespace
}  // namespace tv
