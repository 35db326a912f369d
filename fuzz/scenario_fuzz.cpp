// Scenario texts from arbitrary bytes: reading never fails badly; a failure names the file and a
// line of the text; a scenario that reads is one the simulator can run (events in order, inside
// the scenario's days, for declared sessions whose verbs follow each other sensibly).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "foundation/text_file.h"
#include "simulator/scenario.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tv;
  const std::wstring text = DecodeTextFile(data, size);
  Scenario scenario;
  std::wstring error;
  if (!ParseScenario(text, L"f.txt", &scenario, &error)) {
    Check(error.rfind(L"f.txt:", 0) == 0);
    std::size_t lines = 1;
    for (wchar_t c : text) lines += c == L'\n';
    const std::wstring number = error.substr(6, error.find(L':', 6) - 6);
    if (!number.empty() && number.find_first_not_of(L"0123456789") == std::wstring::npos) {
      const unsigned long line = std::wcstoul(number.c_str(), nullptr, 10);
      Check(line >= 1 && line <= lines);
    }
    return 0;
  }
  Check(scenario.days >= 1 && scenario.days <= kMaxScenarioDays);
  std::int64_t previous = 0;
  for (const ScenarioEvent& e : scenario.events) {
    Check(e.at >= previous && e.at < scenario.Seconds());
    Check(scenario.FindSession(e.session) != nullptr);
    previous = e.at;
  }
  int line = 0;
  std::wstring what;
  Check(CheckScenarioOrder(scenario, &line, &what));
  return 0;
}
