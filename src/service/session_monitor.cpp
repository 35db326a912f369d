#include "service/session_monitor.h"

#include "foundation/object_names.h"
#include "foundation/string_table.h"
#include "platform/local_time.h"
#include "foundation/service_log.h"
#include "settings/my_opts.h"

namespace tv {

namespace {
constexpr std::uint64_t kMsPerMinute = 60000;

// A connect state as the audit trail's log-off entry words it.
const wchar_t* SessionStateWords(SessionState state) {
  switch (state) {
    case SessionState::kActive: return L"active";
    case SessionState::kConnected: return L"connected without a user";
    case SessionState::kConnectQuery: return L"connecting";
    case SessionState::kShadow: return L"shadowed";
    case SessionState::kDisconnected: return L"disconnected";
    case SessionState::kIdle: return L"waiting for a client";
    case SessionState::kListen: return L"listening";
    case SessionState::kReset: return L"being reset";
    case SessionState::kDown: return L"down";
    case SessionState::kInit: return L"initialising";
  }
  return L"in an unknown state";
}

// Whether `elapsed` ms reach `minutes`. Sixty-four bits: a limit beyond the tick range
// (about 71,582 minutes) is simply never reached instead of wrapping to a short one.
bool Reached(Tick elapsed, std::uint64_t minutes) { return elapsed >= minutes * kMsPerMinute; }

// `local` moved on by `seconds`, on the zone's real time when it can, else on the wall clock.
SystemTime LocalAhead(const LocalTimeZone& zone, const SystemTime& local, DWORD seconds) {
  if (seconds == 0) return local;
  SystemTime out;
  if (zone.AddSeconds(local, seconds, out)) return out;
  FileTime naive = 0;
  if (NaiveFileTime(local, naive) && NaiveSystemTime(naive + seconds * kFileTimePerSecond, out)) return out;
  return local;
}
}  // namespace

SessionMonitor::SessionMonitor(MonitorContext& context, SessionId session, std::wstring account)
    : context_(context), session_(session), account_(std::move(account)) {}

std::wstring SessionMonitor::Command(const wchar_t* sw) const {
  std::wstring path = Env().Launcher();
  if (path.find(L' ') != std::wstring::npos) path = L"\"" + path + L"\"";
  std::wstring line = path + L" " + sw + L":" + std::to_wstring(static_cast<long>(session_));
  if (!tag_.empty()) line += L" /tag:" + tag_;
  return line;
}

bool SessionMonitor::PrepareSignals(SessionSignals& signals) {
  std::wstring sid;
  if (!Env().sessions.QueryLogonSid(session_, sid)) {
    LogError(Env().eventLog, evt::kAgentStartFailed, account_, GetLastErrorCode());
    return NoSignals();
  }
  // Each try takes a fresh tag; a second squatted name in a row would be an attack that guesses
  // 64 random bits, so a few tries are plenty.
  constexpr int kTries = 3;
  for (int i = 0; i < kTries; ++i) {
    const std::wstring tag = Env().NewObjectTag();
    if (signals.Create(Env().objectPrefix, session_, tag, sid)) {
      tag_ = tag;
      return true;
    }
    const ErrorCode error = GetLastErrorCode();
    if (error != err::kAlreadyExists) {
      LogError(Env().eventLog, evt::kAgentStartFailed, account_, error);
      return NoSignals();
    }
    LogEvent(Env().eventLog, evt::kObjectExisted, L"Global\\" + signals.FailedName());
  }
  LogError(Env().eventLog, evt::kAgentStartFailed, account_, err::kAlreadyExists);
  return NoSignals();
}

std::wstring SessionMonitor::WarningText(const MyOpts& opts, bool locked, DWORD minutes) {
  const wchar_t* text = locked ? opts.MessageTextIfLocked : opts.MessageText;
  if (!*text) text = LoadStr(locked ? kStrWarningLocked : kStrWarning);
  // The text is the administrator's: it is never used as a format, so a stray "%s" stays text.
  wchar_t buffer[kUserMsgChars];
  StrReplace(buffer, kUserMsgChars, text, L"%d", std::to_wstring(minutes).c_str());
  return buffer;
}

std::uint64_t SessionMonitor::MsUntilDue(Tick now) const {
  if (staleRequest_.load() || endRequest_.load()) return 0;
  // Only the monitor's own thread asks, so the agent's state is its own to read.
  if (agentDown_) return restart_.MsUntilDue(now);
  // The mark in force: the countdown's length during a warning, else the time-out (which comes
  // before the time-out plus countdown that a slept-through warning is measured by).
  const std::uint64_t mark = (warning_.load() ? std::uint64_t(messageMin_) : std::uint64_t(timeoutMin_)) * kMsPerMinute;
  const Tick idle = now - lastActivity_.load();
  if (idle >= mark) return 0;
  if (mark > 0xFFFFFFFFull) return kNeverDue;
  return mark - idle;
}

void SessionMonitor::AttachSignals(SessionSignals* signals) {
  std::lock_guard<std::mutex> hold(signalsMutex_);
  signals_ = signals;
}

void SessionMonitor::SettingsChanged() {
  std::lock_guard<std::mutex> hold(signalsMutex_);
  if (!signals_) return;
  signals_->SignalReload();
  signals_->Wake();
}

void SessionMonitor::Wake() {
  std::lock_guard<std::mutex> hold(signalsMutex_);
  if (signals_) signals_->Wake();
}

void SessionMonitor::TakeLimits() {
  // The live settings at every decision, not those of the monitor's start: a reload (control
  // 128, a policy change) reaches sessions that are already watched at their next round.
  const auto opts = context_.CurrentSettings();
  timeoutMin_.store(opts->Timeout);
  messageMin_.store(opts->MessageTimeout);
}

bool SessionMonitor::StartAgent(Tick now) {
  std::unique_ptr<SessionProcess> started;
  if (!Env().sessions.StartTrackedInSession(session_, AgentCommand(), started)) return false;
  agent_ = std::move(started);
  agentDown_ = false;
  restart_.OnStarted(now);
  return true;
}

bool SessionMonitor::AgentPresent(Tick now, bool& gaveUp) {
  gaveUp = false;
  if (!agentDown_) {
    if (!agent_ || agent_->Running()) return true;
    const DWORD code = agent_->ExitCode();
    agent_.reset();
    if (restart_.OnEnded(now) == AgentRestartPolicy::Verdict::kGiveUp) {
      LogError(Env().eventLog, evt::kAgentGaveUp, account_, code);
      gaveUp = true;
      return false;
    }
    agentDown_ = true;
  }
  // Whatever the user did while nobody watched is unknown: the time-out counts from the agent's
  // return, and a warning in progress is void.
  lastActivity_.store(now);
  idleSince_ = now;
  warning_.store(false);
  if (!restart_.Due(now)) return false;
  if (StartAgent(now)) {
    LogEvent2(Env().eventLog, evt::kAgentRestarted, account_, std::to_wstring(restart_.Attempts()));
    return true;
  }
  const ErrorCode error = GetLastErrorCode();
  if (restart_.OnEnded(now) == AgentRestartPolicy::Verdict::kGiveUp) {
    LogError(Env().eventLog, evt::kAgentGaveUp, account_, error);
    gaveUp = true;
  }
  return false;
}

bool SessionMonitor::End() {
  ended_.store(true);
  return false;
}

bool SessionMonitor::EndUnwatched(WatchReason reason) {
  context_.NoteWatchEnded(session_, reason);
  return End();
}

bool SessionMonitor::NoSignals() {
  context_.NoteWatchEnded(session_, WatchReason::kAgentNotStarted);
  return false;
}

bool SessionMonitor::Begin(Tick now) {
  if (ended_.load()) return false;
  TakeLimits();
  // A session locked before its monitor started (a service start, a refresh, a policy change)
  // must get the lock screen's message box with the locked text, not a warning process on a
  // desktop nobody sees: ask, rather than assume it unlocked. A session that cannot say keeps
  // what the lock notifications set.
  bool locked = false;
  if (Env().sessions.QueryLockState(session_, locked)) locked_.store(locked);
  scheduleReported_ = false;
  staleRequest_.store(false);
  lastActivity_.store(now);
  idleSince_ = now;
  warning_.store(false);
  agentDown_ = false;
  if (!StartAgent(now)) {
    LogError(Env().eventLog, evt::kAgentStartFailed, account_, GetLastErrorCode());
    return EndUnwatched(WatchReason::kAgentNotStarted);
  }
  return true;
}

bool SessionMonitor::Round(RoundSignal signal, Tick now) {
  if (ended_.load()) return false;
  // The session ended without its agent saying so (the agent was gone, or the user logged off
  // faster than it could): this monitor is not the next log-on's.
  if (endRequest_.load()) return End();
  switch (signal) {
    case RoundSignal::kIdle:
      lastActivity_.store(now);
      idleSince_ = now;
      warning_.store(false);
      keepAlive_.OnInput();
      break;
    case RoundSignal::kCancel:
      return End();
    case RoundSignal::kTimeout: {
      TakeLimits();
      bool gaveUp = false;
      if (!AgentPresent(now, gaveUp)) {
        if (gaveUp) return EndUnwatched(WatchReason::kAgentKeptEnding);
        break;
      }
      switch (OnTimeout(now)) {
        case Next::kStay: break;
        case Next::kEnd: return End();
        case Next::kLogoffStep:
          if (LogoffStep(now) || context_.IsQuitting()) return End();
          // Back to the start of the watch. An agent still running keeps the session; one that
          // went is found gone by the next round and started again.
          break;
      }
      break;
    }
  }
  if (context_.IsQuitting()) return End();
  return true;
}

SessionMonitor::Next SessionMonitor::OnTimeout(Tick now) {
  if (staleRequest_.load()) return Next::kLogoffStep;
  const Tick elapsed = now - lastActivity_.load();  // unsigned: survives the wrap after 49.7 days
  const bool warning = warning_.load();
  // The whole warning time went by unseen (the computer slept): no point in warning now.
  const bool sleptThrough = !warning && Reached(elapsed, std::uint64_t(timeoutMin_) + messageMin_);
  if (!sleptThrough && !Reached(elapsed, warning ? messageMin_ : timeoutMin_)) return Next::kStay;
  if (KeptAlive(now)) return Next::kStay;
  if (sleptThrough) return Next::kLogoffStep;

  const auto opts = context_.CurrentSettings();
  if (!opts->Enable) {
    LogEvent(Env().eventLog, evt::kNotEnabledAtTimeout, account_);
    scheduleReported_ = false;
    lastActivity_.store(now);
    return Next::kStay;
  }
  if (opts->KeepLastActiveUser && context_.LastActiveSession() == session_) {
    LogEvent(Env().eventLog, evt::kSparedLastActive, account_);
    scheduleReported_ = false;
    lastActivity_.store(now);
    return Next::kStay;
  }
  if (warning) {
    if (TryLogoff(*opts)) return Next::kEnd;
    lastActivity_.store(now);
    return Next::kStay;
  }
  SessionState state = SessionState::kActive;
  if (Env().sessions.QueryConnectState(session_, state) && state != SessionState::kActive) {
    // Nobody is there to read a warning.
    if (TryLogoff(*opts)) return Next::kEnd;
    lastActivity_.store(now);
    return Next::kStay;
  }
  // The schedule is asked about the moment the log-off would come, not about now.
  if (ScheduleForbids(*opts, messageMin_ * 60)) {
    ReportScheduleInactive();
    lastActivity_.store(now);
    return Next::kStay;
  }
  IssueWarning(*opts, now);
  return Next::kStay;
}

bool SessionMonitor::LogoffStep(Tick now) {
  const auto opts = context_.CurrentSettings();
  const bool stale = staleRequest_.load();
  if (!opts->Enable) {
    LogEvent(Env().eventLog, evt::kNotEnabledAtTimeout, account_);
  } else if (ScheduleForbids(*opts, 0)) {
    ReportScheduleInactive();
  } else if (opts->KeepLastActiveUser && context_.LastActiveSession() == session_) {
    scheduleReported_ = false;
    LogEvent(Env().eventLog, evt::kSparedLastActive, account_);
  } else {
    scheduleReported_ = false;
    DoLogoffSession(stale);
    return true;
  }
  lastActivity_.store(now);
  staleRequest_.store(false);
  return false;
}

void SessionMonitor::IssueWarning(const MyOpts& opts, Tick now) {
  const Tick idle = now - idleSince_;
  warning_.store(true);
  lastActivity_.store(now);
  const bool locked = locked_.load();
  const std::wstring text = WarningText(opts, locked, messageMin_);
  // In an unlocked session the warning process shows the countdown; a locked desktop only
  // shows system message boxes, and they are also the fallback when the process cannot start.
  const wchar_t* how = L"the warning process with its countdown";
  warningShown_ = !locked && Env().sessions.StartInSession(session_, WarningCommand());
  if (!warningShown_) {
    how = locked ? L"a system message box" : L"a system message box, as the warning process could not be started";
    DWORD response = 0;
    warningShown_ = Env().sessions.SendSessionMessage(session_, kWarningCaption, text, kWarningBoxStyle,
                                                      messageMin_ * 60, false, response) != kFalse;
  }
  // A user who says he was logged off unwarned can be checked against these entries.
  const std::wstring session = std::to_wstring(session_);
  if (!warningShown_) {
    LogEventN(Env().eventLog, evt::kWarningNotShown, {account_, session, std::to_wstring(GetLastErrorCode())});
    return;
  }
  LogEventN(Env().eventLog, evt::kWarningShown,
            {account_, session, std::to_wstring(idle / kMsPerMinute), how, locked ? L"locked" : L"not locked",
             std::to_wstring(messageMin_.load())});
}

bool SessionMonitor::ScheduleForbids(const MyOpts& opts, DWORD aheadSeconds) const {
  if (!opts.UseSchedule || !*opts.GetSchedule()) return false;
  const LocalTimeZone& zone = Env().Zone();
  const SystemTime at = LocalAhead(zone, Env().clock.GetLocalTime(), aheadSeconds);
  wchar_t error[256] = {};
  const std::int32_t remaining = opts.GetScheduleObj().GetSecondsRemaining(at, error, 256, zone);
  // A schedule that cannot be read never stops the log-off.
  return remaining < 0 && remaining != Schedule::kUnreadable;
}

bool SessionMonitor::KeptAlive(Tick now) {
  const auto opts = context_.CurrentSettings();
  // Switched off, the log-off spares nobody, so there is no sparing to write either.
  if (!opts->Enable) return false;
  std::wstring program;
  const KeepSource source = keepAlive_.Check(*opts, Env().sessions, session_, program);
  if (source == KeepSource::kNone) return false;
  if (keepAlive_.TakeReport(source, program)) {
    LogEvent2(Env().eventLog, evt::kKeptAlive, account_, KeepAlive::Describe(source, program));
  }
  // Every sparing, not only the logged one: the session's utility counts each as activity.
  context_.NoteKeptAlive(session_, KeptAliveRecord{now, source, program});
  // The next look comes a whole time-out later, so a finished job is followed by the normal
  // warning and countdown. A warning in progress is void: the session is in use.
  lastActivity_.store(now);
  warning_.store(false);
  return true;
}

void SessionMonitor::ReportScheduleInactive() {
  if (!scheduleReported_) LogEvent(Env().eventLog, evt::kScheduleInactive, account_);
  scheduleReported_ = true;
}

BOOL SessionMonitor::TryLogoff(const MyOpts& opts) {
  if (ScheduleForbids(opts, 0)) {
    ReportScheduleInactive();
    return kFalse;
  }
  scheduleReported_ = false;
  DoLogoffSession(false);
  return kTrue;
}

void SessionMonitor::DoLogoffSession(bool stale) {
  // Asked before the log-off, after which the session is gone.
  const Tick idle = Env().clock.GetTickCount() - idleSince_;
  SessionState state = SessionState::kActive;
  const bool stateKnown = Env().sessions.QueryConnectState(session_, state) != kFalse;
  if (Env().sessions.LogoffSession(session_)) {
    LogEvent(Env().eventLog, stale ? evt::kStaleLoggedOff : evt::kLoggedOff, account_);
    LogEventN(Env().eventLog, evt::kLogoffDetails,
              {account_, std::to_wstring(session_), std::to_wstring(idle / kMsPerMinute),
               stateKnown ? SessionStateWords(state) : L"in an unknown state",
               locked_.load() ? L"locked" : L"not locked",
               warning_.load() && warningShown_ ? L"a warning had been shown" : L"no warning had been shown"});
    context_.NoteLoggedOff(account_);
  } else {
    LogError(Env().eventLog, stale ? evt::kStaleLogoffFailed : evt::kLogoffFailed, account_, GetLastErrorCode());
  }
}

}  // namespace tv
