// The hook watchdog on virtual time: input the hooks did not report, reports that come in late,
// misses in a row leading to one re-installation, the gap before the next, the lock screen, and
// the tick-count wrap.
#include "agent/hook_watchdog.h"

#include <gtest/gtest.h>

#include "foundation/app_message.h"
#include "platform/portable/clock.h"

namespace tv {
namespace {

// The session as the agent sees it: the system's last-input tick, the hooks' reports, and the
// one-second timer.
class Session {
 public:
  explicit Session(Tick start) : clock_(start), lastInput_(start - 5000), dog_(clock_, lastInput_) {}

  // Input at the current tick; `hooksSee` whether the hooks report it (at once). The system
  // may stamp the input `stampAheadMs` later than the clock the report is stamped with reads.
  void Input(bool hooksSee, Tick stampAheadMs = 0) {
    lastInput_ = clock_.GetTickCount() + stampAheadMs;
    if (hooksSee) dog_.OnHookInput();
  }
  // A report of input made earlier, arriving only now.
  void LateReport() { dog_.OnHookInput(); }
  void Pass(Tick ms) { clock_.Advance(ms); }
  HookWatchdog::Verdict Tick1s() {
    clock_.Advance(1000);
    return dog_.OnTick(lastInput_);
  }
  HookWatchdog& Dog() { return dog_; }
  Tick LastInput() const { return lastInput_; }

 private:
  SimulatedClock clock_;
  Tick lastInput_;
  HookWatchdog dog_;
};

// What a run of seconds gave: 'm' missed input, 'R' missed and re-install, '.' nothing.
std::string Trace(std::initializer_list<HookWatchdog::Verdict> verdicts) {
  std::string out;
  for (const auto& v : verdicts) out += v.reinstall ? 'R' : v.missedInput ? 'm' : '.';
  return out;
}

TEST(HookWatchdog, LiveHooksNeverMissAndALateReportSettlesItsTick) {
  for (Tick start : {Tick{0}, Tick{0xFFFFFFFFu - 2500}}) {
    SCOPED_TRACE(start);
    Session s(start);
    EXPECT_EQ(Trace({s.Tick1s()}), ".") << "input before the hooks were installed is not theirs";
    std::string trace;
    for (int i = 0; i < 10; ++i) {
      s.Input(true);
      s.Pass(300);
      s.Input(true);
      trace += Trace({s.Tick1s()});
    }
    EXPECT_EQ(trace, "..........");
    // The system's stamp a clock step ahead of the report's is still the reported input.
    trace.clear();
    for (int i = 0; i < 4; ++i) {
      s.Input(true, 16);
      trace += Trace({s.Tick1s()});
    }
    EXPECT_EQ(trace, "....");
    // Input just before the tick whose report comes in after it: counted as missed once (it is
    // input all the same), then the late report proves the hooks alive and the row starts over.
    // However often that happens, it never adds up to a re-installation.
    trace.clear();
    for (int i = 0; i < 5; ++i) {
      s.Pass(990);
      s.Input(false);
      trace += Trace({s.Tick1s()});
      s.LateReport();
      trace += Trace({s.Tick1s()});
    }
    EXPECT_EQ(trace, "m.m.m.m.m.");
    EXPECT_EQ(s.Dog().Misses(), 0);
  }
}

TEST(HookWatchdog, MissesInARowReinstallOnceThenWaitForTheGap) {
  for (Tick start : {Tick{1000}, Tick{0xFFFFFFFFu - 3500}}) {
    SCOPED_TRACE(start);
    Session s(start);
    // Dead hooks and a typing user: the third second in a row re-installs.
    std::string trace;
    for (int i = 0; i < 4; ++i) {
      s.Input(false);
      trace += Trace({s.Tick1s()});
    }
    EXPECT_EQ(trace, "mmRm");
    // Seconds without any input neither count nor break the row.
    trace = Trace({s.Tick1s(), s.Tick1s()});
    s.Input(false);
    trace += Trace({s.Tick1s()});
    EXPECT_EQ(trace, "..m");
    EXPECT_EQ(s.Dog().Misses(), 2);
    // A report in between starts the row over.
    s.Input(true);
    trace = Trace({s.Tick1s()});
    for (int i = 0; i < 2; ++i) {
      s.Input(false);
      trace += Trace({s.Tick1s()});
    }
    EXPECT_EQ(trace, ".mm");
    // Still missing: the row is full, but the second re-installation waits for the gap (which
    // also spans the tick-count wrap for the second start). Input keeps counting meanwhile.
    int reinstalls = 0, missed = 0;
    Tick waited = 0;
    while (reinstalls == 0 && waited < 2 * HookWatchdog::kMinReinstallGapMs) {
      s.Input(false);
      const auto v = s.Tick1s();
      waited += 1000;
      reinstalls += v.reinstall;
      missed += v.missedInput;
    }
    EXPECT_EQ(reinstalls, 1);
    EXPECT_EQ(missed, static_cast<int>(waited / 1000));
    // From the first re-installation (7 ticks before this loop began) to the second: the gap.
    EXPECT_EQ(waited + 7000, HookWatchdog::kMinReinstallGapMs);
  }
}

TEST(HookWatchdog, OneHookGoneIsAMissWhenTheLatestInputWasNotReported) {
  Session s(50000);
  // The keyboard hook reports early in the second, the mouse hook is gone and the pointer moves
  // last: the session's last input is newer than any report.
  std::string trace;
  for (int i = 0; i < 3; ++i) {
    s.Input(true);
    s.Pass(400);
    s.Input(false);
    trace += Trace({s.Tick1s()});
  }
  EXPECT_EQ(trace, "mmR");
  // Both hooks back: nothing more.
  s.Input(true);
  EXPECT_EQ(Trace({s.Tick1s()}), ".");
}

TEST(HookWatchdog, TheLockScreenIsNotCountedAndUnlockStartsAfresh) {
  Session s(0x7FFFFF00u);
  s.Input(false);
  EXPECT_EQ(Trace({s.Tick1s()}), "m");
  s.Dog().Suspend();
  // A password typed on the system's desktop: the session's input moves, the hooks see none.
  std::string trace;
  for (int i = 0; i < 5; ++i) {
    s.Input(false);
    trace += Trace({s.Tick1s()});
  }
  s.Input(false);  // the last key, just before the unlock notification
  s.Dog().Resume(s.LastInput());
  trace += Trace({s.Tick1s()});
  EXPECT_EQ(trace, "......");
  EXPECT_EQ(s.Dog().Misses(), 0) << "the miss before the lock does not carry over";
  for (int i = 0; i < 3; ++i) {
    s.Input(false);
    trace += Trace({s.Tick1s()});
  }
  EXPECT_EQ(trace, "......mmR");
}

TEST(HookWatchdog, MissedInputCountsAsAWatchedDevice) {
  EXPECT_EQ(HookWatchdog::MissedInputKind(kTrue, kTrue), kActivityKeyboard);
  EXPECT_EQ(HookWatchdog::MissedInputKind(kTrue, kFalse), kActivityKeyboard);
  EXPECT_EQ(HookWatchdog::MissedInputKind(kFalse, kTrue), kActivityMouse);
  EXPECT_EQ(HookWatchdog::MissedInputKind(kFalse, kFalse), kActivityNone);
}

}  // namespace
}  // namespace tv
