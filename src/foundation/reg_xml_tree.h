// The XML tree specialised as a mirror of a registry key: a KEY element per subkey (attribute
// Name, its content one level deeper) and a DATA element per value (attributes Name, Type and
// Value). The settings file is such a tree written as text; the typed accessors here also keep
// small data in memory as sized integers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/xml_tree.h"
#include "platform/types.h"

namespace tv {

// The type of a DATA element; the numbers are the in-memory codes. The first three are what a
// registry value exports as; the sized integers exist only for data kept in memory.
enum class RegXmlTreeItemType : int {
  kRegSz = 1,
  kRegBinary = 2,
  kRegDword = 3,  // also what a missing or unknown Type attribute means
  kInt8 = 4,
  kUInt8 = 5,
  kInt16 = 6,
  kUInt16 = 7,
  kInt32 = 8,
  kUInt32 = 9,
  kInt64 = 10,
  kUInt64 = 11,
};

// The fixed capacities of an element a registry can take, in characters without terminator.
namespace regxml {
inline constexpr std::size_t kMaxValueNameChars = 254;
inline constexpr std::size_t kMaxStrChars = 520;
inline constexpr std::size_t kMaxNumberChars = 19;
}  // namespace regxml

// The Type text of `type` ("REG_SZ", ... "UINT64"); "REG_DWORD" for a code out of range.
const wchar_t* RegXmlTypeText(RegXmlTreeItemType type);
// The type a Type text names, matched exactly (case counts); kRegDword for null or unknown.
RegXmlTreeItemType RegXmlTypeFromText(const wchar_t* text);

// Readers that work on any element, whatever class made it (a tree handed in as a plain XmlTree
// holds plain items).
RegXmlTreeItemType RegXmlItemType(const XmlTreeItem& item);
// A number Value: at most the first 19 characters, read as the C library's wcstoul reads an
// unsigned 32-bit long (blanks, a sign, leading digits; saturated at 4294967295; "-1" wraps).
DWORD ParseRegXmlNumber(const wchar_t* text);
// A binary Value: successive digit pairs (either case) become bytes; a last unpaired digit is
// dropped. FALSE (err::kInvalidData, `bytes` untouched) when any character is not a hex digit.
BOOL DecodeRegXmlHex(const wchar_t* text, std::vector<std::uint8_t>* bytes);

// One element of the mirror. Adds no fields to XmlTreeItem.
class RegXmlTreeItem : public XmlTreeItem {
 public:
  using XmlTreeItem::XmlTreeItem;

  // The element describes a subkey: its name is exactly "KEY".
  bool IsSubKey() const;

  // Copies the Name attribute (empty when absent); FALSE when its length is not below `size`.
  BOOL GetItemName(wchar_t* buffer, std::size_t size) const;
  RegXmlTreeItemType GetType() const { return RegXmlItemType(*this); }
  // Copies the Value attribute (empty when absent); FALSE when its length is not below `size`.
  BOOL GetValue(wchar_t* buffer, std::size_t size) const;

  // Only for kRegSz; any other type answers 0 and an empty string (and GetStr FALSE).
  std::size_t GetStrLen() const;
  BOOL GetStr(wchar_t* buffer, std::size_t size) const;
  // Only for kRegDword (else 0): ParseRegXmlNumber of the Value.
  DWORD GetDWORD() const;

  // Half the length of the Value, rounded down.
  std::size_t GetBinSize() const;
  // Fills `buffer` from the Value's digit pairs (bytes past what the Value holds are left as
  // they are). FALSE when the element's type is not `type`, when the Value encodes more than
  // `size` bytes, or when it holds a character that is not a hex digit. TRUE for an empty Value.
  BOOL GetBin(void* buffer, std::size_t size, RegXmlTreeItemType type = RegXmlTreeItemType::kRegBinary) const;

  // Sets Type to the type's text and Value to `text` (null as empty), each replacing the first
  // attribute of that name or appended in this order. Always TRUE.
  BOOL PutValue(RegXmlTreeItemType type, const wchar_t* text);
  BOOL PutStr(const wchar_t* text) { return PutValue(RegXmlTreeItemType::kRegSz, text); }
  BOOL PutDWORD(DWORD value);
  // Two upper-case hex digits per byte, no separators.
  BOOL PutBin(const void* data, std::size_t size, RegXmlTreeItemType type = RegXmlTreeItemType::kRegBinary);

  // Sized integers as their little-endian bytes; a getter answers 0 when the element's type is
  // not its own.
  std::int8_t GetINT8() const;
  std::uint8_t GetUINT8() const;
  std::int16_t GetINT16() const;
  std::uint16_t GetUINT16() const;
  std::int32_t GetINT32() const;
  std::uint32_t GetUINT32() const;
  std::int64_t GetINT64() const;
  std::uint64_t GetUINT64() const;
  BOOL PutINT8(std::int8_t value);
  BOOL PutUINT8(std::uint8_t value);
  BOOL PutINT16(std::int16_t value);
  BOOL PutUINT16(std::uint16_t value);
  BOOL PutINT32(std::int32_t value);
  BOOL PutUINT32(std::uint32_t value);
  BOOL PutINT64(std::int64_t value);
  BOOL PutUINT64(std::uint64_t value);

 private:
  std::uint64_t GetSized(RegXmlTreeItemType type, std::size_t bytes) const;
  BOOL PutSized(RegXmlTreeItemType type, std::uint64_t value, std::size_t bytes);
};

// A level of the mirror. Its reader builds RegXmlTreeItem elements and RegXmlTree subtrees.
// Lookups by name compare the Name attribute exactly (case counts), as a file spells it.
class RegXmlTree : public XmlTree {
 public:
  explicit RegXmlTree(BOOL quiet = kFalse) : XmlTree(quiet) {}

  std::unique_ptr<XmlTree> CreateTree(Node* node) override;
  std::unique_ptr<XmlTreeItem> CreateTreeItem(const wchar_t* name, const wchar_t* body) override;

  // Appends a DATA element whose Name is `name` (empty for null).
  RegXmlTreeItem* AddDataItem(const wchar_t* name);
  // Appends a KEY element called `name` with an empty subtree, and answers the subtree.
  RegXmlTree* AddSubTreeItem(const wchar_t* name);

  // The first DATA (KEY) element of this level whose Name is `name`; with null the first one.
  RegXmlTreeItem* FindDataItem(const wchar_t* name) const;
  RegXmlTreeItem* FindSubTreeItem(const wchar_t* name) const;
  // The subtree of FindSubTreeItem(name), or null. (Unlike XmlTree::FindSubTree, which matches
  // the element name.)
  RegXmlTree* FindSubTree(const wchar_t* name) const;
  BOOL DeleteDataItem(const wchar_t* name);
  BOOL DeleteSubTreeItem(const wchar_t* name);

  // Named data: a getter reads the DATA element called `name` with the item's getter and
  // answers the default when there is none; a put adds the element when missing.
  BOOL GetStr(const wchar_t* name, wchar_t* buffer, std::size_t size, const wchar_t* def) const;
  BOOL PutStr(const wchar_t* name, const wchar_t* text);
  DWORD GetDWORD(const wchar_t* name, DWORD def) const;
  BOOL PutDWORD(const wchar_t* name, DWORD value);
  BOOL GetBin(const wchar_t* name, void* buffer, std::size_t size) const;
  BOOL PutBin(const wchar_t* name, const void* data, std::size_t size);
  std::size_t GetBinSize(const wchar_t* name) const;

  std::int8_t GetINT8(const wchar_t* name, std::int8_t def) const;
  std::uint8_t GetUINT8(const wchar_t* name, std::uint8_t def) const;
  std::int16_t GetINT16(const wchar_t* name, std::int16_t def) const;
  std::uint16_t GetUINT16(const wchar_t* name, std::uint16_t def) const;
  std::int32_t GetINT32(const wchar_t* name, std::int32_t def) const;
  std::uint32_t GetUINT32(const wchar_t* name, std::uint32_t def) const;
  std::int64_t GetINT64(const wchar_t* name, std::int64_t def) const;
  std::uint64_t GetUINT64(const wchar_t* name, std::uint64_t def) const;
  BOOL PutINT8(const wchar_t* name, std::int8_t value);
  BOOL PutUINT8(const wchar_t* name, std::uint8_t value);
  BOOL PutINT16(const wchar_t* name, std::int16_t value);
  BOOL PutUINT16(const wchar_t* name, std::uint16_t value);
  BOOL PutINT32(const wchar_t* name, std::int32_t value);
  BOOL PutUINT32(const wchar_t* name, std::uint32_t value);
  BOOL PutINT64(const wchar_t* name, std::int64_t value);
  BOOL PutUINT64(const wchar_t* name, std::uint64_t value);

 private:
  // The DATA element called `name`, appended when missing.
  RegXmlTreeItem* DataItem(const wchar_t* name);
};

}  // namespace tv
