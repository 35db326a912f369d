#include "config_ui/main_validation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

#include "config_ui/main_dialog_ids.h"
#include "platform/message_box.h"
#include "platform/portable/power.h"
#include "platform/registry.h"
#include "platform/service_manager.h"
#include "settings/my_config.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

class MainValidation : public ::testing::Test {
 protected:
  MainValidation() : edited_(store_), loaded_(store_), config_(store_) {}

  ApplyVerdict Check(bool gpoMode = false, bool policyManaged = false) {
    return CheckApply(edited_, ApplyTarget{gpoMode, policyManaged}, &power_);
  }

  MemKeyStore store_;
  SimulatedPower power_;
  MyOpts edited_;
  MyOpts loaded_;
  MyConfig config_;
};

TEST_F(MainValidation, NumbersAreCheckedInOrderWhetherOrNotTheirFeatureIsOn) {
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept);
  EXPECT_EQ(Check().Text(), L"");

  edited_.Timeout = 0;
  edited_.MessageTimeout = 10000;
  ApplyVerdict v = Check();
  EXPECT_EQ(v.kind, ApplyVerdict::Kind::kRefuse);
  EXPECT_EQ(v.stringId, IDS_VALUE_OUT_OF_RANGE);
  EXPECT_EQ(v.focusControl, IDC_TIMEOUT);
  EXPECT_EQ(v.Text(), L"The value 0 is invalid; must be between 1 and 9999 (inclusive).");

  edited_.Timeout = 9999;
  v = Check();
  EXPECT_EQ(v.focusControl, IDC_MSG_TIMEOUT);
  EXPECT_EQ(v.Text(), L"The value 10000 is invalid; must be between 0 and 9999 (inclusive).");
  edited_.MessageTimeout = 0;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept) << "no warning time at all is allowed";

  edited_.LogoffStale = 0;
  edited_.LogoffStaleCount = 0;
  v = Check();
  EXPECT_EQ(v.focusControl, IDC_STALE_COUNT) << "checked although stale log-off is off";
  EXPECT_EQ(v.low, 1);
  edited_.LogoffStaleCount = 1;

  edited_.Shutdown = 0;
  edited_.ShutdownTimeout = 0xFFFFFFFFu;  // "-1" typed into the field
  v = Check();
  EXPECT_EQ(v.focusControl, IDC_SHUTDOWN_TIMEOUT);
  EXPECT_EQ(v.Text(), L"The value -1 is invalid; must be between 1 and 9999 (inclusive).");
  edited_.ShutdownTimeout = 10000;
  EXPECT_EQ(Check().value, 10000);
  edited_.ShutdownTimeout = 9999;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept);

  // A policy-managed computer refuses before anything is looked at.
  edited_.Timeout = 0;
  v = Check(false, true);
  EXPECT_EQ(v.stringId, IDS_POLICY_MANAGED);
  EXPECT_EQ(v.focusControl, 0);
  EXPECT_FALSE(v.Text().empty());
}

TEST_F(MainValidation, EnableNeedsSomethingToMonitorAndTheRangesComeFirst) {
  edited_.MonitorKB = edited_.MonitorMouse = edited_.MonitorCPU = 0;
  edited_.Enable = 0;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept) << "nothing monitored is fine while disabled";
  edited_.Enable = 1;
  ApplyVerdict v = Check();
  EXPECT_EQ(v.kind, ApplyVerdict::Kind::kRefuse);
  EXPECT_EQ(v.stringId, IDS_NOTHING_MONITORED);
  EXPECT_EQ(Check(true).stringId, IDS_NOTHING_MONITORED) << "the same for a GPO";
  edited_.Timeout = 0;
  EXPECT_EQ(Check().stringId, IDS_VALUE_OUT_OF_RANGE);
  edited_.Timeout = 5;
  edited_.MonitorCPU = 1;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept);
}

TEST_F(MainValidation, PowerActionTheComputerCannotDoIsAQuestionOutsideGpoMode) {
  power_.SetCapabilities(PowerCapabilities{false, true, true});
  edited_.Shutdown = 0;
  edited_.ShutdownAction = kActionSleep;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept) << "only a ticked Shutdown matters";
  edited_.Shutdown = 1;
  ApplyVerdict v = Check();
  EXPECT_EQ(v.kind, ApplyVerdict::Kind::kConfirm);
  EXPECT_EQ(v.Text(),
            L"This computer is not configured to 'Sleep'. Are you sure you want to use this option anyway?");
  EXPECT_EQ(Check(true).kind, ApplyVerdict::Kind::kAccept);
  edited_.ShutdownAction = kActionHibernate;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept);

  // Capabilities that cannot be read count as "cannot"; shutting down is always possible.
  power_.FailOp(SimulatedPower::Op::kCapabilities, 5, 1000);
  EXPECT_EQ(Check().actionText, L"Hibernate");
  edited_.ShutdownAction = kActionShutdown;
  EXPECT_EQ(Check().kind, ApplyVerdict::Kind::kAccept);
}

TEST_F(MainValidation, UnsavedChangesAndWhatASaveLeadsTo) {
  EXPECT_FALSE(HasUnsavedChanges(loaded_, edited_, false));
  EXPECT_TRUE(HasUnsavedChanges(loaded_, edited_, true)) << "changed elsewhere counts";
  edited_.Exclude.push_back(L"Guests");
  EXPECT_TRUE(HasUnsavedChanges(loaded_, edited_, false));
  edited_.Exclude.clear();
  edited_.SetSchedule(L"Mon 8:00-9:00, ");
  EXPECT_TRUE(HasUnsavedChanges(loaded_, edited_, false));

  EXPECT_EQ(OnUnsavedChangesAnswer(kAnswerYes), UnsavedChangesAction::kSaveThenGoOn);
  EXPECT_EQ(OnUnsavedChangesAnswer(kAnswerNo), UnsavedChangesAction::kGoOn);
  EXPECT_EQ(OnUnsavedChangesAnswer(kAnswerCancel), UnsavedChangesAction::kAbort);
  EXPECT_EQ(OnUnsavedChangesAnswer(0), UnsavedChangesAction::kAbort) << "a box that failed to show";

  // A read-back that disagrees means the save did not take: no notice, no message.
  const auto after = [&] {
    const AfterSave a = DecideAfterSave(loaded_, edited_, config_);
    return std::make_pair(a.noticeRefreshes, a.showSavedMessage);
  };
  EXPECT_EQ(after(), std::make_pair(0, false));
  loaded_.CopyFrom(edited_);
  EXPECT_EQ(after(), std::make_pair(15, true));
  config_.Set(kConfigHideSavedMsg, true);
  EXPECT_EQ(after(), std::make_pair(15, false));

  edited_.Enable = 1;
  EXPECT_TRUE(NeedsServiceStart(edited_, false, svc::kStopped));
  EXPECT_TRUE(NeedsServiceStart(edited_, false, 0)) << "a state that cannot be read";
  EXPECT_FALSE(NeedsServiceStart(edited_, false, svc::kRunning));
  EXPECT_FALSE(NeedsServiceStart(edited_, true, svc::kStopped));
  edited_.Enable = 0;
  EXPECT_FALSE(NeedsServiceStart(edited_, false, svc::kStopped));
}

}  // namespace
}  // namespace tv
