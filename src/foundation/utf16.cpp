#include "foundation/utf16.h"

namespace tv {
namespace {

constexpr bool kWide16 = sizeof(wchar_t) == 2;

void PutUnit(std::vector<std::uint8_t>& out, std::uint32_t unit) {
  out.push_back(static_cast<std::uint8_t>(unit & 0xFF));
  out.push_back(static_cast<std::uint8_t>((unit >> 8) & 0xFF));
}

bool IsHigh(std::uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLow(std::uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// The code point of one wchar_t; a negative signed wchar_t is out of range like any other.
std::uint32_t CodeOf(wchar_t c) {
  return kWide16 ? static_cast<std::uint16_t>(c) : static_cast<std::uint32_t>(c);
}

}  // namespace

std::size_t Utf16Length(std::wstring_view text) {
  if constexpr (kWide16) return text.size();
  std::size_t units = 0;
  for (wchar_t c : text) {
    const std::uint32_t cp = CodeOf(c);
    units += (cp > 0xFFFF && cp <= 0x10FFFF) ? 2 : 1;
  }
  return units;
}

std::vector<std::uint8_t> ToUtf16Le(std::wstring_view text, bool terminate) {
  std::vector<std::uint8_t> out;
  out.reserve((Utf16Length(text) + (terminate ? 1 : 0)) * 2);
  for (wchar_t c : text) {
    const std::uint32_t cp = CodeOf(c);
    if (cp <= 0xFFFF) {
      PutUnit(out, cp);
    } else if (cp <= 0x10FFFF) {
      const std::uint32_t v = cp - 0x10000;
      PutUnit(out, 0xD800 + (v >> 10));
      PutUnit(out, 0xDC00 + (v & 0x3FF));
    } else {
      PutUnit(out, 0xFFFD);
    }
  }
  if (terminate) PutUnit(out, 0);
  return out;
}

std::wstring FromUtf16Le(const void* data, std::size_t bytes, bool stopAtZero) {
  std::wstring out;
  if (!data) return out;
  const auto* p = static_cast<const std::uint8_t*>(data);
  const std::size_t units = bytes / 2;
  out.reserve(units);
  auto unitAt = [p](std::size_t i) { return static_cast<std::uint32_t>(p[2 * i] | (p[2 * i + 1] << 8)); };
  for (std::size_t i = 0; i < units; ++i) {
    const std::uint32_t u = unitAt(i);
    if (u == 0 && stopAtZero) break;
    if constexpr (!kWide16) {
      if (IsHigh(u) && i + 1 < units && IsLow(unitAt(i + 1))) {
        const std::uint32_t lo = unitAt(++i);
        out.push_back(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (lo - 0xDC00)));
        continue;
      }
    }
    out.push_back(static_cast<wchar_t>(u));
  }
  return out;
}

}  // namespace tv
