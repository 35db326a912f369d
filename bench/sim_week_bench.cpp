// One simulated week of a terminal server with 1,000, 10,000 and 50,000 users, run through the real
// service logic on virtual time (the simulator behind `make run`). Goals: under one second for the
// week of 1,000; the week of 10,000 at most 10.5 times that, and the peak memory (peak_rss_MB, the
// process's so far: the runs go from small to large) growing no faster than the users.
//
// The settings are those of a server sized for its users: 30 idle minutes and a 5-minute warning,
// stale sessions beyond 1,000, the most recent user spared, rules in force on weekdays 6:00-20:00,
// administrators left alone, no power action.
#include <benchmark/benchmark.h>

#include <string>

#ifndef _WIN32
#include <sys/resource.h>
#endif

#include "platform/registry.h"
#include "settings/my_opts.h"
#include "simulator/scenario.h"
#include "simulator/simulator.h"

namespace {

using namespace tv;

void WriteServerSettings(MemKeyStore& keys) {
  MyOptsServices services;
  services.store = &keys;
  MyOpts o(services);
  o.Reset();
  o.Enable = 1;
  o.Timeout = 30;
  o.MessageTimeout = 5;
  o.LogoffStale = 1;
  o.LogoffStaleCount = 1000;
  o.KeepLastActiveUser = 1;
  o.ApplyTo = {L"Users"};
  o.Exclude = {L"Administrators", L"Domain Admins"};
  o.UseSchedule = 1;
  o.SetSchedule(L"Mon 6:00-20:00, Tue 6:00-20:00, Wed 6:00-20:00, Thu 6:00-20:00, Fri 6:00-20:00, ");
  o.Shutdown = 0;
  (void)o.Store();
}

double PeakRssMegabytes() {
#ifndef _WIN32
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) == 0) return double(usage.ru_maxrss) / 1024.0;
#endif
  return 0;
}

Scenario Week(int sessions) {
  const std::wstring text = L"start 2024-01-08\ndays 7\ngenerate sessions=" + std::to_wstring(sessions) + L" seed=42\n";
  Scenario scenario;
  std::wstring error;
  if (!ParseScenario(text, L"bench", &scenario, &error)) std::abort();
  return scenario;
}

void BM_GenerateWeek(benchmark::State& state) {
  for (auto _ : state) {
    Scenario s = Week(static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(s.events.data());
  }
}
BENCHMARK(BM_GenerateWeek)->Arg(1000)->Unit(benchmark::kMillisecond);

void BM_SimulateWeek(benchmark::State& state) {
  const Scenario scenario = Week(static_cast<int>(state.range(0)));
  SimulationResult result;
  for (auto _ : state) {
    state.PauseTiming();
    MemKeyStore keys;
    WriteServerSettings(keys);
    SimulatorOptions options;
    options.keepTimeline = false;
    state.ResumeTiming();
    std::wstring error;
    if (!RunSimulation(scenario, keys, options, &result, &error)) state.SkipWithError("simulation failed");
  }
  const SimulationSummary& s = result.summary;
  state.counters["events"] = double(scenario.events.size());
  state.counters["rounds"] = double(result.rounds);
  state.counters["warnings"] = s.warnings;
  state.counters["logoffs"] = s.logoffs;
  state.counters["stale"] = s.staleLogoffs;
  state.counters["spared"] = s.sparedLastActive + s.sparedSchedule;
  state.counters["peak_rss_MB"] = PeakRssMegabytes();
}
BENCHMARK(BM_SimulateWeek)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
