// The processor-load seam: the system-wide CPU load since the previous reading, one of the
// activity sources a session's agent watches. SimulatedCpuUsage (platform/portable/cpu.h) answers
// whatever load a test or the simulator sets.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/types.h"

namespace tv {

// Cumulative processor times of all processors since system start, in 100-ns units. As Windows
// counts them, the kernel time includes the idle time.
struct CpuTimes {
  std::uint64_t idle = 0;
  std::uint64_t kernel = 0;
  std::uint64_t user = 0;
};

// Turns successive readings of the cumulative times into the load between two readings.
class CpuUsageMeter {
 public:
  // Percent of processor time not spent idle since the previous accepted reading (the first
  // reading measures from system start). A reading of all zeros, or one within the same clock
  // tick as the previous one, answers 0 and is not kept, so the next reading still measures
  // from the older one. An inconsistent reading (more idle time than time) answers 0.
  DWORD Update(const CpuTimes& now);

 private:
  CpuTimes previous_;
};

class CpuUsage {
 public:
  virtual ~CpuUsage() = default;

  // True when the system can report processor times.
  virtual bool CanGetCpuUsage() = 0;

  // Percent of processor load since the previous call (since system start on the first call),
  // 0..100. Never fails: whatever goes wrong answers 0, which never counts as activity.
  virtual DWORD GetCpuUsage() = 0;
};

// The computer's own processor load: GetSystemTimes on Windows, /proc/stat on Linux.
std::unique_ptr<CpuUsage> CreateSystemCpuUsage();

}  // namespace tv
