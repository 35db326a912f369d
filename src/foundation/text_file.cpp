#include "foundation/text_file.h"

#include <atomic>
#include <cerrno>
#include <chrono>

#include "foundation/utf16.h"
#include "platform/last_error.h"

namespace tv {
namespace {

void AppendCodePoint(std::wstring& out, std::uint32_t cp) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (cp > 0xFFFF) {
      cp -= 0x10000;
      out += static_cast<wchar_t>(0xD800 + (cp >> 10));
      out += static_cast<wchar_t>(0xDC00 + (cp & 0x3FF));
      return;
    }
  }
  out += static_cast<wchar_t>(cp);
}

// Strict UTF-8: overlong forms, surrogates and values above U+10FFFF are invalid; each byte
// that cannot start or continue a valid sequence becomes one U+FFFD.
std::wstring DecodeUtf8(const std::uint8_t* p, std::size_t size) {
  std::wstring out;
  out.reserve(size);
  std::size_t i = 0;
  while (i < size) {
    const std::uint8_t b = p[i];
    if (b < 0x80) {
      out += static_cast<wchar_t>(b);
      ++i;
      continue;
    }
    std::size_t extra = 0;
    std::uint32_t cp = 0, min = 0;
    if (b >= 0xC2 && b <= 0xDF) {
      extra = 1, cp = b & 0x1F, min = 0x80;
    } else if (b >= 0xE0 && b <= 0xEF) {
      extra = 2, cp = b & 0x0F, min = 0x800;
    } else if (b >= 0xF0 && b <= 0xF4) {
      extra = 3, cp = b & 0x07, min = 0x10000;
    }
    std::size_t taken = 1;
    bool valid = extra > 0;
    for (std::size_t k = 1; valid && k <= extra; ++k) {
      if (i + k >= size || (p[i + k] & 0xC0) != 0x80) {
        valid = false;
        break;
      }
      cp = cp << 6 | (p[i + k] & 0x3F);
      taken = k + 1;
    }
    if (valid && (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))) valid = false;
    if (valid) {
      AppendCodePoint(out, cp);
      i += taken;
    } else {
      out += static_cast<wchar_t>(0xFFFD);
      ++i;
    }
  }
  return out;
}

// The 8-bit rule: control characters that are not line structure would only confuse the reader.
void ReplaceControls(std::wstring& text) {
  for (wchar_t& c : text) {
    if ((c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r' && c != 0x1A) || c == 0x7F) c = L'.';
  }
}

}  // namespace

std::wstring DecodeTextFile(const void* data, std::size_t size, TextEncoding* encoding) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  if (!p) size = 0;
  TextEncoding found = TextEncoding::kAnsi;
  std::wstring text;
  if (size >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
    found = TextEncoding::kUtf16Le;
    text = FromUtf16Le(p + 2, size - 2);
  } else if (size >= 2 && p[0] == 0xFE && p[1] == 0xFF) {
    found = TextEncoding::kUtf16Be;
    std::vector<std::uint8_t> swapped(p + 2, p + 2 + ((size - 2) & ~std::size_t{1}));
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    text = FromUtf16Le(swapped.data(), swapped.size());
  } else if (size >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
    found = TextEncoding::kUtf8;
    text = DecodeUtf8(p + 3, size - 3);
    ReplaceControls(text);
  } else {
    text = text_file_impl::DecodeAnsi(p, size);
    ReplaceControls(text);
  }
  if (found == TextEncoding::kUtf16Le || found == TextEncoding::kUtf16Be) {
    for (wchar_t& c : text) {
      if (c == 0) c = L' ';
    }
  }
  if (encoding) *encoding = found;
  return text;
}

std::vector<std::uint8_t> EncodeTextFile(std::wstring_view text) {
  std::vector<std::uint8_t> bytes = ToUtf16Le(text);
  bytes.insert(bytes.begin(), {0xFF, 0xFE});
  return bytes;
}

BOOL ReadFileBytes(const wchar_t* path, std::vector<std::uint8_t>* bytes) {
  if (!path || !*path || !bytes) return Fail(err::kInvalidParameter);
  std::FILE* file = text_file_impl::OpenStream(path, false);
  if (!file) return kFalse;
  std::vector<std::uint8_t> read;
  std::uint8_t chunk[16384];
  std::size_t got;
  while ((got = std::fread(chunk, 1, sizeof(chunk), file)) > 0) read.insert(read.end(), chunk, chunk + got);
  const bool failed = std::ferror(file) != 0;
  const int error = errno;
  std::fclose(file);
  if (failed) return Fail(text_file_impl::ErrorFromErrno(error, err::kReadFault));
  *bytes = std::move(read);
  return kTrue;
}

BOOL ReadTextFile(const wchar_t* path, std::wstring* text, TextEncoding* encoding) {
  if (!text) return Fail(err::kInvalidParameter);
  std::vector<std::uint8_t> bytes;
  if (!ReadFileBytes(path, &bytes)) return kFalse;
  *text = DecodeTextFile(bytes.data(), bytes.size(), encoding);
  return kTrue;
}

BOOL WriteTextFile(const wchar_t* path, std::wstring_view text) {
  if (!path || !*path) return Fail(err::kInvalidParameter);
  const std::vector<std::uint8_t> bytes = EncodeTextFile(text);

  // Beside the target, so that the rename stays within one file system; named so that neither
  // two processes nor two threads of one share a temporary file.
  static std::atomic<unsigned> counter{0};
  const auto stamp = static_cast<unsigned long long>(std::chrono::steady_clock::now().time_since_epoch().count());
  const std::wstring temp = std::wstring(path) + L"." + std::to_wstring(text_file_impl::ProcessId()) + L"-" +
                            std::to_wstring(counter.fetch_add(1)) + L"-" + std::to_wstring(stamp % 100000) +
                            L".tmp";

  std::FILE* file = text_file_impl::OpenStream(temp.c_str(), true);
  if (!file) return kFalse;
  ErrorCode error = err::kSuccess;
  if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() || std::fflush(file) != 0) {
    error = text_file_impl::ErrorFromErrno(errno, err::kWriteFault);
  } else if (!text_file_impl::SyncFile(file)) {
    error = GetLastErrorCode() ? GetLastErrorCode() : err::kWriteFault;
  }
  if (std::fclose(file) != 0 && error == err::kSuccess) error = text_file_impl::ErrorFromErrno(errno, err::kWriteFault);
  if (error == err::kSuccess && !text_file_impl::MoveOver(temp.c_str(), path)) error = GetLastErrorCode();
  if (error != err::kSuccess) {
    text_file_impl::RemoveFile(temp.c_str());
    return Fail(error ? error : err::kWriteFault);
  }
  return kTrue;
}

namespace text_file_impl {

ErrorCode ErrorFromErrno(int error, ErrorCode otherwise) {
  switch (error) {
    case ENOENT: return err::kFileNotFound;
    case ENOTDIR: return err::kPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR: return err::kAccessDenied;
    case ENOMEM: return err::kNotEnoughMemory;
    case ENAMETOOLONG:
    case EINVAL: return err::kInvalidName;
    case EEXIST: return err::kFileExists;
    default: return otherwise;
  }
}

}  // namespace text_file_impl
}  // namespace tv
