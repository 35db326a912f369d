// The processor-load arithmetic shared by every platform's CpuUsage.
#include "platform/cpu.h"

namespace tv {

DWORD CpuUsageMeter::Update(const CpuTimes& now) {
  if (now.idle == 0 && now.kernel == 0 && now.user == 0) return 0;
  // Unsigned differences, so a counter that wrapped still gives the right elapsed time.
  const std::uint64_t total = (now.user - previous_.user) + (now.kernel - previous_.kernel);
  if (total == 0) return 0;
  const std::uint64_t idle = now.idle - previous_.idle;
  previous_ = now;
  // The kernel time includes the idle time, so idle can exceed the total only in a torn
  // reading; a huge wrapped result would look like load, so treat it as none.
  if (idle > total) return 0;
  return static_cast<DWORD>((total - idle) * 100 / total);
}

}  // namespace tv
