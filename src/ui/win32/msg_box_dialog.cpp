// The message-box family for Windows: the system's box for the plain level and DlgMsgEx, the
// product's own dialog (template 27042), for the extended one.
#include <cwchar>
#include <string>

#include "ui/msg_box_ids.h"
#include "ui/msg_box_state.h"
#include "ui/win32/dialog.h"
#include "ui/win32/dpi.h"
#include "foundation/product_info.h"
#include "foundation/app_message.h"
#include "foundation/string_table.h"
#include "ui/win32/static_html.h"
#include "platform/win32/windows_include.h"

#include <shellapi.h>

namespace tv {
namespace {

constexpr UINT_PTR kTimerId = 1;
constexpr UINT kDeviceArrival = 0x8000;  // DBT_DEVICEARRIVAL
constexpr UINT kSetShield = 0x160C;      // BCM_SETSHIELD
constexpr DWORD kAskPreviousMs = 1000;
// Links of a mark-up message report commands from here on ("<A>" this, "<An>" this + n), clear
// of the box's own control ids, which "<A1>" on 27004 would otherwise hit.
constexpr int kLinkCommandBase = 27100;
constexpr int kLinkCommandLast = 27199;

HINSTANCE g_resourceModule = nullptr;

HINSTANCE ResourceModule() {
  if (g_resourceModule) return g_resourceModule;
  HMODULE self = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ResourceModule), &self);
  return self;
}

// Every box is captioned with the product's short name, the edition never.
const wchar_t* Caption() {
  ProductInfo* info = GetMyProductInfo();
  return info ? info->GetNickName() : L"Tarnvale";
}

HACCEL Accelerators() {
  // Loaded once and kept for the process, as the table never changes.
  static HACCEL table = ::LoadAcceleratorsW(ResourceModule(), MAKEINTRESOURCEW(IDR_MSGEX_ACCEL));
  return table;
}

RECT ChildRect(HWND dialog, HWND child) {
  RECT r{};
  ::GetWindowRect(child, &r);
  ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&r), 2);
  return r;
}

void MoveChild(HWND dialog, HWND child, int dx, int dy, int dw = 0, int dh = 0) {
  if (!child) return;
  const RECT r = ChildRect(dialog, child);
  ::SetWindowPos(child, nullptr, r.left + dx, r.top + dy, r.right - r.left + dw, r.bottom - r.top + dh,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

class DlgMsgEx : public CSDlg {
 public:
  DlgMsgEx(std::uint32_t flags, std::wstring text, int* dontShowAgain)
      : flags_(flags), text_(std::move(text)), dontShowAgain_(dontShowAgain),
        previousId_(GetMsgBoxState().activatePrevId) {}
  ~DlgMsgEx() override {
    if (icon_) ::DestroyIcon(icon_);
  }

  BOOL IsKindOf(const wchar_t* className) const override {
    return (className && std::wcscmp(className, L"DlgMsgEx") == 0) || CSDlg::IsKindOf(className);
  }

  void SetText(const std::wstring& text) {
    text_ = text;
    if (flags_.markup && html_.GetHwnd())
      html_.SetHTMLText(text_.c_str());
    else
      ::SetDlgItemTextW(GetHwnd(), IDC_MSGEX_TEXT, text_.c_str());
  }

 protected:
  BOOL OnInit() override {
    HWND hwnd = GetHwnd();
    GetMsgBoxState().currentBox = hwnd;
    ::SetWindowTextW(hwnd, Caption());
    ::SetDlgItemTextW(hwnd, IDC_MSGEX_TEXT, text_.c_str());
    if (flags_.markup && html_.Attach(Item(IDC_MSGEX_TEXT))) {
      html_.SetBkgColor(::GetSysColor(COLOR_WINDOW));
      html_.SetLinkCmdID(kLinkCommandBase);
      html_.SetHTMLText(text_.c_str());
    }
    LayOut();
    if (dontShowAgain_) {
      ::CheckDlgButton(hwnd, IDC_MSGEX_DONTSHOW, *dontShowAgain_ ? BST_CHECKED : BST_UNCHECKED);
    } else {
      ::EnableWindow(Item(IDC_MSGEX_DONTSHOW), FALSE);
      ::ShowWindow(Item(IDC_MSGEX_DONTSHOW), SW_HIDE);
    }
    if (flags_.topmost) ::SetWindowPos(hwnd, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    SetUpButtons();
    SetUpIcon();
    const int defaultId = GetDefaultButtonId(flags_);
    ::SendMessageW(hwnd, DM_SETDEFID, defaultId, 0);
    if (dontShowAgain_ && *dontShowAgain_) {
      // The person asked not to see this again: answer with the default button at once.
      Press(defaultId);
    }
    Centre();
    ::ShowWindow(hwnd, SW_SHOW);
    ::SetForegroundWindow(hwnd);
    HWND focus = Item(defaultId);
    if (focus && ::IsWindowVisible(focus)) ::SendMessageW(hwnd, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(focus), TRUE);
    StartTimer();
    return FALSE;
  }

  BOOL OnCommand(int id, int code, HWND control) override {
    if (code != 0 && code != 1) return FALSE;
    HWND hwnd = GetHwnd();
    switch (id) {
      case ID_MSGEX_NEXT: ::SendMessageW(hwnd, WM_NEXTDLGCTL, 0, FALSE); return TRUE;
      case ID_MSGEX_PREVIOUS: ::SendMessageW(hwnd, WM_NEXTDLGCTL, 1, FALSE); return TRUE;
      case ID_MSGEX_PRESS: {
        const int focused = ::GetDlgCtrlID(::GetFocus());
        if (focused == IDC_MSGEX_BUTTON1 || focused == IDC_MSGEX_BUTTON2 || focused == IDC_MSGEX_BUTTON3)
          Press(focused);
        return TRUE;
      }
      case IDC_MSGEX_TEXT: OnLink(); return TRUE;
      default: break;
    }
    if (id >= kLinkCommandBase && id <= kLinkCommandLast && flags_.markup) {
      OnLink();
      return TRUE;
    }
    const MsgCommand c = DecideMsgCommand(flags_, id);
    switch (c.kind) {
      case MsgCommand::kIgnore: return FALSE;
      case MsgCommand::kPost: ::PostMessageW(hwnd, WM_COMMAND, static_cast<WPARAM>(c.result), 0); return TRUE;
      case MsgCommand::kClose: {
        const MsgBoxState& s = GetMsgBoxState();
        if (c.askButtonCallback && s.button && !s.button(hwnd, id, s.buttonContext)) return TRUE;
        Close(c.result);
        return TRUE;
      }
    }
    return FALSE;
  }

  BOOL OnDlgMessage(UINT message, WPARAM wParam, LPARAM lParam, INT_PTR& result) override {
    if (message != WM_CTLCOLORSTATIC) return FALSE;
    // The message band is white like the system's own task dialogs; the button band stays grey.
    const int id = ::GetDlgCtrlID(reinterpret_cast<HWND>(lParam));
    if (id != IDC_MSGEX_TEXT && id != IDC_MSGEX_ICON && id != IDC_MSGEX_DONTSHOW && id != IDC_MSGEX_GROW) return FALSE;
    ::SetBkColor(reinterpret_cast<HDC>(wParam), ::GetSysColor(COLOR_WINDOW));
    result = reinterpret_cast<INT_PTR>(::GetSysColorBrush(COLOR_WINDOW));
    return TRUE;
  }

  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override {
    if (message == GetAppMessage() && message != 0) {
      switch (wParam) {
        case kCmdPressControl: Press(LOWORD(lParam)); return 1;
        case kCmdActivatePrevious: return previousId_ != 0 && LOWORD(lParam) == previousId_ ? 1 : 0;
        default: return 0;
      }
    }
    switch (message) {
      case WM_TIMER:
        if (wParam == kTimerId) {
          OnTick();
          return 0;
        }
        break;
      case WM_ACTIVATE:
        if (LOWORD(wParam) == WA_INACTIVE) {
          wasInactive_ = true;
        } else if (wasInactive_ && flags_.dropTopmostOnActivate) {
          ::SetWindowPos(GetHwnd(), HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
        }
        break;
      case WM_DEVICECHANGE:
        if (wParam == kDeviceArrival && flags_.retryOnDevice) Press(IDC_MSGEX_BUTTON1);
        break;
      case WM_DESTROY:
        ::KillTimer(GetHwnd(), kTimerId);
        if (dontShowAgain_) *dontShowAgain_ = ::IsDlgButtonChecked(GetHwnd(), IDC_MSGEX_DONTSHOW) == BST_CHECKED;
        if (GetMsgBoxState().currentBox == GetHwnd()) GetMsgBoxState().currentBox = nullptr;
        break;
      default: break;
    }
    return CSDlg::OnWndMessage(message, wParam, lParam);
  }

 private:
  void Press(int id) {
    HWND control = Item(id);
    ::PostMessageW(GetHwnd(), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(control));
  }

  void Close(int result) {
    ::KillTimer(GetHwnd(), kTimerId);
    End(result);
  }

  void OnLink() {
    const MsgBoxState& s = GetMsgBoxState();
    int result = 0;
    if (s.link) {
      result = s.link(GetHwnd(), s.linkContext);
    } else {
      // Nobody set a link callback: the owners are asked in turn, nearest first.
      for (HWND owner = ::GetWindow(GetHwnd(), GW_OWNER); owner; owner = ::GetWindow(owner, GW_OWNER)) {
        int answer = 0;
        if (::SendMessageW(owner, GetAppMessage(), kCmdLinkClicked, reinterpret_cast<LPARAM>(&answer))) {
          result = answer;
          break;
        }
      }
    }
    if (result) Close(result);
  }

  void StartTimer() {
    MsgBoxState& s = GetMsgBoxState();
    if (!s.timer) return;
    if (const int id = s.timer(GetHwnd(), s.tick, s.timerContext)) Press(id);
    if (s.timerInterval) ::SetTimer(GetHwnd(), kTimerId, s.timerInterval, nullptr);
  }

  void OnTick() {
    MsgBoxState& s = GetMsgBoxState();
    if (!s.timer) return;
    ++s.tick;
    if (const int id = s.timer(GetHwnd(), s.tick, s.timerContext)) Press(id);
  }

  // Height follows the text; controls below the message move with it, and the check box's band
  // goes when there is no variable to tie it to.
  void LayOut() {
    HWND hwnd = GetHwnd();
    HWND text = Item(IDC_MSGEX_TEXT);
    const RECT textRect = ChildRect(hwnd, text);
    RECT measure{0, 0, textRect.right - textRect.left, 0};
    if (flags_.markup && html_.GetHwnd()) {
      html_.CalcHeight(nullptr, &measure);
    } else {
      HDC dc = ::GetDC(text);
      HGDIOBJ old = ::SelectObject(dc, reinterpret_cast<HFONT>(::SendMessageW(text, WM_GETFONT, 0, 0)));
      ::DrawTextW(dc, text_.c_str(), -1, &measure, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EXPANDTABS);
      ::SelectObject(dc, old);
      ::ReleaseDC(text, dc);
    }

    RECT window{};
    ::GetWindowRect(hwnd, &window);
    RECT work{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    MsgLayoutInput in;
    in.dialogHeight = window.bottom - window.top;
    in.textHeight = textRect.bottom - textRect.top;
    in.neededTextHeight = measure.bottom - measure.top;
    in.minTextHeight = GetMsgIconPixels(Dpi());
    in.hasCheckBox = dontShowAgain_ != nullptr;
    in.checkBoxTop = ChildRect(hwnd, Item(IDC_MSGEX_DONTSHOW)).top;
    in.lineTop = ChildRect(hwnd, Item(IDC_MSGEX_LINE)).top;
    in.maxDialogHeight = work.bottom - work.top;
    const MsgLayout out = ComputeMsgLayout(in);

    MoveChild(hwnd, text, 0, 0, 0, out.moveDown);
    MoveChild(hwnd, Item(IDC_MSGEX_GROW), 0, 0, 0, out.moveDown - out.bandMoveUp);
    MoveChild(hwnd, Item(IDC_MSGEX_DONTSHOW), 0, out.moveDown);
    for (int id : {IDC_MSGEX_LINE, IDC_MSGEX_BUTTON1, IDC_MSGEX_BUTTON2, IDC_MSGEX_BUTTON3})
      MoveChild(hwnd, Item(id), 0, out.moveDown - out.bandMoveUp);
    ::SetWindowPos(hwnd, nullptr, 0, 0, window.right - window.left, out.dialogHeight,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  }

  void SetUpButtons() {
    HWND hwnd = GetHwnd();
    MsgButton buttons[3];
    GetMsgButtons(flags_, buttons);
    // The template's three places, left to right; the visible buttons take the rightmost ones in
    // their own order, so a lone "OK" sits where the system's boxes put it.
    RECT places[3];
    for (int i = 0; i < 3; ++i) places[i] = ChildRect(hwnd, Item(kMsgButtonIds[i]));
    int row[3];
    const int n = GetButtonRow(flags_, row);
    for (const MsgButton& b : buttons) {
      HWND control = Item(b.id);
      ::SetWindowTextW(control, b.caption.c_str());
      ::ShowWindow(control, b.visible ? SW_SHOW : SW_HIDE);
      ::EnableWindow(control, b.visible);
    }
    for (int i = 0; i < n; ++i) {
      const RECT& r = places[3 - n + i];
      ::SetWindowPos(Item(row[i]), nullptr, r.left, r.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    if (flags_.shield) ::SendMessageW(Item(IDC_MSGEX_BUTTON1), kSetShield, 0, TRUE);
  }

  void SetUpIcon() {
    const int px = GetMsgIconPixels(Dpi());
    if (icon_) ::DestroyIcon(icon_);
    icon_ = LoadIconAtSize(ResourceModule(), MAKEINTRESOURCEW(GetMsgIconResource(flags_)), px);
    HICON shown = icon_;
    if (!shown) {
      // Without the product's icons (a test's own executable) the system's stand in.
      const wchar_t* system = IDI_INFORMATION;
      switch (flags_.icon) {
        case MsgIconKind::kQuestion: system = IDI_QUESTION; break;
        case MsgIconKind::kError: system = IDI_ERROR; break;
        case MsgIconKind::kWarning: system = IDI_WARNING; break;
        case MsgIconKind::kInformation: break;
      }
      shown = static_cast<HICON>(::LoadImageW(nullptr, system, IMAGE_ICON, px, px, LR_SHARED));
    }
    HWND control = Item(IDC_MSGEX_ICON);
    ::SendMessageW(control, STM_SETICON, reinterpret_cast<WPARAM>(shown), 0);
    ::SetWindowPos(control, nullptr, 0, 0, px, px, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  }

  void Centre() {
    HWND hwnd = GetHwnd();
    HWND parent = ::GetWindow(hwnd, GW_OWNER);
    RECT area{};
    if (parent && ::IsWindowVisible(parent) && !::IsIconic(parent))
      ::GetWindowRect(parent, &area);
    else
      ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    RECT r{};
    ::GetWindowRect(hwnd, &r);
    const int w = r.right - r.left, h = r.bottom - r.top;
    ::SetWindowPos(hwnd, nullptr, area.left + (area.right - area.left - w) / 2,
                   area.top + (area.bottom - area.top - h) / 2, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  }

  int Dpi() const { return WindowDpi(GetHwnd()); }

  void OnDpiChanged(int) override { SetUpIcon(); }

  MsgExFlags flags_;
  std::wstring text_;
  int* dontShowAgain_;
  std::uint16_t previousId_;
  HICON icon_ = nullptr;
  bool wasInactive_ = false;
  CSStaticHTML html_;
};

struct PreviousSearch {
  std::uint16_t id;
  HWND found;
};

BOOL CALLBACK AskPrevious(HWND hwnd, LPARAM context) {
  auto* search = reinterpret_cast<PreviousSearch*>(context);
  wchar_t className[16] = {};
  if (!::GetClassNameW(hwnd, className, 16) || std::wcscmp(className, L"#32770") != 0) return TRUE;
  DWORD_PTR answer = 0;
  if (::SendMessageTimeoutW(hwnd, GetAppMessage(), kCmdActivatePrevious, search->id, SMTO_ABORTIFHUNG,
                            kAskPreviousMs, &answer) &&
      answer) {
    search->found = hwnd;
    return FALSE;
  }
  return TRUE;
}

// Pumps this thread's messages until `box` has gone.
void WaitForBox(HWND box) {
  MSG msg;
  while (::IsWindow(box)) {
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got <= 0) {
      if (got == 0) ::PostQuitMessage(static_cast<int>(msg.wParam));
      return;
    }
    if (!::IsDialogMessageW(box, &msg)) {
      ::TranslateMessage(&msg);
      ::DispatchMessageW(&msg);
    }
  }
}

DlgMsgEx* OpenBox(void* box) {
  CSDlg* dialog = CSDlg::FromDialog(static_cast<HWND>(box));
  return dialog && dialog->IsKindOf(L"DlgMsgEx") ? static_cast<DlgMsgEx*>(dialog) : nullptr;
}

}  // namespace

void MsgSetResourceModule(void* module) { g_resourceModule = static_cast<HINSTANCE>(module); }
void* MsgGetResourceModule() { return ResourceModule(); }

int ShowPlainMsgBox(void* owner, std::uint32_t type, const std::wstring& text) {
  HWND hwnd = static_cast<HWND>(owner);
  if (!hwnd) hwnd = ::GetActiveWindow();
  else if (owner == reinterpret_cast<void*>(1)) hwnd = nullptr;
  else hwnd = ::GetLastActivePopup(hwnd);
  return ::MessageBoxW(hwnd, text.c_str(), Caption(), type);
}

void* MsgExFindPrevious(std::uint16_t id) {
  PreviousSearch search{id, nullptr};
  if (id != 0) ::EnumWindows(&AskPrevious, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

int ShowMsgExBox(void* owner, std::uint32_t flags, const std::wstring& text, int* dontShowAgain) {
  MsgBoxState& s = GetMsgBoxState();
  if (HWND found = static_cast<HWND>(MsgExFindPrevious(s.activatePrevId))) {
    ::SetForegroundWindow(found);
    return 0;
  }
  if (HWND previous = static_cast<HWND>(s.currentBox); previous && ::IsWindow(previous)) {
    // Boxes never stack: the open one comes forward and this one waits for it.
    ::SetForegroundWindow(previous);
    WaitForBox(previous);
  }
  HWND parent = owner ? static_cast<HWND>(owner) : ::GetActiveWindow();
  DlgMsgEx box(flags, text, dontShowAgain);
  if (!box.Create(ResourceModule(), IDD_MSGEX, parent)) return 0;
  const int result = box.RunModeless(Accelerators(), GetCloseResult(MsgExFlags(flags)));
  if (s.currentBox && !::IsWindow(static_cast<HWND>(s.currentBox))) s.currentBox = nullptr;
  return result;
}

std::wstring LoadMsgString(int id) {
  const wchar_t* text = nullptr;
  const int n = ::LoadStringW(ResourceModule(), static_cast<UINT>(id), reinterpret_cast<LPWSTR>(&text), 0);
  if (n > 0 && text) return std::wstring(text, static_cast<std::size_t>(n));
  // A module without a string table (a test program) still has the product's built-in texts.
  return LoadStr(id);
}

std::wstring MsgSystemErrorText(DWORD code) {
  wchar_t* buffer = nullptr;
  const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS,
                                   nullptr, code, 0, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
  std::wstring text = n && buffer ? std::wstring(buffer, n) : std::wstring();
  if (buffer) ::LocalFree(buffer);
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) text.pop_back();
  return text;
}

void OpenLinkAddress(const std::wstring& address) {
  ::ShellExecuteW(nullptr, L"open", address.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

BOOL SetBoxText(void* box, const std::wstring& text) {
  DlgMsgEx* dialog = OpenBox(box);
  if (!dialog) {
    ::SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
  }
  dialog->SetText(text);
  return TRUE;
}

}  // namespace tv
