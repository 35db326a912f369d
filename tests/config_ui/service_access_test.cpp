// Starting the service from the utility: how long it waits for the service to run, and what a
// start that fails or never finishes leaves behind.
#include "config_ui/service_access.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/last_error.h"
#include "platform/service_manager.h"

namespace tv {
namespace {

// A service that reaches "running" at the `runsAtLook`-th look (0: never), with looks that fail
// while `failingLooks` lasts.
class ScriptedService : public ServiceAccess {
 public:
  BOOL startResult = kTrue;
  int runsAtLook = 0;
  int failingLooks = 0;
  int looks = 0;
  int starts = 0;

  BOOL QueryState(DWORD& state) override {
    ++looks;
    if (looks <= failingLooks) return Fail(err::kAccessDenied);
    state = runsAtLook != 0 && looks >= runsAtLook ? svc::kRunning : svc::kStartPending;
    return kTrue;
  }
  BOOL Start() override {
    ++starts;
    return startResult ? kTrue : Fail(err::kAccessDenied);
  }
  BOOL StopAndRemove() override { return kTrue; }
  BOOL SendControl(DWORD) override { return kTrue; }
};

TEST(StartServiceAndWait, PollsHalfASecondApartUntilRunningAtMostTwentyTimes) {
  std::vector<DWORD> sleeps;
  auto sleep = [&](DWORD ms) { sleeps.push_back(ms); };

  ScriptedService third;
  third.runsAtLook = 3;
  third.failingLooks = 1;  // a look the service manager refuses does not end the wait
  EXPECT_TRUE(StartServiceAndWait(third, sleep));
  EXPECT_EQ(third.looks, 3);
  EXPECT_EQ(sleeps, std::vector<DWORD>(3, 500));

  sleeps.clear();
  ScriptedService never;
  EXPECT_FALSE(StartServiceAndWait(never, sleep));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceRequestTimeout);
  EXPECT_EQ(never.looks, 20);
  EXPECT_EQ(sleeps.size(), 20u);

  sleeps.clear();
  ScriptedService refused;
  refused.startResult = kFalse;
  EXPECT_FALSE(StartServiceAndWait(refused, sleep));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);  // the start's own reason stays
  EXPECT_EQ(refused.looks, 0);
  EXPECT_TRUE(sleeps.empty());
}

}  // namespace
}  // namespace tv
