// Win32 window, process and registry helpers for tests that drive the product's programs.
#include "ui_driver.h"

#ifdef _WIN32

#include <cwctype>

namespace tv::test {
namespace {

// Waiting for another process to answer a message: long enough for a busy Wine process, short
// enough that a hung one fails the test instead of holding it.
constexpr UINT kAnswerLimitMs = 5000;

struct WindowSearch {
  DWORD process;
  const wchar_t* className;
  const wchar_t* caption;
  HWND found;
};

BOOL CALLBACK MatchWindow(HWND hwnd, LPARAM context) {
  auto* search = reinterpret_cast<WindowSearch*>(context);
  DWORD process = 0;
  ::GetWindowThreadProcessId(hwnd, &process);
  if (process != search->process || !::IsWindowVisible(hwnd)) return TRUE;
  wchar_t className[64] = {};
  ::GetClassNameW(hwnd, className, 64);
  if (std::wcscmp(className, search->className) != 0) return TRUE;
  if (search->caption && TextOf(hwnd) != search->caption) return TRUE;
  search->found = hwnd;
  return FALSE;
}

std::wstring WithoutAmpersands(std::wstring text) {
  std::wstring out;
  for (wchar_t c : text)
    if (c != L'&') out.push_back(static_cast<wchar_t>(std::towlower(c)));
  return out;
}

void SnapshotInto(HKEY key, const std::wstring& prefix, RegSnapshot& out) {
  std::vector<wchar_t> name(16384);
  std::vector<BYTE> data(1 << 16);
  for (DWORD i = 0;; ++i) {
    DWORD nameChars = static_cast<DWORD>(name.size());
    DWORD type = 0;
    DWORD size = static_cast<DWORD>(data.size());
    if (::RegEnumValueW(key, i, name.data(), &nameChars, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) break;
    out[prefix + std::wstring(name.data(), nameChars)] = {type, std::vector<BYTE>(data.begin(), data.begin() + size)};
  }
  for (DWORD i = 0;; ++i) {
    DWORD nameChars = static_cast<DWORD>(name.size());
    if (::RegEnumKeyExW(key, i, name.data(), &nameChars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    const std::wstring sub(name.data(), nameChars);
    // An empty subkey counts too: a stray one is a change.
    out[prefix + sub + L"\\"] = {REG_NONE, {}};
    HKEY child = nullptr;
    if (::RegOpenKeyExW(key, sub.c_str(), 0, KEY_READ, &child) != ERROR_SUCCESS) continue;
    SnapshotInto(child, prefix + sub + L"\\", out);
    ::RegCloseKey(child);
  }
}

}  // namespace

bool Eventually(const std::function<bool()>& condition, DWORD limitMs) {
  const ULONGLONG end = ::GetTickCount64() + limitMs;
  for (;;) {
    if (condition()) return true;
    if (::GetTickCount64() >= end) return false;
    ::Sleep(50);
  }
}

ChildProcess::~ChildProcess() {
  if (!info_.hProcess) return;
  if (::WaitForSingleObject(info_.hProcess, 0) == WAIT_TIMEOUT) {
    ::TerminateProcess(info_.hProcess, 99);
    ::WaitForSingleObject(info_.hProcess, kUiLimitMs);
  }
  ::CloseHandle(info_.hThread);
  ::CloseHandle(info_.hProcess);
}

BOOL ChildProcess::Start(const std::wstring& exe, const std::wstring& arguments) {
  std::wstring line = L"\"" + exe + L"\"";
  if (!arguments.empty()) line += L" " + arguments;
  STARTUPINFOW si{};
  si.cb = sizeof(si);
  return ::CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &info_);
}

int ChildProcess::Wait(DWORD limitMs) {
  if (!info_.hProcess || ::WaitForSingleObject(info_.hProcess, limitMs) != WAIT_OBJECT_0) return -1;
  DWORD code = 0;
  ::GetExitCodeProcess(info_.hProcess, &code);
  return static_cast<int>(code);
}

PumpedWindow::PumpedWindow(const wchar_t* className, bool shown)
    : thread_([this, className, shown] {
        MSG msg;
        ::PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the queue WM_QUIT will be posted to
        threadId_ = ::GetCurrentThreadId();
        WNDCLASSW wc{};
        wc.lpfnWndProc = ::DefWindowProcW;
        wc.hInstance = ::GetModuleHandleW(nullptr);
        wc.lpszClassName = className;
        ::RegisterClassW(&wc);
        HWND window = ::CreateWindowExW(0, className, L"", WS_POPUP | (shown ? WS_VISIBLE : 0), 0, 0, 100, 100, nullptr,
                                        nullptr, wc.hInstance, nullptr);
        if (shown) ::SetForegroundWindow(window);
        window_ = window;
        ready_ = true;
        while (::GetMessageW(&msg, nullptr, 0, 0) > 0) ::DispatchMessageW(&msg);
        ::DestroyWindow(window);
      }) {
  while (!ready_) ::Sleep(10);
}

PumpedWindow::~PumpedWindow() {
  ::PostThreadMessageW(threadId_, WM_QUIT, 0, 0);
  thread_.join();
}

HWND FindTopWindow(DWORD process, const wchar_t* className, const wchar_t* caption) {
  WindowSearch search{process, className, caption, nullptr};
  ::EnumWindows(&MatchWindow, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

HWND WaitForTopWindow(DWORD process, const wchar_t* className, const wchar_t* caption, DWORD limitMs) {
  HWND found = nullptr;
  Eventually([&] { return (found = FindTopWindow(process, className, caption)) != nullptr; }, limitMs);
  return found;
}

std::wstring TextOf(HWND window) {
  wchar_t text[4096] = {};
  DWORD_PTR copied = 0;
  if (!window || !::SendMessageTimeoutW(window, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text),
                                        SMTO_ABORTIFHUNG, kAnswerLimitMs, &copied))
    return L"";
  return std::wstring(text, copied);
}

std::wstring ItemText(HWND dialog, int id) { return TextOf(::GetDlgItem(dialog, id)); }

BOOL SetItemText(HWND dialog, int id, const std::wstring& text) {
  HWND item = ::GetDlgItem(dialog, id);
  DWORD_PTR result = 0;
  return item &&
         ::SendMessageTimeoutW(item, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()), SMTO_ABORTIFHUNG,
                               kAnswerLimitMs, &result) &&
         result;
}

bool WaitForItemText(HWND dialog, int id, const std::wstring& text, DWORD limitMs) {
  return Eventually([&] { return ItemText(dialog, id) == text; }, limitMs);
}

std::wstring BoxMessage(HWND box) {
  // 27004: the extended box's text; 0xFFFF: the static the system's message box shows.
  for (int id : {27004, 0xFFFF})
    if (HWND item = ::GetDlgItem(box, id)) return TextOf(item);
  return L"";
}

BOOL PostPress(HWND dialog, int id) {
  HWND button = ::GetDlgItem(dialog, id);
  return ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(button));
}

BOOL PostPressByCaption(HWND dialog, const wchar_t* caption) {
  const std::wstring wanted = WithoutAmpersands(caption);
  for (HWND child = ::GetWindow(dialog, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
    wchar_t className[16] = {};
    ::GetClassNameW(child, className, 16);
    if (::lstrcmpiW(className, L"Button") == 0 && ::IsWindowVisible(child) &&
        WithoutAmpersands(TextOf(child)) == wanted)
      return PostPress(dialog, ::GetDlgCtrlID(child));
  }
  return FALSE;
}

BOOL PostClickItem(HWND dialog, int id) {
  HWND item = ::GetDlgItem(dialog, id);
  return item && ::PostMessageW(item, BM_CLICK, 0, 0);
}

HWND FocusOf(HWND window) {
  GUITHREADINFO info{};
  info.cbSize = sizeof(info);
  return ::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &info) ? info.hwndFocus : nullptr;
}

namespace {

// Wine starts a Unix program by its path on drive Z:, but gives no handle to wait on, so the
// caller watches for the input's effect instead.
BOOL RunXdotool(const std::wstring& arguments) {
  const wchar_t* xdotool = L"Z:\\usr\\bin\\xdotool";
  if (::GetFileAttributesW(xdotool) == INVALID_FILE_ATTRIBUTES) return FALSE;
  std::wstring line = std::wstring(xdotool) + L" " + arguments;
  STARTUPINFOW si{};
  si.cb = sizeof(si);
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(xdotool, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) return FALSE;
  if (pi.hThread) ::CloseHandle(pi.hThread);
  if (pi.hProcess) ::CloseHandle(pi.hProcess);
  return TRUE;
}

std::wstring Point(POINT p) { return std::to_wstring(p.x) + L" " + std::to_wstring(p.y); }

}  // namespace

BOOL XdoClick(HWND window) {
  RECT r{};
  if (!::GetWindowRect(window, &r)) return FALSE;
  return RunXdotool(L"mousemove --sync " + Point({(r.left + r.right) / 2, (r.top + r.bottom) / 2}) + L" click 1");
}

BOOL XdoDrag(HWND window, POINT from, POINT to) {
  if (!::ClientToScreen(window, &from) || !::ClientToScreen(window, &to)) return FALSE;
  return RunXdotool(L"mousemove --sync " + Point(from) + L" mousedown 1 mousemove --sync " + Point(to) +
                    L" mouseup 1");
}

RegSnapshot SnapshotKey(HKEY root, const std::wstring& path) {
  RegSnapshot out;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return out;
  SnapshotInto(key, L"", out);
  ::RegCloseKey(key);
  return out;
}

}  // namespace tv::test

#endif  // _WIN32
