#include <gtest/gtest.h>

#include <functional>

#include "platform/portable/service_manager.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#else
#include <unistd.h>
#endif

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

std::wstring ThrowAwayName() {
#ifdef _WIN32
  return L"TarnvaleSeamTest" + std::to_wstring(::GetCurrentProcessId());
#else
  return L"TarnvaleSeamTest" + std::to_wstring(::getpid());
#endif
}

struct Implementation {
  const char* name;
  std::function<std::unique_ptr<ServiceManager>()> make;
};

// The same life cycle against every implementation, so the simulated table cannot drift from
// what the real service manager answers.
class ServiceManagerContract : public ::testing::TestWithParam<Implementation> {};

TEST_P(ServiceManagerContract, CreateQueryRefuseAndDeleteAThrowAwayService) {
  auto sm = GetParam().make();
  const std::wstring name = ThrowAwayName();
  ServiceHandle manager;
  ASSERT_TRUE(sm->OpenManager(svc::kManagerConnect | svc::kManagerCreateService, manager)) << GetLastErrorCode();

  ServiceConfig config;
  config.name = name;
  config.displayName = name + L" display";
  config.binaryPath = L"\"C:\\windows\\system32\\notepad.exe\" /service";
  config.description = L"Created and removed by a test.";
  const DWORD access = svc::kQueryConfig | svc::kChangeConfig | svc::kQueryStatus | svc::kStart | svc::kDelete;
  ServiceHandle service;
  ASSERT_TRUE(sm->Create(manager, config, access, service)) << GetLastErrorCode();
  // Whatever fails below, the service must not outlive the test.
  struct Cleanup {
    ServiceManager& sm;
    ServiceHandle& h;
    ~Cleanup() {
      if (h.valid()) (void)sm.Delete(h);
    }
  } cleanup{*sm, service};

  ServiceConfig read;
  ASSERT_TRUE(sm->QueryConfig(service, read)) << GetLastErrorCode();
  EXPECT_EQ(read.binaryPath, config.binaryPath);
  EXPECT_EQ(read.displayName, config.displayName);
  EXPECT_EQ(read.description, config.description);
  EXPECT_EQ(read.startType, svc::kAutoStart);
  EXPECT_EQ(read.type & svc::kOwnProcess, svc::kOwnProcess);
  ServiceStatus status;
  ASSERT_TRUE(sm->QueryStatus(service, status));
  EXPECT_EQ(status.state, svc::kStopped);

  ServiceHandle twin;  // a name already taken
  EXPECT_EQ(ErrorOf(sm->Create(manager, config, access, twin)), err::kServiceExists);
  EXPECT_FALSE(twin.valid());

  // Controls need the matching right first; a stopped service then refuses them as not active.
  EXPECT_EQ(ErrorOf(sm->Control(service, 128)), err::kAccessDenied);
  ServiceHandle control;
  ASSERT_TRUE(sm->Open(manager, name, svc::kStop | svc::kUserDefinedControl | svc::kQueryStatus, control));
  EXPECT_EQ(ErrorOf(sm->Control(control, svc::kControlStop)), err::kServiceNotActive);
  EXPECT_EQ(ErrorOf(sm->Control(control, 129)), err::kServiceNotActive);

  ASSERT_TRUE(sm->ChangeStartType(service, svc::kDemandStart));
  ASSERT_TRUE(sm->QueryConfig(service, read));
  EXPECT_EQ(read.startType, svc::kDemandStart);

  // The DACL as installation sets it, and text that is no DACL, which changes nothing.
  ServiceHandle secure;
  ASSERT_TRUE(sm->Open(manager, name, svc::kWriteDac | svc::kChangeConfig | svc::kStart, secure));
  EXPECT_TRUE(sm->SetSecurity(secure, L"D:(A;;CCLCSWRPWPDTLOCRRC;;;SY)(A;;CCDCLCSWRPWPDTLOCRSDRCWDWO;;;BA)"
                                      L"(A;;CCLCLORC;;;IU)")) << GetLastErrorCode();
  EXPECT_EQ(ErrorOf(sm->SetSecurity(secure, L"D:(A;;XX;;;SY")), err::kInvalidParameter);
  ServiceFailureActions recovery;
  recovery.resetSeconds = 86400;
  recovery.actions = {{svc::kRecoverRestart, 60000}, {svc::kRecoverNone, 0}};
  EXPECT_TRUE(sm->SetFailureActions(secure, recovery)) << GetLastErrorCode();
  secure.reset();

  ServiceHandle missing;
  EXPECT_EQ(ErrorOf(sm->Open(manager, L"TarnvaleNoSuchService", svc::kQueryStatus, missing)),
            err::kServiceDoesNotExist);
  ASSERT_TRUE(sm->Delete(service)) << GetLastErrorCode();
  service.reset();
  control.reset();
  EXPECT_EQ(ErrorOf(sm->Open(manager, name, svc::kQueryStatus, missing)), err::kServiceDoesNotExist);
}

std::vector<Implementation> Implementations() {
  std::vector<Implementation> list{{"Simulated", [] { return std::make_unique<SimulatedServiceManager>(); }}};
#ifdef _WIN32
  list.push_back({"Win32", [] { return CreateSystemServiceManager(); }});
#endif
  return list;
}

INSTANTIATE_TEST_SUITE_P(All, ServiceManagerContract, ::testing::ValuesIn(Implementations()),
                         [](const auto& info) { return std::string(info.param.name); });

// --- Simulated behaviour the install and removal logic depends on ---------------------------------

ServiceConfig Tarnvale() { return {L"Tarnvale", L"Tarnvale", L"\"C:\\Tarnvale\\TV64.EXE\" /service"}; }

class SimulatedServiceManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect | svc::kManagerCreateService, manager)); }
  ServiceHandle Open(DWORD access) {
    ServiceHandle s;
    EXPECT_TRUE(sm.Open(manager, L"TARNVALE", access, s));
    return s;
  }
  SimulatedServiceManager sm;
  ServiceHandle manager;
};

TEST_F(SimulatedServiceManagerTest, RightsStartTypeAndDeletionFollowTheServiceManager) {
  sm.AddService(Tarnvale());
  ServiceHandle s = Open(svc::kQueryConfig | svc::kChangeConfig | svc::kQueryStatus | svc::kStart);
  ASSERT_TRUE(sm.Start(s));
  EXPECT_EQ(ErrorOf(sm.Start(s)), err::kServiceAlreadyRunning);
  // The product's own codes need the user-defined-control right, not the pause/continue one.
  EXPECT_EQ(ErrorOf(sm.Control(Open(svc::kPauseContinue), 128)), err::kAccessDenied);
  ServiceHandle user = Open(svc::kUserDefinedControl);
  EXPECT_TRUE(sm.Control(user, 128));
  EXPECT_EQ(ErrorOf(sm.Control(user, svc::kControlShutdown)), err::kInvalidParameter);  // only the system sends it
  EXPECT_EQ(sm.ControlsReceived(L"Tarnvale"), std::vector<DWORD>{128});
  sm.SetState(L"Tarnvale", svc::kStopped);
  ASSERT_TRUE(sm.ChangeStartType(s, svc::kDisabled));
  EXPECT_EQ(ErrorOf(sm.Start(s)), err::kServiceDisabled);
  // The DACL needs its own right; a restarting recovery needs the start right besides the
  // configuration one.
  EXPECT_EQ(ErrorOf(sm.SetSecurity(s, L"D:(A;;GA;;;SY)")), err::kAccessDenied);
  ServiceFailureActions restart{3600, {{svc::kRecoverRestart, 1000}}};
  EXPECT_EQ(ErrorOf(sm.SetFailureActions(Open(svc::kChangeConfig), restart)), err::kAccessDenied);
  ServiceHandle m, twin;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, m));
  EXPECT_EQ(ErrorOf(sm.Create(m, Tarnvale(), svc::kStart, twin)), err::kAccessDenied);

  // Marked for deletion while running and in use: it goes once it stops and the last handle closes.
  sm.SetState(L"Tarnvale", svc::kRunning);
  {
    ServiceHandle a = Open(svc::kDelete | svc::kStop | svc::kStart), b = Open(svc::kQueryStatus);
    ASSERT_TRUE(sm.Delete(a));
    EXPECT_EQ(ErrorOf(sm.Create(manager, Tarnvale(), svc::kStart, twin)), err::kServiceMarkedForDelete);
    ASSERT_TRUE(sm.Control(a, svc::kControlStop));
    EXPECT_EQ(ErrorOf(sm.Start(a)), err::kServiceMarkedForDelete);
    s.reset();
    user.reset();
    a.reset();
    EXPECT_TRUE(sm.HasService(L"Tarnvale"));  // b still holds it
  }
  EXPECT_FALSE(sm.HasService(L"Tarnvale"));
}

}  // namespace
}  // namespace tv
