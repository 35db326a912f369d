// Ends a UI thread's work when the session's quit event is set, however deeply its message loops
// are nested at that moment (the warning box runs its own loop inside the agent window's). Every
// loop of the product gives way to WM_QUIT and passes it on outwards, so one WM_QUIT posted to
// the thread unwinds all of them; waiting on the event in each loop instead would need every loop
// to know about it. Windows only.
#pragma once

#ifdef _WIN32

#include <atomic>
#include <functional>
#include <thread>

#include "platform/win32/handles.h"

namespace tv {

class QuitWatcher {
 public:
  QuitWatcher() = default;
  // Stops watching (without posting anything) and waits for the watching thread.
  ~QuitWatcher();
  QuitWatcher(const QuitWatcher&) = delete;
  QuitWatcher& operator=(const QuitWatcher&) = delete;

  // Watches `quitEvent` (a handle with synchronise access that stays open while the watcher
  // runs) on a thread of its own; once it is set, Fired() turns true, `beforeQuit` (if any) runs
  // on the watching thread, and WM_QUIT is posted to thread `uiThread`, which must have a message
  // queue already. 0 with the system's error when the thread cannot be started.
  BOOL Start(HANDLE quitEvent, DWORD uiThread, std::function<void()> beforeQuit = {});

  // Before Start: also watch `reloadEvent` (an auto-reset event with synchronise access, open
  // while the watcher runs) and call `onReload` on the watching thread each time it is set. The
  // same thread serves both, so the settings reach the agent without a thread of their own.
  void WatchReload(HANDLE reloadEvent, std::function<void()> onReload) {
    reload_ = reloadEvent;
    onReload_ = std::move(onReload);
  }

  // Whether the quit event has been seen set; any thread.
  bool Fired() const { return fired_.load(std::memory_order_acquire); }

 private:
  void Watch(HANDLE quitEvent, DWORD uiThread, const std::function<void()>& beforeQuit);

  UniqueKernelHandle stop_;
  HANDLE reload_ = nullptr;
  std::function<void()> onReload_;
  std::atomic<bool> fired_{false};
  std::thread thread_;
};

}  // namespace tv

#endif  // _WIN32
