// The XML writer: a tree as indented text, measured first and then written in one piece.
#include <cstdint>
#include <cwchar>

#include "foundation/xml_syntax.h"
#include "foundation/xml_tree.h"

namespace tv {

namespace {

constexpr wchar_t kDeclaration[] = L"<?xml version=\"1.0\"?>";
constexpr wchar_t kLineEnd[] = L"\r\n";

// For each character below 64, how much longer its entity is than the character itself.
constexpr unsigned char kSurplus[64] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
    0, 0, 5, 0, 0, 0, 4, 5, 0, 0, 0, 0, 0, 0, 0, 0,  // '"' '&' '\''
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 3, 0,  // '<' '>'
};

}  // namespace

// Appends to the caller's buffer, or only counts when there is none.
class XmlWriter {
 public:
  explicit XmlWriter(wchar_t*& out) : out_(out) {}

  std::size_t Count() const { return count_; }

  void Write(const wchar_t* text, std::size_t length) {
    if (out_) {
      std::wmemcpy(out_, text, length);
      out_ += length;
    }
    count_ += length;
  }
  void Write(const wchar_t* text) {
    if (text) Write(text, std::wcslen(text));
  }
  void Write(wchar_t c) {
    if (out_) *out_++ = c;
    ++count_;
  }
  void Tabs(int count) {
    for (int i = 0; i < count; ++i) Write(L'\t');
  }

  void Write(const XmlText& text) { Write(text.Get() ? text.Get() : L"", text.Length()); }

  // Copies `text`, writing each of the five special characters as its entity.
  void WriteEscaped(const XmlText& text) {
    const wchar_t* p = text.Get();
    if (!p) return;
    const wchar_t* end = p + text.Length();
    if (!out_) {
      count_ += text.Length() + EscapeExtra(p, end);
      return;
    }
    // One pass that copies as it checks: special characters are rare, so the branch that
    // handles them is almost never taken and costs next to nothing.
    wchar_t* o = out_;
    for (; p != end; ++p) {
      wchar_t c = *p;
      if (Surplus(c) == 0) {
        *o++ = c;
        continue;
      }
      for (const xml::Entity& entity : xml::kEntities) {
        if (entity.ch == c) {
          std::wmemcpy(o, entity.text, entity.length);
          o += entity.length;
          break;
        }
      }
    }
    count_ += static_cast<std::size_t>(o - out_);
    out_ = o;
  }

  void WriteLevel(const XmlTree& tree) {
    for (const XmlTree::Node* node = tree.GetHead(); node; node = node->GetNext()) {
      const XmlTreeItem& item = *node->GetItem();
      const XmlTree* subtree = node->GetSubTree();
      Tabs(xml::g_depth);
      Write(L'<');
      Write(item.name_);
      for (const XmlAttrib& attrib : item.GetListAttr()) {
        Write(L' ');
        Write(attrib.name_);
        Write(L"=\"", 2);
        WriteEscaped(attrib.value_);
        Write(L'"');
      }
      if (subtree) {
        Write(L">\r\n", 3);
        int depth = xml::g_depth;
        xml::g_depth = depth + 1;
        WriteLevel(*subtree);
        xml::g_depth = depth;
        Tabs(depth);
        WriteEndTag(item);
      } else if (!item.body_.IsNull()) {
        Write(L'>');
        WriteEscaped(item.body_);
        WriteEndTag(item);
      } else {
        Write(L"/>\r\n", 4);
      }
    }
  }

 private:
  void WriteEndTag(const XmlTreeItem& item) {
    Write(L"</", 2);
    Write(item.name_);
    Write(L">\r\n", 3);
  }

  // How much longer a character's entity is than the character (0 for all but the five);
  // a table look-up without a branch, so that mixed text does not upset branch prediction.
  static unsigned Surplus(wchar_t c) {
    auto code = static_cast<std::uint32_t>(c);
    return kSurplus[code & 63] & (code < 64 ? 0xFFu : 0u);
  }

  // How many characters escaping adds to [p, end).
  static std::size_t EscapeExtra(const wchar_t* p, const wchar_t* end) {
    std::size_t extra = 0;
    for (; p != end; ++p) extra += Surplus(*p);
    return extra;
  }

  wchar_t*& out_;
  std::size_t count_ = 0;
};

std::size_t XmlTree::Put(wchar_t*& out) const {
  XmlWriter writer(out);
  bool document = xml::g_depth == 0;
  if (document) {
    writer.Write(prolog_.IsNull() ? kDeclaration : prolog_.Get());
    writer.Write(kLineEnd, 2);
  }
  writer.WriteLevel(*this);
  if (document) writer.Write(L'\0');
  return writer.Count();
}

}  // namespace tv
