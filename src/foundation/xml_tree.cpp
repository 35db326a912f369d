// The XML tree's data model: items, attributes and the levels that hold them.
#include "foundation/xml_tree.h"

#include <climits>
#include <cstdint>
#include <cwchar>

#include "foundation/xml_syntax.h"

namespace tv {

namespace xml {
int g_line = 1;
int g_depth = 0;
}  // namespace xml

namespace {

// Numbers longer than this are not read at all (the getters answer 0).
constexpr std::size_t kMaxNumberChars = 15;

bool SameName(const wchar_t* a, const wchar_t* b) { return a && b && std::wcscmp(a, b) == 0; }

// wcstoll never overflows on at most 15 characters, so the 32-bit results below can saturate
// exactly as a 32-bit long's wcstol/wcstoul would, whatever width long has on this toolchain.
long long ReadDecimal(const wchar_t* text) { return std::wcstoll(text, nullptr, 10); }

}  // namespace

// ---- XmlText

wchar_t* XmlText::Allocate(std::size_t capacity, bool& owned) {
  if (XmlArena* arena = XmlArena::Current()) {
    owned = false;
    return arena->AllocateText(capacity + 1);
  }
  owned = true;
  return new wchar_t[capacity + 1];
}

void XmlText::Release() {
  if (owned_) delete[] text_;
  text_ = nullptr;
  length_ = 0;
  owned_ = 0;
}

void XmlText::Assign(const wchar_t* text) { Assign(text, text ? std::wcslen(text) : 0); }

void XmlText::Assign(const wchar_t* text, std::size_t length) {
  if (!text) {
    Release();
    return;
  }
  // Copy before releasing: `text` may be this string's own characters.
  bool owned = false;
  wchar_t* copy = Allocate(length, owned);
  std::wmemcpy(copy, text, length);
  copy[length] = 0;
  Release();
  text_ = copy;
  length_ = length;
  owned_ = owned ? 1 : 0;
}

wchar_t* XmlText::Prepare(std::size_t capacity) {
  bool owned = false;
  wchar_t* room = Allocate(capacity, owned);
  Release();
  text_ = room;
  owned_ = owned ? 1 : 0;
  SetLength(0);
  return room;
}

// ---- XmlAttribList

XmlAttrib* XmlAttribList::Append(XmlAttrib* attrib) {
  attrib->next_ = nullptr;
  (tail_ ? tail_->next_ : head_) = attrib;
  tail_ = attrib;
  ++count_;
  return attrib;
}

bool XmlAttribList::Remove(const XmlAttrib* attrib) {
  XmlAttrib* prev = nullptr;
  for (XmlAttrib* at = head_; at; prev = at, at = at->next_) {
    if (at != attrib) continue;
    (prev ? prev->next_ : head_) = at->next_;
    if (tail_ == at) tail_ = prev;
    --count_;
    delete at;
    return true;
  }
  return false;
}

void XmlAttribList::Clear() {
  while (head_) {
    XmlAttrib* next = head_->next_;
    delete head_;
    head_ = next;
  }
  tail_ = nullptr;
  count_ = 0;
}

// ---- XmlTreeItem

XmlAttrib* XmlTreeItem::FindAttrib(const wchar_t* name) const {
  if (!name) return nullptr;
  for (XmlAttrib& attrib : attribs_) {
    const wchar_t* own = attrib.GetName();
    if (own && xml::EqualNoCase(own, name)) return &attrib;
  }
  return nullptr;
}

const wchar_t* XmlTreeItem::GetAttribValue(const wchar_t* name) const {
  const XmlAttrib* attrib = FindAttrib(name);
  return attrib ? attrib->GetValue() : nullptr;
}

std::size_t XmlTreeItem::GetAttrib(const wchar_t* name, wchar_t* buffer, std::size_t size) const {
  const wchar_t* value = GetAttribValue(name);
  std::size_t length = value ? std::wcslen(value) : 0;
  if (buffer && size > 0) {
    if (value && length < size) {
      std::wmemcpy(buffer, value, length + 1);
    } else {
      buffer[0] = 0;
    }
  }
  return length;
}

XmlAttrib* XmlTreeItem::AddAttrib(const wchar_t* name, const wchar_t* value) {
  return attribs_.Append(new XmlAttrib(name, value));
}

XmlAttrib* XmlTreeItem::SetAttrib(const wchar_t* name, const wchar_t* value) {
  if (XmlAttrib* attrib = FindAttrib(name)) {
    attrib->SetValue(value);
    return attrib;
  }
  return AddAttrib(name, value);
}

BOOL XmlTreeItem::DeleteAttrib(const wchar_t* name) {
  XmlAttrib* attrib = FindAttrib(name);
  return attrib && attribs_.Remove(attrib) ? kTrue : kFalse;
}

XmlAttrib* XmlTreeItem::SetAttribInt(const wchar_t* name, int value) {
  wchar_t text[16];
  std::swprintf(text, 16, L"%d", value);
  return SetAttrib(name, text);
}

int XmlTreeItem::GetAttribInt(const wchar_t* name) const {
  const wchar_t* value = GetAttribValue(name);
  if (!value || std::wcslen(value) > kMaxNumberChars) return 0;
  long long n = ReadDecimal(value);
  if (n > INT32_MAX) return INT32_MAX;
  if (n < INT32_MIN) return INT32_MIN;
  return static_cast<int>(n);
}

XmlAttrib* XmlTreeItem::SetAttribUInt(const wchar_t* name, unsigned int value) {
  wchar_t text[16];
  std::swprintf(text, 16, L"%u", value);
  return SetAttrib(name, text);
}

unsigned int XmlTreeItem::GetAttribUInt(const wchar_t* name) const {
  const wchar_t* value = GetAttribValue(name);
  if (!value || std::wcslen(value) > kMaxNumberChars) return 0;
  long long n = ReadDecimal(value);
  // wcstoul negates a leading minus in the unsigned type; a magnitude out of range saturates.
  unsigned long long magnitude = n < 0 ? 0ULL - static_cast<unsigned long long>(n) : static_cast<unsigned long long>(n);
  if (magnitude > UINT32_MAX) return UINT32_MAX;
  auto result = static_cast<std::uint32_t>(magnitude);
  return n < 0 ? static_cast<std::uint32_t>(0u - result) : result;
}

// ---- XmlTree: the list

XmlTree::~XmlTree() { Clear(); }

void XmlTree::Clear() {
  Node* node = head_;
  while (node) {
    Node* next = node->next_;
    delete node;
    node = next;
  }
  head_ = tail_ = nullptr;
  count_ = 0;
}

std::unique_ptr<XmlTree> XmlTree::InitSubTree(std::unique_ptr<XmlTree> tree, Node* node) const {
  tree->parent_ = node;
  tree->quiet_ = quiet_;
  return tree;
}

std::unique_ptr<XmlTree> XmlTree::CreateTree(Node* node) { return InitSubTree(std::make_unique<XmlTree>(), node); }

std::unique_ptr<XmlTreeItem> XmlTree::CreateTreeItem(const wchar_t* name, const wchar_t* body) {
  return std::make_unique<XmlTreeItem>(name, body);
}

XmlTree::Node* XmlTree::AppendItem(std::unique_ptr<XmlTreeItem> item) {
  if (!item) return nullptr;
  Node* node = new Node;
  node->item_ = std::move(item);
  node->prev_ = tail_;
  if (tail_) {
    tail_->next_ = node;
  } else {
    head_ = node;
  }
  tail_ = node;
  ++count_;
  return node;
}

void XmlTree::Unlink(Node* node) {
  (node->prev_ ? node->prev_->next_ : head_) = node->next_;
  (node->next_ ? node->next_->prev_ : tail_) = node->prev_;
  --count_;
}

XmlTree::Node* XmlTree::NodeOf(const XmlTreeItem* item) const {
  for (Node* node = head_; node; node = node->next_) {
    if (node->item_.get() == item) return node;
  }
  return nullptr;
}

XmlTreeItem* XmlTree::AddItem(const wchar_t* name, const wchar_t* body) {
  Node* node = AppendItem(CreateTreeItem(name, body));
  return node ? node->GetItem() : nullptr;
}

XmlTree* XmlTree::AddSubTree(XmlTreeItem* item) {
  Node* node = item ? NodeOf(item) : tail_;
  if (!node) return nullptr;
  if (!node->subtree_) node->subtree_ = CreateTree(node);
  return node->subtree_.get();
}

BOOL XmlTree::DeleteItem(XmlTreeItem* item) {
  Node* node = item ? NodeOf(item) : nullptr;
  if (!node) return kFalse;
  Unlink(node);
  delete node;
  return kTrue;
}

// ---- XmlTree: searching

namespace {

bool Matches(const XmlTreeItem& item, const wchar_t* name, const wchar_t* attribName, const wchar_t* attribValue,
             BOOL ignoreCase) {
  if (name && !SameName(item.GetName(), name)) return false;
  if (!attribName || !attribValue) return true;
  const wchar_t* value = item.GetAttribValue(attribName);
  if (!value) return false;
  return ignoreCase ? xml::EqualNoCase(value, attribValue) : std::wcscmp(value, attribValue) == 0;
}

}  // namespace

XmlTree::Node* XmlTree::FindItemPos(const wchar_t* name, const wchar_t* attribName, const wchar_t* attribValue,
                                    BOOL ignoreCase) const {
  for (Node* node = head_; node; node = node->next_) {
    if (Matches(*node->item_, name, attribName, attribValue, ignoreCase)) return node;
  }
  return nullptr;
}

XmlTreeItem* XmlTree::FindItem(const wchar_t* name, const wchar_t* attribName, const wchar_t* attribValue,
                               BOOL ignoreCase) const {
  Node* node = FindItemPos(name, attribName, attribValue, ignoreCase);
  return node ? node->GetItem() : nullptr;
}

XmlTreeItem* XmlTree::FindItemReverse(const wchar_t* name, const wchar_t* attribName, const wchar_t* attribValue,
                                      BOOL ignoreCase) const {
  for (Node* node = tail_; node; node = node->prev_) {
    if (Matches(*node->item_, name, attribName, attribValue, ignoreCase)) return node->GetItem();
  }
  return nullptr;
}

XmlTree* XmlTree::FindSubTree(const wchar_t* name) const {
  Node* node = FindItemPos(name);
  return node ? node->GetSubTree() : nullptr;
}

XmlTree* XmlTree::GetSubTree(const wchar_t* name) {
  Node* node = FindItemPos(name);
  if (!node) return nullptr;
  if (!node->subtree_) node->subtree_ = CreateTree(node);
  return node->subtree_.get();
}

int XmlTree::GetCurrentLine() { return xml::g_line; }

}  // namespace tv
