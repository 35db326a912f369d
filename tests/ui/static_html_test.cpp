// The mark-up static control and GDI drawing in real windows (Wine under Xvfb).
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>
#include <vector>

#include "support/ui_driver.h"
#include "support/win_pixels.h"
#include "ui/win32/draw_html.h"
#include "ui/win32/static_html.h"

namespace tv {
namespace {

class StaticHtmlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    instance_ = ::GetModuleHandleW(nullptr);
    ASSERT_TRUE(CSStaticHTML::Register(instance_));
    parent_ = ::CreateWindowExW(0, L"STATIC", L"parent", WS_POPUP, 0, 0, 500, 300, nullptr, nullptr, instance_,
                                nullptr);
    ASSERT_NE(parent_, nullptr);
  }
  void TearDown() override { ::DestroyWindow(parent_); }

  // The command ids posted to the parent since the last call.
  std::vector<int> Commands() {
    std::vector<int> ids;
    MSG msg;
    while (::PeekMessageW(&msg, parent_, WM_COMMAND, WM_COMMAND, PM_REMOVE)) ids.push_back(LOWORD(msg.wParam));
    return ids;
  }

  HINSTANCE instance_ = nullptr;
  HWND parent_ = nullptr;
};

TEST_F(StaticHtmlTest, KeepsTheMarkupAsSetAndPostsTheClickedLinksId) {
  const std::wstring text = L"Status: <B>on</B> &amp; <A3>details</A3> <DKBLUE>x</DKBLUE>";
  CSStaticHTML ctl;
  ASSERT_TRUE(ctl.Create(parent_, 42, RECT{0, 0, 400, 60}, text.c_str(), 0, instance_));
  EXPECT_EQ(test::TextOf(ctl.GetHwnd()), text);
  EXPECT_EQ(::GetWindowTextLengthW(ctl.GetHwnd()), static_cast<int>(text.size())) << "WM_GETTEXTLENGTH agrees";
  EXPECT_EQ(ctl.GetHTMLTextStripTags(), L"Status: on & details <DKBLUE>x");
  EXPECT_EQ(CSStaticHTML::FromControl(ctl.GetHwnd()), &ctl);

  // Where links lie is the layout's test; here the window must use them.
  ctl.SetLinkCmdID(200);
  ASSERT_EQ(ctl.GetLinks().GetCount(), 1u);
  const MarkupRect r = ctl.GetLinks().GetAt(0).GetRects().at(0);

  // Over the link the hand cursor shows; elsewhere the control still takes the mouse.
  POINT over = {(r.left + r.right) / 2, (r.top + r.bottom) / 2};
  ::ClientToScreen(ctl.GetHwnd(), &over);
  ::SetCursor(::LoadCursorW(nullptr, IDC_ARROW));
  EXPECT_EQ(::SendMessageW(ctl.GetHwnd(), WM_NCHITTEST, 0, MAKELPARAM(over.x, over.y)), HTCLIENT);
  EXPECT_EQ(::GetCursor(), ::LoadCursorW(nullptr, IDC_HAND));

  Commands();
  ::SendMessageW(ctl.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM((r.left + r.right) / 2, (r.top + r.bottom) / 2));
  ::SendMessageW(ctl.GetHwnd(), WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(r.left, r.top));
  ::SendMessageW(ctl.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(r.right, r.top));  // right is outside
  ::SendMessageW(ctl.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(1, 1));            // on "Status"
  EXPECT_EQ(Commands(), (std::vector<int>{203, 203}));

  // Text set from outside goes through the same path, and the links follow it.
  ::SetWindowTextW(ctl.GetHwnd(), L"<A>only</A>");
  EXPECT_EQ(ctl.GetHTMLText(), L"<A>only</A>");
  EXPECT_EQ(test::TextOf(ctl.GetHwnd()), L"<A>only</A>");
  ASSERT_EQ(ctl.GetLinks().GetCount(), 1u);
  EXPECT_EQ(ctl.GetLinks().GetAt(0).GetID(), 200);
  wchar_t small[5] = {};
  EXPECT_EQ(::SendMessageW(ctl.GetHwnd(), WM_GETTEXT, 5, reinterpret_cast<LPARAM>(small)), 4);
  EXPECT_STREQ(small, L"<A>o") << "cut to the buffer and terminated";

  ctl.SetLinkCmdID(0);
  const MarkupRect z = ctl.GetLinks().GetAt(0).GetRects().at(0);
  ::SendMessageW(ctl.GetHwnd(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(z.left, z.top));
  EXPECT_TRUE(Commands().empty()) << "a link of id 0 does nothing";
}

TEST_F(StaticHtmlTest, MeasuresMoreLinesAtANarrowerWidth) {
  CSStaticHTML ctl;
  ASSERT_TRUE(ctl.Create(parent_, 7, RECT{0, 0, 400, 60},
                         L"The session of <B>user</B> will be logged off in <RED>5 minutes</RED> unless there is "
                         L"activity.",
                         0, instance_));
  RECT wide = {0, 0, 2000, 0};
  ASSERT_TRUE(ctl.CalcHeight(nullptr, &wide));
  RECT narrow = {0, 0, 80, 0};
  ASSERT_TRUE(ctl.CalcHeight(nullptr, &narrow));
  EXPECT_GT(wide.bottom, 0);
  EXPECT_GT(narrow.bottom, 2 * wide.bottom);
  RECT none = {0, 0, 100, 0};
  ctl.SetHTMLText(nullptr);
  ASSERT_TRUE(ctl.CalcHeight(nullptr, &none));
  EXPECT_EQ(none.bottom, 0);
  EXPECT_FALSE(ctl.CalcHeight(nullptr, nullptr));
}

TEST_F(StaticHtmlTest, AttachedStaticsTemplateControlsAndWholeLinks) {
  HWND stat = ::CreateWindowExW(0, L"STATIC", L"see <A1>here</A1>", WS_CHILD | WS_VISIBLE, 0, 0, 300, 40, parent_,
                                reinterpret_cast<HMENU>(5), instance_, nullptr);
  ASSERT_NE(stat, nullptr);
  {
    CSStaticHTML attached;
    ASSERT_TRUE(attached.Attach(stat));
    EXPECT_EQ(attached.GetHTMLText(), L"see <A1>here</A1>");
    EXPECT_EQ(attached.GetId(), 5);
    EXPECT_EQ(::SendMessageW(stat, WM_NCHITTEST, 0, 0), HTCLIENT) << "a plain static lets clicks through";
    EXPECT_EQ(attached.GetLinks().GetCount(), 1u);
  }
  EXPECT_TRUE(::IsWindow(stat)) << "an attached control outlives its object";

  // As a dialog template would make it: no object of ours exists, the window gets its own.
  HWND made = ::CreateWindowExW(0, CSStaticHTML::kClassName, L"<I>made</I>", WS_CHILD | WS_TABSTOP, 0, 50, 200, 30,
                                parent_, reinterpret_cast<HMENU>(77), instance_, nullptr);
  ASSERT_NE(made, nullptr);
  CSStaticHTML* own = CSStaticHTML::FromControl(made);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(test::TextOf(made), L"<I>made</I>");

  ASSERT_TRUE(own->MakeLink());
  EXPECT_EQ(own->GetHTMLText(), L"<A><I>made</I></A>");
  MSG key = {made, WM_KEYDOWN, VK_SPACE, 0};
  EXPECT_TRUE(::SendMessageW(made, WM_GETDLGCODE, VK_SPACE, reinterpret_cast<LPARAM>(&key)) & DLGC_WANTALLKEYS);
  key.wParam = 'A';
  EXPECT_FALSE(::SendMessageW(made, WM_GETDLGCODE, 'A', reinterpret_cast<LPARAM>(&key)) & DLGC_WANTALLKEYS);
  Commands();
  ::SendMessageW(made, WM_KEYUP, VK_RETURN, 0);
  ::SendMessageW(made, WM_KEYUP, 'A', 0);
  const MarkupRect r = own->GetLinks().GetAt(0).GetRects().at(0);
  ::SendMessageW(made, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(r.left, r.top));
  EXPECT_EQ(Commands(), (std::vector<int>{77, 77}));

  own->MakeHtml(L"a<b>\nc");
  EXPECT_EQ(own->GetHTMLText(), L"<A>a&lt;b&gt;<BR>c</A>");
  ::DestroyWindow(made);  // deletes its object; a leak or double delete would show under a checker
  ::DestroyWindow(stat);
}

TEST_F(StaticHtmlTest, PaintsItsTextOverItsBackgroundColour) {
  CSStaticHTML ctl;
  ASSERT_TRUE(ctl.Create(parent_, 9, RECT{0, 0, 200, 40}, L"<RED>MMMM</RED>", 0, instance_));
  LOGFONTW lf = ctl.GetTools().GetLogFont();
  lf.lfHeight = -20;
  lf.lfQuality = NONANTIALIASED_QUALITY;
  ctl.GetTools().SetCustomFont(lf);
  ctl.SetBkgColor(RGB(0, 255, 0));

  const test::Canvas canvas(200, 40);
  ASSERT_TRUE(canvas.Ok());
  canvas.Print(ctl.GetHwnd());
  EXPECT_EQ(canvas.At(199, 39), RGB(0, 255, 0));

  // The real paint path, on a shown window, must leave the same link list behind.
  ::ShowWindow(parent_, SW_SHOWNA);
  ::UpdateWindow(ctl.GetHwnd());
  EXPECT_EQ(ctl.GetLinks().GetCount(), 0u);
  ::ShowWindow(parent_, SW_HIDE);
}

TEST(DrawHtml, RedTextReachesThePixelsAndMeasuringDrawsNothing) {
  const int cx = 360, cy = 80;
  const test::Canvas canvas(cx, cy);
  ASSERT_TRUE(canvas.Ok());
  HDC dc = canvas.Dc();
  RECT all = {0, 0, cx, cy};
  ::FillRect(dc, &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));

  DrawHTMLTools tools;
  LOGFONTW lf = tools.GetLogFont();
  lf.lfHeight = -24;
  lf.lfQuality = NONANTIALIASED_QUALITY;  // solid pixels of exactly the text colour
  tools.SetCustomFont(lf);
  DrawHTML draw;
  draw.SetLinkCmdID(10);
  const std::wstring text = L"<B>Plain <RED>MMMM</RED></B><BR><A2>link</A2>";

  RECT measure = {0, 0, cx, 0};
  DrawHTMLLinks links;
  ASSERT_TRUE(draw.Draw(DrawMode::kMeasure, dc, &measure, text.c_str(), text.size(), &links, tools));
  EXPECT_GT(measure.bottom, 30) << "two lines of a 24-pixel font";
  EXPECT_EQ(::GetPixel(dc, cx / 4, 12), RGB(255, 255, 255)) << "measuring paints nothing";
  ASSERT_EQ(links.GetCount(), 1u);

  ::SetTextColor(dc, RGB(0, 0, 0));
  RECT area = {0, 0, cx, cy};
  ASSERT_TRUE(draw.Draw(DrawMode::kDraw, dc, &area, text.c_str(), text.size(), &links, tools));
  int red = 0, black = 0;
  for (int y = 0; y < measure.bottom; ++y)
    for (int x = 0; x < cx; ++x) {
      const COLORREF c = ::GetPixel(dc, x, y);
      red += c == RGB(128, 0, 0);
      black += c == RGB(0, 0, 0);
    }
  EXPECT_GT(red, 20) << "the RED run is drawn in (128, 0, 0)";
  EXPECT_GT(black, 20) << "the plain run in the DC's text colour";
  EXPECT_FALSE(draw.Draw(DrawMode::kDraw, nullptr, &area, text.c_str(), text.size(), nullptr, tools));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

}  // namespace
}  // namespace tv
#else
TEST(StaticHtml, OnlyOnWindows) { GTEST_SKIP() << "windows exist on the Windows build only"; }
#endif
