#include "sim_fixture.h"

#include <gtest/gtest.h>

#include "settings/my_opts.h"
#include "simulator/report.h"

namespace tv::test {

void WriteSettings(MemKeyStore& keys, DWORD timeout, DWORD warning, const EditOpts& edit) {
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

bool SimRun::Has(const std::vector<std::wstring>& parts) const {
  for (const std::wstring& line : lines) {
    bool all = true;
    for (const std::wstring& p : parts) all = all && line.find(p) != std::wstring::npos;
    if (all) return true;
  }
  return false;
}

int SimRun::Count(const std::wstring& part) const {
  int n = 0;
  for (const std::wstring& line : lines) n += line.find(part) != std::wstring::npos;
  return n;
}

SimRun RunScenario(const std::wstring& text, DWORD timeout, DWORD warning, const EditOpts& edit,
                   SimulatorOptions options) {
  MemKeyStore keys;
  WriteSettings(keys, timeout, warning, edit);
  const Scenario scenario = MustParse(text);
  SimRun run;
  std::wstring error;
  EXPECT_TRUE(RunSimulation(scenario, keys, options, &run.result, &error)) << testing::PrintToString(error);
  for (const TimelineEntry& e : run.result.timeline) {
    const std::wstring who = e.session == kNoSession ? L"-" : L"#" + std::to_wstring(e.session);
    run.lines.push_back(FormatWhen(scenario, e.at) + L" " + who + L" " + e.text);
  }
  return run;
}

}  // namespace tv::test
