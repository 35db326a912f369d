// The simulator's driver: the real service on a simulated computer and clock, driven through a
// scenario. simulator.cpp holds the computer, the clock and what the service reports back;
// sim_users.cpp what the users and their sessions' agents do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/app_message.h"
#include "platform/local_time.h"
#include "platform/portable/accounts.h"
#include "platform/portable/clock.h"
#include "platform/portable/power.h"
#include "service/service_env.h"
#include "service/virtual_service.h"
#include "settings/my_opts.h"
#include "simulator/sim_seams.h"
#include "simulator/simulator.h"
#include "simulator/timeline_recorder.h"

namespace tv::sim {

inline constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
// Session numbers are 1..65535 in a scenario; the sessions' runtime state is indexed by them.
inline constexpr std::size_t kIdSlots = 65536;

class Driver final : public SimObserver {
 public:
  Driver(const Scenario& scenario, MemKeyStore& keys, const SimulatorOptions& options, SimulationResult* result);

  ~Driver() override {
    // The service refers to the sessions table: it goes first.
    service_.reset();
    table_.reset();
  }

  void Run();

  // ---- SimObserver

  void OnEventLogged(DWORD eventId, const std::vector<std::wstring>& strings) override;

  void OnSessionTouched(SessionId id) override { touched_ = id; }

  void OnWarning(SessionId id, bool messageBox, const std::wstring& text) override;

  void OnLoggedOff(SessionId id) override;

  void OnSuspended(bool hibernate) override;

  void OnShutdownStarted() override { shutdownStarted_ = true; }

 private:
  enum class Power { kOn, kOff };
  enum class Mode { kActive, kIdle, kBusy };

  // What the simulated computer knows of a scenario session at the moment.
  struct Runtime {
    bool exists = false;  // logged on (the sessions table has it)
    Mode mode = Mode::kActive;
    bool locked = false;
    bool disconnected = false;
    // The second the user last touched the keyboard or the mouse: every verb is done at the
    // computer, and an active user keeps touching it until the next one.
    std::int64_t lastInput = 0;
    std::wstring account;
    // What runs in the session besides the user: the marks of the spans of sound and of a
    // presentation (0: none), and the programs with their spans and simulated processes.
    int audio = 0;
    int presentation = 0;
    struct Program {
      std::uint16_t program;
      int mark;
      int process;
    };
    std::vector<Program> programs;
    int agentReported = kActivityNone;  // the kind the agent wrote a sparing for in this idle stretch
    std::int64_t agentDue = kNever;     // when it writes the next one, as queued in agentDue_
  };

  std::wstring ReportedDomain(const ScenarioSession& s) const {
    // Windows names the computer as the domain of a local account.
    return s.domain.empty() ? sc_.computer : s.domain;
  }

  // What the session's logon token says of its groups: the domain's groups under the domain's
  // name, the server's own under BUILTIN (the built-in ones) or the server's name.
  std::vector<TokenGroup> TokenGroupsOf(const ScenarioSession& s) const;

  void SetUpAccounts();

  void LoadOptions();

  Runtime* Find(SessionId id) {
    if (id >= kIdSlots || index_[id] < 0) return nullptr;
    return &rt_[static_cast<std::size_t>(index_[id])];
  }

  SessionId Attribute(const std::wstring& account);

  void Add(TimelineEntry::Kind kind, SessionId id, std::wstring text) {
    if (!rec_.Shows(sec_)) return;
    const Runtime* rt = Find(id);
    rec_.Line(sec_, kind, id, rt ? rt->account : std::wstring(), std::move(text));
  }

  // ---- the computer

  void Boot(bool announce);

  void PowerUp() {
    if (state_ == Power::kOff) Boot(true);
  }

  void ShutDown();

  // ---- time

  void Jump(std::int64_t to) {
    if (to <= sec_) return;
    clock_.Advance(std::uint64_t(to - sec_) * 1000);
    sec_ = to;
  }

  void DoStep();

  // Runs the rounds up to and including second `to` in which anything can happen.
  void AdvanceTo(std::int64_t to);

  static std::int64_t SecondsUntil(std::uint64_t ms) { return std::int64_t((ms + 999) / 1000); }

  // The first second whose round can change anything: a signal waits, background work is due,
  // or a monitor's idle clock reaches what it is waiting for (the time-out, or the end of the
  // warning). Rounds before it would only find the clocks short of their marks.
  std::int64_t NextWork();

  // ---- the users

  bool InputSeen(Mode mode) const {
    if (mode == Mode::kActive) return opts_->MonitorKB || opts_->MonitorMouse;
    if (mode == Mode::kBusy) return opts_->MonitorCPU != 0;
    return false;
  }

  bool WantsKeepAlive(const Runtime& rt) const {
    return (rt.exists && !rt.locked && !rt.disconnected && InputSeen(rt.mode)) || AgentKind(rt) != kActivityNone;
  }

  // ---- the agent's sources besides input

  // What the session's agent feeds its rate rule besides input now: sound first, as it asks.
  // Sound is heard from a locked screen too; a locked or disconnected desktop presents nothing,
  // and a disconnected session has no sound to play to.
  int AgentKind(const Runtime& rt) const {
    if (!rt.exists || rt.disconnected || !opts_->Enable) return kActivityNone;
    if (rt.audio && opts_->KeepAliveAudio) return kActivityAudio;
    if (rt.presentation && opts_->KeepAlivePresentation && !rt.locked) return kActivityPresentation;
    return kActivityNone;
  }

  // Queues the second at which the agent writes that its source keeps the session past the
  // time-out: a whole time-out after the last input, once per source and idle stretch. A user at
  // the keyboard gives input all the while, so nothing is due.
  void ScheduleAgent(std::size_t i);

  void AgentReports(std::size_t i);

  void EndSources(Runtime& rt);

  static int SpanMark(const ScenarioEvent& e) { return e.line ? e.line : -1; }

  // Sound, a presentation or a program starts or ends in the session: no input, and nothing a
  // sleeping computer wakes for.
  void ApplySource(const ScenarioEvent& e, const ScenarioSession& s, Runtime& rt);

  std::int64_t NextKeepAlive() const {
    if (state_ != Power::kOn || keepAlive_.empty()) return kNever;
    return (sec_ / keepAliveSeconds_ + 1) * keepAliveSeconds_;
  }

  // Brings the session's place among those the keep-alive signals up to date after a change.
  void Track(const Runtime& rt) {
    const std::size_t i = static_cast<std::size_t>(&rt - rt_.data());
    if (WantsKeepAlive(rt)) {
      keepAlive_.insert(i);
    } else {
      keepAlive_.erase(i);
    }
  }

  void Signal(SessionId id) {
    if (service_ && service_->SignalActivity(id)) pendingRound_ = true;
  }

  void SignalKeepAlive() {
    for (std::size_t i : keepAlive_) Signal(sc_.sessions[i].id);
  }

  // Input that comes with a verb: the user is back at the keyboard, or typed a last key before
  // walking away from it. Answers whether the verb makes the service apply the stale-session
  // rule (a log-on, an unlock; a user coming back to a session that is gone logs on).
  bool SignalInput(const ScenarioEvent& e);

  // Someone at the computer starts or wakes it; walking away from it changes nothing.
  static bool Wakes(ScenarioVerb verb) { return verb != ScenarioVerb::kIdle && !IsSourceVerb(verb); }

  static const wchar_t* Intent(ScenarioVerb verb);

  void LogOn(const ScenarioSession& s, Runtime& rt);

  void Apply(const ScenarioEvent& e);

  void ApplyTo(const ScenarioEvent& e, Runtime* rt);

  const Scenario& sc_;
  MemKeyStore& keys_;
  SimulatorOptions opt_;
  SimulationResult& result_;
  TimelineRecorder rec_;

  SimulatedClock clock_;
  FixedTimeZone zone_{0};
  SimulatedAccounts accounts_;
  ReachableAccounts directory_;
  SimulatedPower power_;
  ObservingPower powerSeam_;
  ObservingEventLog log_;
  ObservingSessions sessions_;
  ServiceEnvironment env_;
  std::unique_ptr<SimulatedSessions> table_;
  std::unique_ptr<VirtualService> service_;
  std::unique_ptr<MyOpts> opts_;
  std::int64_t keepAliveSeconds_ = 900;

  Power state_ = Power::kOff;
  bool shutdownStarted_ = false;
  // Whether the session the service has just logged off was in use, for the entry that follows.
  bool loggedOffInUse_ = false;
  const std::int64_t end_;
  std::size_t nextEvent_ = 0;  // the first event not applied yet
  std::int64_t sec_ = 0;
  bool pendingRound_ = false;
  SessionId touched_ = kNoSession;

  std::vector<Runtime> rt_;
  // The agents' next sparing entries: (second, place in rt_).
  std::set<std::pair<std::int64_t, std::size_t>> agentDue_;
  // The places in rt_ of the sessions whose user or agent the keep-alive signals (WantsKeepAlive),
  // so that neither its time nor its round walks every session of a large server.
  std::set<std::size_t> keepAlive_;
  std::multimap<std::wstring, SessionId> byAccount_;
  std::vector<int> index_;  // by session number: the session's place in sc_.sessions and rt_
};

}  // namespace tv::sim
