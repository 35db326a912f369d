// Wide text to and from UTF-16LE bytes, the form text takes when it leaves the process (registry
// data, files). Correct whether wchar_t is 16 bits (Windows) or 32 bits (elsewhere).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tv {

// The UTF-16LE bytes of `text`, with a zero code unit appended when `terminate`. With 32-bit
// wchar_t a character above U+FFFF becomes a surrogate pair and one above U+10FFFF becomes
// U+FFFD; a lone surrogate is kept as it is, as Windows keeps it.
std::vector<std::uint8_t> ToUtf16Le(std::wstring_view text, bool terminate = false);

// Decodes `bytes` bytes of UTF-16LE. An odd last byte is ignored; with `stopAtZero` decoding
// ends before the first zero code unit. With 32-bit wchar_t a surrogate pair becomes one
// character and a lone surrogate is kept as it is.
std::wstring FromUtf16Le(const void* data, std::size_t bytes, bool stopAtZero = false);

// How many UTF-16 code units `text` takes (without a terminator).
std::size_t Utf16Length(std::wstring_view text);

}  // namespace tv
