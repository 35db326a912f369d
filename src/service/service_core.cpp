#include "service/service_core.h"

#include <vector>

#include "service/membership.h"
#include "foundation/service_log.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"
#include "settings/setting_checks.h"

namespace tv {

namespace {
// A failed enumeration, and a logged-on user not known yet, are looked at again this much later.
constexpr DWORD kRescanSeconds = 15;
}  // namespace

ServiceCore::ServiceCore(const ServiceEnvironment& env) : env_(env), background_(*this), watch_(env_.keys) {
  settings_ = LoadSettings();
}

ServiceCore::~ServiceCore() = default;

std::shared_ptr<MyOpts> ServiceCore::LoadSettings() const {
  MyOptsServices services;
  services.store = &env_.keys;
  services.accounts = &env_.accounts;
  auto opts = std::make_shared<MyOpts>(services);
  // A key that cannot be opened leaves the defaults, which is what a fresh computer runs on.
  (void)opts->Load();
  // A value the record cannot use never switches the log-off off unannounced: it is corrected
  // and named in the event log, once for as long as the same findings come back.
  const std::vector<SettingProblem> problems = CheckSettingsForService(*opts, env_.keys);
  std::wstring described = DescribeProblems(problems);
  std::lock_guard<std::mutex> hold(problemsMutex_);
  if (described != reportedProblems_) {
    for (const SettingProblem& p : problems) LogEvent2(env_.eventLog, evt::kSettingUnusable, p.name, p.what);
    reportedProblems_ = std::move(described);
  }
  return opts;
}

std::shared_ptr<const MyOpts> ServiceCore::CurrentSettings() const {
  std::lock_guard<std::mutex> hold(settingsMutex_);
  return settings_;
}

void ServiceCore::NoteLoggedOff(const std::wstring& account) {
  std::lock_guard<std::mutex> hold(loggedOffMutex_);
  lastLoggedOff_ = account;
}

std::wstring ServiceCore::LastLoggedOffUser() const {
  std::lock_guard<std::mutex> hold(loggedOffMutex_);
  return lastLoggedOff_;
}

DWORD ServiceCore::HandleEvent(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status) {
  try {
    switch (code) {
      case svc::kControlInitialise: Initialise(status); break;
      case svc::kControlRun: StartSequence(); break;
      case svc::kControlStarted: Submit([this] { CatchUpSessions(); }); break;
      case svc::kControlStop: StopSequence(); break;
      // What follows arrives on the service manager's handler thread, which must return at once:
      // the work goes to the service's own worker, in the order it came.
      case svc::kControlSessionChange:
        if (eventData) {
          const SessionId session = static_cast<const SessionNotification*>(eventData)->sessionId;
          Submit([this, eventType, session] { HandleSessionChange(eventType, session); });
        }
        break;
      case svc::kControlSettingsChanged: Submit([this] { RefreshSessions(true); }); break;
      case svc::kControlQuitWork:
        // Monitoring stops for every session until the service is started again: whoever sent
        // it, an administrator reading the log must be able to tell why.
        LogEvent(env_.eventLog, evt::kQuitWorkReceived);
        QuitWork();
        break;
      default: break;  // shutdown among them: the stop sequence does not run then
    }
  } catch (...) {
    // Out of memory half-way through an event: the service carries on with the next one.
  }
  return 0;
}

void ServiceCore::Initialise(ServiceStatusRecord* status) {
  std::wstring name;
  if (env_.accounts.QueryComputerName(name)) computerName_ = name;
  if (status) status->controlsAccepted |= svc::kAcceptSessionChange;
  // There is no service-wide quit event: each session's agent waits on its own session's, under
  // a fresh name, so one left behind by an earlier instance (or made in advance by a user) can
  // neither end new agents at once nor leave the service without a way to end them.
}

void ServiceCore::StartSequence() {
  LogEvent(env_.eventLog, evt::kServiceStarted);
  quit_.store(0);
  // What an earlier run recorded may be about sessions long gone: each is examined again.
  watch_.Clear();
  (void)LaunchBackground();
  // Settings, group look-ups and the sessions' threads are the worker's: the start itself stays
  // short, so the service is soon running and hearing session changes.
  Submit([this] {
    RefreshSessions(true);
    // A computer that starts with nobody logged on gets its power action after the time-out too.
    if (!AnySessionActive(true)) background_.BeginDelayedShutdown();
  });
}

void ServiceCore::CatchUpSessions() {
  if (IsQuitting()) return;
  const auto opts = CurrentSettings();
  if (!opts->Enable) return;
  if (!MonitorActiveSessions()) background_.RefreshDelayed(kRescanSeconds);
  WriteSessionStatistics();
}

void ServiceCore::StopSequence() {
  LogEvent(env_.eventLog, evt::kStopInitiated);
  RaiseQuit();
  // A log-on waiting for a slow domain controller must not hold the stop.
  AbandonWork();
  DrainThreads();
  watch_.Clear();
  LogEvent(env_.eventLog, evt::kServiceStopped);
}

void ServiceCore::QuitWork() {
  RaiseQuit();
  DrainThreads();
  watch_.Clear();
}

void ServiceCore::RaiseQuit() {
  quit_.store(1);
  // Session threads sleep until their next deadline: they must hear the quit now.
  registry_.WakeAll();
}

void ServiceCore::HandleSessionChange(DWORD eventType, SessionId session) {
  switch (eventType) {
    case svc::kSessionLogon:
      activeSessions_.fetch_add(1);
      OnLogonOrConnect(session);
      break;
    // A user coming back to a disconnected session over the network raises a remote connect,
    // never a console one; on a terminal server that is how most users return, so both count
    // alike: the session is watched, it is the most recent one, a power action is called off.
    case svc::kConsoleConnect:
    case svc::kRemoteConnect: OnLogonOrConnect(session); break;
    case svc::kSessionLogoff: OnLogoff(session); break;
    case svc::kSessionLock: OnLock(session); break;
    case svc::kSessionUnlock: OnUnlock(session); break;
    default: break;
  }
}

void ServiceCore::OnLogonOrConnect(SessionId session) {
  {
    // Someone may have changed the settings without telling the service.
    auto fresh = LoadSettings();
    std::lock_guard<std::mutex> hold(settingsMutex_);
    settings_ = std::move(fresh);
  }
  lastActive_.store(session);
  (void)StartMonitoring(session);
  if (activeSessions_.load() > 0 && background_.DeadlinePending()) background_.CancelDelayedShutdown();
  const auto opts = CurrentSettings();
  TrimStaleSessions(opts->LogoffStale, opts->LogoffStaleCount);
  WriteSessionStatistics();
}

void ServiceCore::OnLock(SessionId session) {
  (void)registry_.SetLocked(session, true);
  WriteSessionStatistics();
}

void ServiceCore::OnUnlock(SessionId session) {
  {
    // One step for anyone looking under the list's lock: the unlocked session is the last
    // active one and no longer locked.
    CritSecLock hold(registry_.Lock());
    lastActive_.store(session);
    (void)registry_.SetLocked(session, false);
  }
  const auto opts = CurrentSettings();
  TrimStaleSessions(opts->LogoffStale, opts->LogoffStaleCount);
  WriteSessionStatistics();
}

void ServiceCore::OnLogoff(SessionId session) {
  // Sessions that were not active at the last count may still log off: never below zero.
  int count = activeSessions_.load();
  while (count > 0 && !activeSessions_.compare_exchange_weak(count, count - 1)) {
  }
  SessionId expected = session;
  lastActive_.compare_exchange_strong(expected, kNoSession);
  // The session's monitor goes with it, even when its agent could not say so; a new log-on that
  // gets the same session number is examined afresh (membership, account, idle clock, agent).
  (void)registry_.Retire(session);
  watch_.Forget(session);
  WriteSessionStatistics();
  if (!AnySessionActive(true)) background_.BeginDelayedShutdown();
}

bool ServiceCore::AnySessionActive(bool unknown) const {
  bool any = false;
  if (!env_.sessions.HasActiveSession(any)) return unknown;
  return any;
}

void ServiceCore::RefreshSessions(bool reload) {
  auto fresh = LoadSettings();
  {
    std::lock_guard<std::mutex> hold(settingsMutex_);
    // A policy refresh that changed nothing must not disturb the sessions.
    if (!reload && !settings_->IsDifferent(*fresh)) return;
    settings_ = fresh;
  }
  // Every watched session and its agent use the new values from now on, not only the sessions
  // that log on later: after an Apply a user already at work gets the new time-out too.
  registry_.SettingsChangedAll();
  if (!fresh->Enable) {
    LogEvent(env_.eventLog, evt::kNotEnabledAtStart);
  } else {
    if (!fresh->KeepLastActiveUser) lastActive_.store(kNoSession);
    if (!MonitorActiveSessions()) background_.RefreshDelayed(kRescanSeconds);
  }
  WriteSessionStatistics();
}

bool ServiceCore::MonitorActiveSessions() {
  std::vector<SessionEntry> list;
  if (!env_.sessions.EnumerateSessions(list)) return false;
  int active = 0;
  for (const SessionEntry& e : list) {
    if (e.state != SessionState::kActive) continue;
    ++active;
    (void)StartMonitoring(e.id);
  }
  activeSessions_.store(active);
  return true;
}

BOOL ServiceCore::StartMonitoring(SessionId session) {
  std::lock_guard<std::mutex> hold(startMutex_);
  // Work that was under way when the stop came starts nothing new.
  if (IsQuitting()) return kFalse;
  const auto opts = CurrentSettings();
  if (!opts->Enable) {
    LogEvent(env_.eventLog, evt::kNotEnabledAtLogon);
    watch_.Set(session, WatchReason::kNotEnabled);
    return kFalse;
  }
  if (registry_.Contains(session)) return kTrue;
  std::wstring domain;
  std::wstring user;
  SessionInfo info;
  if (env_.sessions.QuerySessionInfo(session, info)) {
    domain = info.domain;
    user = info.user;
  } else {
    (void)env_.sessions.QueryDomainName(session, domain);
    (void)env_.sessions.QueryUserName(session, user);
  }
  if (user.empty()) {
    // A logon screen: the user is not known yet.
    background_.RefreshDelayed(kRescanSeconds);
    return kFalse;
  }
  const std::wstring account = FormAccountName(domain, user, computerName_);
  const MembershipVerdict verdict =
      CheckMembership(env_.sessions, env_.accounts, {session, computerName_, domain, user, account}, opts->ApplyTo,
                      opts->Exclude);
  // The answer may have been slow in coming (a domain controller far away); a stop meanwhile wins.
  if (IsQuitting()) return kFalse;
  LogMembershipVerdict(env_.eventLog, account, verdict);
  // Recorded before the monitor runs: one that fails at once says so itself, afterwards.
  watch_.Set(session, WatchReasonOf(verdict));
  if (!verdict.monitor) return kFalse;
  if (LaunchMonitor(session, account)) return kTrue;
  watch_.Set(session, WatchReason::kAgentNotStarted);
  return kFalse;
}

void ServiceCore::TrimStaleSessions(BOOL logoffStale, DWORD keepCount) {
  (void)registry_.TrimStale(logoffStale, keepCount, lastActive_.load(), env_.clock.GetTickCount());
}

void ServiceCore::WriteSessionStatistics() {
  std::lock_guard<std::mutex> hold(statsMutex_);
  RegKey key(kAppRootKey, true, env_.keys);
  if (!key.IsOpen()) return;
  const int total = activeSessions_.load();
  (void)key.PutDword(L"SessionsTotal", total > 0 ? DWORD(total) : 0, true);
  const DWORD monitoring = static_cast<DWORD>(registry_.Count());
  (void)key.PutDword(L"SessionsMonitoring", monitoring, true);
  if (monitoring > key.GetInt(L"SessionsMaximum", 0)) {
    (void)key.PutDword(L"SessionsMaximum", monitoring);
    (void)key.PutStr(L"SessionsMaximumTime", env_.FormatDateTime(env_.clock.GetLocalTime()).c_str());
  }
  const std::wstring last = LastLoggedOffUser();
  if (!last.empty()) (void)key.PutStr(L"LastLogoff", last.c_str(), true);
}

}  // namespace tv
