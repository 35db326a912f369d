#include "service_world.h"

#include <atomic>

#include "settings/my_opts.h"
#include "settings/reg_key.h"

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace tv::test {
namespace {

// An object-name stem no other test process uses, so parallel runs never share events.
std::wstring UniquePrefix() {
  static std::atomic<int> serial{0};
#ifdef _WIN32
  const long pid = _getpid();
#else
  const long pid = getpid();
#endif
  return L"TvSvcTest" + std::to_wstring(pid) + L"_" + std::to_wstring(++serial) + L"_";
}

}  // namespace

SystemTime MondayAt(int hour, int minute) {
  SystemTime t = SimulatedClock::DefaultStart();
  t.hour = static_cast<std::uint16_t>(hour);
  t.minute = static_cast<std::uint16_t>(minute);
  return t;
}

ServiceWorld::ServiceWorld(Tick startTick, const SystemTime& startLocal)
    : clock(startTick, startLocal),
      env{.sessions = sessions, .accounts = accounts, .power = power, .eventLog = log, .clock = clock, .keys = keys} {
  env.zone = &zone;
  env.objectPrefix = UniquePrefix();
  sessions.SetLogoffRemovesSession(true);
}

void ServiceWorld::Configure(const std::function<void(MyOpts&)>& edit) {
  MyOptsServices services;
  services.store = &keys;
  services.accounts = &accounts;
  MyOpts opts(services);
  opts.Reset();
  opts.Enable = 1;
  opts.Timeout = 5;
  opts.MessageTimeout = 2;
  opts.ApplyTo.clear();
  opts.Exclude.clear();
  if (edit) edit(opts);
  (void)opts.Store();
}

std::unique_ptr<VirtualService> ServiceWorld::Start() {
  auto service = std::make_unique<VirtualService>(env, clock, sessions);
  service->Start();
  return service;
}

std::vector<std::wstring> ServiceWorld::LoggedOff() const {
  std::vector<std::wstring> users;
  for (const auto& s : sessions.LoggedOffSessions()) users.push_back(s.user);
  return users;
}

std::vector<std::wstring> ServiceWorld::StringsOf(DWORD eventId) const {
  for (const auto& e : log.Entries()) {
    if (e.eventId == eventId) return e.strings;
  }
  return {};
}

std::size_t ServiceWorld::Starts(SessionId session, const wchar_t* what) const {
  std::size_t n = 0;
  for (const auto& s : sessions.ProcessStarts()) {
    if (s.id == session && s.started && s.commandLine.find(what) != std::wstring::npos) ++n;
  }
  return n;
}

DWORD ServiceWorld::RegDword(const wchar_t* name, DWORD missing) {
  RegKey key(kAppRootKey, false, keys);
  return key.IsOpen() ? key.GetInt(name, missing) : missing;
}

std::wstring ServiceWorld::RegText(const wchar_t* name) {
  RegKey key(kAppRootKey, false, keys);
  std::wstring text;
  if (!key.IsOpen() || !key.GetStr(name, &text)) return L"<missing>";
  return text;
}

}  // namespace tv::test
