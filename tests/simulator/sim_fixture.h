// Shared pieces of the simulator's tests: settings written as the configuration utility writes
// them, scenarios read from text, and the timeline as short lines that a test can search.
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

// Switched on, `timeout` idle minutes and `warning` minutes of countdown, both lists empty (all
// users watched), no schedule, no power action; then whatever `edit` changes.
void WriteSettings(MemKeyStore& keys, DWORD timeout, DWORD warning, const std::function<void(MyOpts&)>& edit = {});

// The scenario in `text`; fails the calling test when it does not parse.
Scenario MustParse(const std::wstring& text);

// The error ParseScenario gives for `text` read as "t.txt"; "" when it parsed.
std::wstring ParseError(const std::wstring& text);

// Runs the scenario; fails the calling test when the simulator reports an error.
SimulationResult Simulate(const Scenario& scenario, MemKeyStore& keys, SimulatorOptions options = {});

// Each timeline entry as "Mon 08:35:00 #1 <text>" (no session number: "Mon 08:35:00 - <text>").
std::vector<std::wstring> Lines(const Scenario& scenario, const SimulationResult& result);

// The first line containing every piece of `parts` (in any order), or "" when none does.
std::wstring FindLine(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& parts);

// How many lines contain `part`.
int CountLines(const std::vector<std::wstring>& lines, const std::wstring& part);

}  // namespace tv::test
