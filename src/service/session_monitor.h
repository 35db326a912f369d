// The decisions of one monitored session: when the idle time is up, whether the rules allow a
// log-off now, the warning, the log-off itself and what is written about it. It holds no thread
// and never waits: whoever waits (the session's real thread, or the virtual-time driver) hands it
// what the wait returned and the tick count, and it acts through the service's seams.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/sessions.h"
#include "platform/types.h"
#include "service/agent_restart.h"
#include "service/keep_alive.h"
#include "service/service_env.h"
#include "service/session_signals.h"
#include "settings/watch_reasons.h"

namespace tv {

class MyOpts;

// What a session's monitor needs of the service around it.
class MonitorContext {
 public:
  virtual ~MonitorContext() = default;
  virtual const ServiceEnvironment& Environment() const = 0;
  // The live settings as they stand now (a reload replaces them; a holder keeps its copy).
  virtual std::shared_ptr<const MyOpts> CurrentSettings() const = 0;
  // The session of the most recent log-on, console connect or unlock; kNoSession for none.
  virtual SessionId LastActiveSession() const = 0;
  // Whether the service is stopping or was told to quit its work.
  virtual bool IsQuitting() const = 0;
  // Remembers `account` as the last user the service logged off.
  virtual void NoteLoggedOff(const std::wstring& account) = 0;
  // The monitor of `session` stopped watching it for `reason` (its agent could not be started or
  // kept ending), so that whoever explains the session's state can say why.
  virtual void NoteWatchEnded(SessionId session, WatchReason reason) {}
  // A source other than input spared `session` at its idle mark, so that whoever shows the
  // session's state can name what keeps it in use.
  virtual void NoteKeptAlive(SessionId session, const KeptAliveRecord& record) {}
};

// The system message box shown in a locked session: exclamation icon, set-foreground, topmost,
// service notification.
inline constexpr DWORD kWarningBoxStyle = 0x250030;
inline constexpr const wchar_t* kWarningCaption = L"Tarnvale";
// String-table texts used when the settings leave the warning text empty.
inline constexpr int kStrWarning = 100;
inline constexpr int kStrWarningLocked = 101;

class SessionMonitor {
 public:
  // `account` is the name the event-log entries carry ("DOMAIN\user" or "user").
  SessionMonitor(MonitorContext& context, SessionId session, std::wstring account);
  SessionMonitor(const SessionMonitor&) = delete;
  SessionMonitor& operator=(const SessionMonitor&) = delete;

  SessionId Id() const { return session_; }
  const std::wstring& Account() const { return account_; }

  // Written by the service's session-change handling (any thread).
  void SetLocked(bool locked) { locked_.store(locked); }
  bool IsLocked() const { return locked_.load(); }
  // Orders a stale log-off: the next timed-out round logs the session off (rules permitting).
  // A thread waiting for the monitor's next deadline is woken for it.
  void RequestStaleLogoff() {
    staleRequest_.store(true);
    Wake();
  }
  bool StaleLogoffRequested() const { return staleRequest_.load(); }
  // The session has ended: the next round ends the monitor, whatever else it holds. Its thread
  // is woken for it.
  void RequestEnd() {
    endRequest_.store(true);
    Wake();
  }
  bool EndRequested() const { return endRequest_.load(); }

  // How long after `now` a round that saw no signal can first decide anything: 0 when it can at
  // once (a stale log-off is asked for, or the idle clock has reached its mark), kNeverDue when
  // the mark lies beyond the tick range and the idle clock wraps before reaching it. Until then
  // such rounds only find the clock short of its mark, so whoever drives the monitor may wait
  // that long for a signal instead of looking every second.
  static constexpr std::uint64_t kNeverDue = ~std::uint64_t(0);
  std::uint64_t MsUntilDue(Tick now) const;

  // The signals a waiting thread sleeps on, so that Wake can reach it (null: none waits).
  void AttachSignals(SessionSignals* signals);
  // Ends the current wait of the monitor's thread early, if one waits.
  void Wake();
  // The settings were reloaded: the monitor's thread wakes to measure against the new limits,
  // and the session's agent is told to read them too.
  void SettingsChanged();

  // When the idle clock was last restarted (ms tick).
  Tick LastActivity() const { return lastActivity_.load(); }
  bool InWarning() const { return warning_.load(); }
  bool HasEnded() const { return ended_.load(); }

  // Creates the session's events in `signals` for its logon (the session's logon SID) under a
  // fresh tag, which the agent's and the warning's command lines then carry. A name that
  // already exists is somebody else's doing: it is reported (0xe000001c) and another tag tried.
  // FALSE, reported as an agent that cannot be started, when no set of events could be made.
  bool PrepareSignals(SessionSignals& signals);
  // The tag of the session's events ("" before PrepareSignals).
  const std::wstring& Tag() const { return tag_; }

  // The start of the watch at tick `now`: reads the session's lock state, starts the clock and
  // the agent. Timeout and MessageTimeout are taken from the live settings at every decision. An agent that cannot be started this first time is
  // reported (0xe000000f) and ends the monitor: FALSE.
  bool Begin(Tick now);

  // One round: `signal` is what the wait returned, `now` the tick count after it. Answers
  // whether the monitor goes on; once FALSE, always FALSE.
  bool Round(RoundSignal signal, Tick now);

  // Logs the session off unless the schedule forbids it now (then 0, reported once per inactive
  // stretch). 1 when the decision is final: logged off, or failed and reported.
  BOOL TryLogoff(const MyOpts& opts);
  // Logs the session off without further tests and reports it (as stale when `stale`).
  void DoLogoffSession(bool stale);

  // " /monitor:<n> /tag:<tag>" and " /msg:<n> /tag:<tag>" after the launcher path (quoted when it
  // holds a blank); without a tag, no "/tag:".
  std::wstring AgentCommand() const { return Command(L"/monitor"); }
  std::wstring WarningCommand() const { return Command(L"/msg"); }

  // The warning text as the service shows it: the (locked) text of the settings or its built-in
  // default, every "%d" replaced by `minutes`, cut to 512 characters.
  static std::wstring WarningText(const MyOpts& opts, bool locked, DWORD minutes);

 private:
  enum class Next { kStay, kLogoffStep, kEnd };

  Next OnTimeout(Tick now);
  // The log-off step after the watch was left; TRUE when the monitor ends.
  bool LogoffStep(Tick now);
  void IssueWarning(const MyOpts& opts, Tick now);
  // Ends the monitor, telling the service that the session is no longer watched and why.
  bool EndUnwatched(WatchReason reason);
  // Tells the service that the session's events could not be had, so no agent starts: FALSE.
  bool NoSignals();
  // Whether the schedule says "inactive" `aheadSeconds` from now.
  bool ScheduleForbids(const MyOpts& opts, DWORD aheadSeconds) const;
  // Whether a source other than input keeps the session at its idle mark; if so the idle clock
  // starts again from `now` and the sparing is written once per idle stretch.
  bool KeptAlive(Tick now);
  // Logs 0xa0000019 once per inactive stretch.
  void ReportScheduleInactive();
  // Takes Timeout and MessageTimeout from the live settings.
  void TakeLimits();
  // Starts the agent and follows it; TRUE when it started.
  bool StartAgent(Tick now);
  // Whether the session's agent is there to report input at `now`. An agent that has gone is
  // started again by the restart policy; meanwhile the idle clock stands still, since nobody can
  // see the user's input. Sets `gaveUp` when the policy gives up.
  bool AgentPresent(Tick now, bool& gaveUp);
  bool End();
  std::wstring Command(const wchar_t* sw) const;
  const ServiceEnvironment& Env() const { return context_.Environment(); }

  MonitorContext& context_;
  const SessionId session_;
  const std::wstring account_;
  std::atomic<bool> locked_{false};
  std::atomic<bool> staleRequest_{false};
  std::atomic<bool> endRequest_{false};
  std::atomic<Tick> lastActivity_{0};
  std::atomic<bool> warning_{false};
  // The audit trail's idle time: from the user's last activity (or the start of the watch, or the
  // agent's return), which warnings and refusals that restart the idle clock leave alone.
  Tick idleSince_ = 0;
  // Whether the warning of the current warning phase reached the session.
  bool warningShown_ = false;
  std::atomic<bool> ended_{false};
  std::mutex signalsMutex_;  // guards signals_ against a thread leaving while it is woken
  SessionSignals* signals_ = nullptr;
  bool scheduleReported_ = false;
  std::wstring tag_;
  // The agent as started last; null before the first start and while it is down.
  std::unique_ptr<SessionProcess> agent_;
  bool agentDown_ = false;
  AgentRestartPolicy restart_;
  KeepAlive keepAlive_;
  // Read by MsUntilDue from whichever thread drives the monitor, written at each decision.
  std::atomic<DWORD> timeoutMin_{0};
  std::atomic<DWORD> messageMin_{0};
};

}  // namespace tv
