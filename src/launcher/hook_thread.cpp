#include "launcher/hook_thread.h"

#include <atomic>
#include <mutex>

#include "foundation/app_message.h"

namespace tvh {
namespace {

// Posted by a hook procedure to its own thread: input of the kinds flagged in g_seen waits.
constexpr UINT kInputSeen = WM_APP + 1;

constexpr unsigned Bit(int kind) { return 1u << kind; }

// Input kinds seen since the thread last reported; a kind already flagged posts nothing more,
// so a burst of input costs one message however long it is.
std::atomic<unsigned> g_seen{0};
std::atomic<DWORD> g_threadId{0};

// Start and stop from other threads take turns here; the reporting thread never takes it.
std::mutex g_control;
HANDLE g_thread = nullptr;

// The callback and its context. Held while the callback runs, so that a redirect or a stop from
// another thread waits for the call in progress; recursive for the callback's own calls.
std::recursive_mutex g_slotMutex;
tv::ActivityCallback g_callback = nullptr;
void* g_context = nullptr;
bool g_stopSelf = false;  // the callback stopped the reporting; guarded by g_slotMutex

struct StartBlock {
  HMODULE module = nullptr;
  HANDLE ready = nullptr;
  DWORD error = 0;
};

void Flag(int kind) {
  const unsigned bit = Bit(kind);
  if (g_seen.fetch_or(bit, std::memory_order_acq_rel) & bit) return;
  ::PostThreadMessageW(g_threadId.load(std::memory_order_relaxed), kInputSeen, 0, 0);
}

// Injected input (LLKHF_INJECTED, LLMHF_INJECTED) counts like any other: remote-control tools
// and on-screen keyboards type for real people.
LRESULT CALLBACK KeyboardProc(int code, WPARAM wParam, LPARAM lParam) {
  if (code == HC_ACTION) Flag(tv::kActivityKeyboard);
  return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

LRESULT CALLBACK MouseProc(int code, WPARAM wParam, LPARAM lParam) {
  if (code == HC_ACTION) Flag(tv::kActivityMouse);
  return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

// Hands the kinds seen to the callback. Answers false when the callback stopped the reporting.
bool Report() {
  const unsigned seen = g_seen.exchange(0, std::memory_order_acq_rel);
  std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
  for (int kind : {tv::kActivityMouse, tv::kActivityKeyboard}) {
    if (!(seen & Bit(kind)) || !g_callback) continue;
    try {
      g_callback(kind, g_context);
    } catch (...) {
      // The agent's business; the hook thread carries on.
    }
  }
  return !g_stopSelf;
}

DWORD WINAPI ThreadMain(void* parameter) {
  auto* start = static_cast<StartBlock*>(parameter);
  const HMODULE module = start->module;
  MSG msg;
  // A hook's thread needs a message queue before anyone posts to it.
  ::PeekMessageW(&msg, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
  HHOOK keyboard = ::SetWindowsHookExW(WH_KEYBOARD_LL, &KeyboardProc, module, 0);
  HHOOK mouse = keyboard ? ::SetWindowsHookExW(WH_MOUSE_LL, &MouseProc, module, 0) : nullptr;
  if (!mouse) {
    start->error = ::GetLastError() ? ::GetLastError() : ERROR_HOOK_NOT_INSTALLED;
    if (keyboard) ::UnhookWindowsHookEx(keyboard);
    ::SetEvent(start->ready);
    ::FreeLibraryAndExitThread(module, 1);
  }
  ::SetEvent(start->ready);  // `start` is gone from here on
  // Low-level hooks are called from this thread's message retrieval, so it must keep pumping.
  while (::GetMessageW(&msg, nullptr, 0, 0) > 0) {
    if (msg.hwnd == nullptr && msg.message == kInputSeen) {
      if (!Report()) break;
      continue;
    }
    ::DispatchMessageW(&msg);
  }
  ::UnhookWindowsHookEx(mouse);
  ::UnhookWindowsHookEx(keyboard);
  // Its id may go to another thread from here on, which must not pass for this one.
  g_threadId.store(0, std::memory_order_release);
  // The thread holds its own reference on the library, so that the code it runs stays mapped
  // even when the library is unloaded before the thread has left it.
  ::FreeLibraryAndExitThread(module, 0);
  return 0;
}

bool OnReportingThread() {
  const DWORD id = g_threadId.load(std::memory_order_acquire);
  return id != 0 && id == ::GetCurrentThreadId();
}

void SetSlot(tv::ActivityCallback callback, void* context) {
  std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
  g_callback = callback;
  g_context = context;
}

// Waits for a thread that was told to end (or ended by its callback) and forgets it.
void JoinThread() {
  if (!g_thread) return;
  ::WaitForSingleObject(g_thread, INFINITE);
  ::CloseHandle(g_thread);
  g_thread = nullptr;
  g_threadId.store(0, std::memory_order_release);
}

bool ThreadStoppedItself() {
  std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
  return g_stopSelf;
}

}  // namespace

BOOL StartReporting(tv::ActivityCallback callback, void* context) {
  if (!callback) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (OnReportingThread()) {
    std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
    g_callback = callback;
    g_context = context;
    g_stopSelf = false;
    return TRUE;
  }
  std::lock_guard<std::mutex> control(g_control);
  // A thread whose callback stopped it is on its way out: let it finish before a new one starts.
  if (g_thread && ThreadStoppedItself()) JoinThread();
  if (g_thread) {
    SetSlot(callback, context);
    return TRUE;
  }
  {
    std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
    g_callback = callback;
    g_context = context;
    g_stopSelf = false;
  }
  StartBlock start;
  if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&ThreadMain),
                            &start.module)) {
    SetSlot(nullptr, nullptr);
    return FALSE;
  }
  start.ready = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  DWORD id = 0;
  HANDLE thread = start.ready ? ::CreateThread(nullptr, 0, &ThreadMain, &start, CREATE_SUSPENDED, &id) : nullptr;
  if (!thread) {
    const DWORD error = ::GetLastError();
    if (start.ready) ::CloseHandle(start.ready);
    ::FreeLibrary(start.module);
    SetSlot(nullptr, nullptr);
    ::SetLastError(error);
    return FALSE;
  }
  // The id is known before the first hook can fire, so the hook procedures can post to it.
  g_threadId.store(id, std::memory_order_release);
  g_seen.store(0, std::memory_order_relaxed);
  ::ResumeThread(thread);
  ::WaitForSingleObject(start.ready, INFINITE);
  ::CloseHandle(start.ready);
  g_thread = thread;
  if (start.error) {
    JoinThread();
    SetSlot(nullptr, nullptr);
    ::SetLastError(start.error);
    return FALSE;
  }
  return TRUE;
}

BOOL StopReporting() {
  if (OnReportingThread()) {
    std::lock_guard<std::recursive_mutex> lock(g_slotMutex);
    g_callback = nullptr;
    g_context = nullptr;
    g_stopSelf = true;
    return TRUE;
  }
  std::lock_guard<std::mutex> control(g_control);
  if (!g_thread) return TRUE;
  // Cleared first: if the thread is inside the callback this waits for it, and no later input
  // reaches the old callback even before the thread has seen the quit.
  SetSlot(nullptr, nullptr);
  ::PostThreadMessageW(g_threadId.load(std::memory_order_acquire), WM_QUIT, 0, 0);
  JoinThread();
  return TRUE;
}

}  // namespace tvh
