#include "simulator/html_report.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "settings/program_names.h"
#include "simulator/report.h"

namespace tv {
namespace {

constexpr DWORD kEventLoggedOff = 0x6000000a;
constexpr DWORD kEventStaleLoggedOff = 0x60000017;

// Geometry of the chart, in SVG user units.
constexpr int kLabelWidth = 170;
constexpr int kChartWidth = 980;
constexpr int kRowHeight = 18;
constexpr int kBarHeight = 12;
constexpr int kHeaderHeight = 22;

bool IsForcedLogoff(const TimelineEntry& e) {
  return e.kind == TimelineEntry::Kind::kService && (e.eventId == kEventLoggedOff || e.eventId == kEventStaleLoggedOff);
}

// Routine entries (the service started monitoring someone) would bury the ones that matter.
bool IsSparedOrError(DWORD eventId) {
  constexpr DWORD kEventKeptAlive = 0x60000040;
  return eventId == kEventKeptAlive || (eventId >> 28) == 0xe || (eventId >> 28) == 0xa || (eventId >= 0x60000007 && eventId <= 0x60000009);
}

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}
std::string Escape(const std::wstring& text) { return Escape(ToUtf8(text)); }

const char* StateClass(ActivityState s) {
  switch (s) {
    case ActivityState::kActive: return "act";
    case ActivityState::kIdle: return "idle";
    case ActivityState::kBusy: return "busy";
    case ActivityState::kLocked: return "lock";
    case ActivityState::kDisconnected: return "disc";
    case ActivityState::kKept: return "kept";
  }
  return "act";
}

const char* StateName(ActivityState s) {
  switch (s) {
    case ActivityState::kActive: return "working";
    case ActivityState::kIdle: return "away from the keyboard";
    case ActivityState::kBusy: return "away, processor kept busy";
    case ActivityState::kLocked: return "locked";
    case ActivityState::kDisconnected: return "disconnected";
    case ActivityState::kKept: return "away, kept in use by sound, a presentation or a listed program";
  }
  return "";
}

std::string Number(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", v);
  return buffer;
}

// The session's state while it exists, from what the user last did and what runs in it.
struct Tracker {
  bool exists = false;
  bool idle = false;
  bool busy = false;
  bool locked = false;
  bool disconnected = false;
  // The marks of the running spans (the simulator's: the line, or -1 for a generated one).
  int audio = 0;
  int presentation = 0;
  std::vector<std::pair<std::uint16_t, int>> programs;
  bool programKept = false;  // one of `programs` is listed

  // As the simulator's agent and the service count them: sound from a locked screen too, a
  // presentation only on a screen in view, a listed program in any state.
  bool Kept(const KeepAliveInForce& rules) const {
    if (programKept) return true;
    if (disconnected) return false;
    return (audio && rules.audio) || (presentation && rules.presentation && !locked);
  }
  ActivityState State(const KeepAliveInForce& rules) const {
    const bool away = idle || busy || locked || disconnected;
    if (away && Kept(rules)) return ActivityState::kKept;
    return State();
  }
  ActivityState State() const {
    if (disconnected) return ActivityState::kDisconnected;
    if (locked) return ActivityState::kLocked;
    if (busy) return ActivityState::kBusy;
    return idle ? ActivityState::kIdle : ActivityState::kActive;
  }
  void LogOn() { *this = Tracker{true}; }
  void Source(const ScenarioEvent& e, const Scenario& scenario, const KeepAliveInForce& rules) {
    if (!exists) return;
    const int mark = e.line ? e.line : -1;
    switch (e.verb) {
      case ScenarioVerb::kAudio: audio = mark; break;
      case ScenarioVerb::kAudioEnd: if (audio == mark) audio = 0; break;
      case ScenarioVerb::kPresent: presentation = mark; break;
      case ScenarioVerb::kPresentEnd: if (presentation == mark) presentation = 0; break;
      case ScenarioVerb::kRun: programs.emplace_back(e.program, mark); break;
      case ScenarioVerb::kRunEnd:
        std::erase_if(programs, [&](const auto& p) { return p.first == e.program && p.second == mark; });
        break;
      default: return;
    }
    std::vector<std::wstring> running;
    for (const auto& p : programs) running.push_back(scenario.programs[p.first]);
    programKept = !FirstListedProgram(rules.programs, running).empty();
  }
  // Applies a verb, as the simulator does: a sign of life in a session that is gone logs on anew.
  void Apply(ScenarioVerb verb) {
    if (!exists) {
      if (verb == ScenarioVerb::kLogon || verb == ScenarioVerb::kActive || verb == ScenarioVerb::kBusy ||
          verb == ScenarioVerb::kUnlock || verb == ScenarioVerb::kReconnect) {
        LogOn();
        busy = verb == ScenarioVerb::kBusy;
      }
      return;
    }
    switch (verb) {
      case ScenarioVerb::kLogon: LogOn(); break;
      case ScenarioVerb::kLogoff: exists = false; break;
      case ScenarioVerb::kLock: locked = true; break;
      case ScenarioVerb::kUnlock: locked = false; idle = busy = false; break;
      case ScenarioVerb::kDisconnect: disconnected = true; break;
      case ScenarioVerb::kReconnect: disconnected = false; idle = busy = false; break;
      case ScenarioVerb::kActive: idle = busy = false; break;
      case ScenarioVerb::kIdle: idle = true; busy = false; break;
      case ScenarioVerb::kBusy: busy = true; idle = false; break;
      default: break;  // sound, presentations and programs: Source
    }
  }
};

struct Chart {
  const Scenario& scenario;
  double seconds;
  double X(std::int64_t at) const {
    return kLabelWidth + kChartWidth * std::clamp(double(at), 0.0, seconds) / seconds;
  }
};

void Marker(std::string& svg, const Chart& chart, const TimelineEntry& e, int y) {
  const double x = chart.X(e.at);
  const std::string tip = "<title>" + Escape(FormatWhen(chart.scenario, e.at)) + " " + Escape(e.text) + "</title>";
  const int mid = y + kRowHeight / 2;
  if (e.kind == TimelineEntry::Kind::kWarning) {
    svg += "<path class=\"warn\" d=\"M" + Number(x) + " " + std::to_string(mid - 7) + " l5 9 h-10 z\">" + tip + "</path>";
  } else if (IsForcedLogoff(e)) {
    svg += "<rect class=\"" + std::string(e.eventId == kEventLoggedOff ? "off" : "stale") + "\" x=\"" +
           Number(x - 1.5) + "\" y=\"" + std::to_string(y + 1) + "\" width=\"3\" height=\"" +
           std::to_string(kRowHeight - 2) + "\">" + tip + "</rect>";
  } else if (e.kind == TimelineEntry::Kind::kService && IsSparedOrError(e.eventId)) {
    svg += "<circle class=\"" + std::string((e.eventId >> 28) == 0xe ? "err" : "note") + "\" cx=\"" + Number(x) +
           "\" cy=\"" + std::to_string(mid) + "\" r=\"3\">" + tip + "</circle>";
  } else if (e.kind == TimelineEntry::Kind::kComputer) {
    svg += "<path class=\"power\" d=\"M" + Number(x) + " " + std::to_string(mid - 6) + " l6 6 l-6 6 l-6 -6 z\">" + tip +
           "</path>";
  }
}

// Whether the chart marks `e`: a warning, a forced log-off, a sparing or an error, a power action.
bool Marked(const TimelineEntry& e) {
  return e.kind == TimelineEntry::Kind::kWarning || IsForcedLogoff(e) || e.kind == TimelineEntry::Kind::kComputer ||
         (e.kind == TimelineEntry::Kind::kService && IsSparedOrError(e.eventId));
}

// What the chart's marks stand for, in words, so that they can be read (and searched, printed,
// read aloud) without hovering over each one.
void EventList(std::string& html, const Scenario& scenario, const SimulationResult& result) {
  std::size_t listed = 0, marked = 0;
  std::string rows;
  for (const TimelineEntry& e : result.timeline) {
    if (!Marked(e)) continue;
    if (++marked > kMaxReportEvents) continue;
    ++listed;
    rows += "<tr><td>" + Escape(FormatWhen(scenario, e.at)) + "</td><td>" +
            (e.session == kNoSession ? Escape(scenario.computer) : std::to_string(e.session) + " " + Escape(e.account)) +
            "</td><td>" + Escape(e.text) + "</td></tr>\n";
  }
  html += "<h2>Events</h2>\n";
  if (marked == 0) {
    html += "<p>No warnings, log-offs, sparings, errors or power actions.</p>\n";
    return;
  }
  if (listed < marked) {
    html += "<p>The first " + std::to_string(listed) + " of " + std::to_string(marked) +
            " events; tv-sim's timeline has them all.</p>\n";
  }
  html += "<table class=\"events\">\n<tr><th>When</th><th>Session</th><th>What</th></tr>\n" + rows + "</table>\n";
}

void SummaryRow(std::string& html, const char* what, int count) {
  html += "<tr><td>" + std::string(what) + "</td><td class=\"n\">" + std::to_string(count) + "</td></tr>\n";
}

}  // namespace

std::vector<SessionStretch> SessionStretches(const Scenario& scenario, const SimulationResult& result, SessionId id) {
  // Everything that changes the session, in time order; at one second the user's verb comes first.
  struct Change {
    std::int64_t at;
    int order;
    bool forcedOff;
    const ScenarioEvent* event;
  };
  std::vector<Change> changes;
  for (const ScenarioEvent& e : scenario.events) {
    if (e.session == id) changes.push_back({e.at, 0, false, &e});
  }
  for (const TimelineEntry& e : result.timeline) {
    if (e.session == id && IsForcedLogoff(e)) changes.push_back({e.at, 1, true, nullptr});
  }
  std::stable_sort(changes.begin(), changes.end(),
                   [](const Change& a, const Change& b) { return a.at != b.at ? a.at < b.at : a.order < b.order; });

  std::vector<SessionStretch> out;
  const std::int64_t end = scenario.Seconds();
  Tracker tracker;
  std::int64_t since = 0;
  auto close = [&](std::int64_t at) {
    at = std::min(at, end);
    if (tracker.exists && at > since) {
      const ActivityState state = tracker.State(result.keepAlive);
      if (!out.empty() && out.back().to == since && out.back().state == state) {
        out.back().to = at;
      } else {
        out.push_back({since, at, state});
      }
    }
    since = std::max(since, at);
  };
  for (const Change& c : changes) {
    close(c.at);
    if (c.forcedOff) {
      tracker.exists = false;
    } else if (IsSourceVerb(c.event->verb)) {
      tracker.Source(*c.event, scenario, result.keepAlive);
    } else {
      tracker.Apply(c.event->verb);
    }
  }
  close(end);
  return out;
}

std::vector<std::pair<std::int64_t, std::int64_t>> OffScheduleRuns(const SimulationResult& result, int dayOfWeek) {
  std::vector<std::pair<std::int64_t, std::int64_t>> runs;
  if (!result.schedule) return runs;
  for (int cell = 0; cell < kCellsPerDay; ++cell) {
    if (result.schedule->IsActive(dayOfWeek, cell)) continue;
    const std::int64_t from = std::int64_t(cell) * 1800;
    if (!runs.empty() && runs.back().second == from) {
      runs.back().second = from + 1800;
    } else {
      runs.emplace_back(from, from + 1800);
    }
  }
  return runs;
}

std::string FormatHtmlReport(const Scenario& scenario, const SimulationResult& result,
                             const std::vector<std::wstring>& settings, const std::wstring& title) {
  const Chart chart{scenario, double(std::max<std::int64_t>(scenario.Seconds(), 1))};
  const std::size_t rows = std::min(scenario.sessions.size(), kMaxReportRows);
  const int height = kHeaderHeight + int(rows + 1) * kRowHeight + 4;
  const int width = kLabelWidth + kChartWidth + 10;

  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) + "\" height=\"" +
                    std::to_string(height) + "\" viewBox=\"0 0 " + std::to_string(width) + " " + std::to_string(height) +
                    "\" role=\"img\" aria-label=\"Sessions across the simulated days\">\n";
  // Day columns, with the half hours outside the configured schedule shaded: there nobody is
  // logged off, whatever the bars show. Without a schedule nothing is shaded.
  for (int d = 0; d < scenario.days; ++d) {
    const std::int64_t day = std::int64_t(d) * 86400;
    for (const auto& [from, to] : OffScheduleRuns(result, (scenario.start.dayOfWeek + d) % 7)) {
      svg += "<rect class=\"night\" x=\"" + Number(chart.X(day + from)) + "\" y=\"" + std::to_string(kHeaderHeight) +
             "\" width=\"" + Number(chart.X(day + to) - chart.X(day + from)) + "\" height=\"" +
             std::to_string(height - kHeaderHeight) + "\"><title>outside the schedule</title></rect>";
    }
    svg += "<line class=\"day\" x1=\"" + Number(chart.X(day)) + "\" x2=\"" + Number(chart.X(day)) + "\" y1=\"0\" y2=\"" +
           std::to_string(height) + "\"/>";
    svg += "<text class=\"dayname\" x=\"" + Number(chart.X(day + 43200)) + "\" y=\"15\">" +
           Escape(FormatWhen(scenario, day).substr(0, 3)) + "</text>\n";
  }
  // The computer's row: power actions and wake-ups.
  int y = kHeaderHeight;
  svg += "<text class=\"label\" x=\"4\" y=\"" + std::to_string(y + 13) + "\">" + Escape(scenario.computer) +
         " (computer)</text>";
  for (const TimelineEntry& e : result.timeline) {
    if (e.kind == TimelineEntry::Kind::kComputer) Marker(svg, chart, e, y);
  }
  svg += "\n";
  std::map<SessionId, std::size_t> rowOf;
  for (std::size_t i = 0; i < rows; ++i) rowOf[scenario.sessions[i].id] = i;
  for (std::size_t i = 0; i < rows; ++i) {
    const ScenarioSession& s = scenario.sessions[i];
    y = kHeaderHeight + int(i + 1) * kRowHeight;
    const std::wstring who = (s.domain.empty() ? L"" : s.domain + L"\\") + s.user;
    svg += "<text class=\"label\" x=\"4\" y=\"" + std::to_string(y + 13) + "\">" + std::to_string(s.id) + " " +
           Escape(who) + "</text>";
    for (const SessionStretch& st : SessionStretches(scenario, result, s.id)) {
      svg += "<rect class=\"" + std::string(StateClass(st.state)) + "\" x=\"" + Number(chart.X(st.from)) + "\" y=\"" +
             std::to_string(y + (kRowHeight - kBarHeight) / 2) + "\" width=\"" +
             Number(std::max(chart.X(st.to) - chart.X(st.from), 0.5)) + "\" height=\"" + std::to_string(kBarHeight) +
             "\"><title>" + Escape(FormatWhen(scenario, st.from)) + " to " + Escape(FormatWhen(scenario, st.to)) +
             ": " + StateName(st.state) + "</title></rect>";
    }
    svg += "\n";
  }
  for (const TimelineEntry& e : result.timeline) {
    if (e.kind == TimelineEntry::Kind::kUser || e.kind == TimelineEntry::Kind::kComputer) continue;
    const auto row = rowOf.find(e.session);
    if (row != rowOf.end()) Marker(svg, chart, e, kHeaderHeight + int(row->second + 1) * kRowHeight);
  }
  svg += "</svg>\n";

  const SimulationSummary& m = result.summary;
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + Escape(title) +
      "</title>\n<style>\n"
      "body{font-family:\"Segoe UI\",Arial,sans-serif;margin:1.2em;color:#222}h1{font-size:1.35em;color:#1d4f7a}"
      "h2{font-size:1.1em;color:#1d4f7a;margin-top:1.4em}.chart{overflow-x:auto;border:1px solid #ccd;padding:4px}"
      "svg text{font-size:11px}.label{fill:#333}.dayname{text-anchor:middle;font-weight:bold;fill:#1d4f7a}"
      ".day{stroke:#99a;stroke-width:1}.night{fill:#f1f2f6}.act{fill:#4caf50}.idle{fill:#f2b134}.busy{fill:#b39ddb}"
      ".kept{fill:#26a69a}.lock{fill:#8d99a6}.disc{fill:#cfd6dd}.warn{fill:#ff7f00;stroke:#7a3d00;stroke-width:.6}.off{fill:#d32f2f}"
      ".stale{fill:#7b1fa2}.note{fill:#1e88e5}.err{fill:#000}.power{fill:#263238}"
      "table{border-collapse:collapse}td,th{border:1px solid #ccd;padding:2px 10px;text-align:left}.n{text-align:right}"
      ".legend span{display:inline-block;margin-right:1.2em}.legend i{display:inline-block;width:14px;height:10px;"
      "margin-right:4px;vertical-align:middle}\n</style>\n</head>\n<body>\n<h1>" +
      Escape(title) + "</h1>\n<p>" + std::to_string(scenario.sessions.size()) + " sessions on " +
      Escape(scenario.computer) + ", " + std::to_string(scenario.days) + " days from " +
      Escape(FormatWhen(scenario, 0).substr(0, 3)) + ". Hover over a bar or a mark for its time and text.</p>\n";
  html += "<p class=\"legend\"><span><i class=\"act\" style=\"background:#4caf50\"></i>working</span>"
          "<span><i style=\"background:#f2b134\"></i>away from the keyboard</span>"
          "<span><i style=\"background:#b39ddb\"></i>away, processor busy</span>"
          "<span><i style=\"background:#26a69a\"></i>away, kept in use (sound, presentation, listed program)</span>"
          "<span><i style=\"background:#8d99a6\"></i>locked</span><span><i style=\"background:#cfd6dd\"></i>disconnected</span>"
          "<span><i style=\"background:#ff7f00\"></i>warning</span><span><i style=\"background:#d32f2f\"></i>logged off (idle)</span>"
          "<span><i style=\"background:#7b1fa2\"></i>logged off (stale)</span>"
          "<span><i style=\"background:#1e88e5\"></i>spared or skipped</span>"
          "<span><i style=\"background:#263238\"></i>computer power</span></p>\n";
  if (rows < scenario.sessions.size()) {
    html += "<p>The first " + std::to_string(rows) + " of " + std::to_string(scenario.sessions.size()) +
            " sessions are drawn; the summary counts them all.</p>\n";
  }
  if (result.timeline.empty() && result.summary.warnings + result.summary.logoffs > 0) {
    html += "<p>This run kept no timeline, so only the sessions' own activity is drawn.</p>\n";
  }
  html += "<div class=\"chart\">\n" + svg + "</div>\n";
  EventList(html, scenario, result);
  html += "<h2>Summary</h2>\n<table>\n";
  SummaryRow(html, "Sessions", m.sessions);
  SummaryRow(html, "Log-ons by users", m.userLogons);
  SummaryRow(html, "Users who logged off themselves", m.userLogoffs);
  SummaryRow(html, "Warnings shown", m.warnings);
  SummaryRow(html, "Idle sessions logged off", m.logoffs);
  SummaryRow(html, "Stale sessions logged off", m.staleLogoffs);
  if (m.staleLogoffs) {
    SummaryRow(html, ("&nbsp;&nbsp;of them with input in the last " + std::to_string(m.inUseMinutes) + " minutes").c_str(),
               m.staleInUse);
  }
  SummaryRow(html, "Spared as the most recent active user", m.sparedLastActive);
  SummaryRow(html, "Spared by the schedule", m.sparedSchedule);
  SummaryRow(html, "Spared because forced log-off was off", m.sparedNotEnabled);
  if (m.Kept()) {
    SummaryRow(html, "Kept in use by sound", m.keptAudio);
    SummaryRow(html, "Kept in use by a presentation", m.keptPresentation);
    SummaryRow(html, "Kept in use by a listed program", m.keptProgram);
    SummaryRow(html, "Spared until their first input", m.keptNoInput);
  }
  SummaryRow(html, "Sessions not monitored (account lists)", m.notMonitored);
  SummaryRow(html, "Power actions (shutdowns, sleeps)", m.PowerActions());
  SummaryRow(html, "Errors", m.errors);
  html += "</table>\n<h2>Settings</h2>\n<ul>\n";
  for (const std::wstring& line : settings) html += "<li>" + Escape(line) + "</li>\n";
  html += "</ul>\n</body>\n</html>\n";
  return html;
}

}  // namespace tv
