// tv-sim: shows what the Tarnvale service would do on a terminal server. It runs the service's
// real monitoring logic on virtual time over a scenario of users (see src/simulator/scenario.h
// for its format) with the settings of a settings file as the configuration utility exports it,
// and prints a timeline and a summary; --report also writes them as an HTML page.
//
//   tv-sim --settings FILE --scenario FILE [--summary-only] [--exact] [--report FILE.html]
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/text_file.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "settings/my_opts.h"
#include "simulator/html_report.h"
#include "simulator/report.h"
#include "simulator/scenario.h"
#include "simulator/sim_settings.h"
#include "simulator/simulator.h"

#include "command_args.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace {

using namespace tv;

void Print(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }
void Print(const std::wstring& text) { Print(ToUtf8(text)); }
void PrintError(const std::wstring& text) {
  const std::string line = "tv-sim: " + ToUtf8(text) + "\n";
  std::fflush(stdout);
  std::fwrite(line.data(), 1, line.size(), stderr);
}

bool WriteUtf8File(const std::wstring& path, const std::string& text) {
#ifdef _WIN32
  std::FILE* file = _wfopen(path.c_str(), L"wb");
#else
  std::FILE* file = std::fopen(ToUtf8(path).c_str(), "wb");
#endif
  if (!file) return false;
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && written;
}

int Usage(const char* problem = nullptr) {
  if (problem) std::fprintf(stderr, "tv-sim: %s\n", problem);
  std::fprintf(stderr,
               "usage: tv-sim --settings FILE --scenario FILE [--summary-only] [--exact] [--report FILE]\n"
               "  --settings FILE   a Tarnvale settings file (as the configuration utility exports it)\n"
               "  --scenario FILE   the users and what they do (format: see examples/office-week.txt)\n"
               "  --summary-only    print the summary without the timeline (for large generated scenarios)\n"
               "  --exact           run the service every simulated second, also while nothing can happen\n"
               "  --report FILE     also write the sessions across the days and the summary as an HTML page\n");
  return 2;
}

int Run(const std::vector<std::wstring>& args) {
  std::wstring settingsPath;
  std::wstring scenarioPath;
  std::wstring reportPath;
  SimulatorOptions options;
  bool summaryOnly = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::wstring& a = args[i];
    if ((a == L"--settings" || a == L"--scenario") && i + 1 < args.size()) {
      (a == L"--settings" ? settingsPath : scenarioPath) = args[++i];
    } else if (a == L"--report" && i + 1 < args.size() && !args[i + 1].empty()) {
      reportPath = args[++i];
    } else if (a == L"--summary-only") {
      summaryOnly = true;
    } else if (a == L"--exact") {
      options.exact = true;
    } else if (a == L"--help" || a == L"-h") {
      return Usage();
    } else {
      PrintError(L"unknown or incomplete argument '" + a + L"'");
      return Usage();
    }
  }
  if (settingsPath.empty() || scenarioPath.empty()) return Usage("both --settings and --scenario are needed");

  MemKeyStore keys;
  std::vector<std::wstring> notes;
  std::wstring error;
  if (!LoadSettingsFile(settingsPath, settingsPath, keys, &notes, &error)) {
    PrintError(error);
    return 1;
  }
  std::wstring text;
  if (!ReadTextFile(scenarioPath.c_str(), &text)) {
    PrintError(scenarioPath + L": cannot read the file (error " + std::to_wstring(GetLastErrorCode()) + L")");
    return 1;
  }
  Scenario scenario;
  if (!ParseScenario(text, scenarioPath, &scenario, &error)) {
    PrintError(error);
    return 1;
  }
  for (const std::wstring& note : notes) PrintError(L"note: " + note);

  // Described as the service will run them: its corrections are among the notes above.
  MyOpts opts(keys);
  (void)LoadSettingsInForce(opts, keys);
  Print("Tarnvale simulator: what the Tarnvale service would do on this terminal server.\n\n");
  Print(L"Settings (" + settingsPath + L"):\n");
  for (const std::wstring& line : DescribeSettings(opts)) Print(L"  " + line + L"\n");
  const SystemTime start = ScenarioTime(scenario, 0);
  wchar_t when[64];
  std::swprintf(when, 64, L"%u day%ls from %ls %04u-%02u-%02u", unsigned(scenario.days), scenario.days == 1 ? L"" : L"s",
                FormatWhen(scenario, 0).substr(0, 3).c_str(), unsigned(start.year), unsigned(start.month),
                unsigned(start.day));
  Print(L"Scenario (" + scenarioPath + L"): " + std::to_wstring(scenario.sessions.size()) + L" sessions on " +
        scenario.computer + L", " + when + L".\n");

  // The report marks warnings and log-offs, which only the timeline holds.
  options.keepTimeline = !summaryOnly || !reportPath.empty();
  SimulationResult result;
  if (!RunSimulation(scenario, keys, options, &result, &error)) {
    PrintError(error);
    return 1;
  }
  if (!summaryOnly) {
    Print("\nTimeline. \">\" marks what Tarnvale did, in the words of its event log (warnings are not logged);\n"
          "\"*\" marks the computer; the other lines are what the users did.\n");
    Print(FormatTimeline(scenario, result));
  }
  Print("\n");
  Print(FormatSummary(scenario, result));
  if (!reportPath.empty()) {
    const std::string page = FormatHtmlReport(scenario, result, DescribeSettings(opts),
                                              L"Tarnvale simulator: " + scenario.computer + L", " + when);
    if (!WriteUtf8File(reportPath, page)) {
      PrintError(reportPath + L": cannot write the report");
      return 1;
    }
  }
  return 0;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
  ::SetConsoleOutputCP(CP_UTF8);
  return Run(std::vector<std::wstring>(argv + 1, argv + argc));
}
#else
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  std::vector<std::wstring> args;
  if (!DecodeCommandArgs(argc, argv, args)) return Usage("an argument is not text in this locale");
  return Run(args);
}
#endif
