#include "simulator/report.h"

#include <algorithm>
#include <cstdio>

namespace tv {

namespace {

constexpr const wchar_t* kDays[] = {L"Sun", L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat"};
constexpr const wchar_t* kLongDays[] = {L"Sunday", L"Monday", L"Tuesday", L"Wednesday",
                                        L"Thursday", L"Friday", L"Saturday"};
constexpr std::size_t kAccountWidthCap = 22;

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string Pad(std::string s, std::size_t width) {
  // Width in characters, not bytes: continuation bytes take no column.
  std::size_t columns = 0;
  for (unsigned char c : s) columns += (c & 0xC0) != 0x80;
  if (columns < width) s.append(width - columns, ' ');
  return s;
}

std::string Row(const char* label, int value, const std::string& note = {}) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "  %-40s %6d", label, value);
  std::string out = buffer;
  if (!note.empty()) out += "   " + note;
  return out + "\n";
}

}  // namespace

std::string ToUtf8(const std::wstring& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = static_cast<char32_t>(text[i]);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
      const char32_t low = static_cast<char32_t>(text[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = 0xFFFD;
    AppendUtf8(out, c);
  }
  return out;
}

std::wstring FormatWhen(const Scenario& scenario, std::int64_t seconds) {
  const SystemTime t = ScenarioTime(scenario, seconds);
  wchar_t buffer[32];
  std::swprintf(buffer, 32, L"%ls %02u:%02u:%02u", kDays[t.dayOfWeek % 7], unsigned(t.hour), unsigned(t.minute),
                unsigned(t.second));
  return buffer;
}

std::string FormatTimeline(const Scenario& scenario, const SimulationResult& result) {
  std::size_t width = 8;
  for (const ScenarioSession& s : scenario.sessions) {
    const std::size_t n = s.user.size() + (s.domain.empty() ? 0 : s.domain.size() + 1);
    width = std::max(width, std::min(n, kAccountWidthCap));
  }
  std::string out;
  std::int64_t day = -1;
  for (const TimelineEntry& e : result.timeline) {
    if (e.at / 86400 != day) {
      day = e.at / 86400;
      const SystemTime t = ScenarioTime(scenario, e.at);
      char heading[64];
      std::snprintf(heading, sizeof heading, "\n%s %04u-%02u-%02u\n", ToUtf8(kLongDays[t.dayOfWeek % 7]).c_str(),
                    unsigned(t.year), unsigned(t.month), unsigned(t.day));
      out += heading;
    }
    const SystemTime t = ScenarioTime(scenario, e.at);
    char clock[32];
    std::snprintf(clock, sizeof clock, "  %02u:%02u:%02u  ", unsigned(t.hour), unsigned(t.minute), unsigned(t.second));
    out += clock;
    std::string session;
    if (e.session != kNoSession) session = '#' + std::to_string(e.session);
    out += Pad(std::move(session), 6);
    out += Pad(ToUtf8(e.account), width);
    switch (e.kind) {
      case TimelineEntry::Kind::kService:
      case TimelineEntry::Kind::kWarning: out += " > "; break;
      case TimelineEntry::Kind::kComputer: out += " * "; break;
      case TimelineEntry::Kind::kUser: out += "   "; break;
    }
    out += ToUtf8(e.text);
    out += "\n";
  }
  return out;
}

std::string FormatSummary(const Scenario& scenario, const SimulationResult& result) {
  const SimulationSummary& s = result.summary;
  std::string out;
  const SystemTime from = ScenarioTime(scenario, 0);
  const SystemTime to = ScenarioTime(scenario, scenario.Seconds() - 1);
  char head[160];
  std::snprintf(head, sizeof head, "Summary: %d session%s, %04u-%02u-%02u to %04u-%02u-%02u (%d day%s)\n", s.sessions,
                s.sessions == 1 ? "" : "s", unsigned(from.year), unsigned(from.month), unsigned(from.day),
                unsigned(to.year), unsigned(to.month), unsigned(to.day), scenario.days, scenario.days == 1 ? "" : "s");
  out += head;
  out += Row("Log-ons by users", s.userLogons);
  out += Row("Log-offs by users themselves", s.userLogoffs);
  out += Row("Warnings shown", s.warnings);
  out += Row("Idle sessions logged off by Tarnvale", s.logoffs);
  // The rule caps the number of sessions by recency: say how many of them were in use.
  std::string inUse;
  if (s.staleLogoffs) {
    inUse = "(" + std::to_string(s.staleInUse) + " had input in the last " + std::to_string(s.inUseMinutes) +
            " minute" + (s.inUseMinutes == 1 ? "" : "s") + ")";
  }
  out += Row("Stale sessions logged off by Tarnvale", s.staleLogoffs, inUse);
  const int spared = s.sparedLastActive + s.sparedSchedule + s.sparedNotEnabled;
  std::string why;
  if (spared) {
    why = "(most recent user " + std::to_string(s.sparedLastActive) + ", schedule " + std::to_string(s.sparedSchedule);
    if (s.sparedNotEnabled) why += ", not enabled " + std::to_string(s.sparedNotEnabled);
    why += ")";
  }
  out += Row("Sessions spared at their time-out", spared, why);
  // Only where a source besides input kept someone, so runs without those settings read as before.
  if (s.Kept()) {
    const std::string kept = "(sound " + std::to_string(s.keptAudio) + ", presentation " +
                             std::to_string(s.keptPresentation) + ", listed program " + std::to_string(s.keptProgram) +
                             ", no input yet " + std::to_string(s.keptNoInput) + ")";
    out += Row("Sessions kept in use without input", s.Kept(), kept);
  }
  out += Row("Log-ons not monitored (lists)", s.notMonitored);
  std::string power;
  if (s.PowerActions()) power = "(shutdown " + std::to_string(s.shutdowns) + ", sleep or hibernate " + std::to_string(s.suspends) + ")";
  out += Row("Power actions", s.PowerActions(), power);
  if (s.errors) out += Row("Errors reported by Tarnvale", s.errors);
  return out;
}

}  // namespace tv
