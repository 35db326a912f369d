// The agent's per-input path: what one keyboard or mouse event costs in the rate rule that the
// hook library's thread calls for it. Goal: well under a microsecond, no allocation, no lock.
// The "allocs" counter counts operator new calls made inside the timed loop (expected: 0).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "agent/activity_gate.h"

namespace {

// Per thread, so that a second benchmark thread's own bookkeeping is not counted against the gate.
thread_local long g_allocations = 0;

// A clock without a lock, moving `step` ms per reading, so that the measurement is the gate's.
class StepClock final : public tv::Clock {
 public:
  explicit StepClock(tv::Tick step) : step_(step) {}
  tv::Tick GetTickCount() const override { return now_.fetch_add(step_, std::memory_order_relaxed); }
  tv::SystemTime GetLocalTime() const override { return {}; }

 private:
  tv::Tick step_;
  mutable std::atomic<tv::Tick> now_{0};
};

// Input events arriving `stepMs` apart: 0 models a burst (nearly every event folds into the
// pending kind), 1000 makes every event a signal.
void BM_GateOnActivity(benchmark::State& state) {
  // Shared by the threads of a run and left to the process: the threads meet in the loop only.
  static StepClock* clock = nullptr;
  static tv::ActivityGate* gate = nullptr;
  if (state.thread_index() == 0) {
    clock = new StepClock(static_cast<tv::Tick>(state.range(0)));
    gate = new tv::ActivityGate(*clock);
    gate->SetRules(1, 1, 1, 0, 25);
  }
  const long before = g_allocations;
  int kind = tv::kActivityKeyboard;
  for (auto _ : state) {
    benchmark::DoNotOptimize(gate->OnActivity(kind));
    kind ^= tv::kActivityKeyboard ^ tv::kActivityMouse;
  }
  state.counters["allocs"] = static_cast<double>(g_allocations - before);
}
BENCHMARK(BM_GateOnActivity)->Arg(0)->Arg(1000);
// The hook thread and the timer together.
BENCHMARK(BM_GateOnActivity)->Arg(0)->Threads(2);

void BM_GateOnTick(benchmark::State& state) {
  StepClock clock(1000);
  tv::ActivityGate gate(clock);
  gate.SetRules(1, 1, 1, 1, 25);
  for (auto _ : state) {
    benchmark::DoNotOptimize(gate.OnActivity(tv::kActivityMouse));
    benchmark::DoNotOptimize(gate.OnTick(gate.WantsCpuLoad() ? 30 : 0));
  }
}
BENCHMARK(BM_GateOnTick);

}  // namespace

// Counting replacements of the global allocation functions; the pair stays malloc/free.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

BENCHMARK_MAIN();
