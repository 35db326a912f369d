#include "simulator/simulator.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <set>

#include "platform/local_time.h"
#include "platform/portable/accounts.h"
#include "platform/portable/clock.h"
#include "platform/portable/power.h"
#include "service/membership.h"
#include "service/service_env.h"
#include "foundation/service_log.h"
#include "service/virtual_service.h"
#include "settings/my_opts.h"
#include "service/event_texts.h"
#include "service/keep_alive.h"
#include "foundation/app_message.h"
#include "simulator/sim_seams.h"
#include "simulator/sim_settings.h"
#include "simulator/timeline_recorder.h"

namespace tv {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
// Session numbers are 1..65535 in a scenario; the sessions' runtime state is indexed by them.
constexpr std::size_t kIdSlots = 65536;

std::wstring FirstLine(const std::wstring& text) {
  const std::size_t cut = text.find_first_of(L"\r\n");
  return cut == std::wstring::npos ? text : text.substr(0, cut);
}

std::wstring NextObjectPrefix() {
  static std::atomic<int> serial{0};
  return L"TarnvaleSim" + std::to_wstring(++serial) + L"_";
}

class Driver final : public SimObserver {
 public:
  Driver(const Scenario& scenario, MemKeyStore& keys, const SimulatorOptions& options, SimulationResult* result)
      : sc_(scenario),
        keys_(keys),
        opt_(options),
        result_(*result),
        rec_(*result, options.keepTimeline,
             options.seconds > 0 ? std::min(options.seconds, scenario.Seconds()) : scenario.Seconds()),
        clock_(options.bootTick, scenario.start),
        directory_(accounts_, [this] { return sc_.DomainDownAt(sec_); }),
        powerSeam_(*this, power_),
        log_(*this),
        sessions_(*this),
        env_{.sessions = sessions_, .accounts = directory_, .power = powerSeam_, .eventLog = log_, .clock = clock_,
             .keys = keys_},
        end_(options.seconds > 0 ? std::min(options.seconds, scenario.Seconds()) : scenario.Seconds()),
        index_(kIdSlots, -1) {
    env_.zone = &zone_;
    env_.objectPrefix = opt_.objectPrefix.empty() ? NextObjectPrefix() : opt_.objectPrefix;
    SetUpAccounts();
    LoadOptions();
    rt_.resize(sc_.sessions.size());
    for (std::size_t i = 0; i < sc_.sessions.size(); ++i) {
      const ScenarioSession& s = sc_.sessions[i];
      if (s.id < kIdSlots) index_[s.id] = static_cast<int>(i);
      rt_[i].account = FormAccountName(ReportedDomain(s), s.user, sc_.computer);
      byAccount_.emplace(rt_[i].account, s.id);
    }
    rec_.Summary().sessions = static_cast<int>(sc_.sessions.size());
  }

  ~Driver() override {
    // The service refers to the sessions table: it goes first.
    service_.reset();
    table_.reset();
  }

  void Run() {
    Boot(false);
    const std::int64_t end = end_;
    std::size_t& next = nextEvent_;
    const auto& events = sc_.events;
    for (;;) {
      std::int64_t at = std::min(end, next < events.size() ? events[next].at : kNever);
      const std::int64_t keepAlive = NextKeepAlive();
      at = std::min(at, keepAlive);
      if (!agentDue_.empty()) at = std::min(at, agentDue_.begin()->first);
      if (at >= end) break;
      AdvanceTo(at - 1);
      std::size_t last = next;
      while (last < events.size() && events[last].at == at) ++last;
      // What the users do at the keyboard in this second is seen by this second's round; what
      // Windows reports (log-ons, locks, ...) reaches the service after it.
      if (state_ == Power::kOn) {
        bool trim = false;
        for (std::size_t i = next; i < last; ++i) trim = SignalInput(events[i]) || trim;
        // The stale-session rule about to run orders sessions by their last input: the users at
        // their keyboards have just typed, not at the last keep-alive.
        trim = trim && opts_->LogoffStale && service_->MonitorCount() >= opts_->LogoffStaleCount;
        if (keepAlive == at || trim) SignalKeepAlive();
      }
      AdvanceTo(at);
      while (!agentDue_.empty() && agentDue_.begin()->first <= at) AgentReports(agentDue_.begin()->second);
      for (std::size_t i = next; i < last; ++i) Apply(events[i]);
      next = last;
    }
    AdvanceTo(end);
  }

  // ---- SimObserver

  void OnEventLogged(DWORD eventId, const std::vector<std::wstring>& strings) override {
    // The log-off itself came just before its entry.
    if (eventId == evt::kStaleLoggedOff && loggedOffInUse_) ++rec_.Summary().staleInUse;
    if (eventId == evt::kStaleLoggedOff || eventId == evt::kLoggedOff) loggedOffInUse_ = false;
    // Whose session an entry concerns is the world's knowledge; only worth asking for a shown one.
    SessionId session = kNoSession;
    if (rec_.Shows(sec_) && !strings.empty() && TimelineRecorder::NamesAccount(eventId)) session = Attribute(strings[0]);
    rec_.ServiceEvent(sec_, eventId, strings, session);
  }

  void OnSessionTouched(SessionId id) override { touched_ = id; }

  void OnWarning(SessionId id, bool messageBox, const std::wstring& text) override {
    ++rec_.Summary().warnings;
    if (!rec_.Shows(sec_)) return;
    Runtime* rt = Find(id);
    std::wstring line;
    if (messageBox) {
      line = std::wstring(rt && rt->locked ? L"Warning on the locked screen (system message box): \""
                                           : L"Warning (system message box): \"") +
             FirstLine(text) + L"\"";
    } else {
      line = L"Warning with countdown: \"" + FirstLine(SessionMonitor::WarningText(*opts_, false, opts_->MessageTimeout)) +
             L"\"";
    }
    Add(TimelineEntry::Kind::kWarning, id, line);
  }

  void OnLoggedOff(SessionId id) override {
    Runtime* rt = Find(id);
    if (!rt) return;
    rt->exists = false;
    EndSources(*rt);
    const bool atKeyboard = rt->mode == Mode::kActive && !rt->locked && !rt->disconnected;
    loggedOffInUse_ = atKeyboard || sec_ - rt->lastInput < std::int64_t(opts_->Timeout) * 60;
  }

  void OnSuspended(bool hibernate) override {
    Add(TimelineEntry::Kind::kComputer, kNoSession,
        hibernate ? L"The computer hibernates." : L"The computer goes to sleep.");
    // The request returns after the wake-up: someone comes to the computer a moment before
    // they do anything with it, or the scenario ends.
    std::int64_t wake = end_;
    for (std::size_t i = nextEvent_; i < sc_.events.size(); ++i) {
      if (Wakes(sc_.events[i].verb)) {
        wake = std::min(end_, std::max(sec_, sc_.events[i].at - 1));
        break;
      }
    }
    Jump(wake);
    if (wake < end_) {
      ++rec_.Summary().wakes;
      Add(TimelineEntry::Kind::kComputer, kNoSession, L"The computer wakes up.");
    }
  }

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
  std::vector<TokenGroup> TokenGroupsOf(const ScenarioSession& s) const {
    static constexpr const wchar_t* kBuiltIn[] = {L"Users", L"Administrators", L"Guests", L"Remote Desktop Users"};
    auto local = [&](const std::wstring& g) {
      for (const wchar_t* b : kBuiltIn) {
        if (g == b) return TokenGroup{L"BUILTIN", g};
      }
      return TokenGroup{sc_.computer, g};
    };
    std::vector<TokenGroup> out;
    for (const std::wstring& g : s.globalGroups) out.push_back(s.domain.empty() ? local(g) : TokenGroup{s.domain, g});
    for (const std::wstring& g : s.localGroups) out.push_back(local(g));
    return out;
  }

  void SetUpAccounts() {
    accounts_.SetMachineName(sc_.computer);
    for (const ScenarioSession& s : sc_.sessions) {
      const std::wstring account = FormAccountName(ReportedDomain(s), s.user, sc_.computer);
      if (s.domain.empty()) {
        std::vector<std::wstring> local = s.localGroups;
        local.insert(local.end(), s.globalGroups.begin(), s.globalGroups.end());
        accounts_.SetLocalGroups(account, local);
      } else {
        accounts_.AddDomainController(s.domain, L"\\\\DC1");
        accounts_.SetGlobalGroups(s.user, s.globalGroups);
        accounts_.SetLocalGroups(account, s.localGroups);
      }
    }
  }

  void LoadOptions() {
    MyOptsServices services;
    services.store = &keys_;
    services.accounts = &accounts_;
    opts_ = std::make_unique<MyOpts>(services);
    // The users' cadence and the warning's text follow what the service acts on, which corrects
    // what it cannot use; the service names those corrections in the timeline itself.
    (void)LoadSettingsInForce(*opts_, keys_);
    // An active user is seen often enough that the idle clock never reaches the time-out; on a
    // grid shared by all sessions, so that their signals need the same rounds.
    keepAliveSeconds_ = std::clamp<std::int64_t>(std::int64_t(opts_->Timeout) * 30, 1, 900);
    rec_.Summary().inUseMinutes = static_cast<int>(opts_->Timeout);
    PeriodList periods;
    if (opts_->UseSchedule && !Schedule::ParseText(opts_->GetSchedule(), periods) && !periods.empty()) {
      WeekGrid grid = GridFromPeriods(periods);
      if (!grid.IsAllOff() && !grid.IsAllOn()) result_.schedule = grid;
    }
    if (opts_->Enable) {
      KeepAliveInForce& k = result_.keepAlive;
      k.audio = opts_->KeepAliveAudio != 0;
      k.presentation = opts_->KeepAlivePresentation != 0;
      k.programs = opts_->KeepAliveProcesses;
    }
  }

  Runtime* Find(SessionId id) {
    if (id >= kIdSlots || index_[id] < 0) return nullptr;
    return &rt_[static_cast<std::size_t>(index_[id])];
  }

  SessionId Attribute(const std::wstring& account) {
    if (Runtime* rt = Find(touched_); rt && rt->account == account) return touched_;
    auto [from, to] = byAccount_.equal_range(account);
    SessionId any = kNoSession;
    for (auto it = from; it != to; ++it) {
      if (any == kNoSession) any = it->second;
      if (Runtime* rt = Find(it->second); rt && rt->exists) return it->second;
    }
    return any;
  }

  void Add(TimelineEntry::Kind kind, SessionId id, std::wstring text) {
    if (!rec_.Shows(sec_)) return;
    const Runtime* rt = Find(id);
    rec_.Line(sec_, kind, id, rt ? rt->account : std::wstring(), std::move(text));
  }

  // ---- the computer

  void Boot(bool announce) {
    table_ = std::make_unique<SimulatedSessions>();
    table_->SetLogoffRemovesSession(true);
    table_->SetTimeSource([this] { return clock_.LocalFileTime(); });
    for (const ScenarioSession& s : sc_.sessions) {
      if (s.console) table_->SetConsoleSession(s.id);
      if (s.token) table_->SetTokenGroups(ReportedDomain(s), s.user, TokenGroupsOf(s));
    }
    sessions_.Attach(table_.get());
    clock_.SetTickCount(opt_.bootTick);
    if (announce) {
      ++rec_.Summary().starts;
      Add(TimelineEntry::Kind::kComputer, kNoSession, L"The computer starts.");
    }
    service_ = std::make_unique<VirtualService>(env_, clock_, *table_);
    service_->Start();
    state_ = Power::kOn;
  }

  void PowerUp() {
    if (state_ == Power::kOff) Boot(true);
  }

  void ShutDown() {
    std::wstring gone;
    for (std::size_t i = 0; i < rt_.size(); ++i) {
      if (!rt_[i].exists) continue;
      gone += (gone.empty() ? L"" : L", ") + rt_[i].account;
      rt_[i].exists = false;
      EndSources(rt_[i]);
    }
    Add(TimelineEntry::Kind::kComputer, kNoSession,
        gone.empty() ? L"The computer shuts down." : L"The computer shuts down, ending the sessions of " + gone + L".");
    // A shutdown does not run the service's stop sequence: the process just ends.
    service_.reset();
    sessions_.Attach(nullptr);
    table_.reset();
    state_ = Power::kOff;
  }

  // ---- time

  void Jump(std::int64_t to) {
    if (to <= sec_) return;
    clock_.Advance(std::uint64_t(to - sec_) * 1000);
    sec_ = to;
  }

  void DoStep() {
    // The round belongs to the second the clock moves to: what it writes is stamped with it.
    ++sec_;
    service_->Step();
    rec_.CountRound();
    pendingRound_ = false;
    // The shutdown started in this round takes the computer down before the next one.
    if (shutdownStarted_) ShutDown();
    shutdownStarted_ = false;
  }

  // Runs the rounds up to and including second `to` in which anything can happen.
  void AdvanceTo(std::int64_t to) {
    while (sec_ < to) {
      if (state_ != Power::kOn) return Jump(to);
      const std::int64_t next = opt_.exact ? sec_ + 1 : NextWork();
      if (next > to) return Jump(to);
      Jump(next - 1);
      DoStep();
    }
  }

  static std::int64_t SecondsUntil(std::uint64_t ms) { return std::int64_t((ms + 999) / 1000); }

  // The first second whose round can change anything: a signal waits, background work is due,
  // or a monitor's idle clock reaches what it is waiting for (the time-out, or the end of the
  // warning). Rounds before it would only find the clocks short of their marks.
  std::int64_t NextWork() {
    const std::int64_t soon = sec_ + 1;
    if (pendingRound_) return soon;
    const Tick now = clock_.GetTickCount();
    const BackgroundWork& bg = service_->Background();
    if (bg.Resumed()) return soon;
    std::int64_t best = kNever;
    if (const std::uint64_t due = bg.MsUntilDue(now); due != BackgroundWork::kNothingArmed) {
      if (due == 0) return soon;
      best = std::min(best, sec_ + SecondsUntil(due));
    }
    // An ended monitor leaves with the round that ended it; a stale log-off is due at once.
    if (const std::uint64_t due = service_->MsUntilMonitorDue(now); due != SessionMonitor::kNeverDue) {
      if (due == 0) return soon;
      best = std::min(best, sec_ + SecondsUntil(due));
    }
    return std::max(best, soon);
  }

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
  void ScheduleAgent(std::size_t i) {
    Runtime& rt = rt_[i];
    if (rt.agentDue != kNever) agentDue_.erase({rt.agentDue, i});
    rt.agentDue = kNever;
    const int kind = AgentKind(rt);
    const bool atKeyboard = rt.mode == Mode::kActive && !rt.locked;
    if (kind == kActivityNone || kind == rt.agentReported || atKeyboard) return;
    rt.agentDue = std::max(sec_, rt.lastInput + std::int64_t(opts_->Timeout) * 60);
    agentDue_.emplace(rt.agentDue, i);
  }

  void AgentReports(std::size_t i) {
    Runtime& rt = rt_[i];
    agentDue_.erase({rt.agentDue, i});
    rt.agentDue = kNever;
    const int kind = AgentKind(rt);
    if (kind == kActivityNone) return;
    rt.agentReported = kind;
    // The agent's own entry, in the words the service would use for the same source.
    const KeepSource source = kind == kActivityAudio ? KeepSource::kAudio : KeepSource::kPresentation;
    rec_.ServiceEvent(sec_, evt::kKeptAlive, {rt.account, KeepAlive::Describe(source, {})}, sc_.sessions[i].id);
  }

  void EndSources(Runtime& rt) {
    rt.audio = rt.presentation = 0;
    rt.programs.clear();
    rt.agentReported = kActivityNone;
    const std::size_t i = static_cast<std::size_t>(&rt - rt_.data());
    if (rt.agentDue != kNever) agentDue_.erase({rt.agentDue, i});
    rt.agentDue = kNever;
  }

  static int SpanMark(const ScenarioEvent& e) { return e.line ? e.line : -1; }

  // Sound, a presentation or a program starts or ends in the session: no input, and nothing a
  // sleeping computer wakes for.
  void ApplySource(const ScenarioEvent& e, const ScenarioSession& s, Runtime& rt) {
    const std::wstring program = e.verb == ScenarioVerb::kRun || e.verb == ScenarioVerb::kRunEnd
                                     ? sc_.programs[e.program] : std::wstring();
    if (!rt.exists) {
      if (e.verb == ScenarioVerb::kAudio || e.verb == ScenarioVerb::kPresent || e.verb == ScenarioVerb::kRun) {
        Add(TimelineEntry::Kind::kUser, s.id,
            L"would start " + (program.empty() ? std::wstring(e.verb == ScenarioVerb::kAudio ? L"sound" : L"presenting")
                                               : program) + L", but the session is gone");
      }
      return;
    }
    const int mark = SpanMark(e);
    std::wstring text;
    switch (e.verb) {
      case ScenarioVerb::kAudio:
        rt.audio = mark;
        text = L"starts a call or a video with sound";
        break;
      case ScenarioVerb::kAudioEnd:
        if (rt.audio != mark) return;  // the session it played in has ended
        rt.audio = 0;
        text = L"the sound stops";
        break;
      case ScenarioVerb::kPresent:
        rt.presentation = mark;
        text = L"starts presenting (full screen)";
        break;
      case ScenarioVerb::kPresentEnd:
        if (rt.presentation != mark) return;
        rt.presentation = 0;
        text = L"stops presenting";
        break;
      case ScenarioVerb::kRun:
        rt.programs.push_back({e.program, mark, table_->RunProgram(s.id, program)});
        text = L"starts " + program;
        break;
      case ScenarioVerb::kRunEnd: {
        auto it = std::find_if(rt.programs.begin(), rt.programs.end(),
                               [&](const Runtime::Program& p) { return p.program == e.program && p.mark == mark; });
        if (it == rt.programs.end()) return;
        table_->EndProcess(it->process, 0);
        rt.programs.erase(it);
        text = program + L" ends";
        break;
      }
      default: return;
    }
    Add(TimelineEntry::Kind::kUser, s.id, std::move(text));
    ScheduleAgent(static_cast<std::size_t>(&rt - rt_.data()));
  }

  std::int64_t NextKeepAlive() const {
    if (state_ != Power::kOn) return kNever;
    for (const Runtime& rt : rt_) {
      if (WantsKeepAlive(rt)) return (sec_ / keepAliveSeconds_ + 1) * keepAliveSeconds_;
    }
    return kNever;
  }

  void Signal(SessionId id) {
    if (service_ && service_->SignalActivity(id)) pendingRound_ = true;
  }

  void SignalKeepAlive() {
    for (std::size_t i = 0; i < rt_.size(); ++i) {
      if (WantsKeepAlive(rt_[i])) Signal(sc_.sessions[i].id);
    }
  }

  // Input that comes with a verb: the user is back at the keyboard, or typed a last key before
  // walking away from it. Answers whether the verb makes the service apply the stale-session
  // rule (a log-on, an unlock; a user coming back to a session that is gone logs on).
  bool SignalInput(const ScenarioEvent& e) {
    const Runtime* rt = Find(e.session);
    if (IsSourceVerb(e.verb)) {
      // The agent's next tick signals a source that has just started, like input.
      if (rt && (e.verb == ScenarioVerb::kAudio || e.verb == ScenarioVerb::kPresent)) {
        Runtime started = *rt;
        (e.verb == ScenarioVerb::kAudio ? started.audio : started.presentation) = 1;
        if (AgentKind(started) != AgentKind(*rt)) Signal(e.session);
      }
      return false;
    }
    if (!rt || !rt->exists) {
      return e.verb == ScenarioVerb::kLogon || e.verb == ScenarioVerb::kActive || e.verb == ScenarioVerb::kBusy ||
             e.verb == ScenarioVerb::kUnlock || e.verb == ScenarioVerb::kReconnect;
    }
    switch (e.verb) {
      case ScenarioVerb::kActive:
      case ScenarioVerb::kUnlock:
      case ScenarioVerb::kReconnect:
        if (InputSeen(Mode::kActive)) Signal(e.session);
        break;
      case ScenarioVerb::kBusy:
        if (InputSeen(Mode::kBusy) || (rt->mode == Mode::kActive && InputSeen(Mode::kActive))) Signal(e.session);
        break;
      case ScenarioVerb::kIdle:
      case ScenarioVerb::kLock:
      case ScenarioVerb::kDisconnect:
        if (WantsKeepAlive(*rt) && rt->mode == Mode::kActive) Signal(e.session);
        break;
      default: break;
    }
    return e.verb == ScenarioVerb::kLogon || e.verb == ScenarioVerb::kUnlock;
  }

  // Someone at the computer starts or wakes it; walking away from it changes nothing.
  static bool Wakes(ScenarioVerb verb) { return verb != ScenarioVerb::kIdle && !IsSourceVerb(verb); }

  static const wchar_t* Intent(ScenarioVerb verb) {
    switch (verb) {
      case ScenarioVerb::kLogoff: return L"log off";
      case ScenarioVerb::kLock: return L"lock the screen";
      case ScenarioVerb::kDisconnect: return L"disconnect";
      default: return VerbName(verb);
    }
  }

  void LogOn(const ScenarioSession& s, Runtime& rt) {
    ++rec_.Summary().userLogons;
    table_->AddSession(s.id, ReportedDomain(s), s.user);
    EndSources(rt);
    rt.exists = true;
    rt.mode = Mode::kActive;
    rt.locked = false;
    rt.disconnected = false;
  }

  void Apply(const ScenarioEvent& e) {
    Runtime* rt = Find(e.session);
    if (!rt) return;
    const ScenarioSession* s = &sc_.sessions[static_cast<std::size_t>(rt - rt_.data())];
    if (IsSourceVerb(e.verb)) return ApplySource(e, *s, *rt);
    if (Wakes(e.verb)) PowerUp();
    rt->lastInput = e.at;
    rt->agentReported = kActivityNone;
    const wchar_t* text = nullptr;
    if (!rt->exists) {
      switch (e.verb) {
        case ScenarioVerb::kLogon:
          Add(TimelineEntry::Kind::kUser, s->id, L"logs on");
          LogOn(*s, *rt);
          break;
        case ScenarioVerb::kActive:
        case ScenarioVerb::kBusy:
        case ScenarioVerb::kUnlock:
        case ScenarioVerb::kReconnect:
          Add(TimelineEntry::Kind::kUser, s->id, L"comes back: the session is gone, so logs on again");
          LogOn(*s, *rt);
          if (e.verb == ScenarioVerb::kBusy) rt->mode = Mode::kBusy;
          break;
        default:
          if (e.verb == ScenarioVerb::kIdle) return;  // nothing there to leave
          Add(TimelineEntry::Kind::kUser, s->id, std::wstring(L"would ") + Intent(e.verb) + L", but the session is gone");
          return;
      }
    } else {
      switch (e.verb) {
        case ScenarioVerb::kLogon:
          text = L"logs on";
          LogOn(*s, *rt);
          break;
        case ScenarioVerb::kLogoff:
          text = L"logs off";
          ++rec_.Summary().userLogoffs;
          table_->EndSession(s->id);
          rt->exists = false;
          EndSources(*rt);
          // The agent ends with the session and cancels its monitor, which its next round sees.
          pendingRound_ = true;
          break;
        case ScenarioVerb::kLock:
          text = L"locks the screen";
          table_->Lock(s->id);
          rt->locked = true;
          break;
        case ScenarioVerb::kUnlock:
          text = L"unlocks the screen";
          table_->Unlock(s->id);
          rt->locked = false;
          rt->mode = Mode::kActive;
          break;
        case ScenarioVerb::kDisconnect:
          text = L"disconnects (the session stays)";
          table_->Disconnect(s->id);
          rt->disconnected = true;
          break;
        case ScenarioVerb::kReconnect:
          text = L"reconnects";
          table_->Reconnect(s->id);
          rt->disconnected = false;
          rt->mode = Mode::kActive;
          break;
        case ScenarioVerb::kActive:
          text = L"is back at work";
          rt->mode = Mode::kActive;
          break;
        case ScenarioVerb::kIdle:
          text = L"leaves the keyboard";
          rt->mode = Mode::kIdle;
          break;
        case ScenarioVerb::kBusy:
          text = L"leaves a program running that keeps the processor busy";
          rt->mode = Mode::kBusy;
          break;
        default: return;  // sound, presentations and programs: ApplySource
      }
      Add(TimelineEntry::Kind::kUser, s->id, text);
    }
    ScheduleAgent(static_cast<std::size_t>(rt - rt_.data()));
    service_->DispatchNotifications();
  }

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
  std::multimap<std::wstring, SessionId> byAccount_;
  std::vector<int> index_;  // by session number: the session's place in sc_.sessions and rt_
};

}  // namespace

bool RunSimulation(const Scenario& scenario, MemKeyStore& settings, const SimulatorOptions& options,
                   SimulationResult* result, std::wstring* error) {
  try {
    *result = SimulationResult{};
    Driver driver(scenario, settings, options, result);
    driver.Run();
    return true;
  } catch (const std::bad_alloc&) {
    if (error) *error = L"out of memory";
    return false;
  } catch (const std::exception&) {
    if (error) *error = L"the simulation failed";
    return false;
  }
}

}  // namespace tv
