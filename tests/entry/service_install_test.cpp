#include "entry/service_install.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "entry/error_text.h"
#include "foundation/string_table.h"
#include "platform/portable/event_log.h"
#include "platform/portable/service_manager.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

using Op = SimulatedServiceManager::Op;

constexpr int kAnswerRetry = 4;
constexpr int kRetryCancel = 5;

// One installer over a simulated service manager and event log, counting its sleeps.
class ServiceInstallTest : public ::testing::Test {
 protected:
  SimulatedServiceManager sm;
  SimulatedEventLog log;
  std::vector<DWORD> sleeps;
  ServiceInstaller installer{sm, log, L"C:\\Program Files\\Tarnvale\\", L"C:\\elsewhere\\setup.exe",
                             [this](DWORD ms) { sleeps.push_back(ms); }};

  void AddProductService(DWORD state, DWORD startType = svc::kAutoStart) {
    ServiceConfig config{kServiceName, kServiceName, installer.ServiceCommand()};
    config.startType = startType;
    sm.AddService(config, state);
  }
  // Expects exactly one box, showing string-table entry `id` (plus `error`'s text when given).
  static void ExpectOneBox(const test::MessageRecorder& r, int id, ErrorCode error = 0) {
    ASSERT_EQ(r.shown.size(), 1u);
    if (error == 0) {
      EXPECT_EQ(r.shown[0].text, LoadStr(id));
      EXPECT_EQ(r.shown[0].icon, MsgIcon::kInformation);
      EXPECT_EQ(r.shown[0].buttons, kMsgOk);
    } else {
      EXPECT_EQ(r.shown[0].text, std::wstring(LoadStr(id)) + L"\n\n" + SystemErrorText(error));
      EXPECT_EQ(r.shown[0].icon, MsgIcon::kError);
      EXPECT_EQ(r.shown[0].buttons, kRetryCancel);
    }
  }

  void TearDown() override { EXPECT_EQ(sm.OpenHandles(), 0u) << "every handle is closed on every path"; }
};

TEST_F(ServiceInstallTest, InstallsAsTheProductNeedsOrRestartsWhatIsThere) {
  {
    test::MessageRecorder messages;
    ASSERT_TRUE(installer.InstallAndStartService(kFalse));
    ExpectOneBox(messages, msgid::kStarted);
  }
  ServiceConfig config;
  ASSERT_TRUE(sm.ConfigOf(kServiceName, config));
  EXPECT_EQ(config.displayName, L"Tarnvale");
  EXPECT_EQ(config.binaryPath, L"\"C:\\Program Files\\Tarnvale\\TV64.EXE\" /service");
  EXPECT_EQ(config.type, svc::kOwnProcess);
  EXPECT_EQ(config.errorControl, svc::kErrorNormal);
  EXPECT_TRUE(config.account.empty()) << "runs as the local system account";
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
  EXPECT_EQ(log.RegisteredMessageFile(), L"C:\\Program Files\\Tarnvale\\TV64.DLL");
  // Without a library folder the running program is installed instead.
  EXPECT_EQ(MakeServiceCommand(L"", L"C:\\x y\\a.exe"), L"\"C:\\x y\\a.exe\" /service");

  // Running already: told so, silently nothing.
  {
    test::MessageRecorder messages;
    ASSERT_TRUE(installer.InstallAndStartService(kFalse));
    ExpectOneBox(messages, msgid::kAlreadyStarted);
    ASSERT_TRUE(installer.InstallAndStartService(kTrue));
    EXPECT_EQ(messages.shown.size(), 1u);
  }

  // Stopped and set to start by hand: forced back to automatic and started, without a message.
  sm.SetState(kServiceName, svc::kStopped);
  ServiceHandle manager, service;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, manager));
  ASSERT_TRUE(sm.Open(manager, kServiceName, svc::kChangeConfig, service));
  ASSERT_TRUE(sm.ChangeStartType(service, svc::kDemandStart));
  test::MessageRecorder messages;
  ASSERT_TRUE(installer.InstallAndStartService(kFalse));
  EXPECT_TRUE(messages.shown.empty());
  ASSERT_TRUE(sm.ConfigOf(kServiceName, config));
  EXPECT_EQ(config.startType, svc::kAutoStart);
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
}

TEST_F(ServiceInstallTest, FailedInstallationsLeaveNoHalfInstalledService) {
  // Silent: created but would not start; removed again, and the start's error is the one kept.
  sm.FailOp(Op::kStart, err::kServiceDisabled);
  test::MessageRecorder messages(kAnswerCancel);
  EXPECT_FALSE(installer.InstallAndStartService(kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceDisabled);
  EXPECT_FALSE(sm.HasService(kServiceName));
  EXPECT_TRUE(log.RegisteredMessageFile().empty()) << "no log source for a failed installation";
  EXPECT_TRUE(messages.shown.empty());

  // With messages, Cancel gives up and removes it as well.
  sm.FailOp(Op::kStart, err::kAccessDenied);
  EXPECT_FALSE(installer.InstallAndStartService(kFalse));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  ExpectOneBox(messages, msgid::kCannotRegister, err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName));

  // Cannot even reach the service manager: nothing to remove, the first error survives.
  sm.FailOp(Op::kOpenManager, err::kAccessDenied);
  EXPECT_FALSE(installer.InstallAndStartService(kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
}

TEST_F(ServiceInstallTest, RetryAfterFailuresSucceedsWithoutTheSuccessMessage) {
  sm.FailOp(Op::kCreate, err::kAccessDenied, 2);
  {
    test::MessageRecorder messages(kAnswerRetry);
    ASSERT_TRUE(installer.InstallAndStartService(kFalse));
    EXPECT_EQ(messages.shown.size(), 2u) << "one Retry/Cancel box per failed round, then nothing";
  }
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
  sm.FailOp(Op::kDelete, err::kAccessDenied);
  test::MessageRecorder messages(kAnswerRetry);
  ASSERT_TRUE(installer.UninstallService(kFalse));
  ExpectOneBox(messages, msgid::kCannotUnregister, err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName));
}

TEST_F(ServiceInstallTest, StopWaitGivesUpAfterTenLooksOneSecondApart) {
  ServiceHandle manager;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, manager));
  AddProductService(svc::kRunning);
  auto stopWithDelay = [&](int queries) {
    sm.SetState(kServiceName, svc::kRunning);
    sm.SetStopDelay(kServiceName, queries);
    sleeps.clear();
    ServiceHandle service;
    EXPECT_TRUE(sm.Open(manager, kServiceName, kRemoveAccess, service));
    return installer.StopServiceAndWait(service);
  };
  EXPECT_TRUE(stopWithDelay(10)) << "stopped at the tenth look: still in time";
  EXPECT_EQ(sleeps, std::vector<DWORD>(10, 1000));
  EXPECT_FALSE(stopWithDelay(11));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceRequestTimeout);
  EXPECT_EQ(sleeps.size(), 10u);

  // Neither running nor stopped: no stop is sent and nobody waits.
  sm.SetState(kServiceName, svc::kStopPending);
  sleeps.clear();
  ServiceHandle service;
  ASSERT_TRUE(sm.Open(manager, kServiceName, kRemoveAccess, service));
  EXPECT_FALSE(installer.StopServiceAndWait(service));
  EXPECT_TRUE(sleeps.empty());
  EXPECT_EQ(sm.ControlsReceived(kServiceName).size(), 2u);
}

TEST_F(ServiceInstallTest, UninstallingReportsEachOutcomeAndCountsAbsenceAsSuccess) {
  AddProductService(svc::kRunning);
  {
    test::MessageRecorder messages;
    ASSERT_TRUE(installer.UninstallService(kFalse));
    ExpectOneBox(messages, msgid::kStopped);
  }
  EXPECT_FALSE(sm.HasService(kServiceName));
  {
    test::MessageRecorder messages;
    ASSERT_TRUE(installer.UninstallService(kFalse));
    ExpectOneBox(messages, msgid::kAlreadyStopped);
  }

  // Marked for deletion while someone still holds it open: goes at the next restart.
  AddProductService(svc::kStopped);
  ServiceHandle manager, held;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, manager));
  ASSERT_TRUE(sm.Open(manager, kServiceName, svc::kDelete, held));
  ASSERT_TRUE(sm.Delete(held));
  {
    test::MessageRecorder messages;
    ASSERT_TRUE(installer.UninstallService(kFalse));
    ExpectOneBox(messages, msgid::kStopsAfterRestart);
  }
  held.reset();

  // A lasting failure: Cancel and the silent form both fail with the cause kept.
  AddProductService(svc::kRunning);
  sm.FailOp(Op::kOpen, err::kAccessDenied, kFailAlways);
  test::MessageRecorder messages(kAnswerCancel);
  EXPECT_FALSE(installer.UninstallService(kFalse));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_FALSE(installer.UninstallService(kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
}

TEST_F(ServiceInstallTest, ControlsAndStateQueriesUseTheRightAccess) {
  DWORD state = 99;
  EXPECT_FALSE(installer.QueryServiceState(state));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceDoesNotExist);
  EXPECT_EQ(state, 99u);

  AddProductService(svc::kRunning);
  ASSERT_TRUE(installer.QueryServiceState(state));
  EXPECT_EQ(state, svc::kRunning);
  // From 128 on the user-defined-control right; below, the pause/continue right, which carries
  // code 10 but not a stop.
  EXPECT_TRUE(installer.SendServiceControl(128));
  EXPECT_TRUE(installer.SendServiceControl(10));
  EXPECT_FALSE(installer.SendServiceControl(svc::kControlStop));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(sm.ControlsReceived(kServiceName), (std::vector<DWORD>{128, 10}));
  sm.SetState(kServiceName, svc::kStopped);
  EXPECT_FALSE(installer.SendServiceControl(129));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceNotActive);

  // The texts the configuration utility shows keep the product's spelling.
  EXPECT_NE(std::wstring(LoadStr(msgid::kCannotStart)).find(L"as an admininstrator and"), std::wstring::npos);
  EXPECT_NE(SystemErrorText(0xDEADu).find(L"57005"), std::wstring::npos) << "unknown codes keep their number";
}

}  // namespace
}  // namespace tv
