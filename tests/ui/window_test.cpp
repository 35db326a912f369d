// The window wrapper under a real window manager (Wine on the Windows build).
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>
#include <vector>

#include "ui/win32/window.h"

namespace tv {
namespace {

class Recorder : public CSWnd {
 public:
  std::vector<UINT> seen;
  int finals = 0;
  bool throwOnPaint = false;

 protected:
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override {
    seen.push_back(message);
    if (message == WM_APP && throwOnPaint) throw 1;
    if (message == WM_APP + 1) return 42;
    return DefaultProc(message, wParam, lParam);
  }
  void OnFinalMessage() override { ++finals; }
};

bool Saw(const std::vector<UINT>& seen, UINT message) {
  for (UINT m : seen)
    if (m == message) return true;
  return false;
}

TEST(CSWnd, CreatedWindowDispatchesToItsObjectAndSurvivesAThrowingHandler) {
  HINSTANCE instance = ::GetModuleHandleW(nullptr);
  ASSERT_TRUE(CSWnd::RegisterWndClass(L"TvWindowTest", instance));
  ASSERT_TRUE(CSWnd::RegisterWndClass(L"TvWindowTest", instance)) << "a second registration is not an error";

  Recorder w;
  ASSERT_TRUE(w.Create(L"TvWindowTest", L"title", WS_POPUP, 0, 0, 0, 10, 10, nullptr, nullptr, instance));
  EXPECT_FALSE(w.Create(L"TvWindowTest", L"again", WS_POPUP, 0, 0, 0, 10, 10, nullptr, nullptr, instance));
  EXPECT_TRUE(Saw(w.seen, WM_NCCREATE));
  EXPECT_TRUE(Saw(w.seen, WM_CREATE));
  EXPECT_EQ(CSWnd::FromHandle(w.GetHwnd()), &w);
  EXPECT_EQ(::SendMessageW(w.GetHwnd(), WM_APP + 1, 0, 0), 42);
  w.throwOnPaint = true;
  ::SendMessageW(w.GetHwnd(), WM_APP, 0, 0);  // must not take the process down

  HWND hwnd = w.GetHwnd();
  ASSERT_TRUE(w.Destroy());
  EXPECT_EQ(w.GetHwnd(), nullptr);
  EXPECT_EQ(w.finals, 1);
  EXPECT_FALSE(::IsWindow(hwnd));
  EXPECT_EQ(CSWnd::FromHandle(hwnd), nullptr);
}

TEST(CSWnd, SubclassedControlKeepsItsBehaviourAndIsLetGoOnDetach) {
  HINSTANCE instance = ::GetModuleHandleW(nullptr);
  HWND edit = ::CreateWindowExW(0, L"EDIT", L"abc", WS_POPUP, 0, 0, 50, 20, nullptr, nullptr, instance, nullptr);
  ASSERT_NE(edit, nullptr);
  {
    Recorder r;
    ASSERT_TRUE(r.Subclass(edit));
    Recorder second;
    EXPECT_FALSE(second.Subclass(edit)) << "one owner per window";
    ::SetWindowTextW(edit, L"typed");
    EXPECT_TRUE(Saw(r.seen, WM_SETTEXT));
    wchar_t text[32] = {};
    ::GetWindowTextW(edit, text, 32);
    EXPECT_STREQ(text, L"typed") << "the edit control's own procedure still ran";
  }
  // The object is gone but the control lives on with its own procedure.
  EXPECT_TRUE(::IsWindow(edit));
  EXPECT_EQ(CSWnd::FromHandle(edit), nullptr);
  ::SetWindowTextW(edit, L"after");
  ::DestroyWindow(edit);
}

}  // namespace
}  // namespace tv
#else
TEST(CSWnd, OnlyOnWindows) { GTEST_SKIP() << "windows exist on the Windows build only"; }
#endif
