#include "foundation/message_pump.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "foundation/kernel_object.h"

namespace tv {
namespace {

std::mutex g_hook_lock;
MessagePumpHook* g_hook = nullptr;  // guarded by g_hook_lock; a pointer so no destructor runs at exit
std::atomic<int> g_quit_all{0};

MessagePumpHook CurrentHook() {
  std::lock_guard<std::mutex> lock(g_hook_lock);
  return g_hook ? *g_hook : MessagePumpHook();
}

}  // namespace

MessagePumpHook SetMessagePumpHook(MessagePumpHook hook) {
  std::lock_guard<std::mutex> lock(g_hook_lock);
  if (!g_hook) g_hook = new MessagePumpHook();
  return std::exchange(*g_hook, std::move(hook));
}

BOOL ProcessAllMessages(void* hwnd) {
  BOOL ok = kernel::PumpThreadMessages(hwnd);
  if (MessagePumpHook hook = CurrentHook()) {
    if (!hook(hwnd)) ok = kFalse;
  }
  return ok;
}

BOOL PumpingWait(void* handle, DWORD timeout, BOOL pumpAllInput, void* hwnd, bool stopOnQuitAll) {
  if (timeout == 0) return kernel::WaitObject(handle, 0) == kernel::kWaitObject0 ? kTrue : kFalse;
  DWORD remaining = timeout;
  for (;;) {
    const DWORD result = kernel::MsgWaitObject(handle, kWaitSliceMs, pumpAllInput ? kWakeAllInput : 0);
    if (stopOnQuitAll && IsQuitAllRaised()) return kTrue;
    if (result == kernel::kWaitObject0 || result == kernel::kWaitAbandoned || result == kernel::kWaitFailed) {
      return kTrue;
    }
    if (result == kernel::kWaitTimeout && timeout != kInfinite) {
      remaining = remaining < kWaitSliceMs ? 0 : remaining - kWaitSliceMs;
      if (remaining == 0) return kFalse;
    }
    // Whatever ended the slice, the queue is emptied: windows of this thread keep answering
    // even when the wait itself does not wake for their input.
    ProcessAllMessages(hwnd);
  }
}

void RaiseQuitAll() { g_quit_all.store(1); }

BOOL IsQuitAllRaised() { return g_quit_all.load() ? kTrue : kFalse; }

}  // namespace tv
