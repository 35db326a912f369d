#include "simulator/simulator.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>

#include "foundation/service_log.h"
#include "service/event_texts.h"
#include "service/membership.h"
#include "simulator/sim_driver.h"
#include "simulator/sim_settings.h"

namespace tv {

namespace {

std::wstring FirstLine(const std::wstring& text) {
  const std::size_t cut = text.find_first_of(L"\r\n");
  return cut == std::wstring::npos ? text : text.substr(0, cut);
}

std::wstring NextObjectPrefix() {
  static std::atomic<int> serial{0};
  return L"TarnvaleSim" + std::to_wstring(++serial) + L"_";
}

}  // namespace

namespace sim {

Driver::Driver(const Scenario& scenario, MemKeyStore& keys, const SimulatorOptions& options, SimulationResult* result)
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

void Driver::Run() {
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

void Driver::OnEventLogged(DWORD eventId, const std::vector<std::wstring>& strings) {
  // The log-off itself came just before its entry.
  if (eventId == evt::kStaleLoggedOff && loggedOffInUse_) ++rec_.Summary().staleInUse;
  if (eventId == evt::kStaleLoggedOff || eventId == evt::kLoggedOff) loggedOffInUse_ = false;
  // Whose session an entry concerns is the world's knowledge; only worth asking for a shown one.
  SessionId session = kNoSession;
  if (rec_.Shows(sec_) && !strings.empty() && TimelineRecorder::NamesAccount(eventId)) session = Attribute(strings[0]);
  rec_.ServiceEvent(sec_, eventId, strings, session);
}

void Driver::OnWarning(SessionId id, bool messageBox, const std::wstring& text) {
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

void Driver::OnLoggedOff(SessionId id) {
  Runtime* rt = Find(id);
  if (!rt) return;
  rt->exists = false;
  EndSources(*rt);
  Track(*rt);
  const bool atKeyboard = rt->mode == Mode::kActive && !rt->locked && !rt->disconnected;
  loggedOffInUse_ = atKeyboard || sec_ - rt->lastInput < std::int64_t(opts_->Timeout) * 60;
}

void Driver::OnSuspended(bool hibernate) {
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

std::vector<TokenGroup> Driver::TokenGroupsOf(const ScenarioSession& s) const {
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

void Driver::SetUpAccounts() {
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

void Driver::LoadOptions() {
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

SessionId Driver::Attribute(const std::wstring& account) {
  if (Runtime* rt = Find(touched_); rt && rt->account == account) return touched_;
  auto [from, to] = byAccount_.equal_range(account);
  SessionId any = kNoSession;
  for (auto it = from; it != to; ++it) {
    if (any == kNoSession) any = it->second;
    if (Runtime* rt = Find(it->second); rt && rt->exists) return it->second;
  }
  return any;
}

void Driver::Boot(bool announce) {
  table_ = std::make_unique<SimulatedSessions>();
  table_->SetLogoffRemovesSession(true);
  table_->SetKeepRecords(false);
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

void Driver::ShutDown() {
  std::wstring gone;
  for (std::size_t i = 0; i < rt_.size(); ++i) {
    if (!rt_[i].exists) continue;
    gone += (gone.empty() ? L"" : L", ") + rt_[i].account;
    rt_[i].exists = false;
    EndSources(rt_[i]);
    Track(rt_[i]);
  }
  Add(TimelineEntry::Kind::kComputer, kNoSession,
      gone.empty() ? L"The computer shuts down." : L"The computer shuts down, ending the sessions of " + gone + L".");
  // A shutdown does not run the service's stop sequence: the process just ends.
  service_.reset();
  sessions_.Attach(nullptr);
  table_.reset();
  state_ = Power::kOff;
}

void Driver::DoStep() {
  // The round belongs to the second the clock moves to: what it writes is stamped with it.
  ++sec_;
  service_->Step();
  rec_.CountRound();
  pendingRound_ = false;
  // The shutdown started in this round takes the computer down before the next one.
  if (shutdownStarted_) ShutDown();
  shutdownStarted_ = false;
}

void Driver::AdvanceTo(std::int64_t to) {
  while (sec_ < to) {
    if (state_ != Power::kOn) return Jump(to);
    const std::int64_t next = opt_.exact ? sec_ + 1 : NextWork();
    if (next > to) return Jump(to);
    Jump(next - 1);
    DoStep();
  }
}

std::int64_t Driver::NextWork() {
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

}  // namespace sim

bool RunSimulation(const Scenario& scenario, MemKeyStore& settings, const SimulatorOptions& options,
                   SimulationResult* result, std::wstring* error) {
  try {
    *result = SimulationResult{};
    sim::Driver driver(scenario, settings, options, result);
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
