// Every dialog the product shows, laid out at 100 % and at 150 % scaling (Wine takes the screen's
// density from HKCU\Control Panel\Desktop\LogPixels when a process starts): no two visible
// controls overlap, each lies inside the dialog, and each text fits its control in the font the
// control draws with. The test starts itself again at each density; that child opens the main
// dialog (through TV64.DLL, as Tarnvale64.EXE does), the schedule editor, the Activity dialog and
// the extended message box as the warning and as a mark-up box, and reports what does not fit.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "config_ui/win32/dlg_activity.h"
#include "config_ui/main_dialog_ids.h"
#include "config_ui/win32/dlg_schedule.h"
#include "entry/launcher_location.h"
#include "foundation/markup_tokenizer.h"
#include "settings/my_opts.h"
#include "support/ui_driver.h"
#include "ui/msg_box.h"
#include "ui/msg_box_ids.h"
#include "ui/win32/dpi.h"

#include <commctrl.h>

namespace tv {
namespace {

constexpr wchar_t kDpiVariable[] = L"TV_LAYOUT_DPI";
constexpr wchar_t kReportVariable[] = L"TV_LAYOUT_REPORT";
constexpr wchar_t kDesktopKey[] = L"Control Panel\\Desktop";
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";
constexpr std::uint32_t kWarningFlags = 0x50030;  // the agent's: warning icon, topmost, foreground
constexpr std::uint32_t kMarkupFlag = 0x20000000;

std::wstring Variable(const wchar_t* name) {
  wchar_t value[MAX_PATH] = {};
  const ::DWORD n = ::GetEnvironmentVariableW(name, value, MAX_PATH);
  return n > 0 && n < MAX_PATH ? std::wstring(value, n) : std::wstring();
}

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = {};
  ::GetClassNameW(window, name, 64);
  return name;
}

std::wstring TextOfControl(HWND window) {
  std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(::GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

std::string Narrow(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out += c < 128 ? static_cast<char>(c) : '?';
  return out;
}

std::string Describe(const RECT& r) {
  std::ostringstream s;
  s << "(" << r.left << "," << r.top << " " << r.right - r.left << "x" << r.bottom - r.top << ")";
  return s.str();
}

// A control that only frames or backs others: a group box, or a static drawn as a rectangle or
// frame (the message box's white band). It may hold controls; it may not cut through one.
bool IsContainer(HWND control) {
  const LONG style = static_cast<LONG>(::GetWindowLongPtrW(control, GWL_STYLE));
  const std::wstring cls = ClassOf(control);
  if (cls == L"Button") return (style & BS_TYPEMASK) == BS_GROUPBOX;
  if (cls != L"Static") return false;
  const LONG type = style & SS_TYPEMASK;
  return type >= SS_BLACKRECT && type <= SS_WHITEFRAME;
}

bool IsSpinOf(HWND spin, HWND buddy) {
  return ClassOf(spin) == L"msctls_updown32" && reinterpret_cast<HWND>(::SendMessageW(spin, UDM_GETBUDDY, 0, 0)) == buddy;
}

bool Contains(const RECT& outer, const RECT& inner) {
  return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right && inner.bottom <= outer.bottom;
}

bool Overlap(const RECT& a, const RECT& b) {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

// The size the control's text needs in its own font, and the room it has for it; false for a
// control without text to fit.
bool TextNeeds(HWND control, int dpi, SIZE& need, SIZE& room) {
  const std::wstring cls = ClassOf(control);
  const LONG style = static_cast<LONG>(::GetWindowLongPtrW(control, GWL_STYLE));
  std::wstring text = TextOfControl(control);
  if (text.find(L'<') != std::wstring::npos) text = StripMarkupTags(text.c_str(), text.size());
  if (text.empty()) return false;
  RECT client{};
  ::GetClientRect(control, &client);
  room = {client.right, client.bottom};
  UINT format = DT_CALCRECT | DT_EXPANDTABS;
  int extraWidth = 0;
  bool wraps = false;
  if (cls == L"Button") {
    const LONG type = style & BS_TYPEMASK;
    if (type == BS_CHECKBOX || type == BS_AUTOCHECKBOX || type == BS_3STATE || type == BS_AUTO3STATE ||
        type == BS_RADIOBUTTON || type == BS_AUTORADIOBUTTON) {
      extraWidth = ScaleForDpi(13 + 4, dpi);  // the box and the gap before the text
    } else if (type == BS_GROUPBOX) {
      extraWidth = ScaleForDpi(2 * 8, dpi);
    } else {
      extraWidth = ScaleForDpi(2 * 3, dpi);  // the button's edge on both sides
    }
    wraps = (style & BS_MULTILINE) != 0;
    if (type == BS_GROUPBOX) room.cy = client.bottom;  // only the caption line counts below
  } else if (cls == L"Static") {
    const LONG type = style & SS_TYPEMASK;
    if (type != SS_LEFT && type != SS_CENTER && type != SS_RIGHT && type != SS_LEFTNOWORDWRAP) return false;
    wraps = type != SS_LEFTNOWORDWRAP;
    if (style & SS_NOPREFIX) format |= DT_NOPREFIX;
  } else {
    return false;
  }
  HDC dc = ::GetDC(control);
  HGDIOBJ old = ::SelectObject(dc, reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0)));
  // A word longer than the line, or a text that may not wrap, comes back wider than the room.
  RECT r{0, 0, std::max(1L, room.cx - extraWidth), 0};
  ::DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &r, format | (wraps ? DT_WORDBREAK : DT_SINGLELINE));
  ::SelectObject(dc, old);
  ::ReleaseDC(control, dc);
  need = {r.right + extraWidth, r.bottom};
  return true;
}

// Everything about `dialog`'s layout that would show as cut or covered text.
void CheckLayout(HWND dialog, const std::string& name, int dpi, std::vector<std::string>& problems) {
  RECT client{};
  ::GetClientRect(dialog, &client);
  struct Control {
    HWND hwnd;
    RECT rect;
    std::string label;
  };
  std::vector<Control> controls;
  for (HWND child = ::GetWindow(dialog, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
    if (!::IsWindowVisible(child)) continue;
    RECT r{};
    ::GetWindowRect(child, &r);
    ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&r), 2);
    std::ostringstream label;
    label << name << " @" << dpi << " dpi: " << Narrow(ClassOf(child)) << " " << ::GetDlgCtrlID(child) << " \""
          << Narrow(TextOfControl(child)).substr(0, 40) << "\" " << Describe(r);
    controls.push_back({child, r, label.str()});
    if (!Contains(client, r)) problems.push_back(controls.back().label + " lies outside the client area " + Describe(client));
    SIZE need{}, room{};
    if (TextNeeds(child, dpi, need, room) && (need.cx > room.cx || need.cy > room.cy)) {
      std::ostringstream s;
      s << controls.back().label << ": the text needs " << need.cx << "x" << need.cy << " and has " << room.cx << "x"
        << room.cy;
      problems.push_back(s.str());
    }
  }
  for (std::size_t i = 0; i < controls.size(); ++i)
    for (std::size_t j = i + 1; j < controls.size(); ++j) {
      const Control& a = controls[i];
      const Control& b = controls[j];
      if (!Overlap(a.rect, b.rect)) continue;
      if ((IsContainer(a.hwnd) && Contains(a.rect, b.rect)) || (IsContainer(b.hwnd) && Contains(b.rect, a.rect))) continue;
      // An up-down control stands on its number field's border, as the system places it.
      if (IsSpinOf(a.hwnd, b.hwnd) || IsSpinOf(b.hwnd, a.hwnd)) continue;
      problems.push_back(a.label + " overlaps " + b.label);
    }
}

// The dialog open on this thread, checked once it has been shown and then closed.
struct Inspection {
  std::string name;
  int dpi = 0;
  std::vector<std::string>* problems = nullptr;
  // Runs first: fills the dialog with what it shows in use, or checks its own drawing. May be empty.
  std::function<void(HWND dialog)> extra;
  bool checked = false;
  int ticks = 0;
};
thread_local Inspection* g_inspection = nullptr;

BOOL CALLBACK FindShownDialog(HWND hwnd, LPARAM found) {
  if (ClassOf(hwnd) != L"#32770" || !::IsWindowVisible(hwnd)) return TRUE;
  *reinterpret_cast<HWND*>(found) = hwnd;
  return FALSE;
}

void CALLBACK OnInspectTimer(HWND, UINT, UINT_PTR, ::DWORD) {
  Inspection* inspection = g_inspection;
  if (!inspection) return;
  HWND dialog = nullptr;
  ::EnumThreadWindows(::GetCurrentThreadId(), &FindShownDialog, reinterpret_cast<LPARAM>(&dialog));
  ++inspection->ticks;
  if (!dialog) return;
  // A few ticks let the dialog finish what it posts to itself after it shows.
  if (!inspection->checked && inspection->ticks >= 6) {
    const int windowDpi = WindowDpi(dialog);
    if (windowDpi != inspection->dpi) {
      std::ostringstream s;
      s << inspection->name << ": the dialog is shown at " << windowDpi << " dpi, not " << inspection->dpi;
      inspection->problems->push_back(s.str());
    }
    if (inspection->extra) inspection->extra(dialog);
    CheckLayout(dialog, inspection->name, inspection->dpi, *inspection->problems);
    inspection->checked = true;
  }
  if (inspection->checked) ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
  if (inspection->ticks > 200) ::DestroyWindow(dialog);  // a dialog that will not close
}

void Inspect(const std::string& name, int dpi, std::vector<std::string>& problems, const std::function<void()>& show,
             std::function<void(HWND)> extra = nullptr) {
  Inspection inspection{name, dpi, &problems, std::move(extra)};
  g_inspection = &inspection;
  const UINT_PTR timer = ::SetTimer(nullptr, 0, 50, &OnInspectTimer);
  show();
  ::KillTimer(nullptr, timer);
  g_inspection = nullptr;
  if (!inspection.checked) problems.push_back(name + ": the dialog did not show");
}

// Runs in the child: every dialog at the density this process was started with.
std::vector<std::string> InspectEveryDialog(int dpi) {
  std::vector<std::string> problems;
  // This program carries the product's manifest: the system reads its awareness from there.
  using GetContextFn = HANDLE(WINAPI*)();
  using GetAwarenessFn = int(WINAPI*)(HANDLE);
  HMODULE user32 = ::GetModuleHandleW(L"user32.dll");
  auto context = reinterpret_cast<GetContextFn>(reinterpret_cast<void*>(::GetProcAddress(user32, "GetThreadDpiAwarenessContext")));
  auto awareness = reinterpret_cast<GetAwarenessFn>(
      reinterpret_cast<void*>(::GetProcAddress(user32, "GetAwarenessFromDpiAwarenessContext")));
  if (context && awareness && awareness(context()) != 2)  // DPI_AWARENESS_PER_MONITOR_AWARE
    problems.push_back("the process is not per-monitor DPI aware (awareness " + std::to_string(awareness(context())) + ")");
  HMODULE library = ::LoadLibraryW((test::LauncherFolder() + L"TV64.DLL").c_str());
  if (!library) return {"TV64.DLL cannot be loaded"};
  MsgSetResourceModule(library);

  using EntryFn = int (*)(HINSTANCE, const wchar_t*, int);
  auto mainEntry = reinterpret_cast<EntryFn>(reinterpret_cast<void*>(::GetProcAddress(library, "DoWinMainCFG")));
  // Without the service the status panel says little; these are its longest texts in use.
  const auto busyStatus = [](HWND dialog) {
    ::SetDlgItemTextW(dialog, IDC_STATUS_LINE1,
                      L"Monitoring 12 user session(s) on this computer, as a group policy sets. CPU load: 100%");
    ::SetDlgItemTextW(dialog, IDC_STATUS_LINE2,
                      L"No activity for 23 hours 59 minutes and 59 seconds. Outside the schedule: nobody is logged "
                      L"off now.");
  };
  Inspect("main dialog", dpi, problems, [&] {
    if (mainEntry) mainEntry(library, L"", SW_SHOWNORMAL);
  }, busyStatus);

  DlgSchedule schedule(L"Mon 8:00-18:00, Tue 8:00-18:00, Wed 8:00-18:00, Thu 8:00-18:00, Fri 8:00-18:00, ");
  // The grid draws its week, the hour scale and two lines of legend and selection in its own
  // pixels: all of it has to stay inside the control.
  const auto gridFits = [&](HWND dialog) {
    HWND grid = ::GetDlgItem(dialog, IDC_SCHEDULE_GRID);
    auto* ctrl = static_cast<ScheduleCtrl*>(CSWnd::FromHandle(grid));
    if (!ctrl || !ctrl->IsKindOf(L"ScheduleCtrl")) return problems.push_back("schedule editor: no grid");
    RECT client{};
    ::GetClientRect(grid, &client);
    const PixelRect week = ctrl->Model().GridRect();
    HDC dc = ::GetDC(grid);
    HGDIOBJ old = ::SelectObject(dc, reinterpret_cast<HFONT>(::SendMessageW(grid, WM_GETFONT, 0, 0)));
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    SIZE legend{};
    ::GetTextExtentPoint32W(dc, L"Legend: Active Inactive", 23, &legend);
    ::SelectObject(dc, old);
    ::ReleaseDC(grid, dc);
    const int gridDpi = WindowDpi(grid);
    const int right = DesignToDevice(week.right, gridDpi) + 1;
    const int bottom = DesignToDevice(week.bottom, gridDpi) + ScaleForDpi(6 + 2, gridDpi) + 2 * metrics.tmHeight;
    const int scaleRoom = DesignToDevice(week.top, gridDpi) - ScaleForDpi(2 * 2, gridDpi);
    const int legendRight = DesignToDevice(week.left, gridDpi) + legend.cx + 2 * ScaleForDpi(10 + 4 + 6, gridDpi);
    std::ostringstream s;
    if (right > client.right) s << " the week ends at x " << right << " in a grid " << client.right << " wide;";
    if (legendRight > client.right) s << " the legend ends at x " << legendRight << ";";
    if (bottom > client.bottom) s << " the legend ends at y " << bottom << " in a grid " << client.bottom << " high;";
    if (scaleRoom < metrics.tmHeight)
      s << " the hour scale has " << scaleRoom << " pixels for a " << metrics.tmHeight << "-pixel font;";
    if (!s.str().empty()) problems.push_back("schedule editor @" + std::to_string(dpi) + " dpi:" + s.str());
  };
  Inspect("schedule editor", dpi, problems, [&] { schedule.Run(library, nullptr); }, gridFits);

  MyOpts opts;
  opts.KeepAliveAudio = opts.KeepAlivePresentation = 1;
  opts.KeepAliveProcesses = {L"render.exe", L"blender*"};
  DlgActivity activity(opts, false);
  Inspect("Activity dialog", dpi, problems, [&] { activity.Run(library, nullptr); });

  wchar_t warning[1024] = {};
  ::LoadStringW(library, IDS_WARNING_TEXT_LOCKED, warning, 1024);
  std::wstring text = warning;
  if (const std::size_t at = text.find(L"%d"); at != std::wstring::npos) text.replace(at, 2, L"5");
  int dontShow = 0;
  Inspect("warning", dpi, problems, [&] { MsgEx(nullptr, kWarningFlags, text.c_str(), &dontShow); });
  // Moved to a monitor of another density, a dialog takes the rectangle the system suggests.
  const auto movesToSuggestedRect = [&](HWND dialog) {
    RECT before{};
    ::GetWindowRect(dialog, &before);
    RECT suggested{before.left + 10, before.top + 10, before.right + 30, before.bottom + 30};
    ::SendMessageW(dialog, WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&suggested));
    RECT after{};
    ::GetWindowRect(dialog, &after);
    if (!::EqualRect(&after, &suggested))
      problems.push_back("mark-up box: after WM_DPICHANGED at " + Describe(after) + ", not " + Describe(suggested));
  };
  Inspect("mark-up box", dpi, problems, [&] {
    MsgEx(nullptr, kMarkupFlag | MB_ICONINFORMATION | MB_YESNOCANCEL,
          L"<B>Tarnvale</B> is <I>not</I> running.<BR>Open the <A>service settings</A> to start it, or press "
          L"<B>Cancel</B> to leave it stopped.");
  }, movesToSuggestedRect);
  return problems;
}

// Sets the density new processes start with, and puts the old one back when it goes.
class LogPixels {
 public:
  explicit LogPixels(::DWORD dpi) {
    ::DWORD size = sizeof(old_);
    hadOld_ = ::RegGetValueW(HKEY_CURRENT_USER, kDesktopKey, L"LogPixels", RRF_RT_REG_DWORD, nullptr, &old_, &size) ==
              ERROR_SUCCESS;
    ok_ = ::RegSetKeyValueW(HKEY_CURRENT_USER, kDesktopKey, L"LogPixels", REG_DWORD, &dpi, sizeof(dpi)) == ERROR_SUCCESS;
  }
  ~LogPixels() {
    if (hadOld_)
      ::RegSetKeyValueW(HKEY_CURRENT_USER, kDesktopKey, L"LogPixels", REG_DWORD, &old_, sizeof(old_));
    else
      ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kDesktopKey, L"LogPixels");
  }
  bool Ok() const { return ok_; }

 private:
  ::DWORD old_ = 96;
  bool hadOld_ = false;
  bool ok_ = false;
};

TEST(DialogLayoutChild, EveryDialogAtThisDensity) {
  const std::wstring dpiText = Variable(kDpiVariable);
  if (dpiText.empty()) GTEST_SKIP() << "runs only when DialogLayout starts it";
  const int dpi = static_cast<int>(std::wcstol(dpiText.c_str(), nullptr, 10));
  // The one-time notices would stand before the main dialog.
  const ::DWORD noNotices = 0x1 | 0x4 | 0x8;
  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, L"Config", REG_DWORD, &noNotices, sizeof(noNotices));
  const std::vector<std::string> problems = InspectEveryDialog(dpi);
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
  std::ofstream report(Variable(kReportVariable).c_str());
  for (const std::string& problem : problems) report << problem << "\n";
  EXPECT_TRUE(problems.empty());
}

// The executables that show the product's windows carry one manifest, with everything that
// decides how those windows look: the themed controls, the DPI awareness, the systems it knows.
TEST(ProductManifest, TheLauncherAndTheUtilityDeclareControlsDpiAwarenessAndSystems) {
  for (const wchar_t* exe : {L"TV64.EXE", L"Tarnvale64.EXE"}) {
    SCOPED_TRACE(Narrow(exe));
    HMODULE image = ::LoadLibraryExW((test::LauncherFolder() + exe).c_str(), nullptr,
                                     LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    ASSERT_NE(image, nullptr);
    int manifests = 0;
    ::EnumResourceNamesW(
        image, RT_MANIFEST, [](HMODULE, LPCWSTR, LPWSTR, LONG_PTR count) { return ++*reinterpret_cast<int*>(count), TRUE; },
        reinterpret_cast<LONG_PTR>(&manifests));
    EXPECT_EQ(manifests, 1) << "a second manifest would make the loader refuse the program";
    HRSRC found = ::FindResourceW(image, MAKEINTRESOURCEW(1), RT_MANIFEST);
    ASSERT_NE(found, nullptr) << "no manifest with the id the loader reads";
    const char* data = static_cast<const char*>(::LockResource(::LoadResource(image, found)));
    const std::string manifest(data, ::SizeofResource(image, found));
    for (const char* wanted :
         {"name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\"", ">PerMonitorV2, PerMonitor</dpiAwareness>",
          ">true/pm</dpiAware>", "level=\"asInvoker\"", "{e2011457-1546-43c5-a5fe-008deee3d3f0}",
          "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}", "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
          "{1f676c76-80e1-4239-95bb-83d0f6d0da78}", "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"}) {
      EXPECT_NE(manifest.find(wanted), std::string::npos) << wanted;
    }
    ::FreeLibrary(image);
  }
}

TEST(DialogLayout, EveryDialogFitsAt100And150PercentScaling) {
  wchar_t self[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, self, MAX_PATH);
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  for (const ::DWORD dpi : {96UL, 144UL}) {
    SCOPED_TRACE(testing::Message() << dpi << " dpi");
    const std::wstring reportPath = std::wstring(folder) + L"tv-layout-" + std::to_wstring(dpi) + L".txt";
    ::DeleteFileW(reportPath.c_str());
    int exitCode = -1;
    {
      LogPixels density(dpi);
      ASSERT_TRUE(density.Ok());
      ::SetEnvironmentVariableW(kDpiVariable, std::to_wstring(dpi).c_str());
      ::SetEnvironmentVariableW(kReportVariable, reportPath.c_str());
      test::ChildProcess child;
      const BOOL started = child.Start(self, L"--gtest_filter=DialogLayoutChild.* --gtest_brief=1");
      ::SetEnvironmentVariableW(kDpiVariable, nullptr);
      ::SetEnvironmentVariableW(kReportVariable, nullptr);
      ASSERT_TRUE(started);
      exitCode = child.Wait(120000);
    }
    std::ifstream report(reportPath.c_str());
    std::stringstream problems;
    problems << report.rdbuf();
    EXPECT_EQ(exitCode, 0) << "the child did not finish cleanly";
    EXPECT_EQ(problems.str(), "") << "at " << dpi << " dpi";
    EXPECT_TRUE(report.is_open()) << "the child wrote no report";
  }
}

}  // namespace
}  // namespace tv

#endif  // _WIN32
