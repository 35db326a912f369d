#include <gtest/gtest.h>

#include "platform/portable/power.h"

namespace tv {
namespace {

using Kind = SimulatedPower::Request::Kind;

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

// What the service's fallbacks rely on: no enabled privilege, no power action; a missing
// hibernation fails so that sleep can be tried; only a pending shutdown can be aborted.
TEST(SimulatedPower, ActionsNeedThePrivilegeAndTheCapability) {
  SimulatedPower p;
  p.SetCapabilities({true, false, true});
  EXPECT_EQ(ErrorOf(p.Suspend(false)), err::kPrivilegeNotHeld);
  EXPECT_EQ(ErrorOf(p.StartShutdown({})), err::kPrivilegeNotHeld);
  ASSERT_TRUE(p.SetShutdownPrivilege(true));
  EXPECT_EQ(ErrorOf(p.Suspend(true)), err::kNotSupported);
  EXPECT_TRUE(p.Suspend(false));

  EXPECT_EQ(ErrorOf(p.AbortShutdown()), err::kNoShutdownInProgress);
  ShutdownRequest req;
  req.timeoutSeconds = 1;
  ASSERT_TRUE(p.StartShutdown(req));
  const auto last = p.Requests().back();
  EXPECT_EQ(last.kind, Kind::kShutdown);
  EXPECT_EQ(last.shutdown.reason, kShutdownReasonPlanned);
  EXPECT_FALSE(last.shutdown.reboot || last.shutdown.forceAppsClosed);
  EXPECT_TRUE(p.AbortShutdown());
  EXPECT_FALSE(p.ShutdownPending());

  // A process without the privilege cannot enable it.
  ASSERT_TRUE(p.SetShutdownPrivilege(false));
  p.SetPrivilegeHeld(false);
  EXPECT_EQ(ErrorOf(p.SetShutdownPrivilege(true)), err::kNotAllAssigned);
  EXPECT_FALSE(p.PrivilegeEnabled());
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
