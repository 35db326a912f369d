#include "config_ui/main_enabling.h"

#include <gtest/gtest.h>

#include <set>

#include "config_ui/main_dialog_ids.h"
#include "platform/registry.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

class MainEnablingTest : public ::testing::Test {
 protected:
  MainEnablingTest() : opts_(store_) {}
  MemKeyStore store_;
  MyOpts opts_;
};

TEST_F(MainEnablingTest, DependentFieldsFollowTheirCheckBoxes) {
  const int shutdownGroup[] = {IDC_SHUTDOWN_LABEL, IDC_SHUTDOWN_TIMEOUT, IDC_SHUTDOWN_TIMEOUT_SPIN,
                               IDC_SHUTDOWN_TIMEOUT_UNIT, IDC_SHUTDOWN_ACTION};
  const int cpuGroup[] = {IDC_PERCENT_CPU, IDC_PERCENT_CPU_SPIN, IDC_PERCENT_CPU_UNIT};
  const int staleGroup[] = {IDC_STALE_COUNT, IDC_STALE_COUNT_SPIN, IDC_STALE_COUNT_UNIT};

  // Each box alone, so that a field wired to the wrong box shows.
  for (int which = 0; which < 3; ++which) {
    opts_.Shutdown = which == 0;
    opts_.MonitorCPU = which == 1;
    opts_.LogoffStale = which == 2;
    const MainEnabling e(opts_, false, false);
    for (int id : shutdownGroup) EXPECT_EQ(e.IsEnabled(id), which == 0) << id;
    for (int id : cpuGroup) EXPECT_EQ(e.IsEnabled(id), which == 1) << id;
    for (int id : staleGroup) EXPECT_EQ(e.IsEnabled(id), which == 2) << id;
    // The boxes themselves and everything else stay usable.
    EXPECT_TRUE(e.IsEnabled(IDC_SHUTDOWN));
    EXPECT_TRUE(e.IsEnabled(IDC_MONITOR_CPU));
    EXPECT_TRUE(e.IsEnabled(IDC_LOGOFF_STALE));
    EXPECT_TRUE(e.IsEnabled(IDC_TIMEOUT));
    EXPECT_TRUE(e.IsEnabled(IDC_RESTORE_DEFAULTS));
  }
  EXPECT_FALSE(MainEnabling(opts_, false, false).IsEnabled(4242)) << "not a control of the dialog";
}

TEST_F(MainEnablingTest, PolicyManagedLeavesOnlyLookingExportingAndLeaving) {
  opts_.Shutdown = opts_.MonitorCPU = opts_.LogoffStale = 1;
  const MainEnabling e(opts_, false, true);
  const std::set<int> usable = {IDC_MANAGE, IDC_APPLY,  IDC_OK,       IDC_HELP_BUTTON,     IDC_ABOUT,
                                IDC_EXPORT, IDC_MSG_LINK, IDC_MSG_LOCKED_LINK, IDC_ACTIVITY_LINK, IDC_CHECK_UPDATES};
  int seen = 0;
  for (const ControlState& c : e.Controls()) {
    EXPECT_EQ(c.enabled, usable.count(c.id) == 1) << c.id;
    seen += usable.count(c.id) ? 1 : 0;
  }
  EXPECT_EQ(seen, 10);
  EXPECT_GE(e.Controls().size(), 50u);
  EXPECT_FALSE(e.IsEnabled(IDC_IMPORT)) << "importing would change managed settings";
}

TEST_F(MainEnablingTest, GpoModeSwapsTheEnableControlAndTheCombosMapBothWays) {
  const MainEnabling local(opts_, false, false);
  EXPECT_TRUE(local.IsVisible(IDC_ENABLE));
  EXPECT_FALSE(local.IsVisible(IDC_ENABLE_TRISTATE));
  const MainEnabling gpo(opts_, true, false);
  EXPECT_FALSE(gpo.IsVisible(IDC_ENABLE));
  EXPECT_TRUE(gpo.IsVisible(IDC_ENABLE_TRISTATE));
  EXPECT_TRUE(gpo.IsEnabled(IDC_ENABLE_TRISTATE));

  for (int item = 0; item <= 2; ++item) {
    ReadTriState(opts_, item);
    EXPECT_EQ(opts_.Enable, item == 1 ? 1 : 0) << item;
    EXPECT_EQ(TriStateItem(opts_), item) << "the tri-state is kept";
  }
  opts_.Enable = 1;
  ReadTriState(opts_, -1);
  EXPECT_EQ(opts_.Enable, 0);
  EXPECT_EQ(opts_.policyState, kPolicyNotConfigured);
  opts_.policyState = 7;
  EXPECT_EQ(TriStateItem(opts_), 0);

  EXPECT_EQ(ShutdownActionItem(kActionSleep), 0);
  EXPECT_EQ(ShutdownActionItem(kActionShutdown), 2);
  EXPECT_EQ(ShutdownActionItem(0), -1);
  EXPECT_EQ(ShutdownActionItem(4), -1);
  EXPECT_EQ(ShutdownActionFromItem(1, kActionSleep), kActionHibernate);
  EXPECT_EQ(ShutdownActionFromItem(-1, kActionShutdown), kActionShutdown);
  EXPECT_EQ(ShutdownActionFromItem(3, kActionSleep), kActionSleep);
}

}  // namespace
}  // namespace tv
