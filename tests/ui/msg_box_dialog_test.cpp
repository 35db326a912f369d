// The extended message box as a real dialog (Wine on the Windows build), driven from its own
// timer callback the way the warning drives it.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>
#include <vector>

#include "entry/launcher_location.h"
#include "ui/msg_box.h"
#include "ui/msg_box_ids.h"
#include "foundation/app_message.h"
#include "foundation/string_table.h"
#include "platform/win32/windows_include.h"
#include "support/ui_driver.h"

namespace tv {
namespace {

// What the test's timer callback does: at tick `at`, press `id` (or post it as the application
// message when `byMessage`), after recording what the box showed.
struct Script {
  int at = 0;
  int id = 0;
  bool byMessage = false;
  bool checkBox = false;
  std::vector<std::wstring> captions;
  std::vector<bool> visible;
  std::wstring text;
  std::wstring caption;
  int iconWidth = 0;
  int ticks = 0;
};

using test::ItemText;

// Presses `id` at the first tick.
Script Pressing(int id, bool byMessage = false) {
  Script s;
  s.at = 1;
  s.id = id;
  s.byMessage = byMessage;
  return s;
}

int Drive(void* box, int tick, void* context) {
  auto* s = static_cast<Script*>(context);
  HWND hwnd = static_cast<HWND>(box);
  s->ticks = tick + 1;
  if (tick == 0) {
    s->text = ItemText(hwnd, IDC_MSGEX_TEXT);
    s->caption = test::TextOf(hwnd);
    HICON icon = reinterpret_cast<HICON>(::SendDlgItemMessageW(hwnd, IDC_MSGEX_ICON, STM_GETICON, 0, 0));
    ICONINFO info{};
    if (icon && ::GetIconInfo(icon, &info)) {
      BITMAP bm{};
      ::GetObjectW(info.hbmColor ? info.hbmColor : info.hbmMask, sizeof(bm), &bm);
      s->iconWidth = bm.bmWidth;
      if (info.hbmColor) ::DeleteObject(info.hbmColor);
      if (info.hbmMask) ::DeleteObject(info.hbmMask);
    }
    for (int id : {IDC_MSGEX_BUTTON1, IDC_MSGEX_BUTTON2, IDC_MSGEX_BUTTON3}) {
      s->captions.push_back(ItemText(hwnd, id));
      s->visible.push_back(::IsWindowVisible(::GetDlgItem(hwnd, id)) != FALSE);
    }
    if (s->checkBox) ::CheckDlgButton(hwnd, IDC_MSGEX_DONTSHOW, BST_CHECKED);
  }
  if (tick == 40) return IDC_MSGEX_BUTTON3;  // a test gone wrong must still end
  if (tick != s->at) return 0;
  if (!s->byMessage) return s->id;
  ::PostMessageW(hwnd, GetAppMessage(), kCmdPressControl, s->id);
  return 0;
}

class MsgBoxDialog : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    module_ = ::LoadLibraryW((test::LauncherFolder() + L"TV64.DLL").c_str());
    ASSERT_NE(module_, nullptr);
    MsgSetResourceModule(module_);
  }
  void TearDown() override {
    MsgExSetTimerCallback(0, nullptr, nullptr);
    MsgExSetButtonCallback(nullptr, nullptr);
    MsgExSetActivatePrevID(0);
  }
  int Run(std::uint32_t flags, Script& s, int* dontShow = nullptr, const wchar_t* text = L"Proceed?") {
    MsgExSetTimerCallback(50, &Drive, &s);
    return MsgEx(nullptr, flags, text, dontShow);
  }
  static HMODULE module_;
};
HMODULE MsgBoxDialog::module_ = nullptr;

// Which result each button of each set gives is msg_box_rules_test's; here, that a click and the
// application message reach the buttons and the box shows the set, text and icon it was given.
TEST_F(MsgBoxDialog, ButtonsShowTheirSetAndAnswerByIdOrByTheApplicationMessage) {
  Script yesNo = Pressing(IDC_MSGEX_BUTTON3, true);
  EXPECT_EQ(Run(3 | 0x4000000, yesNo), 2);
  EXPECT_EQ(yesNo.text, L"Proceed?");
  EXPECT_EQ(yesNo.caption, L"Tarnvale");
  EXPECT_EQ(yesNo.captions, (std::vector<std::wstring>{L"&Yes", L"&No", L"&Ignore"}));
  EXPECT_EQ(yesNo.visible, (std::vector<bool>{true, true, true}));
  EXPECT_EQ(MsgExGetCurrentBox(), nullptr) << "the box is gone";
  EXPECT_EQ(yesNo.iconWidth, 48) << "the product's icon at the size for a 96-dpi screen";

  Script ok = Pressing(IDC_MSGEX_BUTTON1);
  EXPECT_EQ(Run(1, ok), 1);
  EXPECT_EQ(ok.visible, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(ok.captions[2], L"&Cancel");
}

TEST_F(MsgBoxDialog, StringNumbersComeFromTheResourceModuleWithTheWarningTexts) {
  // TV64.DLL's string table carries the warning's texts exactly as the built-in table does.
  for (int id : {IDS_WARNING_TEXT, IDS_WARNING_TEXT_LOCKED}) {
    const wchar_t* text = nullptr;
    const int n = ::LoadStringW(module_, id, reinterpret_cast<LPWSTR>(&text), 0);
    ASSERT_GT(n, 0) << id;
    EXPECT_EQ(std::wstring(text, n), ResolveMsgText(MsgId(-id)));
    EXPECT_EQ(std::wstring(text, n), LoadStr(id));
  }
  Script s = Pressing(IDOK);
  EXPECT_EQ(Run(0, s, nullptr, MsgId(-IDS_WARNING_TEXT)), 1);
  EXPECT_EQ(s.text, LoadStr(IDS_WARNING_TEXT)) << "a negative number shows that string";
}

int Veto(void*, int id, void* context) {
  auto* asked = static_cast<std::vector<int>*>(context);
  asked->push_back(id);
  return asked->size() > 1;  // the first close is refused
}

TEST_F(MsgBoxDialog, ButtonCallbackCanKeepTheBoxOpenAndTimerTextChangesAreReadable) {
  std::vector<int> asked;
  MsgExSetButtonCallback(&Veto, &asked);
  Script s = Pressing(IDC_MSGEX_BUTTON1);
  // The first press is vetoed; the test's last-resort press at tick 40 then closes it.
  EXPECT_EQ(Run(0, s), 2);
  EXPECT_EQ(asked, (std::vector<int>{1, IDC_MSGEX_BUTTON3}));
  EXPECT_GE(s.ticks, 41);
}

TEST_F(MsgBoxDialog, DontShowAgainIsWrittenBackAndThenAnswersForTheBox) {
  int dontShow = 0;
  Script s = Pressing(IDC_MSGEX_BUTTON2);
  s.checkBox = true;
  EXPECT_EQ(Run(4, s, &dontShow), 7);
  EXPECT_EQ(dontShow, 1);

  Script quiet;  // never presses: only the default button can end the box before tick 40
  quiet.at = -1;
  EXPECT_EQ(Run(3 | 0x100, quiet, &dontShow), 7) << "the second button is the default";
  EXPECT_LT(quiet.ticks, 40);
}

int OpenSecond(void* box, int tick, void* context) {
  auto* inner = static_cast<int*>(context);
  if (tick == 0) {
    *inner = MsgEx(nullptr, 0, L"second");  // must not open while this one shows the same id
    return 0;
  }
  return tick >= 1 ? IDC_MSGEX_BUTTON1 : 0;
}

TEST_F(MsgBoxDialog, AnOpenBoxWithTheSameIdIsActivatedInsteadOfASecondOne) {
  MsgExSetActivatePrevID(77);
  int inner = -1;
  MsgExSetTimerCallback(50, &OpenSecond, &inner);
  EXPECT_EQ(MsgEx(nullptr, 0, L"first"), 1);
  EXPECT_EQ(inner, 0) << "the open box answered for the second";
}

}  // namespace
}  // namespace tv

#else
TEST(MsgBoxDialog, WindowsOnly) { GTEST_SKIP() << "the dialog exists on Windows only"; }
#endif
