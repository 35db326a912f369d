// Shared pieces of the simulator's tests: settings written as the configuration utility writes
// them, scenarios read from text, and runs whose timeline is kept as short searchable lines.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "simulator/scenario.h"
#include "simulator/simulator.h"

namespace tv {
class MyOpts;
}

namespace tv::test {

using EditOpts = std::function<void(MyOpts&)>;

// Switched on, `timeout` idle minutes and `warning` minutes of countdown, both lists empty (all
// users watched), no schedule, no power action; then whatever `edit` changes.
void WriteSettings(MemKeyStore& keys, DWORD timeout, DWORD warning, const EditOpts& edit = {});

// The scenario in `text`; fails the calling test when it does not parse.
Scenario MustParse(const std::wstring& text);

struct SimRun {
  SimulationResult result;
  // Each timeline entry as "Mon 08:35:00 #1 <text>" (no session number: "Mon 08:35:00 - <text>").
  std::vector<std::wstring> lines;
  // Whether some line contains every one of `parts`.
  bool Has(const std::vector<std::wstring>& parts) const;
  // How many lines contain `part`.
  int Count(const std::wstring& part) const;
};

// The scenario in `text` run on the settings WriteSettings writes; fails the test on any error.
SimRun RunScenario(const std::wstring& text, DWORD timeout, DWORD warning, const EditOpts& edit = {},
                   SimulatorOptions options = {});

}  // namespace tv::test
