// QuitWatcher for Windows: a thread that waits on the quit event and posts WM_QUIT.
#include "agent/quit_watcher.h"

namespace tv {
namespace {

// How often a post refused by a full message queue is tried again.
constexpr DWORD kRepostMs = 100;

}  // namespace

QuitWatcher::~QuitWatcher() {
  if (stop_.valid()) ::SetEvent(stop_.get());
  if (thread_.joinable()) thread_.join();
}

BOOL QuitWatcher::Start(HANDLE quitEvent, DWORD uiThread, std::function<void()> beforeQuit) {
  if (thread_.joinable() || !quitEvent) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  stop_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!stop_.valid()) return FALSE;
  try {
    thread_ = std::thread(
        [this, quitEvent, uiThread, beforeQuit = std::move(beforeQuit)] { Watch(quitEvent, uiThread, beforeQuit); });
  } catch (...) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  return TRUE;
}

void QuitWatcher::Watch(HANDLE quitEvent, DWORD uiThread, const std::function<void()>& beforeQuit) {
  const HANDLE handles[3] = {stop_.get(), quitEvent, reload_};
  const ::DWORD count = reload_ ? 3 : 2;
  for (;;) {
    const ::DWORD result = ::WaitForMultipleObjects(count, handles, FALSE, INFINITE);
    if (result == WAIT_OBJECT_0 + 2) {
      if (onReload_) onReload_();
      continue;
    }
    if (result != WAIT_OBJECT_0 + 1) return;
    break;
  }
  fired_.store(true, std::memory_order_release);
  if (beforeQuit) beforeQuit();
  // A queue holding its 10,000 messages refuses the post; the user's session must still end
  // its agent, so keep trying until the owner stops us.
  while (!::PostThreadMessageW(uiThread, WM_QUIT, 0, 0)) {
    if (::WaitForSingleObject(stop_.get(), kRepostMs) == WAIT_OBJECT_0) return;
  }
}

}  // namespace tv
