#include "settings/policy.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "foundation/utf16.h"
#include "platform/last_error.h"

namespace tv {

BOOL ReadNumberedList(const RegKey& listKey, StrList& list) {
  list.clear();
  std::vector<std::uint8_t> data;
  for (unsigned n = 1;; ++n) {
    DWORD type = reg::kNone;
    if (!listKey.GetValue(std::to_wstring(n).c_str(), &type, &data)) {
      return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
    }
    if (data.size() > kMaxListEntryBytes || (type != reg::kSz && type != reg::kExpandSz)) return kTrue;
    std::wstring entry = FromUtf16Le(data.data(), data.size(), true);
    if (entry.empty()) return kTrue;
    list.push_back(std::move(entry));
  }
}

BOOL WriteNumberedList(RegKey& listKey, const StrList& list) {
  // Old entries past the new end must not survive as a longer list.
  if (!listKey.DelValuesStartingWith(L"")) return kFalse;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!listKey.PutStr(std::to_wstring(i + 1).c_str(), list[i].c_str())) return kFalse;
  }
  return kTrue;
}

Policy::Policy(KeyStore& store) : key_(store) {}

Policy::~Policy() = default;

bool Policy::OpenRegKey(int scope, bool forWrite) {
  key_.Close();
  return key_.Open(scope == kScopeComputer ? RegRoot::kLocalMachine : RegRoot::kCurrentUser, kPolicySubKey,
                   forWrite) != kFalse;
}

void Policy::CloseRegKey() { key_.Close(); }

bool Policy::OpenAltRegKey(const wchar_t* path, bool forWrite) {
  key_.Close();
  return key_.Open(path, forWrite) != kFalse;
}

bool Policy::OpenAltRegKey(RegHandle root, const wchar_t* path, bool forWrite) {
  key_.Close();
  return key_.Open(root, path, forWrite) != kFalse;
}

bool Policy::EnsureOpen(int scope, bool forWrite) { return key_.IsOpen() || OpenRegKey(scope, forWrite); }

DWORD Policy::GetInt(const wchar_t* name, int scope) {
  if (!EnsureOpen(scope, false)) return kNotSet;
  return key_.GetInt(name, kNotSet);
}

bool Policy::IsOn(const wchar_t* name, int scope) {
  const DWORD value = GetInt(name, scope);
  return value != kNotSet && value != 0;
}

bool Policy::Find(const wchar_t* name, int scope) { return EnsureOpen(scope, false) && key_.FindValue(name); }

BOOL Policy::GetStr(wchar_t* buffer, std::size_t chars, const wchar_t* name, int scope) {
  if (!buffer || chars == 0) return Fail(err::kInvalidParameter);
  buffer[0] = L'\0';
  if (!EnsureOpen(scope, false)) return kFalse;
  return key_.GetStr(name, buffer, chars, L"");
}

DWORD Policy::GetStrSizeChars(const wchar_t* name, int scope) {
  if (!EnsureOpen(scope, false)) return 0;
  return key_.GetStrSize(name) / 2;
}

BOOL Policy::SetInt(DWORD value, const wchar_t* name, int scope) {
  if (!EnsureOpen(scope, true)) return kFalse;
  return key_.PutDword(name, value);
}

BOOL Policy::SetStr(const wchar_t* text, const wchar_t* name, int scope) {
  if (!EnsureOpen(scope, true)) return kFalse;
  return key_.PutStr(name, text);
}

bool Policy::FindStrList(const wchar_t* subkey, int scope) {
  if (!EnsureOpen(scope, false)) return false;
  RegKey list(key_, subkey, false);
  return list.IsOpen();
}

BOOL Policy::GetStrList(StrList& list, const wchar_t* subkey, int scope) {
  list.clear();
  if (!EnsureOpen(scope, false)) return kFalse;
  RegKey listKey(key_, subkey, false);
  if (listKey.IsOpen()) (void)ReadNumberedList(listKey, list);
  return kTrue;
}

BOOL Policy::SetStrList(const StrList& list, const wchar_t* subkey, int scope) {
  if (!EnsureOpen(scope, true)) return kFalse;
  RegKey listKey(key_, subkey, true);
  if (!listKey.IsOpen()) return kFalse;
  return WriteNumberedList(listKey, list);
}

}  // namespace tv
