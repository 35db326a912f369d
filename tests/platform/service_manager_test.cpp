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

  // A name already taken.
  ServiceHandle twin;
  EXPECT_FALSE(sm->Create(manager, config, access, twin));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceExists);
  EXPECT_FALSE(twin.valid());

  // Controls need the matching right first; a stopped service then refuses them as not active.
  EXPECT_FALSE(sm->Control(service, 128));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  ServiceHandle control;
  ASSERT_TRUE(sm->Open(manager, name, svc::kStop | svc::kUserDefinedControl | svc::kQueryStatus, control));
  EXPECT_FALSE(sm->Control(control, svc::kControlStop));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceNotActive);
  EXPECT_FALSE(sm->Control(control, 129));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceNotActive);

  ASSERT_TRUE(sm->ChangeStartType(service, svc::kDemandStart));
  ASSERT_TRUE(sm->QueryConfig(service, read));
  EXPECT_EQ(read.startType, svc::kDemandStart);

  ServiceHandle missing;
  EXPECT_FALSE(sm->Open(manager, L"TarnvaleNoSuchService", svc::kQueryStatus, missing));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceDoesNotExist);

  ASSERT_TRUE(sm->Delete(service)) << GetLastErrorCode();
  service.reset();
  control.reset();
  ServiceHandle gone;
  EXPECT_FALSE(sm->Open(manager, name, svc::kQueryStatus, gone));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceDoesNotExist);
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

ServiceConfig Tarnvale() {
  ServiceConfig c;
  c.name = L"Tarnvale";
  c.displayName = L"Tarnvale";
  c.binaryPath = L"\"C:\\Tarnvale\\TV64.EXE\" /service";
  return c;
}

TEST(SimulatedServiceManager, StopStaysPendingForTheConfiguredQueries) {
  SimulatedServiceManager sm;
  sm.AddService(Tarnvale(), svc::kRunning);
  sm.SetStopDelay(L"Tarnvale", 3);
  ServiceHandle m, s;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, m));
  ASSERT_TRUE(sm.Open(m, L"TARNVALE", 0x10024, s));  // delete, stop, query status

  ServiceStatus st;
  ASSERT_TRUE(sm.Control(s, svc::kControlStop, &st));
  EXPECT_EQ(st.state, svc::kStopPending);
  EXPECT_FALSE(sm.Control(s, svc::kControlStop));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceCannotAcceptCtrl);
  ASSERT_TRUE(sm.QueryStatus(s, st));
  EXPECT_EQ(st.state, svc::kStopPending);
  ASSERT_TRUE(sm.QueryStatus(s, st));
  EXPECT_EQ(st.state, svc::kStopPending);
  ASSERT_TRUE(sm.QueryStatus(s, st));
  EXPECT_EQ(st.state, svc::kStopped);
  EXPECT_EQ(st.processId, 0u);
  EXPECT_EQ(sm.ControlsReceived(L"Tarnvale"), std::vector<DWORD>{svc::kControlStop});
}

TEST(SimulatedServiceManager, StartAndControlFollowStateAndRights) {
  SimulatedServiceManager sm;
  sm.AddService(Tarnvale());
  ServiceHandle m, s, user;
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, m));
  ASSERT_TRUE(sm.Open(m, L"Tarnvale", 23, s));  // query/change config, query status, start
  ASSERT_TRUE(sm.Start(s));
  EXPECT_FALSE(sm.Start(s));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceAlreadyRunning);
  EXPECT_EQ(sm.StateOf(L"Tarnvale"), svc::kRunning);

  // The product's own codes need the user-defined-control right, not the pause/continue one.
  ServiceHandle pauseRight;
  ASSERT_TRUE(sm.Open(m, L"Tarnvale", svc::kPauseContinue, pauseRight));
  EXPECT_FALSE(sm.Control(pauseRight, 128));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  ASSERT_TRUE(sm.Open(m, L"Tarnvale", svc::kUserDefinedControl, user));
  EXPECT_TRUE(sm.Control(user, 128));
  EXPECT_TRUE(sm.Control(user, 129));
  EXPECT_FALSE(sm.Control(user, svc::kControlShutdown));  // only the system sends that
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
  EXPECT_EQ(sm.ControlsReceived(L"Tarnvale"), (std::vector<DWORD>{128, 129}));

  // A disabled service cannot be started until its start type is changed.
  sm.SetState(L"Tarnvale", svc::kStopped);
  ASSERT_TRUE(sm.ChangeStartType(s, svc::kDisabled));
  EXPECT_FALSE(sm.Start(s));
  EXPECT_EQ(GetLastErrorCode(), err::kServiceDisabled);
  ASSERT_TRUE(sm.ChangeStartType(s, svc::kAutoStart));
  EXPECT_TRUE(sm.Start(s));

  // A handle from another manager is not this manager's to use.
  SimulatedServiceManager other;
  ServiceStatus st;
  EXPECT_FALSE(other.QueryStatus(s, st));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidHandle);
}

TEST(SimulatedServiceManager, MarkedServiceLingersUntilStoppedAndUnused) {
  SimulatedServiceManager sm;
  sm.AddService(Tarnvale(), svc::kRunning);
  {
    ServiceHandle m, a, b;
    ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect | svc::kManagerCreateService, m));
    ASSERT_TRUE(sm.Open(m, L"Tarnvale", 0x10024 | svc::kStart, a));
    ASSERT_TRUE(sm.Open(m, L"Tarnvale", svc::kQueryStatus, b));
    ASSERT_TRUE(sm.Delete(a));
    EXPECT_FALSE(sm.Delete(a));
    EXPECT_EQ(GetLastErrorCode(), err::kServiceMarkedForDelete);
    ServiceHandle again;
    EXPECT_FALSE(sm.Create(m, Tarnvale(), svc::kStart, again));
    EXPECT_EQ(GetLastErrorCode(), err::kServiceMarkedForDelete);

    ASSERT_TRUE(sm.Control(a, svc::kControlStop));
    EXPECT_FALSE(sm.Start(a));
    EXPECT_EQ(GetLastErrorCode(), err::kServiceMarkedForDelete);
    a.reset();
    EXPECT_TRUE(sm.HasService(L"Tarnvale"));  // b still holds it
    EXPECT_EQ(sm.OpenHandles(), 2u);
  }
  EXPECT_FALSE(sm.HasService(L"Tarnvale"));
  EXPECT_EQ(sm.OpenHandles(), 0u);

  // Running when marked: it goes only once it stops.
  sm.AddService(Tarnvale(), svc::kRunning);
  {
    ServiceHandle m, s;
    ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, m));
    ASSERT_TRUE(sm.Open(m, L"Tarnvale", svc::kDelete, s));
    ASSERT_TRUE(sm.Delete(s));
  }
  EXPECT_TRUE(sm.IsMarkedForDelete(L"Tarnvale"));
  sm.SetState(L"Tarnvale", svc::kStopped);
  EXPECT_FALSE(sm.HasService(L"Tarnvale"));
}

TEST(SimulatedServiceManager, InjectedFaultsAndBadInput) {
  SimulatedServiceManager sm;
  ServiceHandle m;
  sm.FailOp(SimulatedServiceManager::Op::kOpenManager, err::kAccessDenied);
  EXPECT_FALSE(sm.OpenManager(svc::kManagerCreateService, m));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_FALSE(m.valid());
  ASSERT_TRUE(sm.OpenManager(svc::kManagerConnect, m));

  // Creating needs the create right on the manager.
  ServiceHandle s;
  EXPECT_FALSE(sm.Create(m, Tarnvale(), svc::kStart, s));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  ASSERT_TRUE(sm.OpenManager(svc::kManagerCreateService, m));
  ServiceConfig bad = Tarnvale();
  bad.name = L"a\\b";
  EXPECT_FALSE(sm.Create(m, bad, svc::kStart, s));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidName);
  bad.name.clear();
  EXPECT_FALSE(sm.Create(m, bad, svc::kStart, s));

  sm.FailOp(SimulatedServiceManager::Op::kStart, 1053, 1);  // the service did not answer in time
  ASSERT_TRUE(sm.Create(m, Tarnvale(), svc::kStart | svc::kQueryStatus, s));
  EXPECT_FALSE(sm.Start(s));
  EXPECT_EQ(GetLastErrorCode(), 1053u);
  EXPECT_TRUE(sm.Start(s));
}

}  // namespace
}  // namespace tv
