// Win32 implementation of the system error text (FormatMessageW from the system's tables).
#include "platform/win32/windows_include.h"

#include "entry/error_text.h"

namespace tv {

std::wstring SystemErrorText(ErrorCode code) {
  wchar_t* text = nullptr;
  const ::DWORD n = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
      MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  std::wstring result;
  if (n != 0 && text) result.assign(text, n);
  if (text) ::LocalFree(text);
  while (!result.empty() && (result.back() == L'\n' || result.back() == L'\r' || result.back() == L' '))
    result.pop_back();
  if (result.empty()) result = L"Error code " + std::to_wstring(code) + L".";
  return result;
}

}  // namespace tv
