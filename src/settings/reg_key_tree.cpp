// RegKey: deleting values and keys, enumeration, copying and renaming whole keys.
#include "settings/reg_key.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "foundation/utf16.h"
#include "platform/last_error.h"
#include "settings/reg_key_detail.h"

namespace tv {

using namespace reg_key_detail;

// ---- deleting

BOOL RegKey::DelValue(const wchar_t* name) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=@\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  if (store_->DeleteValue(key_, NameOf(name))) return kTrue;
  return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
}

BOOL RegKey::DelSubKey(const wchar_t* subkey) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(subkey).empty()) return Fail(err::kInvalidParameter);
  return DeleteRecursive(*store_, key_, NameOf(subkey));
}

BOOL RegKey::DelAll() {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  return EmptyKey(*store_, key_);
}

BOOL RegKey::DelSubKeyIfEmpty(const wchar_t* subkey) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(subkey).empty()) return Fail(err::kInvalidParameter);
  RegKey child(*store_);
  if (!child.Open(key_, subkey, false)) return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
  RegKeyInfo info;
  if (!store_->QueryInfo(child.key_, &info)) return kFalse;
  if (info.subkeys || info.values) return Fail(kDirNotEmpty);
  child.Close();
  return store_->DeleteKey(key_, NameOf(subkey));
}

BOOL RegKey::IsKeyEmpty() const {
  if (!Readable()) return kFalse;
  RegKeyInfo info;
  if (!store_->QueryInfo(key_, &info)) return kFalse;
  return info.subkeys == 0 && info.values == 0;
}

BOOL RegKey::DelValuesStartingWith(const wchar_t* prefix) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  std::vector<std::wstring> doomed;
  std::wstring name;
  for (DWORD i = 0; store_->EnumValue(key_, i, &name, nullptr); ++i) {
    if (RegNameStartsWith(name, NameOf(prefix))) doomed.push_back(name);
  }
  if (GetLastErrorCode() != err::kNoMoreItems) return kFalse;
  BOOL ok = kTrue;
  for (const std::wstring& n : doomed) {
    if (!store_->DeleteValue(key_, n) && GetLastErrorCode() != err::kFileNotFound) ok = kFalse;
  }
  return ok;
}

// ---- enumeration

BOOL RegKey::GetSubKeyByIndex(DWORD index, std::wstring* name) const {
  if (!name) return Fail(err::kInvalidParameter);
  if (!Readable()) return kFalse;
  return store_->EnumKey(key_, index, name);
}

BOOL RegKey::GetSubKeyByIndex(DWORD index, wchar_t* name, std::size_t chars) const {
  if (!name || chars == 0) return Fail(err::kInvalidParameter);
  std::wstring found;
  if (!GetSubKeyByIndex(index, &found)) return kFalse;
  if (found.size() >= chars) return Fail(err::kMoreData);
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  return kTrue;
}

BOOL RegKey::GetFirstSubKey(wchar_t* name, std::size_t chars) {
  subKeyIndex_ = 0;
  return GetNextSubKey(name, chars);
}

BOOL RegKey::GetNextSubKey(wchar_t* name, std::size_t chars) { return GetSubKeyByIndex(subKeyIndex_++, name, chars); }

BOOL RegKey::GetValueByIndex(DWORD index, std::wstring* name, DWORD* type) const {
  if (!name) return Fail(err::kInvalidParameter);
  if (!Readable()) return kFalse;
  return store_->EnumValue(key_, index, name, type);
}

BOOL RegKey::GetValueByIndex(DWORD index, wchar_t* name, std::size_t chars, DWORD* type) const {
  if (!name || chars == 0) return Fail(err::kInvalidParameter);
  std::wstring found;
  DWORD t = reg::kNone;
  if (!GetValueByIndex(index, &found, &t)) return kFalse;
  if (found.size() >= chars) return Fail(err::kMoreData);
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  if (type) *type = t;
  return kTrue;
}

BOOL RegKey::GetFirstValue(wchar_t* name, std::size_t chars, DWORD* type) {
  valueIndex_ = 0;
  return GetNextValue(name, chars, type);
}

BOOL RegKey::GetNextValue(wchar_t* name, std::size_t chars, DWORD* type) {
  return GetValueByIndex(valueIndex_++, name, chars, type);
}

std::wstring RegKey::GetParentSubkeyName(const wchar_t* path) {
  const std::wstring_view p = NameOf(path);
  const std::size_t sep = p.rfind(L'\\');
  return sep == std::wstring_view::npos ? std::wstring() : std::wstring(p.substr(0, sep));
}

const wchar_t* RegKey::FindLastSubkeyName(const wchar_t* path) {
  if (!path) return L"";
  const wchar_t* last = path;
  for (const wchar_t* p = path; *p; ++p) {
    if (*p == L'\\') last = p + 1;
  }
  return last;
}

// ---- whole keys

BOOL RegKey::CopyTo(RegKey& target) const {
  if (IsLogging()) return kTrue;
  if (!Readable() || !target.Writable()) return kFalse;
  return CopyTree(*store_, key_, *target.store_, target.key_, 0);
}

BOOL RegKey::CopyValueTo(RegKey& target, const wchar_t* name) const {
  if (IsLogging()) return kTrue;
  if (!target.Writable()) return kFalse;
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!GetValue(name, &type, &data)) return kFalse;
  return target.store_->SetValue(target.key_, NameOf(name), type, data.data(), static_cast<DWORD>(data.size()));
}

BOOL RegKey::RenameSubkey(const wchar_t* oldName, const wchar_t* newName) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(oldName).empty() || NameOf(newName).empty()) return Fail(err::kInvalidParameter);
  RegKey source(*store_);
  if (!source.Open(key_, oldName, false)) return kFalse;
  {
    RegKey existing(*store_);
    if (existing.Open(key_, newName, false)) return Fail(err::kAlreadyExists);
    if (GetLastErrorCode() != err::kFileNotFound) return kFalse;
  }
  RegKey target(*store_);
  if (!target.Open(key_, newName, true)) return kFalse;
  if (!source.CopyTo(target)) {
    PreserveLastError keep;
    target.Close();
    DeleteRecursive(*store_, key_, NameOf(newName));
    return kFalse;
  }
  source.Close();
  target.Close();
  return DelSubKey(oldName);
}

}  // namespace tv
