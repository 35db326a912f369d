// A small XML reader and writer for wide-character text held whole in memory.
//
// The dialect is a deliberate subset: elements, attributes and text bodies; no mixed content,
// no character references, no CDATA, no namespaces, and only the five named entities. The
// settings file derives its registry mirror from these classes, so the reader builds items
// and subtrees through the virtual CreateTreeItem and CreateTree.
//
// One read (Get) or write (Put) runs at a time in the process: the reader's line counter and
// the writer's depth are process-wide, as the error messages and the indentation rely on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/xml_arena.h"
#include "platform/types.h"

namespace tv {

// A wide string that may be absent, so a tree tells "no body" from "an empty body". Its
// characters come from the current arena during a read and from the heap otherwise.
class XmlText {
 public:
  XmlText() = default;
  explicit XmlText(const wchar_t* text) { Assign(text); }
  XmlText(const XmlText& other) { Assign(other.text_, other.length_); }
  XmlText& operator=(const XmlText& other) {
    if (this != &other) Assign(other.text_, other.length_);
    return *this;
  }
  ~XmlText() { Release(); }

  // Copies `text` (which may be this string's own); null makes the string absent.
  void Assign(const wchar_t* text);
  void Assign(const wchar_t* text, std::size_t length);
  void Reset() { Release(); }

  // The text, or null when absent.
  const wchar_t* Get() const { return text_; }
  bool IsNull() const { return text_ == nullptr; }
  std::size_t Length() const { return length_; }

  // For the reader, which decodes in place: room for `capacity` characters and a terminator,
  // to be filled and then closed with SetLength (at most `capacity`).
  wchar_t* Prepare(std::size_t capacity);
  void SetLength(std::size_t length) {
    length_ = length;
    text_[length] = 0;
  }

 private:
  static wchar_t* Allocate(std::size_t capacity, bool& owned);
  void Release();

  // Sixteen bytes: a read makes one of these for every name, value and body.
  wchar_t* text_ = nullptr;
  std::uint64_t length_ : 63 = 0;
  std::uint64_t owned_ : 1 = 0;
};

// One attribute of an element: a name and a value, either of which may be null.
class XmlAttrib : public XmlArenaObject {
 public:
  XmlAttrib() = default;
  XmlAttrib(const wchar_t* name, const wchar_t* value) : name_(name), value_(value) {}
  virtual ~XmlAttrib() = default;
  XmlAttrib(const XmlAttrib&) = delete;
  XmlAttrib& operator=(const XmlAttrib&) = delete;

  void SetNameValue(const wchar_t* name, const wchar_t* value) {
    name_.Assign(name);
    value_.Assign(value);
  }
  void SetValue(const wchar_t* value) { value_.Assign(value); }

  const wchar_t* GetName() const { return name_.Get(); }
  const wchar_t* GetValue() const { return value_.Get(); }

 private:
  friend class XmlAttribList;
  friend class XmlReader;
  friend class XmlWriter;
  XmlText name_;
  XmlText value_;
  XmlAttrib* next_ = nullptr;
};

// An element's attributes in insertion order; the list owns them.
class XmlAttribList {
 public:
  class Iterator {
   public:
    explicit Iterator(XmlAttrib* at) : at_(at) {}
    XmlAttrib& operator*() const { return *at_; }
    XmlAttrib* operator->() const { return at_; }
    Iterator& operator++() {
      at_ = at_->next_;
      return *this;
    }
    bool operator==(const Iterator& other) const { return at_ == other.at_; }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }

   private:
    XmlAttrib* at_;
  };

  XmlAttribList() = default;
  ~XmlAttribList() { Clear(); }
  XmlAttribList(const XmlAttribList&) = delete;
  XmlAttribList& operator=(const XmlAttribList&) = delete;

  Iterator begin() const { return Iterator(head_); }
  Iterator end() const { return Iterator(nullptr); }
  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }

  // Takes ownership of `attrib` and appends it.
  XmlAttrib* Append(XmlAttrib* attrib);
  // Unlinks and deletes `attrib`; false when it is not in the list.
  bool Remove(const XmlAttrib* attrib);
  void Clear();

 private:
  XmlAttrib* head_ = nullptr;
  XmlAttrib* tail_ = nullptr;
  std::size_t count_ = 0;
};

// An element: a name, an ordered attribute list and either a text body or (through the node
// that carries it in its tree) a subtree of child elements. Attribute names compare without
// regard to ASCII case; element names compare exactly.
class XmlTreeItem : public XmlArenaObject {
 public:
  XmlTreeItem() = default;
  XmlTreeItem(const wchar_t* name, const wchar_t* body) : name_(name), body_(body) {}
  virtual ~XmlTreeItem() = default;
  XmlTreeItem(const XmlTreeItem&) = delete;
  XmlTreeItem& operator=(const XmlTreeItem&) = delete;

  // Replace the name (and the body); a null argument makes that field null.
  void SetName(const wchar_t* name) { name_.Assign(name); }
  void SetNameBody(const wchar_t* name, const wchar_t* body) {
    name_.Assign(name);
    body_.Assign(body);
  }
  void SetBody(const wchar_t* body) { body_.Assign(body); }

  const wchar_t* GetName() const { return name_.Get(); }
  // The body, or null when the element has none (an empty body is not null).
  const wchar_t* GetBody() const { return body_.Get(); }

  // The first attribute called `name`, or null.
  XmlAttrib* FindAttrib(const wchar_t* name) const;
  // The value of the first attribute called `name`, or null.
  const wchar_t* GetAttribValue(const wchar_t* name) const;
  // Answers the length of the attribute's value (0 when there is no such attribute). With a
  // buffer of `size` characters, copies the value and its terminator when the length is below
  // `size`, and otherwise (or when there is no such attribute) leaves an empty string there.
  std::size_t GetAttrib(const wchar_t* name, wchar_t* buffer = nullptr, std::size_t size = 0) const;

  // Appends a new attribute, even when one of that name exists already.
  XmlAttrib* AddAttrib(const wchar_t* name, const wchar_t* value);
  // Replaces the value of the first attribute called `name`, or appends one.
  XmlAttrib* SetAttrib(const wchar_t* name, const wchar_t* value);
  // Removes the first attribute called `name`; FALSE when there is none.
  BOOL DeleteAttrib(const wchar_t* name);

  // Numbers as decimal text. The getters answer 0 when the attribute is missing or its value is
  // longer than 15 characters; otherwise they convert like the C library's wcstol / wcstoul with
  // a 32-bit long (leading digits only, saturating out of range), the same on every toolchain.
  XmlAttrib* SetAttribInt(const wchar_t* name, int value);
  int GetAttribInt(const wchar_t* name) const;
  XmlAttrib* SetAttribUInt(const wchar_t* name, unsigned int value);
  unsigned int GetAttribUInt(const wchar_t* name) const;

  const XmlAttribList& GetListAttr() const { return attribs_; }

 private:
  friend class XmlReader;
  friend class XmlWriter;
  XmlText name_;
  XmlText body_;
  XmlAttribList attribs_;
};

// A level of elements: an ordered list of nodes, each carrying one item and optionally the
// subtree of that item's children. The document is the top level; subtrees know the node of
// the enclosing tree that owns them.
class XmlTree : public XmlArenaObject {
 public:
  // Raised inside the reader only; Get catches it. Carries the string-table number of the failure.
  class ParseException {
   public:
    explicit ParseException(int message) : message_(message) {}
    int MessageId() const { return message_; }

   private:
    int message_;
  };

  // A list position: stays valid until its own item is deleted.
  class Node : public XmlArenaObject {
   public:
    XmlTreeItem* GetItem() const { return item_.get(); }
    XmlTree* GetSubTree() const { return subtree_.get(); }
    Node* GetNext() const { return next_; }
    Node* GetPrev() const { return prev_; }

   private:
    friend class XmlTree;
    friend class XmlReader;
    std::unique_ptr<XmlTreeItem> item_;
    std::unique_ptr<XmlTree> subtree_;
    Node* prev_ = nullptr;
    Node* next_ = nullptr;
  };

  // `quiet` non-zero suppresses every message box of the reader.
  explicit XmlTree(BOOL quiet = kFalse) : quiet_(quiet) {}
  virtual ~XmlTree();
  XmlTree(const XmlTree&) = delete;
  XmlTree& operator=(const XmlTree&) = delete;

  // Makes an empty subtree of this tree's class for `node`, with this tree's quiet flag. A
  // derived tree overrides it (with InitSubTree) so that the reader builds its own classes.
  virtual std::unique_ptr<XmlTree> CreateTree(Node* node);
  // Makes a new item of this tree's item class.
  virtual std::unique_ptr<XmlTreeItem> CreateTreeItem(const wchar_t* name, const wchar_t* body);

  // Appends a new item (made by CreateTreeItem) at the end of this level.
  XmlTreeItem* AddItem(const wchar_t* name, const wchar_t* body);
  // The subtree of `item`'s node (null: the last node), made by CreateTree when it has none yet.
  // Null when the item is not on this level or the level is empty.
  XmlTree* AddSubTree(XmlTreeItem* item);

  // The first item of this level (not deeper) whose name equals `name` exactly (a null name
  // matches any) and, when both `attribName` and `attribValue` are given, whose first attribute
  // called `attribName` has that value (without regard to ASCII case if `ignoreCase`); null if none.
  XmlTreeItem* FindItem(const wchar_t* name, const wchar_t* attribName = nullptr,
                        const wchar_t* attribValue = nullptr, BOOL ignoreCase = kFalse) const;
  // The same search from the last item backwards.
  XmlTreeItem* FindItemReverse(const wchar_t* name, const wchar_t* attribName = nullptr,
                               const wchar_t* attribValue = nullptr, BOOL ignoreCase = kFalse) const;
  // The same search answering the node.
  Node* FindItemPos(const wchar_t* name, const wchar_t* attribName = nullptr,
                    const wchar_t* attribValue = nullptr, BOOL ignoreCase = kFalse) const;
  // The subtree of the first item called `name`, or null.
  XmlTree* FindSubTree(const wchar_t* name) const;
  // Like FindSubTree, but makes the subtree when that item has none; null only without the item.
  XmlTree* GetSubTree(const wchar_t* name);
  // Unlinks and deletes `item` with its subtree; FALSE when it is not on this level.
  BOOL DeleteItem(XmlTreeItem* item);
  // Deletes every item of this level.
  void Clear();

  Node* GetHead() const { return head_; }
  Node* GetTail() const { return tail_; }
  std::size_t GetCount() const { return count_; }
  // The node of the enclosing tree that owns this subtree; null for a document.
  Node* GetParent() const { return parent_; }
  BOOL GetQuiet() const { return quiet_; }
  void SetQuiet(BOOL quiet) { quiet_ = quiet; }

  // The verbatim text before the root element, or null.
  void SetProlog(const wchar_t* prolog) { prolog_.Assign(prolog); }
  const wchar_t* GetProlog() const { return prolog_.Get(); }

  // Parses `text` (zero-terminated) into this empty tree and advances `text` past what was read.
  // On failure the message is shown to `window` unless quiet, kept for GetParseError..., the
  // last error is ERROR_INVALID_DATA, and the tree holds what was read before it: discard it.
  BOOL Get(void* window, const wchar_t*& text);

  // Writes the tree as indented text with CR LF line ends, advancing `out`; a null `out` only
  // counts. Answers the characters written, including one terminating zero for a document. So:
  // call with null, allocate that many characters, call again.
  std::size_t Put(wchar_t*& out) const;

  // The failure of the last Get: the string-table number of the failure (0 after success),
  // the line it was found in, and the full text of the message shown (or that would be shown).
  int GetParseError() const { return parse_error_; }
  int GetParseErrorLine() const { return parse_error_line_; }
  const std::wstring& GetParseErrorText() const { return parse_error_text_; }

  // The process-wide reader line counter (1 at the start of a read).
  static int GetCurrentLine();

 protected:
  // For CreateTree overrides: ties a new empty subtree to `node` and takes over the quiet flag.
  std::unique_ptr<XmlTree> InitSubTree(std::unique_ptr<XmlTree> tree, Node* node) const;

 private:
  friend class XmlReader;
  friend class XmlWriter;

  Node* AppendItem(std::unique_ptr<XmlTreeItem> item);
  Node* NodeOf(const XmlTreeItem* item) const;
  void Unlink(Node* node);

  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  std::size_t count_ = 0;
  Node* parent_ = nullptr;
  BOOL quiet_;
  XmlText prolog_;
  std::unique_ptr<XmlArena> arena_;  // what this tree's reads were built in
  int parse_error_ = 0;
  int parse_error_line_ = 0;
  std::wstring parse_error_text_;
};

}  // namespace tv
