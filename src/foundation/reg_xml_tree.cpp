#include "foundation/reg_xml_tree.h"

#include <cstring>
#include <cwchar>
#include <string>

#include "platform/last_error.h"

namespace tv {
namespace {

constexpr const wchar_t* kTypeTexts[] = {L"REG_SZ", L"REG_BINARY", L"REG_DWORD", L"INT8",  L"UINT8",  L"INT16",
                                         L"UINT16", L"INT32",      L"UINT32",    L"INT64", L"UINT64"};
constexpr int kTypeCount = static_cast<int>(sizeof(kTypeTexts) / sizeof(kTypeTexts[0]));

constexpr const wchar_t* kAttrName = L"Name";
constexpr const wchar_t* kAttrType = L"Type";
constexpr const wchar_t* kAttrValue = L"Value";
constexpr const wchar_t* kKey = L"KEY";
constexpr const wchar_t* kData = L"DATA";

int HexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

// Copies `text` (null as empty) into the caller's buffer when it fits with its terminator;
// otherwise leaves an empty string there. Answers whether it fitted.
BOOL CopyOut(const wchar_t* text, wchar_t* buffer, std::size_t size) {
  if (!buffer || size == 0) return Fail(err::kInsufficientBuffer);
  const std::size_t length = text ? std::wcslen(text) : 0;
  if (length >= size) {
    buffer[0] = 0;
    return Fail(err::kInsufficientBuffer);
  }
  if (length) std::wmemcpy(buffer, text, length);
  buffer[length] = 0;
  return kTrue;
}

}  // namespace

const wchar_t* RegXmlTypeText(RegXmlTreeItemType type) {
  const int code = static_cast<int>(type);
  return (code >= 1 && code <= kTypeCount) ? kTypeTexts[code - 1] : kTypeTexts[2];
}

RegXmlTreeItemType RegXmlTypeFromText(const wchar_t* text) {
  if (text) {
    for (int i = 0; i < kTypeCount; ++i) {
      if (std::wcscmp(text, kTypeTexts[i]) == 0) return static_cast<RegXmlTreeItemType>(i + 1);
    }
  }
  return RegXmlTreeItemType::kRegDword;
}

RegXmlTreeItemType RegXmlItemType(const XmlTreeItem& item) {
  return RegXmlTypeFromText(item.GetAttribValue(kAttrType));
}

DWORD ParseRegXmlNumber(const wchar_t* text) {
  if (!text) return 0;
  // The registry's numbers were read from a 20-character buffer: whatever follows the 19th
  // character never counts, not even to make the number overflow.
  const wchar_t* end = text;
  while (*end && end - text < static_cast<std::ptrdiff_t>(regxml::kMaxNumberChars)) ++end;
  const wchar_t* p = text;
  while (p < end && (*p == L' ' || (*p >= L'\t' && *p <= L'\r'))) ++p;
  bool negative = false;
  if (p < end && (*p == L'+' || *p == L'-')) negative = *p++ == L'-';
  std::uint64_t value = 0;
  bool overflow = false;
  for (; p < end && *p >= L'0' && *p <= L'9'; ++p) {
    value = value * 10 + static_cast<unsigned>(*p - L'0');
    if (value > 0xFFFFFFFFull) {
      overflow = true;
      value = 0xFFFFFFFFull;  // keeps the product small; more digits cannot bring it back
    }
  }
  if (overflow) return 0xFFFFFFFFu;
  const auto result = static_cast<DWORD>(value);
  return negative ? static_cast<DWORD>(0u - result) : result;
}

BOOL DecodeRegXmlHex(const wchar_t* text, std::vector<std::uint8_t>* bytes) {
  if (!bytes) return Fail(err::kInvalidParameter);
  const std::size_t length = text ? std::wcslen(text) : 0;
  std::vector<std::uint8_t> out;
  out.reserve(length / 2);
  for (std::size_t i = 0; i < length; ++i) {
    if (HexDigit(text[i]) < 0) return Fail(err::kInvalidData);
  }
  for (std::size_t i = 0; i + 1 < length; i += 2) {
    out.push_back(static_cast<std::uint8_t>(HexDigit(text[i]) << 4 | HexDigit(text[i + 1])));
  }
  *bytes = std::move(out);
  return kTrue;
}

// ---- RegXmlTreeItem

bool RegXmlTreeItem::IsSubKey() const {
  const wchar_t* name = GetName();
  return name && std::wcscmp(name, kKey) == 0;
}

BOOL RegXmlTreeItem::GetItemName(wchar_t* buffer, std::size_t size) const {
  return CopyOut(GetAttribValue(kAttrName), buffer, size);
}

BOOL RegXmlTreeItem::GetValue(wchar_t* buffer, std::size_t size) const {
  return CopyOut(GetAttribValue(kAttrValue), buffer, size);
}

std::size_t RegXmlTreeItem::GetStrLen() const {
  if (GetType() != RegXmlTreeItemType::kRegSz) return 0;
  const wchar_t* value = GetAttribValue(kAttrValue);
  return value ? std::wcslen(value) : 0;
}

BOOL RegXmlTreeItem::GetStr(wchar_t* buffer, std::size_t size) const {
  if (GetType() != RegXmlTreeItemType::kRegSz) {
    CopyOut(nullptr, buffer, size);
    return Fail(err::kInvalidData);
  }
  return GetValue(buffer, size);
}

DWORD RegXmlTreeItem::GetDWORD() const {
  if (GetType() != RegXmlTreeItemType::kRegDword) return 0;
  return ParseRegXmlNumber(GetAttribValue(kAttrValue));
}

std::size_t RegXmlTreeItem::GetBinSize() const {
  const wchar_t* value = GetAttribValue(kAttrValue);
  return value ? std::wcslen(value) / 2 : 0;
}

BOOL RegXmlTreeItem::GetBin(void* buffer, std::size_t size, RegXmlTreeItemType type) const {
  if (GetType() != type) return Fail(err::kInvalidData);
  if (GetBinSize() > size) return Fail(err::kInsufficientBuffer);
  std::vector<std::uint8_t> bytes;
  if (!DecodeRegXmlHex(GetAttribValue(kAttrValue), &bytes)) return kFalse;
  if (!bytes.empty()) std::memcpy(buffer, bytes.data(), bytes.size());
  return kTrue;
}

BOOL RegXmlTreeItem::PutValue(RegXmlTreeItemType type, const wchar_t* text) {
  SetAttrib(kAttrType, RegXmlTypeText(type));
  SetAttrib(kAttrValue, text ? text : L"");
  return kTrue;
}

BOOL RegXmlTreeItem::PutDWORD(DWORD value) {
  return PutValue(RegXmlTreeItemType::kRegDword, std::to_wstring(value).c_str());
}

BOOL RegXmlTreeItem::PutBin(const void* data, std::size_t size, RegXmlTreeItemType type) {
  static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::wstring text;
  text.reserve(size * 2);
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return PutValue(type, text.c_str());
}

std::uint64_t RegXmlTreeItem::GetSized(RegXmlTreeItemType type, std::size_t size) const {
  std::uint8_t bytes[8] = {};
  if (!GetBin(bytes, size, type)) return 0;
  std::uint64_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

BOOL RegXmlTreeItem::PutSized(RegXmlTreeItemType type, std::uint64_t value, std::size_t size) {
  std::uint8_t bytes[8];
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
  return PutBin(bytes, size, type);
}

using T = RegXmlTreeItemType;
std::int8_t RegXmlTreeItem::GetINT8() const { return static_cast<std::int8_t>(GetSized(T::kInt8, 1)); }
std::uint8_t RegXmlTreeItem::GetUINT8() const { return static_cast<std::uint8_t>(GetSized(T::kUInt8, 1)); }
std::int16_t RegXmlTreeItem::GetINT16() const { return static_cast<std::int16_t>(GetSized(T::kInt16, 2)); }
std::uint16_t RegXmlTreeItem::GetUINT16() const { return static_cast<std::uint16_t>(GetSized(T::kUInt16, 2)); }
std::int32_t RegXmlTreeItem::GetINT32() const { return static_cast<std::int32_t>(GetSized(T::kInt32, 4)); }
std::uint32_t RegXmlTreeItem::GetUINT32() const { return static_cast<std::uint32_t>(GetSized(T::kUInt32, 4)); }
std::int64_t RegXmlTreeItem::GetINT64() const { return static_cast<std::int64_t>(GetSized(T::kInt64, 8)); }
std::uint64_t RegXmlTreeItem::GetUINT64() const { return GetSized(T::kUInt64, 8); }
BOOL RegXmlTreeItem::PutINT8(std::int8_t v) { return PutSized(T::kInt8, static_cast<std::uint8_t>(v), 1); }
BOOL RegXmlTreeItem::PutUINT8(std::uint8_t v) { return PutSized(T::kUInt8, v, 1); }
BOOL RegXmlTreeItem::PutINT16(std::int16_t v) { return PutSized(T::kInt16, static_cast<std::uint16_t>(v), 2); }
BOOL RegXmlTreeItem::PutUINT16(std::uint16_t v) { return PutSized(T::kUInt16, v, 2); }
BOOL RegXmlTreeItem::PutINT32(std::int32_t v) { return PutSized(T::kInt32, static_cast<std::uint32_t>(v), 4); }
BOOL RegXmlTreeItem::PutUINT32(std::uint32_t v) { return PutSized(T::kUInt32, v, 4); }
BOOL RegXmlTreeItem::PutINT64(std::int64_t v) { return PutSized(T::kInt64, static_cast<std::uint64_t>(v), 8); }
BOOL RegXmlTreeItem::PutUINT64(std::uint64_t v) { return PutSized(T::kUInt64, v, 8); }

// ---- RegXmlTree

std::unique_ptr<XmlTree> RegXmlTree::CreateTree(Node* node) { return InitSubTree(std::make_unique<RegXmlTree>(), node); }

std::unique_ptr<XmlTreeItem> RegXmlTree::CreateTreeItem(const wchar_t* name, const wchar_t* body) {
  return std::make_unique<RegXmlTreeItem>(name, body);
}

// Every item of this tree was made by CreateTreeItem and every subtree by CreateTree, so the
// downcasts below hold.
RegXmlTreeItem* RegXmlTree::AddDataItem(const wchar_t* name) {
  auto* item = static_cast<RegXmlTreeItem*>(AddItem(kData, nullptr));
  item->AddAttrib(kAttrName, name ? name : L"");
  return item;
}

RegXmlTree* RegXmlTree::AddSubTreeItem(const wchar_t* name) {
  XmlTreeItem* item = AddItem(kKey, nullptr);
  item->AddAttrib(kAttrName, name ? name : L"");
  return static_cast<RegXmlTree*>(AddSubTree(item));
}

RegXmlTreeItem* RegXmlTree::FindDataItem(const wchar_t* name) const {
  return static_cast<RegXmlTreeItem*>(FindItem(kData, kAttrName, name));
}

RegXmlTreeItem* RegXmlTree::FindSubTreeItem(const wchar_t* name) const {
  return static_cast<RegXmlTreeItem*>(FindItem(kKey, kAttrName, name));
}

RegXmlTree* RegXmlTree::FindSubTree(const wchar_t* name) const {
  Node* node = FindItemPos(kKey, kAttrName, name);
  return node ? static_cast<RegXmlTree*>(node->GetSubTree()) : nullptr;
}

BOOL RegXmlTree::DeleteDataItem(const wchar_t* name) {
  RegXmlTreeItem* item = FindDataItem(name);
  return item ? DeleteItem(item) : Fail(err::kFileNotFound);
}

BOOL RegXmlTree::DeleteSubTreeItem(const wchar_t* name) {
  RegXmlTreeItem* item = FindSubTreeItem(name);
  return item ? DeleteItem(item) : Fail(err::kFileNotFound);
}

RegXmlTreeItem* RegXmlTree::DataItem(const wchar_t* name) {
  RegXmlTreeItem* item = FindDataItem(name ? name : L"");
  return item ? item : AddDataItem(name);
}

BOOL RegXmlTree::GetStr(const wchar_t* name, wchar_t* buffer, std::size_t size, const wchar_t* def) const {
  const RegXmlTreeItem* item = FindDataItem(name ? name : L"");
  if (!item) return CopyOut(def, buffer, size);
  return item->GetStr(buffer, size);
}

BOOL RegXmlTree::PutStr(const wchar_t* name, const wchar_t* text) { return DataItem(name)->PutStr(text); }

DWORD RegXmlTree::GetDWORD(const wchar_t* name, DWORD def) const {
  const RegXmlTreeItem* item = FindDataItem(name ? name : L"");
  return item ? item->GetDWORD() : def;
}

BOOL RegXmlTree::PutDWORD(const wchar_t* name, DWORD value) { return DataItem(name)->PutDWORD(value); }

BOOL RegXmlTree::GetBin(const wchar_t* name, void* buffer, std::size_t size) const {
  const RegXmlTreeItem* item = FindDataItem(name ? name : L"");
  return item ? item->GetBin(buffer, size) : Fail(err::kFileNotFound);
}

BOOL RegXmlTree::PutBin(const wchar_t* name, const void* data, std::size_t size) {
  return DataItem(name)->PutBin(data, size);
}

std::size_t RegXmlTree::GetBinSize(const wchar_t* name) const {
  const RegXmlTreeItem* item = FindDataItem(name ? name : L"");
  return item ? item->GetBinSize() : 0;
}

#define TV_REGXML_SIZED(Name, Type)                                                   \
  Type RegXmlTree::Get##Name(const wchar_t* name, Type def) const {                   \
    const RegXmlTreeItem* item = FindDataItem(name ? name : L"");                     \
    return item ? item->Get##Name() : def;                                            \
  }                                                                                   \
  BOOL RegXmlTree::Put##Name(const wchar_t* name, Type value) { return DataItem(name)->Put##Name(value); }

TV_REGXML_SIZED(INT8, std::int8_t)
TV_REGXML_SIZED(UINT8, std::uint8_t)
TV_REGXML_SIZED(INT16, std::int16_t)
TV_REGXML_SIZED(UINT16, std::uint16_t)
TV_REGXML_SIZED(INT32, std::int32_t)
TV_REGXML_SIZED(UINT32, std::uint32_t)
TV_REGXML_SIZED(INT64, std::int64_t)
TV_REGXML_SIZED(UINT64, std::uint64_t)
#undef TV_REGXML_SIZED

}  // namespace tv
