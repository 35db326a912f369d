// Win32 implementation of the text-file platform pieces.
//
// _wfopen, MoveFileExW for the replacing step, the ANSI code page through MultiByteToWideChar.
#include "platform/win32/windows_include.h"

#include <io.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "foundation/text_file.h"
#include "platform/last_error.h"

namespace tv::text_file_impl {

std::FILE* OpenStream(const wchar_t* path, bool forWrite) {
  ::SetLastError(0);
  std::FILE* file = ::_wfopen(path, forWrite ? L"wb" : L"rb");
  if (!file) {
    // The C library opened through CreateFileW, whose code says more than errno does.
    const ::DWORD error = ::GetLastError();
    SetLastErrorCode(error ? error : ErrorFromErrno(errno, forWrite ? err::kWriteFault : err::kReadFault));
  }
  return file;
}

BOOL SyncFile(std::FILE* file) {
  if (::_commit(::_fileno(file)) == 0) return kTrue;
  return Fail(ErrorFromErrno(errno, err::kWriteFault));
}

BOOL MoveOver(const wchar_t* from, const wchar_t* to) {
  if (::MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return kTrue;
  return kFalse;  // MoveFileExW has set the error
}

void RemoveFile(const wchar_t* path) {
  PreserveLastError keep;
  ::DeleteFileW(path);
}

unsigned long ProcessId() { return ::GetCurrentProcessId(); }

std::wstring DecodeAnsi(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return std::wstring();
  const auto* bytes = reinterpret_cast<const char*>(data);
  // Settings files are small; a file beyond what one call converts is read in slices.
  std::wstring text;
  constexpr std::size_t kSlice = 1u << 30;
  for (std::size_t done = 0; done < size; done += kSlice) {
    const int n = static_cast<int>(size - done < kSlice ? size - done : kSlice);
    const int chars = ::MultiByteToWideChar(CP_ACP, 0, bytes + done, n, nullptr, 0);
    if (chars <= 0) continue;
    const std::size_t at = text.size();
    text.resize(at + static_cast<std::size_t>(chars));
    ::MultiByteToWideChar(CP_ACP, 0, bytes + done, n, text.data() + at, chars);
  }
  return text;
}

}  // namespace tv::text_file_impl
