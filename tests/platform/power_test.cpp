#include <gtest/gtest.h>

#include "platform/portable/power.h"

namespace tv {
namespace {

using Kind = SimulatedPower::Request::Kind;

TEST(SimulatedPower, SuspendAndShutdownNeedTheEnabledPrivilege) {
  SimulatedPower p;
  EXPECT_FALSE(p.Suspend(false));
  EXPECT_EQ(GetLastErrorCode(), err::kPrivilegeNotHeld);
  EXPECT_FALSE(p.StartShutdown({}));
  EXPECT_EQ(GetLastErrorCode(), err::kPrivilegeNotHeld);

  ASSERT_TRUE(p.SetShutdownPrivilege(true));
  EXPECT_TRUE(p.Suspend(false));
  ASSERT_TRUE(p.SetShutdownPrivilege(false));
  EXPECT_FALSE(p.PrivilegeEnabled());
  EXPECT_FALSE(p.Suspend(true));

  // A process without the privilege cannot enable it.
  p.SetPrivilegeHeld(false);
  EXPECT_FALSE(p.SetShutdownPrivilege(true));
  EXPECT_EQ(GetLastErrorCode(), err::kNotAllAssigned);

  auto r = p.Requests();
  ASSERT_EQ(r.size(), 7u);
  EXPECT_EQ(r[0].kind, Kind::kSleep);
  EXPECT_NE(r[0].error, 0u);
  EXPECT_EQ(r[3].kind, Kind::kSleep);
  EXPECT_EQ(r[3].error, 0u);
  EXPECT_EQ(r[5].kind, Kind::kHibernate);
  EXPECT_EQ(r[6].kind, Kind::kPrivilegeOn);
  EXPECT_NE(r[6].error, 0u);
}

TEST(SimulatedPower, MissingHibernationFailsSoTheFallbackCanSleep) {
  SimulatedPower p;
  p.SetCapabilities({true, false, true});
  PowerCapabilities caps;
  ASSERT_TRUE(p.GetCapabilities(caps));
  EXPECT_FALSE(caps.canHibernate);
  ASSERT_TRUE(p.SetShutdownPrivilege(true));
  EXPECT_FALSE(p.Suspend(true));
  EXPECT_EQ(GetLastErrorCode(), err::kNotSupported);
  EXPECT_TRUE(p.Suspend(false));

  // A suspend refused on command, then a shutdown with the product's parameters kept as asked.
  p.FailOp(SimulatedPower::Op::kSuspend, err::kGenFailure);
  EXPECT_FALSE(p.Suspend(false));
  ShutdownRequest req;
  req.timeoutSeconds = 1;
  ASSERT_TRUE(p.StartShutdown(req));
  auto r = p.Requests();
  EXPECT_EQ(r.back().kind, Kind::kShutdown);
  EXPECT_EQ(r.back().shutdown.reason, kShutdownReasonPlanned);
  EXPECT_FALSE(r.back().shutdown.reboot);
  EXPECT_FALSE(r.back().shutdown.forceAppsClosed);
}

TEST(SimulatedPower, OnlyAPendingShutdownCanBeAborted) {
  SimulatedPower p;
  EXPECT_FALSE(p.AbortShutdown());
  EXPECT_EQ(GetLastErrorCode(), err::kNoShutdownInProgress);
  ASSERT_TRUE(p.SetShutdownPrivilege(true));
  ASSERT_TRUE(p.StartShutdown({}));
  EXPECT_TRUE(p.ShutdownPending());
  EXPECT_TRUE(p.AbortShutdown());
  EXPECT_FALSE(p.ShutdownPending());
  EXPECT_FALSE(p.AbortShutdown());
}

#ifdef _WIN32
TEST(Win32Power, CapabilitiesAndPrivilegeRoundTrip) {
  auto p = CreateSystemPower();
  PowerCapabilities caps;
  ASSERT_TRUE(p->GetCapabilities(caps)) << GetLastErrorCode();
  // Sleep and hibernation depend on the machine; switching off is the one thing every Windows can.
  EXPECT_TRUE(caps.canShutdown);
  // Never suspend or shut down the machine running the tests; the privilege is safe to toggle.
  EXPECT_TRUE(p->SetShutdownPrivilege(true)) << GetLastErrorCode();
  EXPECT_TRUE(p->SetShutdownPrivilege(false)) << GetLastErrorCode();
}
#endif

}  // namespace
}  // namespace tv
