// The service's behaviour behind its event callback: the start and stop sequences, session
// changes, the product's control codes, which sessions get a monitor, the stale-session rule and
// the statistics in the registry. It holds the service-wide state. How monitors and the
// background work are run is left to a derived class: real threads in the service
// (ThreadedService), virtual time in tests and the simulator (VirtualService); both run the
// same decisions.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/event.h"
#include "service/background.h"
#include "service/service_env.h"
#include "service/service_events.h"
#include "service/session_monitor.h"
#include "service/session_registry.h"
#include "service/watch_record.h"

namespace tv {

class MyOpts;

class ServiceCore : public MonitorContext {
 public:
  explicit ServiceCore(const ServiceEnvironment& env);
  ~ServiceCore() override;
  ServiceCore(const ServiceCore&) = delete;
  ServiceCore& operator=(const ServiceCore&) = delete;

  // The service event callback's body (see ServiceEventCallback): 0 initialise, 3 run, 1 stop,
  // 14 session change (eventData: a SessionNotification), 128 re-read the settings and
  // re-examine the sessions, 129 quit work. Answers 0. Never throws.
  DWORD HandleEvent(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status);

  void Initialise(ServiceStatusRecord* status);
  void StartSequence();
  void StopSequence();
  // Sets the quit flag and event and waits for the monitors and the background work to end; the
  // service itself keeps running.
  void QuitWork();
  // One session-change notification (svc::kSessionLogon and so on).
  void HandleSessionChange(DWORD eventType, SessionId session);

  // Reloads the settings (with `reload`; without it only when they changed: a policy refresh)
  // and, when enabled, starts a monitor for every active session.
  void RefreshSessions(bool reload);
  // Once the service runs: a second look at the sessions, for those that became active during
  // the start, before the service manager passed session changes on.
  void CatchUpSessions();
  // The membership test for `session` and, when it passes, a new monitor. TRUE when the session
  // is watched afterwards.
  BOOL StartMonitoring(SessionId session);
  // Marks the least recently active sessions beyond `keepCount` for a stale log-off.
  void TrimStaleSessions(BOOL logoffStale, DWORD keepCount);
  // Brings "SessionsTotal", "SessionsMonitoring", "SessionsMaximum", "SessionsMaximumTime" and
  // "LastLogoff" under the product's key up to date.
  void WriteSessionStatistics();

  BackgroundWork& Background() { return background_; }
  SessionRegistry& Registry() { return registry_; }
  const SessionRegistry& Registry() const { return registry_; }
  int ActiveSessionCount() const { return activeSessions_.load(); }
  const std::wstring& ComputerName() const { return computerName_; }
  std::wstring LastLoggedOffUser() const;
  void SetLastActiveSession(SessionId session) { lastActive_.store(session); }

  // MonitorContext
  const ServiceEnvironment& Environment() const override { return env_; }
  std::shared_ptr<const MyOpts> CurrentSettings() const override;
  SessionId LastActiveSession() const override { return lastActive_.load(); }
  bool IsQuitting() const override { return quit_.load() != 0; }
  void NoteLoggedOff(const std::wstring& account) override;
  void NoteWatchEnded(SessionId session, WatchReason reason) override { watch_.Set(session, reason); }
  void NoteKeptAlive(SessionId session, const KeptAliveRecord& record) override {
    watch_.SetKeptAlive(session, record);
  }

 protected:
  // Runs a monitor for `session` (after the membership test passed and 0x60000006 was written):
  // registers it and starts it. FALSE when it could not be started.
  virtual BOOL LaunchMonitor(SessionId session, const std::wstring& account) = 0;
  // Starts the background work (waiting for it to run). FALSE when it could not be started.
  virtual BOOL LaunchBackground() = 0;
  // Waits (in the service: up to 10 slices) until no monitor and no background work is left.
  virtual void DrainThreads() = 0;

  // Whether any session is in the active state by a fresh enumeration; `unknown` answers a
  // failed enumeration.
  bool AnySessionActive(bool unknown) const;
  // Sets the quit flag and wakes the monitors, without waiting.
  void RaiseQuit();
  // Runs `work` on the service's own worker, after the work handed in before it. This class runs
  // it at once, which is what the virtual-time driver wants; the threaded service hands it to its
  // worker thread so that the service manager's handler returns at once.
  virtual void Submit(std::function<void()> work) { work(); }
  // The stop: work not begun yet is dropped, and the item that runs is not waited for.
  virtual void AbandonWork() {}

 private:
  std::shared_ptr<MyOpts> LoadSettings() const;
  void OnLogonOrConnect(SessionId session);
  // Starts a monitor for every active session of a fresh enumeration; FALSE when it failed.
  bool MonitorActiveSessions();
  void OnLogoff(SessionId session);
  void OnLock(SessionId session);
  void OnUnlock(SessionId session);

  ServiceEnvironment env_;
  std::wstring computerName_;
  mutable std::mutex settingsMutex_;
  std::shared_ptr<const MyOpts> settings_;
  std::atomic<DWORD> quit_{0};
  std::atomic<int> activeSessions_{0};
  std::atomic<SessionId> lastActive_{kNoSession};
  mutable std::mutex loggedOffMutex_;
  // The findings of the last settings check that were written to the event log.
  mutable std::mutex problemsMutex_;
  mutable std::wstring reportedProblems_;
  std::wstring lastLoggedOff_;
  // One membership test and start at a time, so that a session never gets two monitors.
  std::mutex startMutex_;
  std::mutex statsMutex_;
  SessionRegistry registry_;
  BackgroundWork background_;
  // Why each session is watched or not, for the configuration utility of that session.
  WatchRecord watch_;
};

// The process's service object, which ServiceEventCallback forwards to (null: none; the callback
// then answers 0 and does nothing). The plumbing installs it before the control loop starts and
// removes it after the loop ended.
void SetServiceInstance(ServiceCore* service);
ServiceCore* GetServiceInstance();

}  // namespace tv
