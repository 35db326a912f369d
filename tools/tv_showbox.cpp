// tv-showbox: shows one of the product's boxes or dialogs for a few seconds so that a screenshot
// can be taken of it (scripts/screenshots.sh). Windows only; loads the resources from TV64.DLL in
// its own folder.
//
//   tv-showbox warning|fullscreen|markup|sample|schedule|custom-msg|data-loss|activity [seconds]
#include <cwchar>
#include <cwctype>
#include <string>

#include "agent/warning.h"
#include "config_ui/main_dialog_ids.h"
#include "ui/msg_box.h"
#include "ui/msg_box_ids.h"
#include "config_ui/win32/dlg_activity.h"
#include "config_ui/win32/dlg_custom_msg.h"
#include "config_ui/win32/dlg_schedule.h"
#include "config_ui/win32/dlg_warning_data_loss.h"
#include "foundation/app_message.h"
#include "platform/win32/windows_include.h"
#include "settings/my_opts.h"

namespace {

constexpr std::uint32_t kMarkup = 0x20000000;

std::wstring OwnFolder() {
  wchar_t path[MAX_PATH * 2] = {};
  const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH * 2);
  std::wstring folder(path, n);
  return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

// A stand-in for the session's monitor window: the warning stretches it over the screen.
LRESULT CALLBACK BackdropProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_ERASEBKGND) {
    RECT r{};
    ::GetClientRect(hwnd, &r);
    HBRUSH brush = ::CreateSolidBrush(RGB(24, 38, 64));
    ::FillRect(reinterpret_cast<HDC>(wParam), &r, brush);
    ::DeleteObject(brush);
    return 1;
  }
  return ::DefWindowProcW(hwnd, message, wParam, lParam);
}

unsigned g_closeAfterTicks = 8;

int CloseLater(void*, int tick, void*) { return tick >= static_cast<int>(g_closeAfterTicks) ? 27011 : 0; }

void CALLBACK CloseWarning(HWND, UINT, UINT_PTR id, DWORD) {
  if (void* box = tv::GetOpenWarningBox()) {
    ::KillTimer(nullptr, id);
    ::PostMessageW(static_cast<HWND>(box), tv::GetAppMessage(), tv::kCmdPressControl, IDOK);
  }
}

int ShowWarningBox(bool fullScreen, unsigned seconds) {
  HWND backdrop = nullptr;
  if (fullScreen) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = &BackdropProc;
    wc.hInstance = ::GetModuleHandleW(nullptr);
    wc.lpszClassName = L"TARNVALE_MONITOR";
    ::RegisterClassW(&wc);
    backdrop = ::CreateWindowExW(WS_EX_TOOLWINDOW, wc.lpszClassName, L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                 wc.hInstance, nullptr);
  }
  tv::MyOpts opts;
  opts.MessageTimeout = 5;
  opts.FullScreen = fullScreen;
  ::SetTimer(nullptr, 0, seconds * 1000, &CloseWarning);
  const int result = tv::ShowWarning(nullptr, opts);
  if (backdrop) ::DestroyWindow(backdrop);
  return result;
}

tv::CSDlg* g_dialog = nullptr;

void CALLBACK CloseDialog(HWND, UINT, UINT_PTR id, DWORD) {
  ::KillTimer(nullptr, id);
  if (g_dialog) g_dialog->End(IDCANCEL);
}

// Selects Saturday 10:00 to 14:00 with the mouse, so that the picture shows a selection and its
// description under the grid.
void CALLBACK SelectSaturday(HWND, UINT, UINT_PTR id, DWORD) {
  ::KillTimer(nullptr, id);
  HWND grid = g_dialog ? g_dialog->Item(IDC_SCHEDULE_GRID) : nullptr;
  auto* ctrl = static_cast<tv::ScheduleCtrl*>(tv::CSWnd::FromHandle(grid));
  if (!ctrl || !ctrl->IsKindOf(L"ScheduleCtrl")) return;
  const tv::PixelRect from = ctrl->Model().HourRect(5, 10);
  const tv::PixelRect to = ctrl->Model().HourRect(5, 13);
  ::SendMessageW(grid, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(from.left + 1, from.top + 1));
  ::SendMessageW(grid, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(to.right - 1, to.bottom - 1));
  ::SendMessageW(grid, WM_LBUTTONUP, 0, MAKELPARAM(to.right - 1, to.bottom - 1));
}

template <typename Dialog>
int ShowDialog(Dialog& dialog, HMODULE resources, unsigned seconds) {
  g_dialog = &dialog;
  ::SetTimer(nullptr, 0, seconds * 1000, &CloseDialog);
  const int result = dialog.Run(resources, nullptr);
  g_dialog = nullptr;
  return result >= 0 ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const std::wstring kind = argc > 1 ? argv[1] : L"warning";
  const unsigned seconds = argc > 2 ? static_cast<unsigned>(std::wcstoul(argv[2], nullptr, 10)) : 8;
  HMODULE resources = ::LoadLibraryW((OwnFolder() + L"TV64.DLL").c_str());
  if (!resources) {
    std::fwprintf(stderr, L"tv-showbox: cannot load TV64.DLL beside the program\n");
    return 2;
  }
  tv::MsgSetResourceModule(resources);
  g_closeAfterTicks = seconds ? seconds : 1;
  if (kind == L"warning" || kind == L"fullscreen") return ShowWarningBox(kind == L"fullscreen", seconds) ? 0 : 1;

  if (kind == L"schedule") {
    tv::DlgSchedule dialog(L"Mon 8:00-18:00, Tue 8:00-18:00, Wed 8:00-18:00, Thu 8:00-18:00, Fri 8:00-18:00, ");
    ::SetTimer(nullptr, 0, 200, &SelectSaturday);
    return ShowDialog(dialog, resources, seconds);
  }
  if (kind == L"custom-msg") {
    wchar_t text[512] = {};
    ::LoadStringW(resources, IDS_WARNING_TEXT, text, 512);
    tv::DlgCustomMsg dialog(text, false);
    return ShowDialog(dialog, resources, seconds);
  }
  if (kind == L"activity") {
    tv::MyOpts opts;
    opts.KeepAliveAudio = opts.KeepAlivePresentation = 1;
    opts.KeepAliveProcesses = {L"render.exe", L"blender*", L"ffmpeg.exe"};
    tv::DlgActivity dialog(opts, false);
    return ShowDialog(dialog, resources, seconds);
  }
  if (kind == L"data-loss") {
    tv::DlgWarningDataLoss dialog;
    return ShowDialog(dialog, resources, seconds);
  }

  tv::MsgExSetTimerCallback(1000, &CloseLater, nullptr);
  if (kind == L"markup") {
    int dontShow = 0;
    return tv::MsgEx(nullptr, 3 | 0x20 | kMarkup,
                     L"<B>Settings were changed by a group policy.</B><BR><BR>The settings below are now managed "
                     L"by <A1>Default Domain Policy</A1>; your own values are kept and come back when the "
                     L"policy is removed.<BR><BR>Apply the policy values now? <A2>Learn more</A2>",
                     &dontShow) >= 0 ? 0 : 1;
  }
  if (kind == L"sample") {
    return tv::MsgEx(nullptr, 0 | 0x40 | kMarkup,
                     L"<H>Mark-up sample</H><BR><B>Bold</B>, <I>italic</I>, <U>underlined</U>, <D>struck</D>, "
                     L"<BIG>big</BIG> and <SMALL>small</SMALL> text.<BR>"
                     L"Colours: <RED>red</RED>, <GREEN>green</GREEN>, <BLUE>blue</BLUE>, <GREY>grey</GREY>, "
                     L"<LTRED>light red</LTRED>, <DKGREEN>dark green</DKGREEN>.<BR><BRHALF>"
                     L"Links: <A>first</A>, <A1>second</A1> and <A2><B>a bold one</B></A2>.<BR>"
                     L"<CENTER>A centred line</CENTER><BR><NOBR>Kept whole: <B>5:00</B> minute(s)</NOBR>") >= 0 ? 0 : 1;
  }
  std::fwprintf(stderr,
                L"usage: tv-showbox warning|fullscreen|markup|sample|schedule|custom-msg|data-loss|activity [seconds]\n");
  return 2;
}
