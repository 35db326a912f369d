// The launchers TV64.EXE and Tarnvale64.EXE: each finds TV64.DLL in its own folder and hands it
// the whole command line. They hold no logic of their own, so one library serves the service, the
// agents, the installer and the configuration utility; the build names the entry each calls.
#include "platform/win32/windows_include.h"

#ifndef TV_LIBRARY_ENTRY
#define TV_LIBRARY_ENTRY "DoWinMain"
#endif

#include <string>
#include <vector>

namespace {

using DoWinMainFn = int (*)(HINSTANCE, const wchar_t*, int);

// The folder of this executable, with its trailing separator; empty if unknown.
std::wstring OwnFolder() {
  std::vector<wchar_t> buffer(MAX_PATH);
  for (int round = 0; round < 6; ++round) {
    const DWORD n = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return std::wstring();
    if (n < buffer.size()) {
      std::wstring path(buffer.data(), n);
      const size_t slash = path.find_last_of(L"\\/");
      return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
    }
    buffer.resize(buffer.size() * 2);
  }
  return std::wstring();
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR, int showCommand) {
  // A full path: the service starts with the system folder as its current directory, and the
  // library must never be picked up from anywhere but beside the launcher.
  const std::wstring library = OwnFolder() + L"TV64.DLL";
  HMODULE module = ::LoadLibraryW(library.c_str());
  if (!module) return static_cast<int>(::GetLastError());
  auto entry = reinterpret_cast<DoWinMainFn>(reinterpret_cast<void*>(::GetProcAddress(module, TV_LIBRARY_ENTRY)));
  if (!entry) {
    const int error = static_cast<int>(::GetLastError());
    ::FreeLibrary(module);
    return error;
  }
  const int code = entry(instance, ::GetCommandLineW(), showCommand);
  ::FreeLibrary(module);
  return code;
}
