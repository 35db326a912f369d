#include "policy_templates.h"

#include <string_view>

// The templates are built without the product's libraries; this header stands alone.
#include "../src/settings/schedule_examples.h"

namespace tv::admx {
namespace {

constexpr unsigned kDurationMax = 9999;
// The record keeps each message text in 512 characters with the terminator.
constexpr unsigned kMessageChars = 511;
// The record does not bound the schedule; this is room for a half-hour grid of the whole week.
constexpr unsigned kScheduleChars = 4095;
// The record reads an update source of fewer than 2048 characters.
constexpr unsigned kUpdateSourceChars = 2047;
constexpr const char* kSupported = "SUPPORTED_Win7_x64";
constexpr const char* kNamespace = "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions";

Setting Switch(const char* name, unsigned defaultValue, const char* label) {
  return {name, Kind::kSwitch, 0, 1, defaultValue, label, true, {}};
}

// The schedule is one line of text in the policy editor, checked nowhere before the service
// reads it: its help gives the format and working examples, the very ones the user guide shows.
const std::string& ScheduleHelp() {
  static const std::string help = [] {
    std::string text = std::string("Enabled: idle sessions are logged off only at the times of the schedule.\n\n") +
                       schedule_help::kFormat + "\n\nExamples:";
    for (const schedule_help::Example& e : schedule_help::kExamples) {
      text += std::string("\n") + e.text + "\n    " + e.meaning;
    }
    return text + "\n\nA schedule that cannot be read keeps the log-off in force at all times, with a warning "
                  "in the event log that says where it cannot be read.";
  }();
  return help;
}

std::vector<Policy> MakePolicies() {
  std::vector<Policy> p;
  p.push_back({"Enable", "Log off idle sessions",
               "Switches forced log-off of idle sessions on or off.\n\n"
               "Enabled or Disabled: Tarnvale takes ALL of its settings from group policy, and the settings of the "
               "computer (made with the configuration utility) are ignored. A Tarnvale policy left Not Configured "
               "then has its default value, not the computer's, except the two account lists: a list left Not "
               "Configured is EMPTY. Without \"Apply to these accounts and groups\" the log-off applies to everyone; "
               "without \"Never apply to these accounts and groups\" nobody is spared, administrators included. "
               "Configure both lists whenever you enable this policy.\n\n"
               "Not Configured: every Tarnvale policy is ignored, and the computer's own settings apply.",
               Switch("Enable", 0, ""), {}});
  p.push_back({"Timeout", "Idle time before the warning",
               "How many minutes a session may show no activity before the user is warned.", std::nullopt,
               {{"Timeout", Kind::kDecimal, 1, kDurationMax, 10, "Minutes of inactivity:", true, {}}}});
  p.push_back({"MessageTimeout", "Warning countdown",
               "How many minutes the warning counts down before the session is logged off. 0 logs the session off "
               "as soon as the idle time is over.",
               std::nullopt,
               {{"MessageTimeout", Kind::kDecimal, 0, kDurationMax, 5, "Minutes of countdown:", true, {}}}});
  p.push_back({"MessageText", "Warning text",
               "The text of the warning in an unlocked session. Every %d is replaced by the time left (4:59). "
               "Mark-up tags such as <B>, <RED> and <BR> may be used. Empty: the built-in text.",
               std::nullopt, {{"MessageText", Kind::kText, 0, kMessageChars, 0, "Warning text:", true, {}}}});
  p.push_back({"MessageTextIfLocked", "Warning text for a locked session",
               "The text of the warning in a locked session. Every %d is replaced by the time left. Empty: the "
               "built-in text.",
               std::nullopt,
               {{"MessageTextIfLocked", Kind::kText, 0, kMessageChars, 0, "Warning text:", true, {}}}});
  p.push_back({"FullScreen", "Show the warning over the whole screen",
               "Enabled: the warning is shown over a full-screen backdrop. Disabled: as a window.",
               Switch("FullScreen", 0, ""), {}});
  p.push_back({"Activity", "What counts as activity",
               "Which input keeps a session from being idle. With processor load checked, a session whose programs "
               "use more than the given percentage of the processor counts as active.",
               std::nullopt,
               {Switch("MonitorKB", 1, "Keyboard input"), Switch("MonitorMouse", 1, "Mouse input"),
                Switch("MonitorCPU", 0, "Processor load"),
                {"PercentCPU", Kind::kDecimal, 1, 100, 25, "Processor load above (percent):", false, {}}}});
  p.push_back({"KeepAliveAudio", "Sound keeps a session active",
               "Enabled: while a program in a session plays or records sound (a call with its microphone open, a "
               "video with its sound), the session counts as active, even without keyboard or mouse input. A sound "
               "stream that is open but silent or paused does not count. Each session is judged by its own sound "
               "only: one user's video does not keep another user's session alive.\n\n"
               "Every session kept this way at its idle time is written to the event log (event 64), once for "
               "each idle stretch.",
               Switch("KeepAliveAudio", 0, ""), {}});
  p.push_back({"KeepAlivePresentation", "Presentations and full-screen programs keep a session active",
               "Enabled: while a session is in presentation mode, or shows a full-screen video, game or slide "
               "show, it counts as active, even without keyboard or mouse input. Only that session is kept.\n\n"
               "Every session kept this way at its idle time is written to the event log (event 64), once for "
               "each idle stretch.",
               Switch("KeepAlivePresentation", 0, ""), {}});
  p.push_back({"KeepAliveProcesses", "Programs that keep a session active",
               "Program file names, one per line, such as render.exe; one * at the end stands for any rest (render* "
               "covers render64.exe). Case does not matter. While one of them runs in a session, that session is "
               "neither warned nor logged off when it reaches its idle time, even when it is locked or "
               "disconnected. Once the program has ended, the session is warned at its next idle time and logged "
               "off after the countdown as usual. Other users' sessions are not affected.\n\n"
               "Give the file name alone: an entry with a folder (C:\\Tools\\render.exe), with a wildcard anywhere "
               "but at the end, a lone *, or longer than a file name is ignored, and the service names it in the "
               "event log (event 26). Every session kept by a program is written to the event log (event 64) with "
               "the program's name, once for each idle stretch.\n\n"
               "Not Configured (while \"Log off idle sessions\" is Enabled or Disabled): the list is empty, and no "
               "program keeps a session active.",
               std::nullopt, {{"KeepAliveProcesses", Kind::kList, 0, 0, 0, "Program names:", true, {}}}});
  p.push_back({"IdleFromFirstInput", "Idle time starts at the first input (kiosks)",
               "Enabled: a session's idle time starts at its first keyboard or mouse input, not at the log-on. A "
               "session nobody has touched since it began is neither warned nor logged off, so a kiosk that logs "
               "on by itself at start-up is not logged off and on again in a loop. The wait is written to the "
               "event log (event 64) once. After the first input the usual idle time, warning and log-off apply.",
               Switch("IdleFromFirstInput", 0, ""), {}});
  p.push_back({"LogoffStale", "Log off stale sessions",
               "Enabled: a cap on the number of sessions, not a rule about idle ones. Whenever a user logs on, "
               "connects or unlocks a session and more sessions are watched than the given number, the sessions "
               "with the oldest activity beyond that number are logged off at once, without a warning, even when "
               "their users typed minutes before. Activity here is the last input, a warning or a log-off the "
               "rules refused; the session just logged on, connected or unlocked always counts as the newest. "
               "Outside the schedule nobody is logged off.",
               Switch("LogoffStale", 0, ""),
               {{"LogoffStaleCount", Kind::kDecimal, 1, kDurationMax, 5, "Number of newer active sessions:", true,
                 {}}}});
  p.push_back({"KeepLastActiveUser", "Spare the most recent active user",
               "Enabled: the session of the most recent log-on, connect or unlock on this computer is never "
               "logged off, neither when idle nor as a stale session. It is not the session with the most recent "
               "input: a user who logged on last and walked away is spared, one who has been typing but logged on "
               "earlier is not.",
               Switch("KeepLastActiveUser", 0, ""), {}});
  p.push_back({"ApplyTo", "Apply to these accounts and groups",
               "Accounts and groups whose sessions are logged off when idle, one name per line, as DOMAIN\\name or "
               "name. An empty list applies to everyone.\n\n"
               "Not Configured (while \"Log off idle sessions\" is Enabled or Disabled): the list is empty, so the "
               "log-off applies to everyone, not to the default groups Users, Guests and Remote Desktop Users.",
               std::nullopt, {{"ApplyTo", Kind::kList, 0, 0, 0, "Accounts and groups:", true, {}}}});
  p.push_back({"Exclude", "Never apply to these accounts and groups",
               "Accounts and groups whose sessions are never logged off, one name per line. This list wins over "
               "the list of accounts it applies to.\n\n"
               "Not Configured (while \"Log off idle sessions\" is Enabled or Disabled): the list is empty, so "
               "nobody is spared, not even the Administrators group that a computer's own settings exclude by "
               "default.",
               std::nullopt, {{"Exclude", Kind::kList, 0, 0, 0, "Accounts and groups:", true, {}}}});
  p.push_back({"UseSchedule", "Weekly schedule", ScheduleHelp().c_str(),
               Switch("UseSchedule", 0, ""),
               {{"Schedule", Kind::kText, 0, kScheduleChars, 0, "Schedule:", true, {}}}});
  p.push_back({"Shutdown", "Power action when nobody is logged on",
               "Enabled: when no user has been logged on for the given number of minutes, the computer sleeps, "
               "hibernates or shuts down.",
               Switch("Shutdown", 0, ""),
               {{"ShutdownTimeout", Kind::kDecimal, 1, kDurationMax, 10, "Minutes with nobody logged on:", true, {}},
                {"ShutdownAction", Kind::kChoice, 1, 3, 1, "Action:", true, {"Sleep", "Hibernate", "Shutdown"}}}});
  p.push_back({"UpdateSource", "Update source",
               "Where Tarnvale's update check (\"Check for updates...\" in the configuration utility, and "
               "TV64.EXE /CHECK4UPDATES) reads Tarnvale-update.xml, which make package writes beside the package: "
               "an https:// address or a full file path such as \\\\server\\share\\Tarnvale\\Tarnvale-update.xml. "
               "The package must stand beside it. Plain http:// is refused unless the address is this computer.\n\n"
               "This policy applies even while \"Log off idle sessions\" is Not Configured. Empty or Not "
               "Configured: the computer's own setting; without one, the check contacts nobody.",
               std::nullopt, {{"UpdateSource", Kind::kText, 0, kUpdateSourceChars, 0, "Manifest address or path:", true, {}}}});
  return p;
}

std::string Escape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\n': out += "\r\n"; break;
      default: out += c;
    }
  }
  return out;
}

// Appends one line, indented by `depth` levels.
void Line(std::string& out, int depth, const std::string& text) {
  out.append(std::size_t(depth) * 2, ' ');
  out += text;
  out += "\r\n";
}

std::string Attr(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + Escape(value) + "\"";
}

const char* Prolog() { return "<?xml version=\"1.0\" encoding=\"utf-8\"?>"; }
// Only the default namespace: the schema-instance prefixes of hand-written templates are never
// used by them, and the product's own reader (which the tests parse these with) takes no prefixes.
std::string RootAttrs() { return Attr("revision", "1.0") + Attr("schemaVersion", "1.0") + Attr("xmlns", kNamespace); }

std::string ChoiceId(const Setting& s, std::size_t i) { return std::string(s.valueName) + "_" + std::to_string(s.min + i); }

void WriteElement(std::string& out, const Setting& s) {
  const std::string id = Attr("id", s.valueName);
  switch (s.kind) {
    case Kind::kSwitch:
      Line(out, 4, "<boolean" + id + Attr("valueName", s.valueName) + ">");
      Line(out, 5, "<trueValue><decimal value=\"1\" /></trueValue>");
      Line(out, 5, "<falseValue><decimal value=\"0\" /></falseValue>");
      Line(out, 4, "</boolean>");
      break;
    case Kind::kDecimal:
      Line(out, 4, "<decimal" + id + Attr("valueName", s.valueName) + Attr("minValue", std::to_string(s.min)) +
                       Attr("maxValue", std::to_string(s.max)) + Attr("required", "true") + " />");
      break;
    case Kind::kChoice:
      Line(out, 4, "<enum" + id + Attr("valueName", s.valueName) + Attr("required", "true") + ">");
      for (std::size_t i = 0; i < s.choices.size(); ++i) {
        Line(out, 5, "<item" + Attr("displayName", "$(string." + ChoiceId(s, i) + ")") + ">");
        Line(out, 6, "<value><decimal value=\"" + std::to_string(s.min + i) + "\" /></value>");
        Line(out, 5, "</item>");
      }
      Line(out, 4, "</enum>");
      break;
    case Kind::kText:
      Line(out, 4, "<text" + id + Attr("valueName", s.valueName) + Attr("maxLength", std::to_string(s.max)) + " />");
      break;
    case Kind::kList:
      // An empty prefix names the values "1", "2", ..., and a list that is not additive replaces
      // the whole subkey, so no entry of an earlier list survives.
      Line(out, 4, "<list" + id + Attr("key", std::string(kPolicyKey) + "\\" + s.valueName) + Attr("valuePrefix", "") +
                       " />");
      break;
  }
}

void WritePresentationElement(std::string& out, const Setting& s) {
  const std::string ref = Attr("refId", s.valueName);
  switch (s.kind) {
    case Kind::kSwitch:
      Line(out, 4, "<checkBox" + ref + Attr("defaultChecked", s.defaultValue ? "true" : "false") + ">" +
                       Escape(s.label) + "</checkBox>");
      break;
    case Kind::kDecimal:
      Line(out, 4, "<decimalTextBox" + ref + Attr("defaultValue", std::to_string(s.defaultValue)) + ">" +
                       Escape(s.label) + "</decimalTextBox>");
      break;
    case Kind::kChoice:
      Line(out, 4, "<dropdownList" + ref + Attr("noSort", "true") +
                       Attr("defaultItem", std::to_string(s.defaultValue - s.min)) + ">" + Escape(s.label) +
                       "</dropdownList>");
      break;
    case Kind::kText:
      Line(out, 4, "<textBox" + ref + "><label>" + Escape(s.label) + "</label></textBox>");
      break;
    case Kind::kList:
      Line(out, 4, "<listBox" + ref + ">" + Escape(s.label) + "</listBox>");
      break;
  }
}

}  // namespace

const std::vector<Policy>& Policies() {
  static const std::vector<Policy> policies = MakePolicies();
  return policies;
}

std::vector<const Setting*> AllSettings() {
  std::vector<const Setting*> all;
  for (const Policy& p : Policies()) {
    if (p.switchValue) all.push_back(&*p.switchValue);
    for (const Setting& s : p.elements) all.push_back(&s);
  }
  return all;
}

std::string WriteAdmx() {
  std::string out;
  Line(out, 0, Prolog());
  Line(out, 0, "<policyDefinitions" + RootAttrs() + ">");
  Line(out, 1, "<policyNamespaces>");
  Line(out, 2, "<target" + Attr("prefix", "tarnvale") + Attr("namespace", "Brellick.Policies.Tarnvale") + " />");
  Line(out, 1, "</policyNamespaces>");
  Line(out, 1, "<resources" + Attr("minRequiredRevision", "1.0") + " />");
  Line(out, 1, "<supportedOn>");
  Line(out, 2, "<definitions>");
  Line(out, 3, std::string("<definition") + Attr("name", kSupported) +
                   Attr("displayName", std::string("$(string.") + kSupported + ")") + " />");
  Line(out, 2, "</definitions>");
  Line(out, 1, "</supportedOn>");
  Line(out, 1, "<categories>");
  Line(out, 2, std::string("<category") + Attr("name", kCategory) +
                   Attr("displayName", std::string("$(string.") + kCategory + ")") + " />");
  Line(out, 1, "</categories>");
  Line(out, 1, "<policies>");
  for (const Policy& p : Policies()) {
    std::string head = "<policy" + Attr("name", p.name) + Attr("class", "Machine") +
                       Attr("displayName", std::string("$(string.") + p.name + ")") +
                       Attr("explainText", std::string("$(string.") + p.name + "_Help)");
    if (!p.elements.empty()) head += Attr("presentation", std::string("$(presentation.") + p.name + ")");
    head += Attr("key", kPolicyKey);
    if (p.switchValue) head += Attr("valueName", p.switchValue->valueName);
    Line(out, 2, head + ">");
    Line(out, 3, std::string("<parentCategory") + Attr("ref", kCategory) + " />");
    Line(out, 3, std::string("<supportedOn") + Attr("ref", kSupported) + " />");
    if (p.switchValue) {
      Line(out, 3, "<enabledValue><decimal value=\"1\" /></enabledValue>");
      Line(out, 3, "<disabledValue><decimal value=\"0\" /></disabledValue>");
    }
    if (!p.elements.empty()) {
      Line(out, 3, "<elements>");
      for (const Setting& s : p.elements) WriteElement(out, s);
      Line(out, 3, "</elements>");
    }
    Line(out, 2, "</policy>");
  }
  Line(out, 1, "</policies>");
  Line(out, 0, "</policyDefinitions>");
  return out;
}

std::string WriteAdml() {
  std::string out;
  Line(out, 0, Prolog());
  Line(out, 0, "<policyDefinitionResources" + RootAttrs() + ">");
  Line(out, 1, "<displayName>Tarnvale</displayName>");
  Line(out, 1, "<description>Forced log-off of idle sessions (Tarnvale by Brellick)</description>");
  Line(out, 1, "<resources>");
  Line(out, 2, "<stringTable>");
  auto string = [&out](const std::string& id, const std::string& text) {
    Line(out, 3, "<string" + Attr("id", id) + ">" + Escape(text) + "</string>");
  };
  string(kCategory, "Tarnvale");
  string(kSupported, "At least Windows 7 or Windows Server 2008 R2, 64-bit editions only");
  for (const Policy& p : Policies()) {
    string(p.name, p.displayName);
    string(std::string(p.name) + "_Help", p.explain);
    for (const Setting& s : p.elements) {
      for (std::size_t i = 0; i < s.choices.size(); ++i) string(ChoiceId(s, i), s.choices[i]);
    }
  }
  Line(out, 2, "</stringTable>");
  Line(out, 2, "<presentationTable>");
  for (const Policy& p : Policies()) {
    if (p.elements.empty()) continue;
    Line(out, 3, "<presentation" + Attr("id", p.name) + ">");
    for (const Setting& s : p.elements) WritePresentationElement(out, s);
    Line(out, 3, "</presentation>");
  }
  Line(out, 2, "</presentationTable>");
  Line(out, 1, "</resources>");
  Line(out, 0, "</policyDefinitionResources>");
  return out;
}

}  // namespace tv::admx
