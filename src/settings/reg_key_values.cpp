// RegKey: reading and writing values by type, and the prefixed-name forms.
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

// ---- reading

BOOL RegKey::ReadRaw(const wchar_t* name, DWORD* type, void* data, DWORD* size) const {
  if (!Readable()) return kFalse;
  return store_->QueryValue(key_, NameOf(name), type, data, size);
}

DWORD RegKey::GetValueType(const wchar_t* name) const {
  DWORD type = reg::kNone;
  return ReadRaw(name, &type, nullptr, nullptr) ? type : reg::kNone;
}

BOOL RegKey::FindValue(const wchar_t* name) const { return ReadRaw(name, nullptr, nullptr, nullptr); }

DWORD RegKey::GetInt(const wchar_t* name, DWORD def) const {
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return def;
  if (type == reg::kDword || type == reg::kBinary) {
    std::uint8_t b[4] = {};
    DWORD got = sizeof(b);
    if (!ReadRaw(name, &type, b, &got)) return def;
    return static_cast<DWORD>(b[0]) | static_cast<DWORD>(b[1]) << 8 | static_cast<DWORD>(b[2]) << 16 |
           static_cast<DWORD>(b[3]) << 24;
  }
  // A number typed in by hand as text: at most 128 bytes of it; longer text reads as nothing.
  std::uint8_t text[128];
  DWORD got = sizeof(text);
  std::wstring digits;
  if (ReadRaw(name, &type, text, &got)) digits = FromUtf16Le(text, got, true);
  return static_cast<DWORD>(ParseDecimal(digits));
}

BOOL RegKey::GetStr(const wchar_t* name, wchar_t* buffer, std::size_t chars, const wchar_t* def) const {
  if (!buffer || chars == 0) return Fail(err::kInvalidParameter);
  auto fallBack = [&](ErrorCode error) {
    CopyCut(def, buffer, chars);
    return Fail(error);
  };
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return fallBack(GetLastErrorCode());
  if (!IsText(type)) return fallBack(err::kInvalidData);
  if (size > chars * 2) return fallBack(err::kMoreData);
  std::vector<std::uint8_t> data(size);
  DWORD got = size;
  if (!ReadRaw(name, &type, data.data(), &got)) return fallBack(GetLastErrorCode());
  const std::wstring text = FromUtf16Le(data.data(), got, true);
  if (text.size() + 1 > chars) return fallBack(err::kMoreData);  // stored without its terminator
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = L'\0';
  return kTrue;
}

BOOL RegKey::GetStr(const wchar_t* name, std::wstring* text) const {
  if (!text) return Fail(err::kInvalidParameter);
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!GetValue(name, &type, &data)) return kFalse;
  if (!IsText(type)) return Fail(err::kInvalidData);
  *text = FromUtf16Le(data.data(), data.size(), true);
  return kTrue;
}

DWORD RegKey::GetStrSize(const wchar_t* name) const {
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return 0;
  return (IsText(type) || type == reg::kMultiSz) ? size : 0;
}

DWORD RegKey::GetBinSize(const wchar_t* name, DWORD* type) const {
  DWORD t = reg::kNone, size = 0;
  if (!ReadRaw(name, &t, nullptr, &size)) return 0;
  if (type) *type = t;
  return size;
}

BOOL RegKey::GetBin(const wchar_t* name, void* buffer, DWORD size, DWORD* type, DWORD* read) const {
  std::uint8_t none = 0;
  if (!buffer) {
    if (size) return Fail(err::kInvalidParameter);
    buffer = &none;  // a null buffer would only ask for the size; this one holds nothing
  }
  DWORD t = reg::kNone, got = size;
  if (!ReadRaw(name, &t, buffer, &got)) return kFalse;
  if (type) *type = t;
  if (read) *read = got;
  return kTrue;
}

BOOL RegKey::GetValue(const wchar_t* name, DWORD* type, std::vector<std::uint8_t>* data) const {
  if (!Readable()) return kFalse;
  return store_->ReadValue(key_, NameOf(name), type, data);
}

// ---- writing

namespace {

// Whether the stored value already has exactly this type and these bytes.
bool SameAsStored(const RegKey& key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
  PreserveLastError keep;
  std::vector<std::uint8_t> stored;
  DWORD storedType = reg::kNone;
  if (!key.GetValue(name, &storedType, &stored)) return false;
  return storedType == type && stored.size() == size && (size == 0 || std::memcmp(stored.data(), data, size) == 0);
}

}  // namespace

BOOL RegKey::PutDword(const wchar_t* name, DWORD value, bool onlyIfChanged) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=dword:" + Hex8(value) + L"\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  const std::uint8_t b[4] = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                             static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
  if (onlyIfChanged && SameAsStored(*this, name, reg::kDword, b, sizeof(b))) return kTrue;
  return store_->SetValue(key_, NameOf(name), reg::kDword, b, sizeof(b));
}

BOOL RegKey::PutInt(const wchar_t* name, int value, bool onlyIfChanged) {
  return PutDword(name, static_cast<DWORD>(value), onlyIfChanged);
}

BOOL RegKey::PutStr(const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=" + std::wstring(NameOf(text)) + L"\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  if (onlyIfChanged && GetValueType(name) == reg::kSz) {
    PreserveLastError keep;
    std::wstring stored;
    if (GetStr(name, &stored) && stored == NameOf(text)) return kTrue;
  }
  const std::vector<std::uint8_t> bytes = ToUtf16Le(NameOf(text), true);
  return store_->SetValue(key_, NameOf(name), reg::kSz, bytes.data(), static_cast<DWORD>(bytes.size()));
}

BOOL RegKey::PutBin(const wchar_t* name, const void* data, DWORD size, DWORD type, bool onlyIfChanged) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (!data && size) return Fail(err::kInvalidParameter);
  if (onlyIfChanged && SameAsStored(*this, name, type, data, size)) return kTrue;
  return store_->SetValue(key_, NameOf(name), type, data, size);
}

BOOL RegKey::PutDwordOrDeleteIfZero(const wchar_t* name, DWORD value, bool onlyIfChanged) {
  return value ? PutDword(name, value, onlyIfChanged) : DelValue(name);
}

BOOL RegKey::PutStrOrDelEmpty(const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  return (text && *text) ? PutStr(name, text, onlyIfChanged) : DelValue(name);
}

// ---- prefixed names

DWORD RegKey::GetIntPrefix(const wchar_t* prefix, const wchar_t* name, DWORD def) const {
  return GetInt(Join(prefix, name).c_str(), def);
}

BOOL RegKey::GetStrPrefix(const wchar_t* prefix, const wchar_t* name, wchar_t* buffer, std::size_t chars,
                          const wchar_t* def) const {
  return GetStr(Join(prefix, name).c_str(), buffer, chars, def);
}

BOOL RegKey::GetBinPrefix(const wchar_t* prefix, const wchar_t* name, void* buffer, DWORD size, DWORD* type) const {
  return GetBin(Join(prefix, name).c_str(), buffer, size, type);
}

DWORD RegKey::GetBinSizePrefix(const wchar_t* prefix, const wchar_t* name) const {
  return GetBinSize(Join(prefix, name).c_str());
}

BOOL RegKey::PutIntPrefix(const wchar_t* prefix, const wchar_t* name, int value, bool onlyIfChanged) {
  return PutInt(Join(prefix, name).c_str(), value, onlyIfChanged);
}

BOOL RegKey::PutStrPrefix(const wchar_t* prefix, const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  return PutStr(Join(prefix, name).c_str(), text, onlyIfChanged);
}

BOOL RegKey::PutBinPrefix(const wchar_t* prefix, const wchar_t* name, const void* data, DWORD size, DWORD type) {
  return PutBin(Join(prefix, name).c_str(), data, size, type);
}

BOOL RegKey::DelValuePrefix(const wchar_t* prefix, const wchar_t* name) { return DelValue(Join(prefix, name).c_str()); }


}  // namespace tv
