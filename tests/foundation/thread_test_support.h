// Helpers for the thread, event and mutex tests: gates to sequence threads without sleeping,
// unique object names, and a pump hook that counts the slices of the test thread's waits.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

#include "foundation/event.h"
#include "foundation/message_pump.h"

namespace tv::test {

// A bound for waits that must succeed; only a broken implementation comes near it.
inline constexpr DWORD kPatience = 10000;

// An unnamed manual-reset event, clear at first.
struct Gate : Event {
  Gate() { CreateOrOpen(nullptr, kFalse, kTrue, kFalse); }
};

inline std::wstring UniqueName(const wchar_t* stem) {
  static std::atomic<int> serial{0};
#ifdef _WIN32
  const long pid = _getpid();
#else
  const long pid = getpid();
#endif
  return std::wstring(L"TvTest_") + stem + L"_" + std::to_wstring(pid) + L"_" + std::to_wstring(++serial);
}

// Installs a pump hook for one scope. It counts the pumps of the installing thread only (other
// threads' waits pump too), runs `on_pump(n, hwnd)` at the n-th, and answers `answer`.
class ScopedPumpHook {
 public:
  struct State {
    std::thread::id owner = std::this_thread::get_id();
    std::function<void(int, void*)> on_pump;
    std::atomic<int> count{0};
    std::atomic<BOOL> answer{kTrue};
  };
  explicit ScopedPumpHook(std::function<void(int, void*)> on_pump = {}) {
    state_->on_pump = std::move(on_pump);
    // The hook owns the state: another thread's pump may still run it after this scope ended.
    previous_ = SetMessagePumpHook([s = state_](void* hwnd) -> BOOL {
      if (std::this_thread::get_id() != s->owner) return kTrue;
      const int n = ++s->count;
      if (s->on_pump) s->on_pump(n, hwnd);
      return s->answer.load();
    });
  }
  ~ScopedPumpHook() { SetMessagePumpHook(std::move(previous_)); }
  State* operator->() { return state_.get(); }

 private:
  std::shared_ptr<State> state_ = std::make_shared<State>();
  MessagePumpHook previous_;
};

}  // namespace tv::test
