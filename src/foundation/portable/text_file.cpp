// Portable implementation of the text-file platform pieces, for builds without Win32.
//
// stdio with UTF-8 file names, rename(2) for the replacing step, Windows-1252 as the ANSI code page.
#ifndef _WIN32

#include <cerrno>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "foundation/text_file.h"
#include "platform/last_error.h"

namespace tv::text_file_impl {
namespace {

// File names are bytes here; UTF-8 is what every other program on the system will read.
std::string ToUtf8(const wchar_t* text) {
  std::string out;
  for (; *text; ++text) {
    auto cp = static_cast<std::uint32_t>(*text);
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | cp >> 6);
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | cp >> 12);
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | cp >> 18);
      out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

// Windows-1252 for 0x80..0x9F; the five bytes it leaves undefined map to themselves, as
// Windows maps them.
constexpr char16_t kHigh1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

}  // namespace

std::FILE* OpenStream(const wchar_t* path, bool forWrite) {
  std::FILE* file = std::fopen(ToUtf8(path).c_str(), forWrite ? "wb" : "rb");
  if (!file) SetLastErrorCode(ErrorFromErrno(errno, forWrite ? err::kWriteFault : err::kReadFault));
  return file;
}

BOOL SyncFile(std::FILE* file) {
  if (::fsync(::fileno(file)) == 0) return kTrue;
  return Fail(ErrorFromErrno(errno, err::kWriteFault));
}

BOOL MoveOver(const wchar_t* from, const wchar_t* to) {
  if (std::rename(ToUtf8(from).c_str(), ToUtf8(to).c_str()) == 0) return kTrue;
  return Fail(ErrorFromErrno(errno, err::kWriteFault));
}

void RemoveFile(const wchar_t* path) {
  PreserveLastError keep;
  std::remove(ToUtf8(path).c_str());
}

unsigned long ProcessId() { return static_cast<unsigned long>(::getpid()); }

std::wstring DecodeAnsi(const std::uint8_t* data, std::size_t size) {
  std::wstring text(size, L'\0');
  for (std::size_t i = 0; i < size; ++i) {
    const std::uint8_t b = data[i];
    text[i] = (b >= 0x80 && b < 0xA0) ? static_cast<wchar_t>(kHigh1252[b - 0x80]) : static_cast<wchar_t>(b);
  }
  return text;
}

}  // namespace tv::text_file_impl

#endif  // _WIN32
