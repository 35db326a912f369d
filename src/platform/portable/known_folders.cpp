// Portable well-known folders: a fixed answer, which tests and the simulator may redirect.
#ifndef _WIN32

#include <cstdlib>

#include "platform/known_folders.h"
#include "platform/last_error.h"

namespace tv {

BOOL GetCommonAppDataFolder(wchar_t* buffer, std::size_t size) {
  if (!buffer || size == 0) return Fail(err::kInvalidParameter);
  const char* folder = std::getenv("TARNVALE_COMMON_APPDATA");
  if (!folder) folder = "/var/lib";
  // The value is taken byte for byte: paths for tests and the simulator are plain ASCII.
  std::size_t n = 0;
  for (; folder[n] && n + 1 < size; ++n) buffer[n] = static_cast<wchar_t>(static_cast<unsigned char>(folder[n]));
  buffer[n] = L'\0';
  return n ? kTrue : Fail(err::kPathNotFound);
}

}  // namespace tv

#endif  // !_WIN32
