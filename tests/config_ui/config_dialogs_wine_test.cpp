// The main dialog's small dialogs as real windows from TV64.DLL's templates (Wine on the Windows
// build), driven from a thread timer the way a person would press their buttons: the schedule
// editor, the message editor, the data-loss warning, and the account chooser that stands in for
// the system's object picker, which Wine does not really have.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "config_ui/account_chooser_ids.h"
#include "config_ui/main_dialog_ids.h"
#include "config_ui/win32/account_picker.h"
#include "config_ui/win32/dlg_custom_msg.h"
#include "config_ui/win32/dlg_schedule.h"
#include "config_ui/win32/dlg_warning_data_loss.h"
#include "entry/launcher_location.h"
#include "support/ui_driver.h"
#include "ui/msg_box.h"

#include <objsel.h>

namespace tv {
namespace {

// Called every 50 ms with the dialog open on this thread and the tick; answers true when done.
// A dialog still open after 10 s is cancelled, so that a broken test fails instead of hanging.
using Script = std::function<bool(HWND dialog, int tick)>;

struct Driver {
  Script script;
  int tick = 0;
  bool done = false;
};
thread_local Driver* g_driver = nullptr;

BOOL CALLBACK FindDialog(HWND hwnd, LPARAM found) {
  wchar_t name[16] = {};
  ::GetClassNameW(hwnd, name, 16);
  if (std::wstring(name) != L"#32770" || !::IsWindowVisible(hwnd)) return TRUE;
  *reinterpret_cast<HWND*>(found) = hwnd;
  return FALSE;
}

void CALLBACK OnTimer(HWND, UINT, UINT_PTR, ::DWORD) {
  HWND dialog = nullptr;
  ::EnumThreadWindows(::GetCurrentThreadId(), &FindDialog, reinterpret_cast<LPARAM>(&dialog));
  if (!dialog || !g_driver) return;
  if (++g_driver->tick > 200) {
    ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
  } else if (!g_driver->done) {
    g_driver->done = g_driver->script(dialog, g_driver->tick);
  }
}

template <typename Run>
auto Drive(Run run, Script script) {
  Driver driver{std::move(script)};
  g_driver = &driver;
  const UINT_PTR timer = ::SetTimer(nullptr, 0, 50, &OnTimer);
  const auto result = run();
  ::KillTimer(nullptr, timer);
  g_driver = nullptr;
  EXPECT_TRUE(driver.done) << "the script did not finish";
  return result;
}

void Click(HWND dialog, int id) { ::SendMessageW(::GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
bool Enabled(HWND dialog, int id) { return ::IsWindowEnabled(::GetDlgItem(dialog, id)) != FALSE; }

class ConfigDialogs : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    module_ = ::LoadLibraryW((test::LauncherFolder() + L"TV64.DLL").c_str());
    ASSERT_NE(module_, nullptr);
    MsgSetResourceModule(module_);
  }
  void SetUp() override {
    ASSERT_NE(module_, nullptr);
    HINSTANCE instance = ::GetModuleHandleW(nullptr);
    ASSERT_TRUE(CSWnd::RegisterWndClass(L"TvDialogsOwner", instance));
    ASSERT_TRUE(owner_.Create(L"TvDialogsOwner", L"owner", WS_OVERLAPPEDWINDOW, 0, 0, 0, 200, 100, nullptr, nullptr,
                              instance));
  }
  // Drags over the grid from the start of `firstHour` on day `firstRow` (0 = Monday) to the end
  // of `lastHour` on day `lastRow`.
  static void Drag(HWND dialog, int firstRow, int firstHour, int lastRow, int lastHour) {
    HWND grid = ::GetDlgItem(dialog, IDC_SCHEDULE_GRID);
    auto* ctrl = static_cast<ScheduleCtrl*>(CSWnd::FromHandle(grid));
    ASSERT_TRUE(ctrl && ctrl->IsKindOf(L"ScheduleCtrl"));
    const PixelRect from = ctrl->Model().HourRect(firstRow, firstHour);
    const PixelRect to = ctrl->Model().HourRect(lastRow, lastHour);
    ::SendMessageW(grid, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(from.left + 1, from.top + 1));
    ::SendMessageW(grid, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(to.right - 1, to.bottom - 1));
    ::SendMessageW(grid, WM_LBUTTONUP, 0, MAKELPARAM(to.right - 1, to.bottom - 1));
  }

  static HMODULE module_;
  CSWnd owner_;
};
HMODULE ConfigDialogs::module_ = nullptr;

// What the grid does with a drag is the model's (schedule_selection_test); here, that the
// dialog's buttons reach the grid and OK stores what it shows.
TEST_F(ConfigDialogs, ScheduleEditorButtonsActOnTheSelectionOkStoresAndCancelKeeps) {
  const std::wstring week = L"Mon 8:00-17:30, Wed 0:00-24:00, ";
  bool ownerEnabled = true;
  DlgSchedule painted(week);
  EXPECT_EQ(Drive([&] { return painted.Run(module_, owner_.GetHwnd()); },
                  [&](HWND d, int) {
                    ownerEnabled = ::IsWindowEnabled(owner_.GetHwnd()) != FALSE;
                    Drag(d, 1, 9, 1, 10);
                    Click(d, IDC_SCHEDULE_ACTIVE);
                    Drag(d, 2, 0, 2, 11);
                    Click(d, IDC_SCHEDULE_INACTIVE);
                    // A whole week dropped with "Clear selection" is no longer painted.
                    Drag(d, 0, 0, 6, 23);
                    Click(d, IDC_SCHEDULE_CLEAR);
                    Click(d, IDC_SCHEDULE_ACTIVE);
                    Click(d, IDOK);
                    return true;
                  }),
            IDOK);
  EXPECT_EQ(painted.ScheduleText(), L"Mon 8:00-17:30, Tue 9:00-11:00, Wed 12:00-24:00, ");
  EXPECT_FALSE(ownerEnabled) << "modal to its owner";
  EXPECT_TRUE(::IsWindowEnabled(owner_.GetHwnd()));

  DlgSchedule cancelled(week);
  EXPECT_EQ(Drive([&] { return cancelled.Run(module_, owner_.GetHwnd()); },
                  [](HWND d, int) {
                    Drag(d, 1, 9, 1, 10);
                    Click(d, IDC_SCHEDULE_ACTIVE);
                    ::SendMessageW(d, WM_CLOSE, 0, 0);
                    return true;
                  }),
            IDCANCEL);
  EXPECT_EQ(cancelled.ScheduleText(), week);
}

// Stored, a week painted all inactive would read as always active: OK refuses it with a box that
// says how to stop the log-offs, and the editor stays open on what was painted. Painted with the
// real X pointer, so the grid's own mouse handling and capture are in the path.
TEST_F(ConfigDialogs, ScheduleEditorRefusesAWeekDraggedAllInactiveAndKeepsItOpen) {
  HWND editor = nullptr;
  std::wstring refusal;
  bool openAfterRefusal = false;
  int step = 0, since = 0;
  const auto cell = [](HWND d, int row, int hour, bool firstHalf) {
    const auto* ctrl = static_cast<ScheduleCtrl*>(CSWnd::FromHandle(::GetDlgItem(d, IDC_SCHEDULE_GRID)));
    const PixelRect r = ctrl->Model().HourRect(row, hour);
    const int w = r.right - r.left;
    return POINT{r.left + (firstHalf ? w / 4 : w * 3 / 4), (r.top + r.bottom) / 2};
  };
  // Drags over whole hours, from `hour0` of day `row0` to `hour1` of day `row1`.
  const auto drag = [&](int row0, int hour0, int row1, int hour1) {
    return test::XdoDrag(::GetDlgItem(editor, IDC_SCHEDULE_GRID), cell(editor, row0, hour0, true),
                         cell(editor, row1, hour1, false));
  };
  // Whether the grid's selection now spans exactly those hours.
  const auto selected = [&](int row0, int hour0, int row1, int hour1) {
    const auto* ctrl = static_cast<ScheduleCtrl*>(CSWnd::FromHandle(::GetDlgItem(editor, IDC_SCHEDULE_GRID)));
    SelectionSpan s{};
    return ctrl->Model().GetSpan(s) && s.firstRow == row0 && s.lastRow == row1 && s.firstHour == hour0 &&
           s.lastHour == hour1 && !s.startsAtHalf && !s.endsAtHalf;
  };
  DlgSchedule dialog(L"Mon 8:00-17:30, ");
  const int result = Drive([&] { return dialog.Run(module_, owner_.GetHwnd()); },
                           [&](HWND d, int tick) {
                             if (!editor) editor = d;
                             switch (step) {
                               case 0:  // the whole week, corner to corner
                                 if (!drag(0, 0, 6, 23)) return true;
                                 ++step;
                                 return false;
                               case 1:
                                 if (!selected(0, 0, 6, 23)) return false;
                                 Click(editor, IDC_SCHEDULE_INACTIVE);
                                 ::PostMessageW(editor, WM_COMMAND, IDOK, 0);
                                 since = tick;
                                 ++step;
                                 return false;
                               case 2:  // the refusal, over the editor
                                 if (d == editor) return tick - since > 60;
                                 refusal = test::BoxMessage(d);
                                 ::PostMessageW(d, WM_COMMAND, IDOK, 0);
                                 ++step;
                                 return false;
                               case 3:
                                 if (d != editor) return false;
                                 openAfterRefusal = ::IsWindowVisible(editor) != FALSE;
                                 if (!drag(0, 8, 0, 8)) return true;
                                 ++step;
                                 return false;
                               case 4:
                                 if (!selected(0, 8, 0, 8)) return false;
                                 Click(editor, IDC_SCHEDULE_ACTIVE);
                                 Click(editor, IDOK);
                                 return true;
                             }
                             return true;
                           });
  EXPECT_EQ(step, 4) << "xdotool missing or the drag never reached the grid";
  EXPECT_NE(refusal.find(L"clear \"Enable Tarnvale\""), std::wstring::npos) << testing::PrintToString(refusal);
  EXPECT_TRUE(openAfterRefusal);
  EXPECT_EQ(result, IDOK);
  EXPECT_EQ(dialog.ScheduleText(), L"Mon 8:00-9:00, ");
}

// Enter reaches IDOK even while OK is disabled; both dialogs must ignore it then.
TEST_F(ConfigDialogs, MessageEditorTakesEnterAsALineBreakCutsAt511AndReadOnlyCannotStore) {
  std::wstring shown;
  bool okEnabled = true, readOnly = false, stayedOpen = false;
  DlgCustomMsg locked(L"Line one\r\nLine two", true);
  EXPECT_EQ(Drive([&] { return locked.Run(module_, owner_.GetHwnd()); },
                  [&](HWND d, int) {
                    HWND field = ::GetDlgItem(d, IDC_CUSTOM_MSG_TEXT);
                    shown = test::TextOf(field);
                    okEnabled = Enabled(d, IDOK);
                    readOnly = (::GetWindowLongW(field, GWL_STYLE) & ES_READONLY) != 0;
                    ::SendMessageW(d, WM_COMMAND, IDOK, 0);
                    stayedOpen = ::IsWindow(d) != FALSE;
                    Click(d, IDCANCEL);
                    return true;
                  }),
            IDCANCEL);
  EXPECT_EQ(shown, L"Line one\r\nLine two");
  EXPECT_FALSE(okEnabled);
  EXPECT_TRUE(readOnly);
  EXPECT_TRUE(stayedOpen);

  DlgCustomMsg editor(L"old", false);
  EXPECT_EQ(Drive([&] { return editor.Run(module_, owner_.GetHwnd()); },
                  [&](HWND d, int tick) {
                    HWND field = ::GetDlgItem(d, IDC_CUSTOM_MSG_TEXT);
                    if (tick == 1) {
                      // Through the dialog's own loop: the dialog manager would take Enter for
                      // OK unless the field asks for it.
                      ::SetFocus(field);
                      ::SendMessageW(field, EM_SETSEL, 3, 3);
                      ::PostMessageW(field, WM_KEYDOWN, VK_RETURN, 0);
                      return false;
                    }
                    shown = test::TextOf(field);
                    ::SetWindowTextW(field, (shown + std::wstring(600, L'x')).c_str());
                    Click(d, IDOK);
                    return true;
                  }),
            IDOK);
  EXPECT_EQ(shown, L"old\r\n");
  EXPECT_EQ(editor.Text().size(), 511u);
  EXPECT_EQ(editor.Text().substr(0, 6), L"old\r\nx");
}

TEST_F(ConfigDialogs, DataLossWarningOkOnlyOnceTickedAndUntickedOnEveryRun) {
  DlgWarningDataLoss warning;
  // The same script twice: a tick left over from the first run would enable OK at once.
  for (int run = 0; run < 2; ++run) {
    std::vector<bool> okStates;
    bool stayedOpen = false;
    EXPECT_EQ(Drive([&] { return warning.Run(module_, owner_.GetHwnd()); },
                    [&](HWND d, int) {
                      okStates.push_back(Enabled(d, IDOK));
                      ::SendMessageW(d, WM_COMMAND, IDOK, 0);
                      stayedOpen = ::IsWindow(d) != FALSE;
                      Click(d, IDC_DATA_LOSS_AGREE);
                      okStates.push_back(Enabled(d, IDOK));
                      Click(d, IDOK);
                      return true;
                    }),
              IDOK);
    EXPECT_EQ(okStates, (std::vector<bool>{false, true})) << run;
    EXPECT_TRUE(stayedOpen) << run;
  }
}

TEST_F(ConfigDialogs, WithoutAUsablePickerTheChooserListsLocalGroupsAndTakesATypedDomainUser) {
  if (!::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version")) {
    GTEST_SKIP() << "the system's own object picker would open here";
  }
  // Wine's picker answers at once without showing anything: that is no cancel.
  IDataObject* selection = reinterpret_cast<IDataObject*>(1);
  EXPECT_FALSE(PickUsersGroups(owner_.GetHwnd(), 7, &selection));
  EXPECT_NE(::GetLastError(), static_cast<::DWORD>(ERROR_CANCELLED));
  EXPECT_EQ(selection, reinterpret_cast<IDataObject*>(1));

  bool listedAdministrators = false;
  std::vector<PickedObject> picked;
  const BOOL ok = Drive([&] { return PickAccounts(owner_.GetHwnd(), module_, picked); },
                        [&](HWND d, int) {
                          HWND list = ::GetDlgItem(d, IDC_CHOOSER_LIST);
                          const LRESULT row = ::SendMessageW(list, LB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                                             reinterpret_cast<LPARAM>(L"Administrators\tGroup"));
                          listedAdministrators = row != LB_ERR;
                          ::SendMessageW(list, LB_SETSEL, TRUE, row);
                          ::SetDlgItemTextW(d, IDC_CHOOSER_NAME, L"DOM\\alice");
                          Click(d, IDOK);
                          return true;
                        });
  ASSERT_TRUE(ok);
  EXPECT_TRUE(listedAdministrators);
  std::vector<std::wstring> entries;
  for (const PickedObject& object : picked) entries.push_back(object.objectClass + L" " + object.path);
  EXPECT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries.back(), L"User WinNT://DOM/alice");
  EXPECT_EQ(entries.front().rfind(L"Group WinNT://", 0), 0u) << testing::PrintToString(entries.front());

  // Cancel picks nothing and leaves what the caller had.
  EXPECT_FALSE(Drive([&] { return PickAccounts(owner_.GetHwnd(), module_, picked); },
                     [](HWND d, int) {
                       Click(d, IDCANCEL);
                       return true;
                     }));
  EXPECT_EQ(::GetLastError(), static_cast<::DWORD>(ERROR_CANCELLED));
  EXPECT_EQ(picked.size(), 2u);
}

// A selection as the system's picker hands it over: the list in global memory, fresh per call.
class FakeSelection : public IDataObject {
 public:
  FakeSelection(std::vector<DS_SELECTION> items, ULONG claimed) : items_(std::move(items)), claimed_(claimed) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override {
    if (format->cfFormat != ::RegisterClipboardFormatW(CFSTR_DSOP_DS_SELECTION_LIST)) return DV_E_FORMATETC;
    const SIZE_T bytes = offsetof(DS_SELECTION_LIST, aDsSelection) + items_.size() * sizeof(DS_SELECTION);
    HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
    auto* list = static_cast<DS_SELECTION_LIST*>(::GlobalLock(memory));
    list->cItems = claimed_;
    for (std::size_t i = 0; i < items_.size(); ++i) list->aDsSelection[i] = items_[i];
    ::GlobalUnlock(memory);
    medium->tymed = TYMED_HGLOBAL;
    medium->hGlobal = memory;
    medium->pUnkForRelease = nullptr;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumFormatEtc(::DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, ::DWORD, IAdviseSink*, ::DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE DUnadvise(::DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

 private:
  std::vector<DS_SELECTION> items_;
  ULONG claimed_;
};

TEST(PickerSelection, IsWalkedInOrderWithinTheListsOwnSizeWithTheProductsClassNames) {
  DS_SELECTION alice{};
  alice.pwzName = const_cast<PWSTR>(L"alice");
  alice.pwzADsPath = const_cast<PWSTR>(L"WinNT://DOM/alice");
  alice.pwzClass = const_cast<PWSTR>(L"user");
  DS_SELECTION admins{};
  admins.pwzName = const_cast<PWSTR>(L"Administrators");
  admins.pwzADsPath = const_cast<PWSTR>(L"WinNT://PC/Administrators");
  admins.pwzClass = const_cast<PWSTR>(L"Group");
  auto record = [](void* context, const PickedObject* object, std::size_t index) -> int {
    auto* calls = static_cast<std::vector<std::wstring>*>(context);
    calls->push_back(object ? object->objectClass + L" " + object->path : L"count " + std::to_wstring(index));
    return 1;
  };
  // A list that claims more items than it holds is read only as far as it goes.
  FakeSelection selection({alice, admins}, 5);
  std::vector<std::wstring> seen;
  ASSERT_TRUE(ProcessSelectedObjects(&selection, record, &seen));
  EXPECT_EQ(seen,
            (std::vector<std::wstring>{L"count 2", L"User WinNT://DOM/alice", L"Group WinNT://PC/Administrators"}));
  EXPECT_FALSE(ProcessSelectedObjects(nullptr, record, &seen));
}

}  // namespace
}  // namespace tv

#endif  // _WIN32
