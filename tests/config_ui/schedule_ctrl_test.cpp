// The schedule grid as a window under a real window manager (Wine on the Windows build).
#include <gtest/gtest.h>

#ifdef _WIN32
#include "config_ui/win32/schedule_ctrl.h"

#include <string>

#include "support/win_pixels.h"

namespace tv {
namespace {

class Host : public CSWnd {};

class ScheduleCtrlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HINSTANCE instance = ::GetModuleHandleW(nullptr);
    ASSERT_TRUE(CSWnd::RegisterWndClass(L"TvScheduleHost", instance));
    ASSERT_TRUE(host_.Create(L"TvScheduleHost", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 0, 400, 250, nullptr, nullptr,
                             instance));
    ASSERT_TRUE(grid_.CreateAt(host_.GetHwnd(), RECT{5, 5, 380, 200}, 1048));
    g_ = grid_.Model().GridRect();
    rowHeight_ = grid_.Model().RowHeight();
  }

  LPARAM At(int hour, int minute, int row) const {
    const int x = g_.left + hour * 10 + (minute >= 30 ? 5 : 0) + 1;
    const int y = g_.top + row * rowHeight_ + 1;
    return MAKELPARAM(x, y);
  }

  // The colour painted at the middle of half hour `half` of row `row`.
  COLORREF PixelAt(int row, int half) {
    const test::Canvas canvas(400, 250);
    canvas.Print(grid_.GetHwnd());
    return canvas.At(g_.left + half * 5 + 2, g_.top + row * rowHeight_ + rowHeight_ / 2);
  }

  void Key(UINT vk, bool ctrl, bool shift) {
    BYTE keys[256] = {};
    ::GetKeyboardState(keys);
    keys[VK_CONTROL] = ctrl ? 0x80 : 0;
    keys[VK_SHIFT] = shift ? 0x80 : 0;
    ::SetKeyboardState(keys);
    ::SendMessageW(grid_.GetHwnd(), WM_KEYDOWN, vk, 0);
    keys[VK_CONTROL] = keys[VK_SHIFT] = 0;
    ::SetKeyboardState(keys);
  }

  Host host_;
  ScheduleCtrl grid_;
  PixelRect g_;
  int rowHeight_ = 0;
};

// Where a drag snaps and what a state does to the week is the model's (schedule_selection_test);
// here, the mouse reaching it with capture, and the colours the painting uses.
TEST_F(ScheduleCtrlTest, DragSelectsAndTheStateIsPaintedInItsColours) {
  EXPECT_GT(g_.left, 10) << "room for the day labels";
  EXPECT_GT(rowHeight_, 4) << "rows as high as the labels' font";
  EXPECT_EQ(::SendMessageW(grid_.GetHwnd(), WM_GETDLGCODE, 0, 0), DLGC_WANTARROWS);

  ::SendMessageW(grid_.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, At(14, 30, 2));
  EXPECT_EQ(::GetCapture(), grid_.GetHwnd());
  ::SendMessageW(grid_.GetHwnd(), WM_MOUSEMOVE, MK_LBUTTON, At(9, 0, 0));
  ::SendMessageW(grid_.GetHwnd(), WM_LBUTTONUP, 0, At(9, 0, 0));
  EXPECT_NE(::GetCapture(), grid_.GetHwnd());
  EXPECT_EQ(PixelAt(1, 20), ScheduleCtrl::ActiveColor(true)) << "selected, active";
  EXPECT_EQ(PixelAt(1, 40), ScheduleCtrl::ActiveColor(false)) << "outside the selection";
  ASSERT_TRUE(grid_.SetSelectionState(FALSE));
  EXPECT_EQ(PixelAt(1, 20), ScheduleCtrl::InactiveColor(true));
  grid_.DeselectAll();
  EXPECT_EQ(PixelAt(1, 20), ScheduleCtrl::InactiveColor(false));
  EXPECT_EQ(PixelAt(1, 17), ScheduleCtrl::ActiveColor(false)) << "8:30 is before the selection";

  wchar_t text[256];
  grid_.GetSchedule(text, 256);
  EXPECT_EQ(std::wstring(text).substr(0, 30), L"Mon 0:00-9:00, Mon 15:00-24:00");

  // Granularity 1 is accepted and paints an empty grid.
  ASSERT_TRUE(grid_.SetGranularity(1));
  EXPECT_EQ(PixelAt(1, 17), ::GetSysColor(COLOR_BTNFACE));
}

// What each key does to the selection is the model's; here, that the keys and the modifiers held
// down reach it, and that a press outside the grid takes no capture.
TEST_F(ScheduleCtrlTest, ArrowKeysWithModifiersAndAPressOutside) {
  Key(VK_DOWN, false, false);
  ASSERT_TRUE(grid_.Model().HasSelection());
  const PixelRect first = grid_.Model().Selection();
  Key(VK_RIGHT, false, true);  // Shift+Right: the start onto the end, refused
  EXPECT_EQ(grid_.Model().Selection(), first);
  Key(VK_RIGHT, true, false);  // Ctrl+Right: the end corner a half hour on
  EXPECT_EQ(grid_.Model().Selection().right, first.right + 5);
  Key(VK_RIGHT, false, false);
  EXPECT_EQ(grid_.Model().Selection().left, first.left + 5);

  ::SendMessageW(grid_.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
  EXPECT_FALSE(grid_.Model().HasSelection());
  EXPECT_NE(::GetCapture(), grid_.GetHwnd()) << "no drag outside the grid";
  ::SendMessageW(grid_.GetHwnd(), WM_LBUTTONUP, 0, MAKELPARAM(2, 2));
}

TEST_F(ScheduleCtrlTest, ReplacesThePlaceholderAndKeepsItsPlaceAndId) {
  HWND placeholder = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 20, 30, 300, 150, host_.GetHwnd(),
                                       reinterpret_cast<HMENU>(static_cast<INT_PTR>(2001)), nullptr, nullptr);
  ASSERT_NE(placeholder, nullptr);
  ScheduleCtrl replaced;
  ASSERT_TRUE(replaced.ReplaceControl(host_.GetHwnd(), 2001));
  EXPECT_FALSE(::IsWindow(placeholder));
  EXPECT_EQ(::GetDlgItem(host_.GetHwnd(), 2001), replaced.GetHwnd());
  RECT rect;
  ::GetWindowRect(replaced.GetHwnd(), &rect);
  ::MapWindowPoints(nullptr, host_.GetHwnd(), reinterpret_cast<POINT*>(&rect), 2);
  EXPECT_EQ(rect.left, 20);
  EXPECT_EQ(rect.bottom, 180);
  ScheduleCtrl none;
  EXPECT_FALSE(none.ReplaceControl(host_.GetHwnd(), 2002));
  EXPECT_FALSE(replaced.SetDisplayDays(3));
  EXPECT_TRUE(replaced.SetDisplayDays(2));
  EXPECT_EQ(replaced.GetDayLabel(1), L"Tue");
}

}  // namespace
}  // namespace tv
#else
TEST(ScheduleCtrl, OnlyOnWindows) { GTEST_SKIP() << "windows exist on the Windows build only"; }
#endif
