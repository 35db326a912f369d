#include <gtest/gtest.h>

#include "platform/portable/cpu.h"

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

constexpr std::uint64_t kSecond = 10'000'000;  // 100-ns units

TEST(CpuUsageMeter, LoadBetweenReadingsWithTheSameTickAndZeroCases) {
  CpuUsageMeter m;
  // First reading: measured from system start (all zeros before).
  EXPECT_EQ(m.Update({3 * kSecond, 4 * kSecond, 0}), 25u);
  // A fully busy second (kernel includes idle, so user time alone adds load).
  EXPECT_EQ(m.Update({3 * kSecond, 4 * kSecond, kSecond}), 100u);
  // A fully idle second.
  EXPECT_EQ(m.Update({4 * kSecond, 5 * kSecond, kSecond}), 0u);
  // Within the same clock tick: 0, and the older reference is kept...
  EXPECT_EQ(m.Update({4 * kSecond, 5 * kSecond, kSecond}), 0u);
  // ...so the next reading still measures from it: half of one second busy.
  EXPECT_EQ(m.Update({4 * kSecond + kSecond / 2, 5 * kSecond + kSecond / 2, kSecond + kSecond / 2}), 50u);
  // A failed read (all zeros) answers 0 and does not become the reference.
  EXPECT_EQ(m.Update({}), 0u);
  EXPECT_EQ(m.Update({5 * kSecond, 6 * kSecond + kSecond / 2, kSecond + kSecond / 2}), 50u);
  // A torn reading with more idle than elapsed time must not wrap into a huge load.
  EXPECT_EQ(m.Update({9 * kSecond, 6 * kSecond + kSecond, kSecond + kSecond / 2}), 0u);
  // Truncation, not rounding: 2 of 3 units busy is 66.
  CpuUsageMeter t;
  EXPECT_EQ(t.Update({1, 3, 0}), 66u);
}

TEST(ProcStat, ParsesTheSummaryLineInWindowsTerms) {
  CpuTimes t;
  // user nice system idle iowait irq softirq steal guest guest_nice, in 1/100 s.
  ASSERT_TRUE(ParseProcStat("cpu  100 20 30 400 50 6 4 10 0 0\ncpu0 1 2 3 4 5 6 7 8 9 10\n", 100, t));
  EXPECT_EQ(t.user, 120 * kSecond / 100);
  EXPECT_EQ(t.idle, 450 * kSecond / 100);
  EXPECT_EQ(t.kernel, (30 + 6 + 4 + 10 + 450) * kSecond / 100);
  // Old kernels stop after idle; the summary line need not come first.
  ASSERT_TRUE(ParseProcStat("intr 5\ncpu 1 0 1 2\n", 100, t));
  EXPECT_EQ(t.idle, 2 * kSecond / 100);
  EXPECT_EQ(t.kernel, 3 * kSecond / 100);
}

TEST(ProcStat, MalformedTextIsRefusedAndLeavesTheTimesAlone) {
  const CpuTimes before{1, 2, 3};
  for (const char* text : {"", "cpu0 1 2 3 4\n" /* only per-CPU lines */, "cpu 1 2 3\n", "cpu x 2 3 4\n",
                           "cpu 99999999999999999999999 1 1 1\n", "cpux 1 2 3 4"}) {
    CpuTimes t = before;
    EXPECT_FALSE(ParseProcStat(text, 100, t)) << text;
    EXPECT_EQ(GetLastErrorCode(), err::kInvalidData) << text;
    EXPECT_EQ(t.idle, before.idle);
    EXPECT_EQ(t.user, before.user);
  }
  CpuTimes t;
  EXPECT_EQ(ErrorOf(ParseProcStat("cpu 1 2 3 4\n", 0, t)), err::kInvalidParameter);
}

TEST(CpuUsage, SystemSourceStaysInRangeAndSimulatedClampsAtFull) {
  auto cpu = CreateSystemCpuUsage();
  EXPECT_TRUE(cpu->CanGetCpuUsage());
  for (int i = 0; i < 3; ++i) EXPECT_LE(cpu->GetCpuUsage(), 100u);
  SimulatedCpuUsage sim;
  sim.SetUsage(250);
  EXPECT_EQ(sim.GetCpuUsage(), 100u);
  sim.SetAvailable(false);
  EXPECT_EQ(sim.GetCpuUsage(), 0u);
}

}  // namespace
}  // namespace tv
