// Win32 implementation of the processor-load seam: GetSystemTimes, bound by name from KERNEL32
// on first use.
#include "platform/win32/windows_include.h"

#include <mutex>

#include "platform/cpu.h"
#include "platform/win32/bound_library.h"

namespace tv {
namespace {

using GetSystemTimesFn = BOOL(WINAPI*)(LPFILETIME, LPFILETIME, LPFILETIME);

std::uint64_t Ticks(const FILETIME& f) {
  return (static_cast<std::uint64_t>(f.dwHighDateTime) << 32) | f.dwLowDateTime;
}

class Win32CpuUsage final : public CpuUsage {
 public:
  bool CanGetCpuUsage() override { return Entry() != nullptr; }

  DWORD GetCpuUsage() override {
    GetSystemTimesFn get = Entry();
    if (!get) return 0;
    FILETIME idle{}, kernel{}, user{};
    if (!get(&idle, &kernel, &user)) return 0;
    std::lock_guard<std::mutex> lock(mutex_);
    return meter_.Update({Ticks(idle), Ticks(kernel), Ticks(user)});
  }

 private:
  GetSystemTimesFn Entry() {
    std::call_once(looked_up_, [this] {
      kernel32_ = std::make_unique<BoundLibrary>(L"kernel32.dll");
      entry_ = kernel32_->Get<GetSystemTimesFn>("GetSystemTimes");
    });
    return entry_;
  }

  std::once_flag looked_up_;
  std::unique_ptr<BoundLibrary> kernel32_;
  GetSystemTimesFn entry_ = nullptr;
  std::mutex mutex_;
  CpuUsageMeter meter_;
};

}  // namespace

std::unique_ptr<CpuUsage> CreateSystemCpuUsage() { return std::make_unique<Win32CpuUsage>(); }

}  // namespace tv
