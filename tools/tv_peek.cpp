// tv-peek: reads what another program's windows show, so that scripts/screenshots.sh can fail a
// picture whose window does not show what the script set up. Windows only, run under Wine; it
// reads through the same window driver as the Windows tests.
//
//   tv-peek window CAPTION [ID...]   one line per control ID of the visible top-level window
//                                    captioned CAPTION: "ID<TAB>text"; a check box adds
//                                    "<TAB>checked" or "<TAB>unchecked", a list box its items
//                                    as "<TAB>item" each
//   tv-peek box CAPTION              the message of the box captioned CAPTION
//   tv-peek pid IMAGE                the process id of a running program, by its file name
//
// Exit code 0 when found; 1 when no such window or program appears within 20 seconds; 2 on a
// wrong command line.
#include <cstdio>
#include <cwchar>
#include <string>

#include "support/ui_driver.h"
// After windows.h, which it needs.
#include <tlhelp32.h>

namespace {

using tv::test::Eventually;
using tv::test::TextOf;

// The answer goes out as UTF-8 whatever Wine's console code page is.
void Print(const std::wstring& line) {
  const int n = ::WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0, nullptr,
                                      nullptr);
  std::string out(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
  if (n > 0)
    ::WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), out.data(), n, nullptr, nullptr);
  std::fwrite(out.data(), 1, out.size(), stdout);
  std::fputc('\n', stdout);
}

// One line of text, whatever breaks the control's text holds.
std::wstring OneLine(std::wstring text) {
  for (wchar_t& c : text)
    if (c == L'\r' || c == L'\n' || c == L'\t') c = L' ';
  return text;
}

HWND WaitForCaption(const wchar_t* caption) {
  HWND found = nullptr;
  Eventually([&] {
    found = ::FindWindowW(nullptr, caption);
    return found && ::IsWindowVisible(found);
  });
  return found && ::IsWindowVisible(found) ? found : nullptr;
}

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = {};
  ::GetClassNameW(window, name, 64);
  return name;
}

std::wstring Describe(HWND dialog, int id) {
  HWND item = ::GetDlgItem(dialog, id);
  std::wstring line = std::to_wstring(id) + L"\t" + OneLine(TextOf(item));
  if (!item) return line + L"\t(missing)";
  const std::wstring kind = ClassOf(item);
  if (::lstrcmpiW(kind.c_str(), L"Button") == 0) {
    const LONG_PTR style = ::GetWindowLongPtrW(item, GWL_STYLE) & BS_TYPEMASK;
    if (style == BS_CHECKBOX || style == BS_AUTOCHECKBOX || style == BS_3STATE || style == BS_AUTO3STATE)
      line += ::SendMessageW(item, BM_GETCHECK, 0, 0) == BST_CHECKED ? L"\tchecked" : L"\tunchecked";
  } else if (::lstrcmpiW(kind.c_str(), L"ListBox") == 0) {
    const LRESULT count = ::SendMessageW(item, LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
      const LRESULT length = ::SendMessageW(item, LB_GETTEXTLEN, i, 0);
      if (length < 0) continue;
      std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
      ::SendMessageW(item, LB_GETTEXT, i, reinterpret_cast<LPARAM>(text.data()));
      text.resize(static_cast<std::size_t>(length));
      line += L"\t" + OneLine(text);
    }
  }
  return line;
}

DWORD ProcessIdOf(const wchar_t* image) {
  DWORD found = 0;
  HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return 0;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more && !found; more = ::Process32NextW(snapshot, &entry))
    if (::lstrcmpiW(entry.szExeFile, image) == 0) found = entry.th32ProcessID;
  ::CloseHandle(snapshot);
  return found;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const std::wstring mode = argc > 2 ? argv[1] : L"";
  if (mode == L"pid") {
    DWORD pid = 0;
    if (!Eventually([&] { return (pid = ProcessIdOf(argv[2])) != 0; })) return 1;
    Print(std::to_wstring(pid));
    return 0;
  }
  if (mode == L"window" || mode == L"box") {
    HWND window = WaitForCaption(argv[2]);
    if (!window) return 1;
    if (mode == L"box") {
      Print(OneLine(tv::test::BoxMessage(window)));
      return 0;
    }
    for (int i = 3; i < argc; ++i) Print(Describe(window, static_cast<int>(std::wcstol(argv[i], nullptr, 10))));
    return 0;
  }
  std::fwprintf(stderr, L"usage: tv-peek window CAPTION [ID...] | box CAPTION | pid IMAGE\n");
  return 2;
}
