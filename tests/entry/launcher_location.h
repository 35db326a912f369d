// Where the Windows tests find the built TV64.EXE and TV64.DLL: the build passes the folder's path
// relative to the test program's own folder as TV_BIN_FROM_TEST.
#pragma once

#ifdef _WIN32

#include <string>

#include "platform/win32/windows_include.h"

namespace tv::test {

// The launcher's folder with a trailing backslash.
inline std::wstring LauncherFolder() {
  wchar_t self[MAX_PATH * 2] = {};
  const DWORD n = ::GetModuleFileNameW(nullptr, self, static_cast<DWORD>(std::size(self)));
  std::wstring path(self, n);
  path = path.substr(0, path.find_last_of(L"\\/") + 1);
#ifdef TV_BIN_FROM_TEST
  for (const char* p = TV_BIN_FROM_TEST; *p; ++p) path.push_back(*p == '/' ? L'\\' : static_cast<wchar_t>(*p));
#endif
  if (path.back() != L'\\') path.push_back(L'\\');
  // Canonical, so that paths compared with what the service manager stored agree.
  wchar_t full[MAX_PATH * 2] = {};
  const DWORD m = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(full)), full, nullptr);
  return m ? std::wstring(full, m) : path;
}

}  // namespace tv::test

#endif  // _WIN32
