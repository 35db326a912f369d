// Local date and time for the statistics, portable build: no locale formats, a fixed ISO-like form.
#ifndef _WIN32
#include <cwchar>

#include "service/service_env.h"

namespace tv {

std::wstring FormatLocalDateTime(const SystemTime& t) {
  wchar_t buffer[64];
  std::swprintf(buffer, 64, L"%04u-%02u-%02u %02u:%02u:%02u", unsigned(t.year), unsigned(t.month),
                unsigned(t.day), unsigned(t.hour), unsigned(t.minute), unsigned(t.second));
  return buffer;
}

}  // namespace tv
#endif
