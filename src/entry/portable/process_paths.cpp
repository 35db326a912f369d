// Portable implementation of the module and executable paths: the executable from /proc, and
// its folder standing in for the library's (everything is linked into one program here).
#ifndef _WIN32

#include <limits.h>
#include <unistd.h>

#include <cstdlib>

#include "entry/process_paths.h"

namespace tv {
namespace {

BOOL ExecutableBytes(std::string& out) {
  char buffer[PATH_MAX];
  const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  if (n <= 0) return kFalse;
  out.assign(buffer, static_cast<size_t>(n));
  return kTrue;
}

std::wstring Widen(const std::string& bytes) {
  // Paths here are plain ASCII in practice; anything else is carried byte for byte.
  std::wstring wide;
  wide.reserve(bytes.size());
  for (unsigned char c : bytes) wide.push_back(static_cast<wchar_t>(c));
  return wide;
}

}  // namespace

BOOL GetExecutablePath(std::wstring& path) {
  std::string bytes;
  if (!ExecutableBytes(bytes)) return kFalse;
  path = Widen(bytes);
  return kTrue;
}

BOOL GetLibraryFolder(std::wstring& folder) {
  std::wstring path;
  if (!GetExecutablePath(path)) return kFalse;
  const size_t slash = path.find_last_of(L'/');
  if (slash == std::wstring::npos) return kFalse;
  folder = path.substr(0, slash + 1);
  return kTrue;
}

}  // namespace tv

#endif  // !_WIN32
