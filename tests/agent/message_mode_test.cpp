// The "/msg" process with no agent in the session, on the portable layer: what its answer does
// to the session's events. The box itself and the quit event ending it are warning_e2e_test's.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <string>

#include "agent/warning.h"
#include "foundation/event.h"
#include "foundation/object_names.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

// Made as the service makes them: the user may only set the idle event and wait on the quit one.
struct TaggedSession {
  Event idle, quit;
  bool Create(DWORD session, const std::wstring& tag) {
    return idle.CreateNewForUser(IdleEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU", kEventModifyState,
                                 kFalse, kFalse) &&
           quit.CreateNewForUser(QuitEventName(L"Tarnvale", tag).c_str(), kTrue, L"IU", kSynchronize, kTrue, kFalse);
  }
};

TEST(MessageMode, OkIsActivityOfItsOwnSessionOnlyAndNotOnceTheSessionWasLetGo) {
  TaggedSession tagged, plain;
  ASSERT_TRUE(tagged.Create(3, L"5eed"));
  ASSERT_TRUE(plain.Create(3, L""));
  // The session number is part of the name too.
  Event otherIdle;
  ASSERT_TRUE(otherIdle.CreateNewForUser(IdleEventName(L"Tarnvale", 4, L"5eed").c_str(), kTrue, L"IU",
                                         kEventModifyState, kFalse, kFalse));

  {
    test::MessageRecorder ok(kAnswerOk);
    EXPECT_EQ(RunMessageMode(3, L"5eed"), 0);
    EXPECT_EQ(ok.shown.size(), 1u);
  }
  EXPECT_TRUE(tagged.idle.Wait(0)) << "OK pressed: the user is there";
  EXPECT_FALSE(plain.idle.Wait(0)) << "the plain name is another service's object";
  EXPECT_FALSE(otherIdle.Wait(0));

  {
    test::MessageRecorder cancel(kAnswerCancel);
    EXPECT_EQ(RunMessageMode(3, L"5eed"), 0);
  }
  EXPECT_FALSE(tagged.idle.Wait(0)) << "closing the box is no answer";

  // The service has let the session go while the box was up: its answer changes nothing.
  tagged.quit.Set();
  {
    test::MessageRecorder ok(kAnswerOk);
    EXPECT_EQ(RunMessageMode(3, L"5eed"), 0);
  }
  EXPECT_FALSE(tagged.idle.Wait(0));

  // Without a tag (started by hand) the plain names, as before tags existed; the plain quit
  // event is the whole service's, which says nothing about this session.
  plain.quit.Set();
  {
    test::MessageRecorder ok(kAnswerOk);
    EXPECT_EQ(RunMessageMode(3), 0);
  }
  EXPECT_TRUE(plain.idle.Wait(0));
  EXPECT_FALSE(tagged.idle.Wait(0));
}

}  // namespace
}  // namespace tv

#else
TEST(MessageMode, PortableOnly) { GTEST_SKIP() << "under Windows the box is real: warning_e2e_test drives it"; }
#endif
