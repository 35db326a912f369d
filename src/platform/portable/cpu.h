// Portable processor load: a simulated source that answers a load set by a test or the
// simulator, and the parser of Linux's /proc/stat behind the Linux system source.
#pragma once

#include <atomic>
#include <string>

#include "platform/cpu.h"
#include "platform/last_error.h"

namespace tv {

class SimulatedCpuUsage final : public CpuUsage {
 public:
  // The load every following call answers (clamped to 100).
  void SetUsage(DWORD percent) { usage_.store(percent > 100 ? 100 : percent); }
  // While false, the source reports no processor times and answers 0.
  void SetAvailable(bool available) { available_.store(available); }
  // How often the load was read.
  int Reads() const { return reads_.load(); }

  bool CanGetCpuUsage() override { return available_.load(); }
  DWORD GetCpuUsage() override {
    reads_.fetch_add(1);
    return available_.load() ? usage_.load() : 0;
  }

 private:
  std::atomic<DWORD> usage_{0};
  std::atomic<bool> available_{true};
  std::atomic<int> reads_{0};
};

// Reads the summary "cpu" line of /proc/stat text into cumulative times, with the kernel time
// including the idle time as Windows counts it. `ticksPerSecond` is the unit of the file's
// counters (sysconf(_SC_CLK_TCK)). Answers 0 with kInvalidData when the line is missing or
// malformed; `out` is then untouched.
BOOL ParseProcStat(const std::string& text, long ticksPerSecond, CpuTimes& out);

}  // namespace tv
