// Win32 well-known folders, asked of the shell.
#include "platform/win32/windows_include.h"

#include <shlobj.h>

#include "platform/known_folders.h"
#include "platform/last_error.h"

namespace tv {

BOOL GetCommonAppDataFolder(wchar_t* buffer, std::size_t size) {
  if (!buffer || size == 0) return Fail(err::kInvalidParameter);
  buffer[0] = L'\0';
  PIDLIST_ABSOLUTE items = nullptr;
  const HRESULT hr = ::SHGetSpecialFolderLocation(nullptr, CSIDL_COMMON_APPDATA, &items);
  if (FAILED(hr) || !items) return Fail(err::kPathNotFound);
  // The shell writes up to MAX_PATH characters whatever the caller's buffer holds.
  wchar_t path[MAX_PATH] = {};
  const BOOL converted = ::SHGetPathFromIDListW(items, path);
  ::CoTaskMemFree(items);  // the shell allocator's item list
  if (!converted || !path[0]) return Fail(err::kPathNotFound);
  // Touching the attributes makes a redirected or offline folder come into reach early; the
  // answer itself does not matter.
  (void)::GetFileAttributesW(path);
  std::size_t n = 0;
  for (; path[n] && n + 1 < size; ++n) buffer[n] = path[n];
  buffer[n] = L'\0';
  return kTrue;
}

}  // namespace tv
