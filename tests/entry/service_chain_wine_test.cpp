// The whole chain under Wine, once: TV64.EXE installs the service, Wine's service manager starts
// it, and it watches a session through the terminal-services library, starts the real agent in
// it, has the real warning shown and logs the session off. Wine's own library lists no session,
// so the service's test prefix loads a stand-in (tests/fixtures/wtsapi_standin) that scripts one
// and records the log-off instead of ending the test's own session. A second run has a listed
// program keep a locked session, which the service sees in Wine's process list.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <fstream>
#include <iterator>
#include <string>

// First: its DWORD must be the system's, as in its own source, not the one the product's headers bring.
#include "support/service_driver.h"

#include "agent/agent_process.h"
#include "agent/synthetic_input.h"
#include "fixtures/wtsapi_standin/standin_location.h"
#include "fixtures/wtsapi_standin/standin_script.h"
#include "platform/win32/windows_include.h"
#include "settings/kept_alive_record.h"

namespace tv {
namespace {

using namespace test;

constexpr wchar_t kService[] = L"Tarnvale";
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";
// Where the service records its sparings, one value per session.
constexpr wchar_t kSessionRecordsKey[] = L"SOFTWARE\\Brellick\\Tarnvale\\Sessions";
// The test's own keys live below this one.
constexpr wchar_t kTestRootKey[] = L"SOFTWARE\\TarnvaleTest";
// Where the computer's own settings wait while the test runs on its own.
constexpr wchar_t kSavedProductKey[] = L"SOFTWARE\\TarnvaleTest\\SavedSettings";
// Wine reads a program's own DLL overrides here, in the registry of the prefix: the service's
// process is started by Wine's service manager, whose environment the test cannot give it.
constexpr wchar_t kOverrideAppKey[] = L"Software\\Wine\\AppDefaults\\TV64.EXE";
constexpr wchar_t kOverrideKey[] = L"Software\\Wine\\AppDefaults\\TV64.EXE\\DllOverrides";
constexpr ::DWORD kSession = 1;

constexpr ::DWORD kLauncherLimitMs = 120000;
constexpr ::DWORD kStartLimitMs = 60000;
// A step that the service takes once a minute of idleness has passed, with room for a slow host.
constexpr ::DWORD kMinuteStepLimitMs = 100000;

std::wstring SystemFolder() {
  wchar_t folder[MAX_PATH] = {};
  const UINT n = ::GetSystemDirectoryW(folder, MAX_PATH);
  return std::wstring(folder, n < MAX_PATH ? n : 0);
}

// Whether `path` is one of Wine's own PE libraries, which carry this mark after the DOS header.
bool IsWineBuiltin(const std::wstring& path) {
  std::ifstream file(path.c_str(), std::ios::binary);
  char head[0x50] = {};
  if (!file.read(head, sizeof(head))) return false;
  return std::string(head + 0x40, 16) == "Wine builtin DLL";
}

bool SetText(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text) {
  return ::RegSetKeyValueW(root, path.c_str(), name, REG_SZ, text.c_str(),
                           static_cast<::DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

bool SetNumber(HKEY root, const std::wstring& path, const wchar_t* name, ::DWORD value) {
  return ::RegSetKeyValueW(root, path.c_str(), name, REG_DWORD, &value, sizeof(value)) == ERROR_SUCCESS;
}

bool KeyExists(HKEY root, const wchar_t* path) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  ::RegCloseKey(key);
  return true;
}

// Deletes the key at `path` when nothing is left in it, so the prefix ends as it began.
void DeleteIfEmpty(HKEY root, const wchar_t* path) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  ::DWORD subkeys = 1, values = 1;
  const bool empty = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                                        nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
                     subkeys == 0 && values == 0;
  ::RegCloseKey(key);
  if (empty) ::RegDeleteKeyW(root, path);
}

std::wstring OwnUserName() {
  wchar_t name[256] = {};
  ::DWORD n = 256;
  return ::GetUserNameW(name, &n) ? name : L"";
}

std::wstring ComputerName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  ::DWORD n = MAX_COMPUTERNAME_LENGTH + 1;
  return ::GetComputerNameW(name, &n) ? name : L"";
}

// The stand-in in place of Wine's library for TV64.EXE alone, with a session script and a
// journal; everything is put back when it goes. A copy left by a run killed half-way answers as
// Wine's own library does, since it passes every call on once the script's owner has ended.
class StandinPrefix {
 public:
  ~StandinPrefix() { Remove(); }

  // Empty when installed; else what went wrong.
  std::string Install() {
    const std::wstring system = SystemFolder();
    live_ = system + L"\\wtsapi32.dll";
    real_ = system + L"\\" + standin::kRealLibraryFile;
    if (IsWineBuiltin(live_) && !::CopyFileW(live_.c_str(), real_.c_str(), FALSE)) return "cannot keep Wine's library";
    if (!IsWineBuiltin(real_)) return "Wine's own terminal-services library is nowhere to be found";
    installed_ = true;
    if (!::CopyFileW(StandinLibraryPath().c_str(), live_.c_str(), FALSE)) return "cannot put the stand-in in place";
    if (!SetText(HKEY_CURRENT_USER, kOverrideKey, L"wtsapi32", L"native,builtin")) return "cannot set the override";

    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    journal_ = std::wstring(temp) + L"tv-standin-" + std::to_wstring(::GetCurrentProcessId()) + L".txt";
    ::DeleteFileW(journal_.c_str());
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, standin::kScriptKey);
    if (!SetText(HKEY_LOCAL_MACHINE, standin::kScriptKey, standin::kJournalValue, journal_) ||
        !SetNumber(HKEY_LOCAL_MACHINE, standin::kScriptKey, standin::kOwnerValue, ::GetCurrentProcessId()))
      return "cannot write the script";
    return {};
  }

  // Session `id` with the test's own user logged on and active: the user Wine runs everything
  // as, so the token the agent gets is that user's.
  bool LogOn(::DWORD id, bool locked = false) {
    const std::wstring key =
        std::wstring(standin::kScriptKey) + L"\\" + standin::kSessionsKey + L"\\" + std::to_wstring(id);
    return SetText(HKEY_LOCAL_MACHINE, key, standin::kUserValue, OwnUserName()) &&
           SetText(HKEY_LOCAL_MACHINE, key, standin::kDomainValue, ComputerName()) &&
           SetNumber(HKEY_LOCAL_MACHINE, key, standin::kStateValue, 0) &&
           SetNumber(HKEY_LOCAL_MACHINE, key, standin::kLockedValue, locked ? 1 : 0);
  }

  // The journal's lines that begin with `start`.
  int CountRecords(const std::string& start) const {
    std::ifstream file(journal_.c_str(), std::ios::binary);
    std::string line;
    int n = 0;
    while (std::getline(file, line)) {
      if (line.rfind(start, 0) == 0) ++n;
    }
    return n;
  }

  // Where in the journal the first line beginning with `start` stands; npos when none does.
  std::size_t FirstRecord(const std::string& start) const { return ("\n" + Journal()).find("\n" + start); }

  std::string Journal() const {
    std::ifstream file(journal_.c_str(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }

 private:
  void Remove() {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, standin::kScriptKey);
    DeleteIfEmpty(HKEY_LOCAL_MACHINE, kTestRootKey);
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kOverrideKey, L"wtsapi32");
    DeleteIfEmpty(HKEY_CURRENT_USER, kOverrideKey);
    DeleteIfEmpty(HKEY_CURRENT_USER, kOverrideAppKey);
    if (installed_ && ::CopyFileW(real_.c_str(), live_.c_str(), FALSE)) ::DeleteFileW(real_.c_str());
    if (!journal_.empty()) ::DeleteFileW(journal_.c_str());
  }

  bool installed_ = false;
  std::wstring live_, real_, journal_;
};

// The computer's settings set aside for the test's own and put back afterwards.
class OwnSettings {
 public:
  OwnSettings() {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kSavedProductKey);
    saved_ = KeyExists(HKEY_LOCAL_MACHINE, kProductKey) && Copy(kProductKey, kSavedProductKey);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
  }
  ~OwnSettings() {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
    if (saved_ && Copy(kSavedProductKey, kProductKey)) ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kSavedProductKey);
    DeleteIfEmpty(HKEY_LOCAL_MACHINE, kTestRootKey);
  }

  // A minute of idleness before the warning, a minute of countdown, and nothing else that could
  // keep the session or end it: no processor load as activity (the build host is busy), no
  // exemptions, no sound or presentation keeping it, no schedule, no power action, and lists
  // that apply to everyone and keep no program's session.
  bool Write() {
    const struct {
      const wchar_t* name;
      ::DWORD value;
    } values[] = {
        {L"Enable", 1},         {L"Timeout", 1},     {L"MessageTimeout", 1},      {L"MonitorKB", 1},
        {L"MonitorMouse", 1},   {L"MonitorCPU", 0},  {L"KeepLastActiveUser", 0},  {L"LogoffStale", 0},
        {L"FullScreen", 0},     {L"UseSchedule", 0}, {L"Shutdown", 0},            {L"KeepAliveAudio", 0},
        {L"KeepAlivePresentation", 0},
    };
    for (const auto& v : values) {
      if (!SetNumber(HKEY_LOCAL_MACHINE, kProductKey, v.name, v.value)) return false;
    }
    for (const wchar_t* list : {L"\\ApplyTo", L"\\Exclude", L"\\KeepAliveProcesses"}) {
      HKEY key = nullptr;
      if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kProductKey) + list).c_str(), 0, nullptr, 0, KEY_WRITE,
                            nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
      ::RegCloseKey(key);
    }
    return true;
  }

 private:
  static bool Copy(const wchar_t* from, const wchar_t* to) {
    HKEY source = nullptr, target = nullptr;
    bool ok = false;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, from, 0, KEY_READ, &source) == ERROR_SUCCESS &&
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, to, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &target, nullptr) ==
            ERROR_SUCCESS)
      ok = ::RegCopyTreeW(source, nullptr, target) == ERROR_SUCCESS;
    if (source) ::RegCloseKey(source);
    if (target) ::RegCloseKey(target);
    return ok;
  }

  bool saved_ = false;
};

// A harmless program under a listed name: Wine's ping, copied as render.exe into a folder of its
// own, pinging this computer for ten minutes unless ended first.
class ListedProgram {
 public:
  ~ListedProgram() {
    End();
    if (!path_.empty()) ::DeleteFileW(path_.c_str());
    if (!folder_.empty()) ::RemoveDirectoryW(folder_.c_str());
  }

  bool Start() {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    folder_ = std::wstring(temp) + L"tv-listed-" + std::to_wstring(::GetCurrentProcessId());
    path_ = folder_ + L"\\render.exe";
    ::CreateDirectoryW(folder_.c_str(), nullptr);
    if (!::CopyFileW((SystemFolder() + L"\\ping.exe").c_str(), path_.c_str(), FALSE)) return false;
    std::wstring line = L"\"" + path_ + L"\" -n 600 127.0.0.1";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(path_.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                          folder_.c_str(), &startup, &info))
      return false;
    ::CloseHandle(info.hThread);
    process_ = info.hProcess;
    return true;
  }

  bool Running() const { return process_ && ::WaitForSingleObject(process_, 0) == WAIT_TIMEOUT; }

  void End() {
    if (!process_) return;
    ::TerminateProcess(process_, 0);
    ::WaitForSingleObject(process_, 10000);
    ::CloseHandle(process_);
    process_ = nullptr;
  }

 private:
  std::wstring folder_, path_;
  HANDLE process_ = nullptr;
};

// Whether the service's latest sparing of `session` names `program`, as the session's
// configuration utility reads it.
bool SparedBy(::DWORD session, const std::wstring& program) {
  wchar_t text[512] = {};
  ::DWORD size = sizeof(text) - sizeof(wchar_t);
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, kSessionRecordsKey, KeptAliveValueName(session).c_str(), RRF_RT_REG_SZ,
                     nullptr, text, &size) != ERROR_SUCCESS)
    return false;
  KeptAliveRecord record;
  return ParseKeptAlive(text, record) && record.source == KeepSource::kProgram && record.program == program;
}

int RunLauncher(const std::wstring& arguments) {
  Launched run(arguments);
  return run.Started() ? run.ExitCode(kLauncherLimitMs) : -1;
}

bool SendControl(::DWORD code) {
  SC_HANDLE manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  SC_HANDLE service = manager ? ::OpenServiceW(manager, kService, SERVICE_USER_DEFINED_CONTROL) : nullptr;
  SERVICE_STATUS status{};
  const bool sent = service && ::ControlService(service, code, &status);
  if (service) ::CloseServiceHandle(service);
  if (manager) ::CloseServiceHandle(manager);
  return sent;
}

// Every agent is gone; one that outlives its service would answer the next test's search.
void EndAgents() {
  if (Eventually([] { return AgentWindow() == nullptr; }, 15000)) return;
  for (HWND agent; (agent = AgentWindow()) != nullptr;) {
    HANDLE process = ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, WindowPid(agent));
    if (!process) return;
    ::TerminateProcess(process, 99);
    ::WaitForSingleObject(process, 5000);
    ::CloseHandle(process);
  }
}

void RemoveService() {
  if (ServiceStateOf(kService) != 0) (void)RunLauncher(L"/unload-silent");
  Eventually([] { return ServiceStateOf(kService) == 0; }, 15000);
  EndAgents();
}

class ServiceChainUnderWine : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(WaitForAutomaticStarts(180000)) << "the service manager is still starting services";
    RemoveService();
    const std::string failed = prefix_.Install();
    ASSERT_TRUE(failed.empty()) << failed;
    ASSERT_TRUE(settings_.Write());
    // A window that appears under the X pointer makes Wine report a real mouse move, which the
    // agent counts as activity: the pointer waits in a corner where no window of the product opens.
    ::SetCursorPos(::GetSystemMetrics(SM_CXSCREEN) - 1, ::GetSystemMetrics(SM_CYSCREEN) - 1);
  }
  void TearDown() override { RemoveService(); }

  StandinPrefix prefix_;
  OwnSettings settings_;
};

TEST_F(ServiceChainUnderWine, InputKeepsTheSessionPastItsMinuteThenTheIdleSessionIsWarnedAndLoggedOff) {
  ASSERT_TRUE(prefix_.LogOn(kSession));
  ASSERT_EQ(RunLauncher(L"/load-silent"), 0);
  ASSERT_TRUE(Eventually([] { return ServiceStateOf(kService) == SERVICE_RUNNING; }, kStartLimitMs));
  HWND agent = nullptr;
  ASSERT_TRUE(Eventually([&] { return (agent = AgentWindow()) != nullptr; }, kStartLimitMs))
      << "the service started no agent in the scripted session; journal:\n" << prefix_.Journal();
  const ::DWORD agentPid = WindowPid(agent);
  const ULONGLONG appeared = ::GetTickCount64();

  // The session's minute counts from before the agent appeared. A key pressed 20 s into it moves
  // the warning to a minute after the key; without the key it would have come by the 60th second.
  bool pressed = false;
  for (ULONGLONG idle = 0; idle < 70000; idle = ::GetTickCount64() - appeared) {
    if (!pressed && idle >= 20000) {
      ASSERT_TRUE(TypeKey());
      pressed = true;
    }
    ASSERT_EQ(FindBox(agentPid, L"Tarnvale"), nullptr) << "warned although a key was pressed within the minute";
    ASSERT_EQ(prefix_.CountRecords(standin::kLogoffRecord), 0) << prefix_.Journal();
    ASSERT_TRUE(::IsWindow(agent)) << "the agent ended while its session was watched";
    ::Sleep(250);
  }

  // Idle now: the service starts the warning process, which hands the warning to the agent.
  HWND box = nullptr;
  ASSERT_TRUE(Eventually([&] { return (box = FindBox(agentPid, L"Tarnvale")) != nullptr; }, kMinuteStepLimitMs))
      << "no warning a minute after the key";
  EXPECT_NE(BoxMessage(box).find(L"Press OK to keep your session active"), std::wstring::npos) << BoxMessage(box);
  EXPECT_EQ(prefix_.CountRecords(standin::kMessageRecord), 0)
      << "an unlocked session is warned by the warning process, not a system message box:\n" << prefix_.Journal();

  // Nobody answers: the countdown's minute ends in the log-off, and the session's monitor ends,
  // which ends its agent, warning and all.
  const std::string logoff = standin::kLogoffRecord + std::to_string(kSession);
  const ULONGLONG warned = ::GetTickCount64();
  ULONGLONG boxClosed = 0;
  const bool loggedOff = Eventually(
      [&] {
        if (!boxClosed && !::IsWindow(box)) boxClosed = ::GetTickCount64();
        return prefix_.CountRecords(logoff) == 1;
      },
      kMinuteStepLimitMs);
  ASSERT_TRUE(loggedOff) << "no log-off; the warning "
                         << (boxClosed ? "closed " + std::to_string((boxClosed - warned) / 1000) + " s after it opened"
                                       : std::string("stayed open"))
                         << ", the agent " << (::IsWindow(agent) ? "runs" : "is gone") << "; journal:\n"
                         << prefix_.Journal();
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(agent); }, 30000)) << "the agent outlived its session's monitor";
  EXPECT_EQ(prefix_.CountRecords(standin::kLogoffRecord), 1) << prefix_.Journal();

  // The next log-on gets the same number. The service hears of it only when told to look again
  // (Wine's service manager passes no session changes): it watches the session afresh.
  ASSERT_TRUE(prefix_.LogOn(kSession));
  ASSERT_TRUE(SendControl(128));
  HWND next = nullptr;
  EXPECT_TRUE(Eventually([&] { return (next = AgentWindow()) != nullptr; }, kStartLimitMs))
      << "the session logged on again was not watched";
  if (next) {
    EXPECT_NE(WindowPid(next), agentPid);
  }
}

// Wine's event log keeps nothing (ReportEventW only traces), so the sparing is seen in the record
// the service writes beside its entry; the entry itself is checked on the portable sessions.
TEST_F(ServiceChainUnderWine, AListedProgramKeepsALockedSessionPastItsMinuteAndItsEndLetsTheWarningAndLogOffCome) {
  // A locked session is warned by a system message box, which the journal records. The minute of
  // countdown stays: without one the warning time counts as gone by and nobody is warned.
  ASSERT_TRUE(SetText(HKEY_LOCAL_MACHINE, std::wstring(kProductKey) + L"\\KeepAliveProcesses", L"1", L"render.exe"));
  ListedProgram job;
  ASSERT_TRUE(job.Start()) << "Wine's ping does not run as render.exe";
  ASSERT_TRUE(prefix_.LogOn(kSession, true));
  ASSERT_EQ(RunLauncher(L"/load-silent"), 0);
  ASSERT_TRUE(Eventually([] { return ServiceStateOf(kService) == SERVICE_RUNNING; }, kStartLimitMs));
  HWND agent = nullptr;
  ASSERT_TRUE(Eventually([&] { return (agent = AgentWindow()) != nullptr; }, kStartLimitMs))
      << "the service started no agent in the scripted session; journal:\n" << prefix_.Journal();

  // The session's minute runs out while the program runs: it is spared, neither warned nor ended.
  const std::string message = standin::kMessageRecord + std::to_string(kSession) + " ";
  const std::string logoff = standin::kLogoffRecord + std::to_string(kSession);
  (void)Eventually(
      [&] {
        return SparedBy(kSession, L"render.exe") || prefix_.CountRecords(message) > 0 ||
               prefix_.CountRecords(logoff) > 0;
      },
      kMinuteStepLimitMs);
  ASSERT_TRUE(SparedBy(kSession, L"render.exe")) << "not spared by the program; journal:\n" << prefix_.Journal();
  EXPECT_EQ(prefix_.CountRecords(message), 0) << prefix_.Journal();
  EXPECT_EQ(prefix_.CountRecords(logoff), 0) << prefix_.Journal();
  ASSERT_TRUE(job.Running()) << "the program ended by itself";

  // The job ends: a minute on comes the warning, and the countdown's minute ends in the log-off.
  job.End();
  ASSERT_TRUE(Eventually([&] { return prefix_.CountRecords(message) + prefix_.CountRecords(logoff) > 0; },
                         kMinuteStepLimitMs))
      << "neither warned nor logged off after the program ended";
  ASSERT_EQ(prefix_.CountRecords(message), 1) << "logged off unwarned:\n" << prefix_.Journal();
  ASSERT_TRUE(Eventually([&] { return prefix_.CountRecords(logoff) == 1; }, kMinuteStepLimitMs))
      << "no log-off after the warning; journal:\n" << prefix_.Journal();
  EXPECT_LT(prefix_.FirstRecord(message), prefix_.FirstRecord(logoff)) << prefix_.Journal();
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(agent); }, 30000)) << "the agent outlived its session's monitor";
}

}  // namespace
}  // namespace tv

#else

TEST(ServiceChainUnderWine, OnlyOnWindows) { GTEST_SKIP() << "needs Wine's service manager"; }

#endif  // _WIN32
