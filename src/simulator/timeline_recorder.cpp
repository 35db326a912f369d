#include "simulator/timeline_recorder.h"

#include <cwchar>

#include "service/event_texts.h"
#include "service/keep_alive.h"
#include "foundation/service_log.h"

namespace tv {

namespace {

// Which source a sparing names, read back from the reason the service and the agent both write.
KeepSource SourceOfSparing(const std::vector<std::wstring>& strings) {
  if (strings.size() < 2) return KeepSource::kNone;
  const std::wstring& why = strings[1];
  for (KeepSource source : {KeepSource::kNoInputYet, KeepSource::kAudio, KeepSource::kPresentation}) {
    if (why == KeepAlive::Describe(source, {})) return source;
  }
  // The program's name sits between the quotes of its reason.
  const std::wstring program = KeepAlive::Describe(KeepSource::kProgram, {});
  const std::size_t cut = program.find(L"''") + 1;
  if (why.size() > program.size() && why.starts_with(program.substr(0, cut)) && why.ends_with(program.substr(cut)))
    return KeepSource::kProgram;
  return KeepSource::kNone;
}

}  // namespace

bool TimelineRecorder::NamesAccount(DWORD eventId) {
  const wchar_t* raw = FindEventText(eventId);
  return raw && std::wcsstr(raw, L"'%1'");
}

void TimelineRecorder::ServiceEvent(std::int64_t at, DWORD eventId, const std::vector<std::wstring>& strings,
                                    SessionId session) {
  SimulationSummary& s = result_.summary;
  ++s.eventCounts[eventId];
  switch (eventId) {
    case evt::kLoggedOff: ++s.logoffs; break;
    case evt::kStaleLoggedOff: ++s.staleLogoffs; break;
    case evt::kSparedLastActive: ++s.sparedLastActive; break;
    case evt::kScheduleInactive: ++s.sparedSchedule; break;
    case evt::kNotEnabledAtTimeout: ++s.sparedNotEnabled; break;
    case evt::kSkippedExcluded:
    case evt::kSkippedExcludedGroup:
    case evt::kSkippedNotApplied:
    case evt::kSkippedGroupsUnknown: ++s.notMonitored; break;
    case evt::kShutdownInitiated: ++s.shutdowns; break;
    case evt::kSuspendInitiated: ++s.suspends; break;
    case evt::kKeptAlive:
      switch (SourceOfSparing(strings)) {
        case KeepSource::kNoInputYet: ++s.keptNoInput; break;
        case KeepSource::kProgram: ++s.keptProgram; break;
        case KeepSource::kAudio: ++s.keptAudio; break;
        case KeepSource::kPresentation: ++s.keptPresentation; break;
        case KeepSource::kNone: break;
      }
      break;
    default: break;
  }
  if (EventTypeOf(eventId) == EventType::kError) ++s.errors;
  // Written after the scenario's end (a computer that slept through it): counted, not shown.
  if (!Shows(at)) return;
  TimelineEntry e;
  e.at = at;
  e.kind = TimelineEntry::Kind::kService;
  e.eventId = eventId;
  e.text = TrimEventText(FormatEventText(eventId, strings));
  if (NamesAccount(eventId) && !strings.empty()) {
    e.account = strings[0];
    e.session = session;
  }
  result_.timeline.push_back(std::move(e));
}

void TimelineRecorder::Line(std::int64_t at, TimelineEntry::Kind kind, SessionId session, const std::wstring& account,
                            std::wstring text) {
  if (!Shows(at)) return;
  TimelineEntry e;
  e.at = at;
  e.kind = kind;
  e.session = session;
  e.account = account;
  e.text = std::move(text);
  result_.timeline.push_back(std::move(e));
}

}  // namespace tv
