// What the users of a scenario do at their sessions, and what their sessions' agents report
// besides input (sound, a presentation, programs).
#include <algorithm>

#include "foundation/service_log.h"
#include "service/event_texts.h"
#include "service/keep_alive.h"
#include "simulator/sim_driver.h"

namespace tv::sim {

void Driver::ScheduleAgent(std::size_t i) {
  Runtime& rt = rt_[i];
  if (rt.agentDue != kNever) agentDue_.erase({rt.agentDue, i});
  rt.agentDue = kNever;
  const int kind = AgentKind(rt);
  const bool atKeyboard = rt.mode == Mode::kActive && !rt.locked;
  if (kind == kActivityNone || kind == rt.agentReported || atKeyboard) return;
  rt.agentDue = std::max(sec_, rt.lastInput + std::int64_t(opts_->Timeout) * 60);
  agentDue_.emplace(rt.agentDue, i);
}

void Driver::AgentReports(std::size_t i) {
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

void Driver::EndSources(Runtime& rt) {
  rt.audio = rt.presentation = 0;
  rt.programs.clear();
  rt.agentReported = kActivityNone;
  const std::size_t i = static_cast<std::size_t>(&rt - rt_.data());
  if (rt.agentDue != kNever) agentDue_.erase({rt.agentDue, i});
  rt.agentDue = kNever;
}

void Driver::ApplySource(const ScenarioEvent& e, const ScenarioSession& s, Runtime& rt) {
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

bool Driver::SignalInput(const ScenarioEvent& e) {
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

const wchar_t* Driver::Intent(ScenarioVerb verb) {
  switch (verb) {
    case ScenarioVerb::kLogoff: return L"log off";
    case ScenarioVerb::kLock: return L"lock the screen";
    case ScenarioVerb::kDisconnect: return L"disconnect";
    default: return VerbName(verb);
  }
}

void Driver::LogOn(const ScenarioSession& s, Runtime& rt) {
  ++rec_.Summary().userLogons;
  table_->AddSession(s.id, ReportedDomain(s), s.user);
  EndSources(rt);
  rt.exists = true;
  rt.mode = Mode::kActive;
  rt.locked = false;
  rt.disconnected = false;
}

void Driver::Apply(const ScenarioEvent& e) {
  if (Runtime* rt = Find(e.session)) {
    ApplyTo(e, rt);
    Track(*rt);
  }
}

void Driver::ApplyTo(const ScenarioEvent& e, Runtime* rt) {
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

}  // namespace tv::sim
