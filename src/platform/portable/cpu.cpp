// Portable processor load: the /proc/stat parser (both toolchains) and, on Linux, the system
// source reading /proc/stat.
#include "platform/portable/cpu.h"

#include <cstdlib>
#include <cerrno>

#ifndef _WIN32
#include <unistd.h>

#include <fstream>
#include <mutex>
#endif

namespace tv {

BOOL ParseProcStat(const std::string& text, long ticksPerSecond, CpuTimes& out) {
  if (ticksPerSecond <= 0 || ticksPerSecond > 10'000'000) return Fail(err::kInvalidParameter);
  // The summary line is the one that starts with "cpu" followed by a blank ("cpu0" is one CPU).
  size_t pos = 0;
  while (pos < text.size()) {
    if (text.compare(pos, 4, "cpu ") == 0) break;
    size_t next = text.find('\n', pos);
    if (next == std::string::npos) return Fail(err::kInvalidData);
    pos = next + 1;
  }
  if (pos >= text.size()) return Fail(err::kInvalidData);

  // user nice system idle iowait irq softirq steal (later kernels add guest fields, which are
  // already counted in user). Older kernels stop after idle.
  std::uint64_t field[8] = {};
  int count = 0;
  const char* p = text.c_str() + pos + 3;
  while (count < 8) {
    while (*p == ' ' || *p == '\t') ++p;
    if (*p < '0' || *p > '9') break;
    errno = 0;
    char* end = nullptr;
    unsigned long long v = std::strtoull(p, &end, 10);
    if (errno == ERANGE || end == p) return Fail(err::kInvalidData);
    field[count++] = v;
    p = end;
  }
  if (count < 4) return Fail(err::kInvalidData);

  const std::uint64_t unit = static_cast<std::uint64_t>(10'000'000 / ticksPerSecond);
  const std::uint64_t idle = field[3] + field[4];
  const std::uint64_t busyKernel = field[2] + field[5] + field[6] + field[7];
  out.idle = idle * unit;
  out.kernel = (busyKernel + idle) * unit;
  out.user = (field[0] + field[1]) * unit;
  return kTrue;
}

#ifndef _WIN32
namespace {

class ProcStatCpuUsage final : public CpuUsage {
 public:
  bool CanGetCpuUsage() override {
    CpuTimes t;
    return Read(t);
  }

  DWORD GetCpuUsage() override {
    CpuTimes t;
    if (!Read(t)) return 0;
    std::lock_guard<std::mutex> lock(mutex_);
    return meter_.Update(t);
  }

 private:
  static bool Read(CpuTimes& out) {
    PreserveLastError keep;  // "never fails": a missing file must not disturb the caller's error
    std::ifstream file("/proc/stat");
    if (!file) return false;
    std::string line;
    if (!std::getline(file, line)) return false;
    return ParseProcStat(line + "\n", sysconf(_SC_CLK_TCK), out) != 0;
  }

  std::mutex mutex_;
  CpuUsageMeter meter_;
};

}  // namespace

std::unique_ptr<CpuUsage> CreateSystemCpuUsage() { return std::make_unique<ProcStatCpuUsage>(); }
#endif

}  // namespace tv
