#include "entry/service_install.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "entry/error_text.h"
#include "foundation/string_table.h"
#include "platform/portable/accounts.h"
#include "platform/portable/event_log.h"
#include "platform/registry.h"
#include "settings/reg_key.h"
#include "platform/portable/service_manager.h"
#include "support/message_recorder.h"
#include "support/sddl_aces.h"

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

using Op = SimulatedServiceManager::Op;

constexpr int kAnswerRetry = 4;
constexpr int kRetryCancel = 5;

// The allow entries of a DACL text, as trustee -> two-letter rights; a deny entry or a right in
// hexadecimal fails the test, since the product's DACL needs neither.
std::map<std::wstring, std::set<std::wstring>> AllowedRights(const std::wstring& sddl) {
  EXPECT_EQ(sddl.rfind(L"D:", 0), 0u);
  std::map<std::wstring, std::set<std::wstring>> out;
  for (const test::SddlAce& ace : test::SddlAces(sddl)) {
    EXPECT_EQ(ace.type, L"A") << testing::PrintToString(sddl);
    for (std::size_t i = 0; i + 1 < ace.rights.size(); i += 2) out[ace.trustee].insert(ace.rights.substr(i, 2));
  }
  return out;
}

// One installer over a simulated service manager and event log, counting its sleeps and
// recording its message boxes.
class ServiceInstallTest : public ::testing::Test {
 protected:
  SimulatedServiceManager sm;
  SimulatedEventLog log;
  std::vector<DWORD> sleeps;
  ServiceInstaller installer{sm, log, L"C:\\Program Files\\Tarnvale\\", L"C:\\elsewhere\\setup.exe",
                             [this](DWORD ms) { sleeps.push_back(ms); }};
  std::unique_ptr<test::MessageRecorder> boxes = std::make_unique<test::MessageRecorder>();

  // Starts recording afresh, answering every box with `answer`.
  void Record(int answer = kAnswerOk) {
    boxes.reset();
    boxes = std::make_unique<test::MessageRecorder>(answer);
  }
  void AddProductService(DWORD state) { sm.AddService({kServiceName, kServiceName, installer.ServiceCommand()}, state); }
  ServiceHandle OpenProduct(DWORD access) {
    ServiceHandle manager, service;
    EXPECT_TRUE(sm.OpenManager(svc::kManagerConnect, manager));
    EXPECT_TRUE(sm.Open(manager, kServiceName, access, service));
    return service;
  }
  // Expects exactly one box, showing string-table entry `id` (plus `error`'s text when given).
  void ExpectOneBox(int id, ErrorCode error = 0) {
    ASSERT_EQ(boxes->shown.size(), 1u);
    const auto& box = boxes->shown[0];
    if (error == 0) {
      EXPECT_EQ(box.text, LoadStr(id));
      EXPECT_EQ(box.icon, MsgIcon::kInformation);
      EXPECT_EQ(box.buttons, kMsgOk);
    } else {
      EXPECT_EQ(box.text, std::wstring(LoadStr(id)) + L"\n\n" + SystemErrorText(error));
      EXPECT_EQ(box.icon, MsgIcon::kError);
      EXPECT_EQ(box.buttons, kRetryCancel);
    }
  }

  void TearDown() override { EXPECT_EQ(sm.OpenHandles(), 0u) << "every handle is closed on every path"; }
};

TEST_F(ServiceInstallTest, InstallsAsTheProductNeedsOrRestartsWhatIsThere) {
  ASSERT_TRUE(installer.InstallAndStartService(kFalse));
  ExpectOneBox(msgid::kStarted);
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
  Record();
  ASSERT_TRUE(installer.InstallAndStartService(kFalse));
  ExpectOneBox(msgid::kAlreadyStarted);
  ASSERT_TRUE(installer.InstallAndStartService(kTrue));
  EXPECT_EQ(boxes->shown.size(), 1u);

  // Stopped and set to start by hand: forced back to automatic and started, without a message.
  sm.SetState(kServiceName, svc::kStopped);
  ASSERT_TRUE(sm.ChangeStartType(OpenProduct(svc::kChangeConfig), svc::kDemandStart));
  Record();
  ASSERT_TRUE(installer.InstallAndStartService(kFalse));
  EXPECT_TRUE(boxes->shown.empty());
  ASSERT_TRUE(sm.ConfigOf(kServiceName, config));
  EXPECT_EQ(config.startType, svc::kAutoStart);
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
}

TEST_F(ServiceInstallTest, FailedInstallationsLeaveNoHalfInstalledService) {
  // Silent: created but would not start; removed again, and the start's error is the one kept.
  sm.FailOp(Op::kStart, err::kServiceDisabled);
  Record(kAnswerCancel);
  EXPECT_EQ(ErrorOf(installer.InstallAndStartService(kTrue)), err::kServiceDisabled);
  EXPECT_FALSE(sm.HasService(kServiceName));
  EXPECT_TRUE(log.RegisteredMessageFile().empty()) << "no log source for a failed installation";
  EXPECT_TRUE(boxes->shown.empty());

  // With messages, Cancel gives up and removes it as well.
  sm.FailOp(Op::kStart, err::kAccessDenied);
  EXPECT_EQ(ErrorOf(installer.InstallAndStartService(kFalse)), err::kAccessDenied);
  ExpectOneBox(msgid::kCannotRegister, err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName));

  // Cannot even reach the service manager: nothing to remove, the first error survives.
  sm.FailOp(Op::kOpenManager, err::kAccessDenied);
  EXPECT_EQ(ErrorOf(installer.InstallAndStartService(kTrue)), err::kAccessDenied);
}

TEST_F(ServiceInstallTest, OnlyAdministratorsAndSystemControlTheServiceWhichRestartsAfterFailures) {
  ASSERT_TRUE(installer.InstallAndStartService(kTrue));
  const auto rights = AllowedRights(sm.SecurityOf(kServiceName));
  const std::set<std::wstring> control{L"RP", L"WP", L"CR"};  // start, stop, the service's own codes
  for (const wchar_t* admin : {L"SY", L"BA"}) {
    ASSERT_TRUE(rights.count(admin)) << admin;
    for (const auto& r : control) EXPECT_TRUE(rights.at(admin).count(r)) << admin << L" lacks " << r;
  }
  EXPECT_TRUE(rights.at(L"BA").count(L"SD") && rights.at(L"BA").count(L"WD")) << "administrators can remove it";
  // Every other trustee, named or not, may look but not act.
  for (const auto& [trustee, granted] : rights) {
    if (trustee == L"SY" || trustee == L"BA") continue;
    for (const wchar_t* act : {L"RP", L"WP", L"DT", L"CR", L"DC", L"SD", L"WD", L"WO", L"GA", L"GX", L"GW"})
      EXPECT_FALSE(granted.count(act)) << trustee << L" may " << act;
  }
  EXPECT_TRUE(rights.count(L"IU") && rights.at(L"IU").count(L"LC")) << "users still see whether it runs";

  const ServiceFailureActions recovery = sm.FailureActionsOf(kServiceName);
  EXPECT_EQ(recovery.resetSeconds, 86400u);
  ASSERT_GE(recovery.actions.size(), 2u);
  EXPECT_EQ(recovery.actions[0], (ServiceRecoveryAction{svc::kRecoverRestart, 60000}));
  EXPECT_EQ(recovery.actions[1], (ServiceRecoveryAction{svc::kRecoverRestart, 60000}));

  // A service left by an earlier version with the default DACL is secured, running or not.
  ASSERT_TRUE(installer.UninstallService(kTrue));
  for (DWORD state : {svc::kRunning, svc::kStopped}) {
    AddProductService(state);
    ASSERT_TRUE(installer.InstallAndStartService(kTrue));
    EXPECT_EQ(sm.SecurityOf(kServiceName), kServiceSddl);
    EXPECT_EQ(sm.FailureActionsOf(kServiceName), ProductFailureActions());
    EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
    ASSERT_TRUE(installer.UninstallService(kTrue));
  }

  // A service that cannot be secured is not left behind, never started, and the cause is kept.
  for (Op op : {Op::kSetSecurity, Op::kSetFailureActions}) {
    sm.FailOp(op, err::kAccessDenied);
    EXPECT_EQ(ErrorOf(installer.InstallAndStartService(kTrue)), err::kAccessDenied);
    EXPECT_FALSE(sm.HasService(kServiceName));
  }
  AddProductService(svc::kStopped);
  sm.FailOp(Op::kSetSecurity, err::kAccessDenied);
  EXPECT_EQ(ErrorOf(installer.InstallAndStartService(kTrue)), err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName)) << "an existing service that stays open to users goes";
}

TEST_F(ServiceInstallTest, RetryAfterFailuresSucceedsWithoutTheSuccessMessage) {
  sm.FailOp(Op::kCreate, err::kAccessDenied, 2);
  Record(kAnswerRetry);
  ASSERT_TRUE(installer.InstallAndStartService(kFalse));
  EXPECT_EQ(boxes->shown.size(), 2u) << "one Retry/Cancel box per failed round, then nothing";
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
  sm.FailOp(Op::kDelete, err::kAccessDenied);
  Record(kAnswerRetry);
  ASSERT_TRUE(installer.UninstallService(kFalse));
  ExpectOneBox(msgid::kCannotUnregister, err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName));
}

TEST_F(ServiceInstallTest, StopWaitGivesUpAfterTenLooksOneSecondApart) {
  AddProductService(svc::kRunning);
  auto stopWithDelay = [&](int queries) {
    sm.SetState(kServiceName, svc::kRunning);
    sm.SetStopDelay(kServiceName, queries);
    sleeps.clear();
    return installer.StopServiceAndWait(OpenProduct(kRemoveAccess));
  };
  EXPECT_TRUE(stopWithDelay(10)) << "stopped at the tenth look: still in time";
  EXPECT_EQ(sleeps, std::vector<DWORD>(10, 1000));
  EXPECT_EQ(ErrorOf(stopWithDelay(11)), err::kServiceRequestTimeout);
  EXPECT_EQ(sleeps.size(), 10u);

  // Neither running nor stopped: no stop is sent and nobody waits.
  sm.SetState(kServiceName, svc::kStopPending);
  sleeps.clear();
  EXPECT_FALSE(installer.StopServiceAndWait(OpenProduct(kRemoveAccess)));
  EXPECT_TRUE(sleeps.empty());
  EXPECT_EQ(sm.ControlsReceived(kServiceName).size(), 2u);
}

TEST_F(ServiceInstallTest, UninstallingReportsEachOutcomeAndCountsAbsenceAsSuccess) {
  AddProductService(svc::kRunning);
  ASSERT_TRUE(installer.UninstallService(kFalse));
  ExpectOneBox(msgid::kStopped);
  EXPECT_FALSE(sm.HasService(kServiceName));
  Record();
  ASSERT_TRUE(installer.UninstallService(kFalse));
  ExpectOneBox(msgid::kAlreadyStopped);

  // Marked for deletion while someone still holds it open: goes at the next restart.
  AddProductService(svc::kStopped);
  {
    ServiceHandle held = OpenProduct(svc::kDelete);
    ASSERT_TRUE(sm.Delete(held));
    Record();
    ASSERT_TRUE(installer.UninstallService(kFalse));
    ExpectOneBox(msgid::kStopsAfterRestart);
  }

  // A lasting failure: Cancel and the silent form both fail with the cause kept.
  AddProductService(svc::kRunning);
  sm.FailOp(Op::kOpen, err::kAccessDenied, kFailAlways);
  Record(kAnswerCancel);
  EXPECT_EQ(ErrorOf(installer.UninstallService(kFalse)), err::kAccessDenied);
  EXPECT_EQ(ErrorOf(installer.UninstallService(kTrue)), err::kAccessDenied);
  EXPECT_EQ(boxes->shown.size(), 1u);
  EXPECT_EQ(sm.StateOf(kServiceName), svc::kRunning);
}

TEST_F(ServiceInstallTest, ControlsAndStateQueriesUseTheRightAccess) {
  DWORD state = 99;
  EXPECT_EQ(ErrorOf(installer.QueryServiceState(state)), err::kServiceDoesNotExist);
  EXPECT_EQ(state, 99u);

  AddProductService(svc::kRunning);
  ASSERT_TRUE(installer.QueryServiceState(state));
  EXPECT_EQ(state, svc::kRunning);
  // From 128 on the user-defined-control right; below, the pause/continue right, which carries
  // code 10 but not a stop.
  EXPECT_TRUE(installer.SendServiceControl(128));
  EXPECT_TRUE(installer.SendServiceControl(10));
  EXPECT_EQ(ErrorOf(installer.SendServiceControl(svc::kControlStop)), err::kAccessDenied);
  EXPECT_EQ(sm.ControlsReceived(kServiceName), (std::vector<DWORD>{128, 10}));
  sm.SetState(kServiceName, svc::kStopped);
  EXPECT_EQ(ErrorOf(installer.SendServiceControl(129)), err::kServiceNotActive);

  EXPECT_NE(SystemErrorText(0xDEADu).find(L"57005"), std::wstring::npos) << "unknown codes keep their number";
}

// The installer with the settings record on an in-memory registry, as the installation package
// and "/load" run it.
class InstallSettingsTest : public ServiceInstallTest {
 protected:
  static constexpr const wchar_t* kKey = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale";
  MemKeyStore store;
  SimulatedAccounts accounts;
  MyOptsServices Services() { return {&store, &accounts, nullptr, nullptr}; }
  ServiceInstaller seeding{sm, log, L"C:\\Program Files\\Tarnvale\\", L"C:\\setup.exe", [](DWORD) {}, Services()};
  // A fresh record loaded the way the service loads it.
  std::unique_ptr<MyOpts> Loaded() {
    auto o = std::make_unique<MyOpts>(Services());
    EXPECT_TRUE(o->Load());
    return o;
  }
};

TEST_F(InstallSettingsTest, AFreshInstallRunsOnTheDefaultListsAndAnUpgradeKeepsWhatItFinds) {
  // The service has already counted sessions: the key exists, but holds no setting.
  ASSERT_TRUE(RegKey(kKey, true, store).PutDword(L"SessionsMonitoring", 2));
  ASSERT_TRUE(seeding.InstallAndStartService(kTrue));
  MyOpts defaults(Services());
  defaults.Reset();
  const std::unique_ptr<MyOpts> owner = Loaded();
  MyOpts& loaded = *owner;
  EXPECT_EQ(loaded.IsDifferent(defaults), 0);
  EXPECT_EQ(loaded.ApplyTo, (StrList{L"Users", L"Guests", L"Remote Desktop Users"}));
  EXPECT_EQ(loaded.Exclude, (StrList{L"Administrators"}));
  DWORD sessions = 0;
  EXPECT_TRUE(ReadRegNumber(RegKey(kKey, false, store), L"SessionsMonitoring", sessions));
  EXPECT_EQ(sessions, 2u) << "the statistics stay";
  ASSERT_TRUE(seeding.UninstallService(kTrue));

  // Stored settings, an empty list among them, survive a reinstall unchanged; a list that was
  // never written gets its default.
  loaded.Timeout = 33;
  loaded.Enable = 1;
  loaded.ApplyTo.clear();
  loaded.Exclude = {L"DOM\\helpdesk"};
  ASSERT_TRUE(loaded.Store());
  ASSERT_TRUE(seeding.InstallAndStartService(kTrue));
  EXPECT_EQ(Loaded()->IsDifferent(loaded), 0);
  ASSERT_TRUE(seeding.UninstallService(kTrue));
  ASSERT_TRUE(RegKey(kKey, true, store).DelSubKey(L"Exclude"));
  ASSERT_TRUE(seeding.InstallAndStartService(kTrue));
  EXPECT_EQ(Loaded()->Exclude, (StrList{L"Administrators"}));
  EXPECT_TRUE(Loaded()->ApplyTo.empty());
  EXPECT_EQ(Loaded()->Timeout, 33u);
  ASSERT_TRUE(seeding.UninstallService(kTrue));

  // Settings that cannot be written: no service runs on half of them.
  store.Clear();
  store.FailOperation(RegOp::kWrite, 3, err::kAccessDenied);
  EXPECT_EQ(ErrorOf(seeding.InstallAndStartService(kTrue)), err::kAccessDenied);
  EXPECT_FALSE(sm.HasService(kServiceName));
}

}  // namespace
}  // namespace tv
