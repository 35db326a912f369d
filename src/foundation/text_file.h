// Whole text files: reading with the encoding told by the byte-order mark, and writing in
// UTF-16LE with a byte-order mark through a temporary file, so that a failed write never leaves
// a half-written file behind. Paths are wide strings on every toolchain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace tv {

enum class TextEncoding {
  kAnsi,     // no byte-order mark: the system's ANSI code page (Windows-1252 off Windows)
  kUtf8,     // EF BB BF
  kUtf16Le,  // FF FE
  kUtf16Be,  // FE FF
};

// Decodes the bytes of a text file; the byte-order mark is not part of the text. Text from an
// 8-bit encoding has every control character other than tab, line feed, carriage return and
// 0x1A, and 0x7F, replaced by "."; invalid UTF-8 becomes U+FFFD. In UTF-16 text a zero becomes
// a space, and an odd last byte (a truncated file) is dropped. The result never holds a zero.
std::wstring DecodeTextFile(const void* data, std::size_t size, TextEncoding* encoding = nullptr);

// The bytes WriteTextFile stores for `text`: FF FE, then the text in UTF-16LE.
std::vector<std::uint8_t> EncodeTextFile(std::wstring_view text);

// Reads the whole file. FALSE with the system's error code when it cannot be opened or read.
BOOL ReadFileBytes(const wchar_t* path, std::vector<std::uint8_t>* bytes);

// Reads and decodes the whole file (DecodeTextFile). `text` is untouched on failure.
BOOL ReadTextFile(const wchar_t* path, std::wstring* text, TextEncoding* encoding = nullptr);

// Replaces (or creates) the file with `text` as EncodeTextFile gives it. The bytes go to a new
// file in the same folder first, which is flushed and then renamed over the target; on failure
// the target is as it was and the temporary file is gone.
BOOL WriteTextFile(const wchar_t* path, std::wstring_view text);

// What each platform supplies to the code above; not for other callers.
namespace text_file_impl {
// fopen in binary mode ("rb" or "wb") by wide path; null with the last error set.
std::FILE* OpenStream(const wchar_t* path, bool forWrite);
// Pushes a written, flushed file to the disk.
BOOL SyncFile(std::FILE* file);
// Renames `from` over `to`, replacing it.
BOOL MoveOver(const wchar_t* from, const wchar_t* to);
void RemoveFile(const wchar_t* path);
// A number that tells this process's temporary files from another's.
unsigned long ProcessId();
// Bytes in the ANSI code page, before the control-character rule.
std::wstring DecodeAnsi(const std::uint8_t* data, std::size_t size);
// The Windows error code for a C library errno value.
ErrorCode ErrorFromErrno(int error, ErrorCode otherwise);
}  // namespace text_file_impl

}  // namespace tv
