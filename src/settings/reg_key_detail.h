// The key wrapper's private helpers, shared by the files it is split into: recording mode,
// path walking, recursive deletion and copying, and the text conversions of its values.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace tv::reg_key_detail {

inline constexpr ErrorCode kDirNotEmpty = 145;  // ERROR_DIR_NOT_EMPTY
// The registry nests at most 512 keys deep; a copy deeper than that is copying into itself.
inline constexpr int kMaxDepth = 512;

// What OpenKey answers while recording: never issued by a store (stores hand out small or
// predefined values), so nothing can mistake it for a real key.
inline const RegHandle kLogHandle = static_cast<RegHandle>(~std::uintptr_t{0xFF});

inline std::wstring_view NameOf(const wchar_t* name) { return name ? std::wstring_view(name) : std::wstring_view(); }
std::wstring Join(const wchar_t* prefix, const wchar_t* name);
inline bool IsText(DWORD type) { return type == reg::kSz || type == reg::kExpandSz; }

// The recording mode's state: whether it is on, and where the lines go.
struct LogState {
  std::atomic<bool> on{false};
  std::mutex mutex;
  std::size_t count = 0;
  wchar_t* out = nullptr;
};
LogState& Log();
// Appends `text` to the recording.
void Emit(std::wstring_view text);
std::wstring Hex8(DWORD value);

bool ParseRoot(std::wstring_view name, RegRoot* root);
RegHandle Walk(KeyStore& store, RegHandle start, std::wstring_view path, bool forWrite, int keepLast);
// Deletes every subkey and value of `key`; 0 with the first failure's code when one stayed.
BOOL EmptyKey(KeyStore& store, RegHandle key);
BOOL DeleteRecursive(KeyStore& store, RegHandle parent, std::wstring_view name);
BOOL CopyTree(KeyStore& from, RegHandle source, KeyStore& to, RegHandle target, int depth);
// C's decimal conversion: leading blanks, a sign, digits, saturated to the int range.
int ParseDecimal(std::wstring_view text);
void CopyCut(const wchar_t* text, wchar_t* buffer, std::size_t chars);

}  // namespace tv::reg_key_detail
