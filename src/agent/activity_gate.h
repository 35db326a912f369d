// The agent's rate rule: turns a stream of input, CPU-load and session-change activity into idle
// event signals, at most one per second, folding everything in between into one pending kind for
// the next timer tick. Lock-free and allocation-free, because the hook library calls it for every
// input event on its own thread while the window's timer calls it on the agent's main thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/app_message.h"
#include "platform/clock.h"
#include "platform/types.h"

namespace tv {

class ActivityGate {
 public:
  // The idle event is set at most once per this many milliseconds.
  static constexpr Tick kMinIntervalMs = 1000;

  // Reads time from `clock`, which must outlive the gate. The first activity may signal at once.
  // Until SetRules is called everything is filtered out (nothing loaded means nothing enabled).
  explicit ActivityGate(const Clock& clock);

  ActivityGate(const ActivityGate&) = delete;
  ActivityGate& operator=(const ActivityGate&) = delete;

  // Which activity counts: nothing when `enable` is off; keyboard and mouse each by their own
  // switch; CPU load (on the tick only) when `monitorCpu` is on and the load reaches `percentCpu`.
  // Safe to call while other threads report activity.
  void SetRules(BOOL enable, BOOL monitorKeyboard, BOOL monitorMouse, BOOL monitorCpu, DWORD percentCpu);

  // One activity of `kind` from the hook (or any source). Answers the kind to signal right now
  // (the pending kind, if one waits) once a second has passed since the last signal; else
  // kActivityNone, the activity being filtered out or folded into the pending kind (the first
  // pending kind stays) for a later input or tick.
  int OnActivity(int kind);

  // Makes `kind` the pending activity whatever was pending (a session change), so the next tick
  // that is due signals it.
  void MarkPending(int kind);

  // Whether the next OnTick would look at the CPU load: the rule is on, nothing is pending and
  // the session is not ending. Lets the caller skip reading the load otherwise.
  bool WantsCpuLoad() const;

  // The one-second timer. Answers the kind to signal now: the pending kind once a second has
  // passed since the last signal, else kActivityCpu when `cpuLoad` (percent) reaches the rule's
  // threshold and a signal is due (a CPU load seen too early becomes pending). kActivityNone
  // otherwise, and always once the session is ending.
  int OnTick(DWORD cpuLoad);

  // The session is ending: no signal is ever answered again.
  void SetEnding() { ending_.store(true, std::memory_order_release); }
  bool IsEnding() const { return ending_.load(std::memory_order_acquire); }

  int Pending() const { return pending_.load(std::memory_order_acquire); }
  // The tick of the last signal answered.
  Tick LastSignal() const { return last_.load(std::memory_order_acquire); }

 private:
  // Claims the right to signal: succeeds for exactly one caller per second.
  bool ClaimSignal();

  enum RuleBits : std::uint32_t { kEnable = 1, kKeyboard = 2, kMouse = 4, kCpu = 8 };

  const Clock& clock_;
  std::atomic<std::uint32_t> rules_{0};
  std::atomic<DWORD> percentCpu_{0};
  std::atomic<int> pending_{kActivityNone};
  std::atomic<Tick> last_;
  std::atomic<bool> ending_{false};
};

// Whether a CPU load of `load` percent counts as activity under the given rule.
bool CpuLoadCounts(BOOL monitorCpu, DWORD percentCpu, DWORD load);

}  // namespace tv
