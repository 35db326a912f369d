// The agent's rate rule on virtual time: how often input turns into idle-event signals, which
// kind a pending signal carries, what the settings filter out, and the tick-count wrap.
#include "agent/activity_gate.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/portable/clock.h"

namespace tv {
namespace {

struct Signal {
  Tick at;
  int kind;
};

// Drives a gate like the agent does: input every `inputEveryMs`, the timer every second starting
// `timerPhaseMs` in, for `durationMs`; answers every signal with its time.
std::vector<Signal> RunContinuousInput(Tick start, Tick inputEveryMs, Tick timerPhaseMs, Tick durationMs,
                                       int kind = kActivityKeyboard) {
  SimulatedClock clock(start);
  ActivityGate gate(clock);
  gate.SetRules(kTrue, kTrue, kTrue, kFalse, 25);
  std::vector<Signal> signals;
  for (Tick t = 0; t < durationMs; ++t) {
    if (t % inputEveryMs == 0) {
      if (int k = gate.OnActivity(kind)) signals.push_back({clock.GetTickCount(), k});
    }
    if (t % 1000 == timerPhaseMs) {
      if (int k = gate.OnTick(0)) signals.push_back({clock.GetTickCount(), k});
    }
    clock.Advance(1);
  }
  return signals;
}

TEST(ActivityGate, ContinuousInputSignalsAboutOncePerSecondNeverFaster) {
  // Start times either side of the 49.7-day wrap, and timer phases early and late in the second.
  for (Tick start : {Tick{0}, Tick{123456}, Tick{0xFFFFFFFFu - 4321}}) {
    for (Tick phase : {Tick{0}, Tick{5}, Tick{370}, Tick{999}}) {
      SCOPED_TRACE(testing::Message() << "start " << start << " phase " << phase);
      const auto signals = RunContinuousInput(start, 10, phase, 10000);
      EXPECT_GE(signals.size(), 9u);
      EXPECT_LE(signals.size(), 11u);
      ASSERT_FALSE(signals.empty());
      EXPECT_EQ(signals.front().at, start) << "the first input after start is reported at once";
      for (size_t i = 1; i < signals.size(); ++i) {
        EXPECT_GE(static_cast<Tick>(signals[i].at - signals[i - 1].at), ActivityGate::kMinIntervalMs) << i;
        EXPECT_EQ(signals[i].kind, kActivityKeyboard);
      }
    }
  }
}

TEST(ActivityGate, FirstPendingKindIsKeptAndSignalledByTheFirstDueTick) {
  SimulatedClock clock(5000);
  ActivityGate gate(clock);
  gate.SetRules(kTrue, kTrue, kTrue, kFalse, 25);

  EXPECT_EQ(gate.OnActivity(kActivityKeyboard), kActivityKeyboard);
  clock.Advance(100);
  EXPECT_EQ(gate.OnActivity(kActivityMouse), kActivityNone);
  EXPECT_EQ(gate.Pending(), kActivityMouse);
  clock.Advance(100);
  EXPECT_EQ(gate.OnActivity(kActivityKeyboard), kActivityNone);
  EXPECT_EQ(gate.Pending(), kActivityMouse) << "the first pending kind stays";

  clock.Advance(300);  // a tick half a second after the last signal is too early
  EXPECT_EQ(gate.OnTick(0), kActivityNone);
  EXPECT_EQ(gate.Pending(), kActivityMouse);
  clock.Advance(500);
  EXPECT_EQ(gate.OnTick(0), kActivityMouse);
  EXPECT_EQ(gate.Pending(), kActivityNone);
  EXPECT_EQ(gate.LastSignal(), Tick{6000});

  // Input that finds a signal due reports the kind that waited, not its own.
  clock.Advance(10);
  EXPECT_EQ(gate.OnActivity(kActivityMouse), kActivityNone);
  clock.Advance(1000);
  EXPECT_EQ(gate.OnActivity(kActivityKeyboard), kActivityMouse);
  EXPECT_EQ(gate.Pending(), kActivityNone);
  EXPECT_EQ(gate.LastSignal(), Tick{7010});

  // A quiet tick signals nothing; a session change replaces what was pending.
  clock.Advance(1000);
  EXPECT_EQ(gate.OnTick(0), kActivityNone);
  clock.Advance(10);
  EXPECT_EQ(gate.OnActivity(kActivityMouse), kActivityMouse);
  EXPECT_EQ(gate.OnActivity(kActivityKeyboard), kActivityNone);
  gate.MarkPending(kActivitySessionChange);
  clock.Advance(1000);
  EXPECT_EQ(gate.OnTick(0), kActivitySessionChange);
}

TEST(ActivityGate, SettingsFilterInputKinds) {
  SimulatedClock clock(0);
  struct Row {
    BOOL enable, keyboard, mouse;
    int kind;
    int expected;
  };
  const Row rows[] = {
      {kFalse, kTrue, kTrue, kActivityKeyboard, kActivityNone},
      {kTrue, kFalse, kTrue, kActivityKeyboard, kActivityNone},
      {kTrue, kFalse, kTrue, kActivityMouse, kActivityMouse},
      {kTrue, kTrue, kFalse, kActivityMouse, kActivityNone},
      {kTrue, kTrue, kFalse, kActivityKeyboard, kActivityKeyboard},
      // Kinds the switches do not name always pass; nonsense kinds never do.
      {kTrue, kFalse, kFalse, kActivityCpu, kActivityCpu},
      {kTrue, kTrue, kTrue, 0, kActivityNone},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.enable << row.keyboard << row.mouse << " kind " << row.kind);
    ActivityGate gate(clock);
    gate.SetRules(row.enable, row.keyboard, row.mouse, kFalse, 25);
    EXPECT_EQ(gate.OnActivity(row.kind), row.expected);
    // Filtered input leaves nothing behind for the tick either.
    clock.Advance(1000);
    EXPECT_EQ(gate.OnTick(0), kActivityNone);
  }

  // Before any settings are known nothing counts.
  ActivityGate unset(clock);
  EXPECT_EQ(unset.OnActivity(kActivityKeyboard), kActivityNone);
}

TEST(ActivityGate, CpuLoadCountsOnTheTickFromTheThresholdAndEndingStopsEverySignal) {
  EXPECT_FALSE(CpuLoadCounts(kFalse, 25, 100));
  SimulatedClock clock(0);
  ActivityGate gate(clock);
  gate.SetRules(kTrue, kTrue, kTrue, kTrue, 25);
  EXPECT_TRUE(gate.WantsCpuLoad());
  EXPECT_EQ(gate.OnTick(24), kActivityNone);
  EXPECT_EQ(gate.OnTick(25), kActivityCpu);
  clock.Advance(1000);
  EXPECT_EQ(gate.OnTick(90), kActivityCpu) << "a busy processor counts every second";

  // Load seen before a second has passed waits as the pending kind, and then nobody asks for
  // the load until it has gone out.
  clock.Advance(400);
  EXPECT_EQ(gate.OnTick(90), kActivityNone);
  EXPECT_EQ(gate.Pending(), kActivityCpu);
  EXPECT_FALSE(gate.WantsCpuLoad());
  clock.Advance(600);
  EXPECT_EQ(gate.OnTick(0), kActivityCpu);

  gate.SetRules(kTrue, kTrue, kTrue, kFalse, 25);
  clock.Advance(1000);
  EXPECT_FALSE(gate.WantsCpuLoad());
  EXPECT_EQ(gate.OnTick(100), kActivityNone);

  // Once the agent is ending, nothing is signalled any more.
  gate.SetRules(kTrue, kTrue, kTrue, kTrue, 25);
  gate.SetEnding();
  EXPECT_EQ(gate.OnActivity(kActivityKeyboard), kActivityNone);
  gate.MarkPending(kActivitySessionChange);
  for (int i = 0; i < 3; ++i) {
    clock.Advance(1000);
    EXPECT_FALSE(gate.WantsCpuLoad());
    EXPECT_EQ(gate.OnTick(100), kActivityNone);
  }
}

TEST(ActivityGate, IntervalIsMeasuredAcrossTheTickWrap) {
  SimulatedClock clock(0xFFFFFE00u);  // 512 ms before the wrap
  ActivityGate gate(clock);
  gate.SetRules(kTrue, kTrue, kTrue, kFalse, 25);
  EXPECT_EQ(gate.OnActivity(kActivityMouse), kActivityMouse);
  clock.SetTickCount(0x000001E7u);  // 999 ms later, on the far side of the wrap
  EXPECT_EQ(gate.OnActivity(kActivityMouse), kActivityNone);
  EXPECT_EQ(gate.OnTick(0), kActivityNone);
  clock.SetTickCount(0x000001E8u);  // exactly 1000 ms
  EXPECT_EQ(gate.OnTick(0), kActivityMouse);
  EXPECT_EQ(gate.LastSignal(), Tick{0x1E8});
}

}  // namespace
}  // namespace tv
