// The installer's life cycle against the real service manager: TV64.EXE installs, starts, signals
// and removes the service, which runs the product's own service code in its own process.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>

// First: its DWORD must be the system's, as in its own source, not the one the product's headers bring.
#include "support/service_driver.h"

#include "entry/service_install.h"
#include "agent/agent_process.h"
#include "platform/service_manager.h"
#include "platform/win32/windows_include.h"

#include <tlhelp32.h>

namespace tv {
namespace {

// How long one launcher run may take before the test gives up.
constexpr DWORD kLauncherLimitMs = 120000;

constexpr wchar_t kEventSourceKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Tarnvale";

// Runs TV64.EXE with `arguments` and answers its exit code (-1 when it could not run or hung).
int RunLauncher(const std::wstring& arguments) {
  test::Launched run(arguments);
  return run.Started() ? run.ExitCode(kLauncherLimitMs) : -1;
}

DWORD ServiceState() { return test::ServiceStateOf(kServiceName); }
bool ServiceExists() { return ServiceState() != 0; }

std::wstring ReadText(const wchar_t* key, const wchar_t* name) {
  wchar_t buffer[1024] = {};
  ::DWORD size = sizeof(buffer);
  ::RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, buffer,
                 &size);
  return buffer;
}

// How many service managers run. Wine starts a second one when "wineboot -i" meets a prefix that
// is already up; the two keep separate tables and answer in turn, and nothing is reliable then.
int ServiceManagerProcesses() {
  HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return -1;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  int count = 0;
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more; more = ::Process32NextW(snapshot, &entry))
    if (::lstrcmpiW(entry.szExeFile, L"services.exe") == 0) ++count;
  ::CloseHandle(snapshot);
  return count;
}

class ServiceLifeCycle : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_LE(ServiceManagerProcesses(), 1) << "two service managers run in this Wine prefix; start it with "
                                               "\"wineboot\", not \"wineboot -i\", on a running wineserver";
    ASSERT_TRUE(test::WaitForAutomaticStarts(180000)) << "the service manager is still starting services";
    // A service left over from an earlier, interrupted run would make every step lie.
    RemoveWhateverIsLeft();
  }
  void TearDown() override { RemoveWhateverIsLeft(); }

  static void RemoveWhateverIsLeft() {
    if (!ServiceExists()) return;
    (void)RunLauncher(L"/unload-silent");
    if (test::Eventually([] { return !ServiceExists(); }, 15000)) return;
    // The launcher could not: stop and delete it directly so the prefix stays usable.
    auto sm = CreateSystemServiceManager();
    ServiceHandle manager, service;
    if (sm->OpenManager(svc::kManagerConnect, manager) &&
        sm->Open(manager, kServiceName, svc::kStop | svc::kDelete | svc::kQueryStatus, service)) {
      (void)sm->Control(service, svc::kControlStop);
      (void)sm->Delete(service);
    }
  }
};

// The exit codes of each mode are dispatch_test's, and the reload on Apply the configuration
// utility's test; here, what the real service manager and registry hold after each step.
TEST_F(ServiceLifeCycle, LauncherInstallsSignalsAndRemovesTheService) {
  const std::wstring folder = test::LauncherFolder();
  ASSERT_EQ(RunLauncher(L"/load-silent"), 0);
  ASSERT_TRUE(test::Eventually([] { return ServiceState() == svc::kRunning; }, 60000)) << "state " << ServiceState();
  {
    auto sm = CreateSystemServiceManager();
    ServiceHandle manager, service;
    ASSERT_TRUE(sm->OpenManager(svc::kManagerConnect, manager));
    ASSERT_TRUE(sm->Open(manager, kServiceName, svc::kQueryConfig, service));
    ServiceConfig config;
    ASSERT_TRUE(sm->QueryConfig(service, config));
    EXPECT_EQ(config.binaryPath, L"\"" + folder + L"TV64.EXE\" /service");
    EXPECT_EQ(config.startType, svc::kAutoStart);
    EXPECT_EQ(config.type, svc::kOwnProcess);
  }
  EXPECT_EQ(ReadText(kEventSourceKey, L"EventMessageFile"), folder + L"TV64.DLL");
  ::DWORD types = 0, size = sizeof(types);
  EXPECT_EQ(::RegGetValueW(HKEY_LOCAL_MACHINE, kEventSourceKey, L"TypesSupported", RRF_RT_REG_DWORD, nullptr, &types,
                           &size),
            ERROR_SUCCESS);
  EXPECT_EQ(types, 7u);

  // The installer's quit request reaches the running service (exit code 1), which keeps running.
  EXPECT_EQ(RunLauncher(L"/uninstall-msi"), 1);
  EXPECT_EQ(ServiceState(), svc::kRunning);

  EXPECT_EQ(RunLauncher(L"/unload-silent"), 0);
  EXPECT_TRUE(test::Eventually([] { return !ServiceExists(); }, 60000));
}

}  // namespace
}  // namespace tv

#else

TEST(ServiceLifeCycle, OnlyOnWindows) { GTEST_SKIP() << "needs the Windows service manager"; }

#endif  // _WIN32
