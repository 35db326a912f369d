// Win32 implementation of the module and executable paths (GetModuleFileNameW).
#include "platform/win32/windows_include.h"

#include <vector>

#include "entry/process_paths.h"

namespace tv {
namespace {

// The full file name of `module` (null: the executable), grown until it fits.
BOOL ModuleFileName(HMODULE module, std::wstring& out) {
  std::vector<wchar_t> buffer(MAX_PATH);
  for (int round = 0; round < 6; ++round) {
    const ::DWORD n = ::GetModuleFileNameW(module, buffer.data(), static_cast<::DWORD>(buffer.size()));
    if (n == 0) return kFalse;
    if (n < buffer.size()) {
      out.assign(buffer.data(), n);
      return kTrue;
    }
    buffer.resize(buffer.size() * 2);
  }
  return kFalse;
}

}  // namespace

BOOL GetLibraryFolder(std::wstring& folder) {
  // The module that holds this very function: TV64.DLL in the product, whatever it is linked
  // into otherwise.
  HMODULE self = nullptr;
  if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&GetLibraryFolder), &self))
    return kFalse;
  std::wstring path;
  if (!ModuleFileName(self, path)) return kFalse;
  const size_t slash = path.find_last_of(L"\\/");
  if (slash == std::wstring::npos) return kFalse;
  folder = path.substr(0, slash + 1);
  return kTrue;
}

BOOL GetExecutablePath(std::wstring& path) { return ModuleFileName(nullptr, path); }

}  // namespace tv
