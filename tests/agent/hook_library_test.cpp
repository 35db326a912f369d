// TVH64.DLL in this process: reporting starts, is redirected, stops (also from inside its own
// callback) and starts again, driven by real injected input.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <atomic>
#include <string>

#include "agent/hook_library.h"
#include "entry/launcher_location.h"
#include "foundation/app_message.h"
#include "synthetic_input.h"

namespace tv {
namespace {

// How long input may take to travel from SendInput through the hook thread to the callback.
constexpr DWORD kDeliveryLimitMs = 10000;

struct Sink {
  std::atomic<int> keyboard{0};
  std::atomic<int> mouse{0};
  std::atomic<DWORD> thread{0};
  HANDLE called = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  DoDllHookFn stopFromInside = nullptr;
  ~Sink() { ::CloseHandle(called); }
};

void Record(int kind, void* context) {
  auto* sink = static_cast<Sink*>(context);
  (kind == kActivityKeyboard ? sink->keyboard : sink->mouse).fetch_add(1);
  sink->thread.store(::GetCurrentThreadId());
  if (sink->stopFromInside) sink->stopFromInside(nullptr, nullptr);
  ::SetEvent(sink->called);
}

// Sends input until `sink` hears of it; false when nothing arrives in time.
bool Delivered(Sink& sink, bool (*send)()) {
  const ULONGLONG end = ::GetTickCount64() + kDeliveryLimitMs;
  while (::GetTickCount64() < end) {
    if (!send()) return false;
    if (::WaitForSingleObject(sink.called, 100) == WAIT_OBJECT_0) return true;
  }
  return false;
}

class HookLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    module_ = ::LoadLibraryW((test::LauncherFolder() + kHookLibraryName).c_str());
    ASSERT_NE(module_, nullptr) << "TVH64.DLL not built beside the launcher: " << ::GetLastError();
    hook_ = reinterpret_cast<DoDllHookFn>(reinterpret_cast<void*>(::GetProcAddress(module_, kHookExportName)));
    ASSERT_NE(hook_, nullptr);
  }
  void TearDown() override {
    if (hook_) hook_(nullptr, nullptr);
    if (module_) ::FreeLibrary(module_);
  }

  HMODULE module_ = nullptr;
  DoDllHookFn hook_ = nullptr;
};

int Total(const Sink& s) { return s.keyboard.load() + s.mouse.load(); }

TEST_F(HookLibrary, ReportsOnItsOwnThreadRedirectsAndStopsAlsoFromInsideItsCallback) {
  Sink first, second;
  EXPECT_EQ(hook_(nullptr, &first), 0) << "a context without callback is refused";
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  ASSERT_EQ(hook_(&Record, &first), 1);
  ASSERT_TRUE(Delivered(first, &test::TypeKey));
  EXPECT_GT(first.keyboard.load(), 0);
  EXPECT_NE(first.thread.load(), ::GetCurrentThreadId()) << "called from the library's thread, not the caller's";
  ASSERT_TRUE(Delivered(first, &test::NudgeMouse));
  EXPECT_GT(first.mouse.load(), 0);

  // A second start redirects: once it returns, the first sink hears nothing more.
  ASSERT_EQ(hook_(&Record, &second), 1);
  const int firstTotal = Total(first);
  ASSERT_TRUE(Delivered(second, &test::TypeKey));
  EXPECT_EQ(hook_(nullptr, nullptr), 1);
  EXPECT_EQ(hook_(nullptr, nullptr), 1) << "stopping what is stopped succeeds";
  const int secondTotal = Total(second);

  // Started again, by a callback that stops the reporting it runs in: it is called once.
  Sink stopper;
  stopper.stopFromInside = hook_;
  ASSERT_EQ(hook_(&Record, &stopper), 1);
  ASSERT_TRUE(Delivered(stopper, &test::TypeKey));
  EXPECT_EQ(Total(stopper), 1) << "no call after the callback stopped the reporting";

  // A new start waits for the stopped thread to finish; only the new sink hears the input.
  Sink after;
  ASSERT_EQ(hook_(&Record, &after), 1);
  ASSERT_TRUE(Delivered(after, &test::NudgeMouse));
  EXPECT_EQ(Total(first), firstTotal);
  EXPECT_EQ(Total(second), secondTotal);
  EXPECT_EQ(Total(stopper), 1);
}

}  // namespace
}  // namespace tv

#else

TEST(HookLibrary, WindowsOnly) { GTEST_SKIP() << "the hook library is a Windows DLL"; }

#endif  // _WIN32
