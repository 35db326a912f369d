// Win32 implementation of the registry seam: the real registry, always in its 64-bit view.
#include "platform/win32/windows_include.h"

#include "platform/registry.h"

#include <string>
#include <vector>

namespace tv {
namespace {

HKEY ToHkey(RegHandle key) { return reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(key)); }
RegHandle FromHkey(HKEY key) { return static_cast<RegHandle>(reinterpret_cast<std::uintptr_t>(key)); }

// Registry calls answer their status instead of setting the thread's error; store it there so
// callers read every failure one way.
BOOL Check(LSTATUS status) {
  if (status == ERROR_SUCCESS) return kTrue;
  ::SetLastError(static_cast<::DWORD>(status));
  return kFalse;
}

bool IsStringType(DWORD type) { return type == reg::kSz || type == reg::kExpandSz || type == reg::kMultiSz; }

}  // namespace

RegHandle Win32KeyStore::Root(RegRoot root) const {
  switch (root) {
    case RegRoot::kClassesRoot: return FromHkey(HKEY_CLASSES_ROOT);
    case RegRoot::kCurrentUser: return FromHkey(HKEY_CURRENT_USER);
    case RegRoot::kLocalMachine: return FromHkey(HKEY_LOCAL_MACHINE);
    case RegRoot::kUsers: return FromHkey(HKEY_USERS);
  }
  return RegHandle{};
}

BOOL Win32KeyStore::OpenKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key) {
  if (!key) return Fail(err::kInvalidParameter);
  const std::wstring p(path);
  HKEY opened = nullptr;
  if (!Check(::RegOpenKeyExW(ToHkey(parent), p.c_str(), 0, access | KEY_WOW64_64KEY, &opened))) return kFalse;
  *key = FromHkey(opened);
  return kTrue;
}

BOOL Win32KeyStore::CreateKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key, bool* created) {
  if (!key) return Fail(err::kInvalidParameter);
  const std::wstring p(path);
  HKEY opened = nullptr;
  ::DWORD disposition = 0;
  if (!Check(::RegCreateKeyExW(ToHkey(parent), p.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               access | KEY_WOW64_64KEY, nullptr, &opened, &disposition))) {
    return kFalse;
  }
  *key = FromHkey(opened);
  if (created) *created = disposition == REG_CREATED_NEW_KEY;
  return kTrue;
}

BOOL Win32KeyStore::CloseKey(RegHandle key) { return Check(::RegCloseKey(ToHkey(key))); }

BOOL Win32KeyStore::FlushKey(RegHandle key) { return Check(::RegFlushKey(ToHkey(key))); }

BOOL Win32KeyStore::QueryValue(RegHandle key, std::wstring_view name, DWORD* type, void* data, DWORD* size) {
  if (data && !size) return Fail(err::kInvalidParameter);
  const std::wstring n(name);
  ::DWORD t = 0;
  ::DWORD s = size ? *size : 0;
  const LSTATUS status = ::RegQueryValueExW(ToHkey(key), n.c_str(), nullptr, &t, static_cast<BYTE*>(data),
                                            size ? &s : nullptr);
  if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
    if (type) *type = t;
    if (size) *size = s;
  }
  return Check(status);
}

BOOL Win32KeyStore::SetValue(RegHandle key, std::wstring_view name, DWORD type, const void* data, DWORD size) {
  if (!data && size) return Fail(err::kInvalidParameter);
  const std::wstring n(name);
  const auto* bytes = static_cast<const BYTE*>(data);
  std::vector<BYTE> guarded;
  if (IsStringType(type) && size) {
    // For text whose counted data does not end in a zero, the system peeks at the character
    // before the data's end and the one after it, and counts a zero that follows as the
    // terminator. Non-zero guards on both sides keep the bytes exactly as given and keep the
    // peek inside our own buffer.
    guarded.assign(size + 4, 0xFF);
    std::copy(bytes, bytes + size, guarded.begin() + 2);
    bytes = guarded.data() + 2;
  }
  return Check(::RegSetValueExW(ToHkey(key), n.c_str(), 0, type, bytes, size));
}

BOOL Win32KeyStore::DeleteValue(RegHandle key, std::wstring_view name) {
  const std::wstring n(name);
  return Check(::RegDeleteValueW(ToHkey(key), n.c_str()));
}

BOOL Win32KeyStore::DeleteKey(RegHandle parent, std::wstring_view path) {
  // An empty path would delete the parent itself; the seam never means that.
  if (path.empty()) return Fail(err::kInvalidParameter);
  const std::wstring p(path);
  return Check(::RegDeleteKeyExW(ToHkey(parent), p.c_str(), KEY_WOW64_64KEY, 0));
}

BOOL Win32KeyStore::DeleteTree(RegHandle key, std::wstring_view path) {
  const std::wstring p(path);
  return Check(::RegDeleteTreeW(ToHkey(key), p.empty() ? nullptr : p.c_str()));
}

BOOL Win32KeyStore::EnumKey(RegHandle key, DWORD index, std::wstring* name) {
  if (!name) return Fail(err::kInvalidParameter);
  std::vector<wchar_t> buffer(reg::kMaxKeyNameChars + 2);
  for (;;) {
    ::DWORD chars = static_cast<::DWORD>(buffer.size());
    const LSTATUS status =
        ::RegEnumKeyExW(ToHkey(key), index, buffer.data(), &chars, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_MORE_DATA && buffer.size() < 32768) {
      buffer.resize(buffer.size() * 4);
      continue;
    }
    if (!Check(status)) return kFalse;
    name->assign(buffer.data(), chars);
    return kTrue;
  }
}

BOOL Win32KeyStore::EnumValue(RegHandle key, DWORD index, std::wstring* name, DWORD* type) {
  if (!name) return Fail(err::kInvalidParameter);
  std::vector<wchar_t> buffer(260);
  for (;;) {
    ::DWORD chars = static_cast<::DWORD>(buffer.size());
    ::DWORD t = 0;
    const LSTATUS status = ::RegEnumValueW(ToHkey(key), index, buffer.data(), &chars, nullptr, &t, nullptr, nullptr);
    // Without a data buffer, "more data" can only mean the name did not fit.
    if (status == ERROR_MORE_DATA && buffer.size() < 32768) {
      buffer.resize(buffer.size() * 4);
      continue;
    }
    if (!Check(status)) return kFalse;
    name->assign(buffer.data(), chars);
    if (type) *type = t;
    return kTrue;
  }
}

BOOL Win32KeyStore::QueryInfo(RegHandle key, RegKeyInfo* info) {
  if (!info) return Fail(err::kInvalidParameter);
  ::DWORD subkeys = 0, maxSubkey = 0, values = 0, maxName = 0, maxData = 0;
  if (!Check(::RegQueryInfoKeyW(ToHkey(key), nullptr, nullptr, nullptr, &subkeys, &maxSubkey, nullptr, &values,
                                &maxName, &maxData, nullptr, nullptr))) {
    return kFalse;
  }
  info->subkeys = subkeys;
  info->maxSubkeyLen = maxSubkey;
  info->values = values;
  info->maxValueNameLen = maxName;
  info->maxValueLen = maxData;
  return kTrue;
}

KeyStore& DefaultKeyStore() {
  static Win32KeyStore store;
  return store;
}

}  // namespace tv
