// The service on virtual time, for tests and the simulator: the same ServiceCore and the same
// SessionMonitor and BackgroundWork decisions as the threaded service, but no threads. Every
// Step is one second: the simulated clock moves on, the session-change notifications that the
// simulated sessions queued reach the service, each monitor gets the round its thread would have
// had (with whatever its idle and cancel events hold), and the background work gets its round.
//
// Typical use:
//   SimulatedClock clock; SimulatedSessions sessions; ... MemKeyStore keys;
//   ServiceEnvironment env{.sessions = sessions, ..., .clock = clock, .keys = keys};
//   VirtualService service(env, clock, sessions);
//   sessions.AddSession(1, L"", L"alice");
//   service.Start();                 // initialise and run, as the service manager would
//   service.Run(5 * 60);             // five idle minutes: the warning is due now
//   service.SignalActivity(1);       // what the agent does when alice moves the mouse
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "foundation/event.h"
#include "platform/portable/clock.h"
#include "platform/portable/sessions.h"
#include "service/service_core.h"
#include "service/session_signals.h"

namespace tv {

struct VirtualOptions {
  // A session that ends on its own (a log-off notification) sets its monitor's cancel event, as
  // the session's agent does when it goes away with its session.
  bool agentCancelsOnLogoff = true;
};

class VirtualService final : public ServiceCore {
 public:
  // One virtual round, as long as the service's wait.
  static constexpr DWORD kRoundMs = 1000;

  // `clock` and `sessions` must be the ones `env` refers to: the driver moves the one and takes
  // the notifications of the other.
  VirtualService(const ServiceEnvironment& env, SimulatedClock& clock, SimulatedSessions& sessions,
                 VirtualOptions options = {});
  ~VirtualService() override;

  // ---- The service manager's side. Notifications queued before Start are dropped: a service
  // that is not running hears nothing.
  void Start();  // initialise (0), then run (3)
  void Stop();   // stop (1)
  // Any other control code (128 settings changed, 129 quit work); answers the callback's result.
  DWORD Control(DWORD code);
  const ServiceStatusRecord& Status() const { return status_; }

  // ---- Time.
  // One second: clock, notifications, a round for every monitor, a round of background work,
  // notifications again (so a log-off done in this second is already known to the service).
  void Step();
  void Run(DWORD seconds);
  // Steps until `done()` holds (looked at before every step) or `maxSeconds` went by. Answers
  // whether it held; `stepped` (when not null) receives the seconds stepped.
  bool RunUntil(const std::function<bool()>& done, DWORD maxSeconds, DWORD* stepped = nullptr);
  // Hands the queued session-change notifications to the service now.
  void DispatchNotifications();

  // ---- What the agents and the system do. FALSE when no monitor watches the session.
  BOOL SignalActivity(SessionId session);
  BOOL SignalCancel(SessionId session);
  void SignalPolicyChange();

  // ---- Looking in.
  bool IsMonitoring(SessionId session) const { return FindMonitor(session) != nullptr; }
  std::size_t MonitorCount() const { return slots_.size(); }
  const SessionMonitor* FindMonitor(SessionId session) const;
  // The least SessionMonitor::MsUntilDue at `now` over the monitors still watching their
  // sessions (neither ended nor told to end); SessionMonitor::kNeverDue when none is due ever.
  std::uint64_t MsUntilMonitorDue(Tick now) const;
  // The events of the session's monitor, as the service holds them; null when none watches it.
  const SessionSignals* FindSignals(SessionId session) const;
  bool BackgroundRunning() const { return backgroundRunning_; }

 protected:
  BOOL LaunchMonitor(SessionId session, const std::wstring& account) override;
  BOOL LaunchBackground() override;
  void DrainThreads() override;

 private:
  struct Slot {
    std::unique_ptr<SessionMonitor> monitor;
    SessionSignals signals;
  };

  // One round for every monitor at `now`; the ones that end are dropped.
  void RunMonitorRounds(Tick now);
  void StopBackground();
  Slot* FindSlot(SessionId session) const;

  SimulatedClock& clock_;
  SimulatedSessions& sessions_;
  VirtualOptions options_;
  ServiceStatusRecord status_;
  std::vector<std::unique_ptr<Slot>> slots_;
  // The slots of each session in slots_'s order (two at most while an ended one awaits its last
  // round): the agents' signals find their monitor without a walk over every session.
  std::unordered_map<SessionId, std::vector<Slot*>> slotsOf_;
  bool backgroundRunning_ = false;
  Event policy_;
  bool policyRegistered_ = false;
};

}  // namespace tv
