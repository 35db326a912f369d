#include "agent/activity_gate.h"

namespace tv {

ActivityGate::ActivityGate(const Clock& clock)
    // Back-dated by one interval, so that the first activity after start is reported at once.
    : clock_(clock), last_(clock.GetTickCount() - kMinIntervalMs) {}

void ActivityGate::SetRules(BOOL enable, BOOL monitorKeyboard, BOOL monitorMouse, BOOL monitorCpu, DWORD percentCpu) {
  std::uint32_t bits = 0;
  if (enable) bits |= kEnable;
  if (monitorKeyboard) bits |= kKeyboard;
  if (monitorMouse) bits |= kMouse;
  if (monitorCpu) bits |= kCpu;
  percentCpu_.store(percentCpu, std::memory_order_relaxed);
  rules_.store(bits, std::memory_order_release);
}

bool ActivityGate::ClaimSignal() {
  // The last signal is read before the clock: a reading taken first could be older than a
  // signal another thread records meanwhile, and its difference would wrap to "long ago".
  Tick last = last_.load(std::memory_order_acquire);
  const Tick now = clock_.GetTickCount();
  if (static_cast<Tick>(now - last) < kMinIntervalMs) return false;
  // Of two threads that both find a signal due, only the one that moves the tick on wins.
  return last_.compare_exchange_strong(last, now, std::memory_order_acq_rel);
}

int ActivityGate::OnActivity(int kind) {
  const std::uint32_t rules = rules_.load(std::memory_order_acquire);
  if (!(rules & kEnable) || kind <= kActivityNone) return kActivityNone;
  if (kind == kActivityMouse && !(rules & kMouse)) return kActivityNone;
  if (kind == kActivityKeyboard && !(rules & kKeyboard)) return kActivityNone;
  if (!IsEnding() && ClaimSignal()) {
    // Input that finds a signal due carries the kind that has waited, so that continuous input
    // is reported once a second whatever the phase (and the drift) of the timer.
    const int waited = pending_.exchange(kActivityNone, std::memory_order_acq_rel);
    return waited != kActivityNone ? waited : kind;
  }
  int none = kActivityNone;
  pending_.compare_exchange_strong(none, kind, std::memory_order_acq_rel);
  return kActivityNone;
}

void ActivityGate::MarkPending(int kind) { pending_.store(kind, std::memory_order_release); }

bool ActivityGate::WantsCpuLoad() const {
  return (rules_.load(std::memory_order_acquire) & kCpu) && Pending() == kActivityNone && !IsEnding();
}

int ActivityGate::OnTick(DWORD cpuLoad) {
  if (IsEnding()) return kActivityNone;
  if (Pending() != kActivityNone) {
    // A pending kind waits for a full second since the last signal, even if the timer's phase
    // brings the tick sooner: two signals never come closer than the interval.
    if (!ClaimSignal()) return kActivityNone;
    const int kind = pending_.exchange(kActivityNone, std::memory_order_acq_rel);
    return kind;
  }
  const std::uint32_t rules = rules_.load(std::memory_order_acquire);
  if (!CpuLoadCounts((rules & kCpu) != 0, percentCpu_.load(std::memory_order_relaxed), cpuLoad)) return kActivityNone;
  if (ClaimSignal()) return kActivityCpu;
  int none = kActivityNone;
  pending_.compare_exchange_strong(none, kActivityCpu, std::memory_order_acq_rel);
  return kActivityNone;
}

bool CpuLoadCounts(BOOL monitorCpu, DWORD percentCpu, DWORD load) { return monitorCpu && load >= percentCpu; }

}  // namespace tv
