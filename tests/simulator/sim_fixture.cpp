#include "sim_fixture.h"

#include <gtest/gtest.h>

#include "settings/my_opts.h"
#include "simulator/report.h"

namespace tv::test {

void WriteSettings(MemKeyStore& keys, DWORD timeout, DWORD warning, const std::function<void(MyOpts&)>& edit) {
  MyOptsServices services;
  services.store = &keys;
  MyOpts opts(services);
  opts.Reset();
  opts.Enable = 1;
  opts.Timeout = timeout;
  opts.MessageTimeout = warning;
  opts.ApplyTo.clear();
  opts.Exclude.clear();
  if (edit) edit(opts);
  ASSERT_TRUE(opts.Store());
}

Scenario MustParse(const std::wstring& text) {
  Scenario scenario;
  std::wstring error;
  EXPECT_TRUE(ParseScenario(text, L"t.txt", &scenario, &error)) << testing::PrintToString(error);
  return scenario;
}

std::wstring ParseError(const std::wstring& text) {
  Scenario scenario;
  std::wstring error;
  return ParseScenario(text, L"t.txt", &scenario, &error) ? std::wstring() : error;
}

SimulationResult Simulate(const Scenario& scenario, MemKeyStore& keys, SimulatorOptions options) {
  SimulationResult result;
  std::wstring error;
  EXPECT_TRUE(RunSimulation(scenario, keys, options, &result, &error)) << testing::PrintToString(error);
  return result;
}

std::vector<std::wstring> Lines(const Scenario& scenario, const SimulationResult& result) {
  std::vector<std::wstring> out;
  for (const TimelineEntry& e : result.timeline) {
    std::wstring who = e.session == kNoSession ? L"-" : L"#" + std::to_wstring(e.session);
    out.push_back(FormatWhen(scenario, e.at) + L" " + who + L" " + e.text);
  }
  return out;
}

std::wstring FindLine(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& parts) {
  for (const std::wstring& line : lines) {
    bool all = true;
    for (const std::wstring& p : parts) all = all && line.find(p) != std::wstring::npos;
    if (all) return line;
  }
  return {};
}

int CountLines(const std::vector<std::wstring>& lines, const std::wstring& part) {
  int n = 0;
  for (const std::wstring& line : lines) n += line.find(part) != std::wstring::npos;
  return n;
}

}  // namespace tv::test
