// Whether each session's verbs of a scenario come in an order that makes sense.
#include <map>

#include "simulator/scenario.h"

namespace tv {

namespace {
// A running span's mark: its line, or -1 for a generated one (line 0 means none runs).
int SpanMark(const ScenarioEvent& e) { return e.line ? e.line : -1; }
std::wstring LineNote(int mark) { return mark > 0 ? L" (line " + std::to_wstring(mark) + L")" : L""; }
}  // namespace

bool CheckScenarioOrder(const Scenario& scenario, int* line, std::wstring* what) {
  struct State {
    bool on = false;
    bool locked = false;
    bool disconnected = false;
    int since = 0;  // the line of the last change, for the message
    // The lines that started the sound, the presentation and each program still running (0:
    // none); they end with their span or the session.
    int audio = 0;
    int presentation = 0;
    std::vector<std::pair<std::uint16_t, int>> programs;
  };
  std::map<SessionId, State> states;
  for (const ScenarioEvent& e : scenario.events) {
    State& s = states[e.session];
    const std::wstring name = L"session " + std::to_wstring(e.session);
    const std::wstring since = s.since ? L" (line " + std::to_wstring(s.since) + L")" : L"";
    std::wstring problem;
    switch (e.verb) {
      case ScenarioVerb::kLogon:
        if (s.on) problem = name + L" is already logged on" + since + L"; log it off first";
        break;
      case ScenarioVerb::kLogoff:
        if (!s.on) problem = name + L" is not logged on";
        break;
      case ScenarioVerb::kLock:
        if (!s.on) problem = name + L" is not logged on";
        else if (s.disconnected) problem = name + L" is disconnected" + since;
        else if (s.locked) problem = name + L" is already locked" + since;
        break;
      case ScenarioVerb::kUnlock:
        if (!s.on || !s.locked) problem = name + L" is not locked";
        else if (s.disconnected) problem = name + L" is disconnected" + since + L"; reconnect it first";
        break;
      case ScenarioVerb::kDisconnect:
        if (!s.on) problem = name + L" is not logged on";
        else if (s.disconnected) problem = name + L" is already disconnected" + since;
        break;
      case ScenarioVerb::kReconnect:
        if (!s.on || !s.disconnected) problem = name + L" is not disconnected";
        break;
      case ScenarioVerb::kActive:
      case ScenarioVerb::kIdle:
      case ScenarioVerb::kBusy:
        if (!s.on) problem = name + L" is not logged on";
        else if (s.disconnected) problem = name + L" is disconnected" + since;
        else if (s.locked) problem = name + L" is locked" + since + L"; unlock it first";
        break;
      case ScenarioVerb::kAudio:
      case ScenarioVerb::kPresent: {
        const int running = e.verb == ScenarioVerb::kAudio ? s.audio : s.presentation;
        if (!s.on) problem = name + L" is not logged on";
        else if (s.disconnected) problem = name + L" is disconnected" + since;
        else if (s.locked) problem = name + L" is locked" + since + L"; unlock it first";
        else if (running) problem = name + L" already " + VerbName(e.verb) + LineNote(running);
        break;
      }
      case ScenarioVerb::kRun:
        if (!s.on) {
          problem = name + L" is not logged on";
          break;
        }
        for (const auto& [program, from] : s.programs) {
          if (program == e.program) {
            problem = name + L" already runs " + scenario.programs[program] + LineNote(from);
          }
        }
        break;
      case ScenarioVerb::kAudioEnd:
      case ScenarioVerb::kPresentEnd:
      case ScenarioVerb::kRunEnd: break;  // a span that the session's end cut short has nothing to end
    }
    if (!problem.empty()) {
      *line = e.line;
      *what = std::wstring(VerbName(e.verb)) + L": " + problem;
      return false;
    }
    switch (e.verb) {
      case ScenarioVerb::kLogon: s = State{true, false, false, e.line}; break;
      case ScenarioVerb::kLogoff: s = State{false, false, false, e.line}; break;
      // An end belongs to the span its line started: one that the session's end cut short
      // must not end a later span.
      case ScenarioVerb::kAudio: s.audio = SpanMark(e); break;
      case ScenarioVerb::kPresent: s.presentation = SpanMark(e); break;
      case ScenarioVerb::kRun: s.programs.emplace_back(e.program, SpanMark(e)); break;
      case ScenarioVerb::kAudioEnd:
        if (s.audio == SpanMark(e)) s.audio = 0;
        break;
      case ScenarioVerb::kPresentEnd:
        if (s.presentation == SpanMark(e)) s.presentation = 0;
        break;
      case ScenarioVerb::kRunEnd:
        std::erase_if(s.programs, [&](const auto& p) { return p.first == e.program && p.second == SpanMark(e); });
        break;
      case ScenarioVerb::kLock: s.locked = true; s.since = e.line; break;
      case ScenarioVerb::kUnlock: s.locked = false; s.since = e.line; break;
      case ScenarioVerb::kDisconnect: s.disconnected = true; s.since = e.line; break;
      case ScenarioVerb::kReconnect: s.disconnected = false; s.since = e.line; break;
      default: break;
    }
  }
  return true;
}

}  // namespace tv
