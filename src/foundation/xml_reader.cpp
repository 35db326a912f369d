// The XML reader: text into a tree, with the failures shown in the line they were found in.
#include <cwchar>
#include <new>
#include <string>

#include "foundation/string_table.h"
#include "foundation/xml_syntax.h"
#include "foundation/xml_tree.h"
#include "platform/last_error.h"
#include "platform/message_box.h"

namespace tv {

namespace {

constexpr int kMsgParseFrame = 21901;
constexpr int kMsgUnclosedComment = 21902;
constexpr int kMsgSyntaxError = 21903;
constexpr int kMsgUnexpected = 21904;
constexpr int kMsgMissingEquals = 21906;
constexpr int kMsgUnquotedValue = 21907;
constexpr int kMsgMissingQuote = 21908;
constexpr int kMsgMissingClosingTag = 21909;
constexpr int kMsgNoData = 21910;

// How much of the input at the failure the message quotes.
constexpr std::size_t kQuotedChars = 20;

// Nesting deeper than any registry key can be (512 levels) is refused rather than followed,
// so a hostile file cannot exhaust the stack of the reader or of the tree's destructor.
constexpr int kMaxDepth = 512;

using ParseException = XmlTree::ParseException;

// Fills the failure frame from the string table. The table's placeholders follow the Windows
// wide printf (%s is a wide string there), so the frame is filled here by hand: %d takes the
// line, each %s or %ls the next text, %% a percent sign.
std::wstring FormatFrame(const wchar_t* format, int line, const std::wstring& what, const std::wstring& where) {
  std::wstring out;
  const std::wstring* texts[] = {&what, &where};
  std::size_t next_text = 0;
  for (const wchar_t* p = format; *p; ++p) {
    if (*p != L'%') {
      out += *p;
      continue;
    }
    if (p[1] == L'd') {
      out += std::to_wstring(line);
      ++p;
    } else if (p[1] == L's' || (p[1] == L'l' && p[2] == L's')) {
      if (next_text < 2) out += *texts[next_text++];
      p += p[1] == L's' ? 1 : 2;
    } else if (p[1] == L'%') {
      out += L'%';
      ++p;
    } else {
      out += *p;
    }
  }
  return out;
}

}  // namespace

// One parse: a cursor over zero-terminated text. The line counter is the process-wide one.
class XmlReader {
 public:
  explicit XmlReader(const wchar_t* text) : cur_(text) {}

  const wchar_t* Position() const { return cur_; }

  // Steps over the text before the root element and answers how long the prolog is (see Get).
  std::size_t MeasureProlog() {
    std::size_t counted = 0;
    const wchar_t* line_end = nullptr;
    for (;;) {
      SkipWhite();
      if (*cur_ == 0) break;
      if (*cur_ == L'<' && xml::IsNameStart(*PeekPastWhite(cur_ + 1))) break;
      const wchar_t* line_start = cur_;
      while (*cur_ && *cur_ != L'\n') ++cur_;
      if (*cur_ == L'\n') {
        ++cur_;
        ++xml::g_line;
      }
      counted += static_cast<std::size_t>(cur_ - line_start);
      line_end = cur_;
    }
    // The last line's own line end is not part of the prolog; a line always starts with a
    // character that is not white space, so a line feed ending it has one before it.
    if (line_end && counted > 0 && line_end[-1] == L'\n') {
      --counted;
      if (counted > 0 && line_end[-2] == L'\r') --counted;
    }
    return counted;
  }

  bool AtEnd() const { return *cur_ == 0; }

  // Parses the elements of one level into `tree`; `end_name` (with `end_length` characters) is
  // the enclosing element's name, whose end tag must close the level, or null at the top.
  void ParseLevel(XmlTree& tree, const wchar_t* end_name, std::size_t end_length, int depth) {
    if (depth > kMaxDepth) throw ParseException(kMsgSyntaxError);
    for (;;) {
      SkipWhite();
      if (*cur_ != L'<' || !xml::IsNameStart(*PeekPastWhite(cur_ + 1))) break;
      ++cur_;
      SkipWhite();
      const wchar_t* name = cur_;
      std::size_t name_length = ScanName();
      name_.assign(name, name_length);
      XmlTree::Node* node = tree.AppendItem(tree.CreateTreeItem(name_.c_str(), nullptr));
      if (!node) throw std::bad_alloc();  // a derived tree made no item
      XmlTreeItem& item = *node->GetItem();
      ParseAttributes(item);

      SkipWhite();
      if (*cur_ == L'/') {
        ++cur_;
        SkipWhite();
        Expect(L'>');
        continue;
      }
      Expect(L'>');

      SkipWhite();
      if (*cur_ == L'<' && *PeekPastWhite(cur_ + 1) != L'/') {
        node->subtree_ = tree.CreateTree(node);
        if (!node->subtree_) throw std::bad_alloc();
        ParseLevel(*node->subtree_, name, name_length, depth + 1);
      } else {
        ParseBody(item, name, name_length);
      }
    }
    if (end_name) ExpectEndTag(end_name, end_length);
  }

  // White space and comments, counting the lines passed.
  void SkipWhite() {
    for (;;) {
      wchar_t c = *cur_;
      if (c == L'\n') {
        ++xml::g_line;
      } else if (c == L'<') {
        if (cur_[1] != L'!' || cur_[2] != L'-' || cur_[3] != L'-') return;
        SkipComment();
        continue;
      } else if (!xml::IsWhite(c)) {
        return;
      }
      ++cur_;
    }
  }

 private:
  void SkipComment() {
    const wchar_t* close = FindCommentEnd(cur_ + 4);
    if (!close) throw ParseException(kMsgUnclosedComment);
    for (const wchar_t* p = cur_; p < close; ++p) {
      if (*p == L'\n') ++xml::g_line;
    }
    cur_ = close + 3;
  }

  // Looks past white space and closed comments without moving or counting: decides what follows
  // a '<' before committing to it, the same way SkipWhite will then step over it.
  const wchar_t* PeekPastWhite(const wchar_t* p) {
    for (;;) {
      if (xml::IsWhite(*p)) {
        ++p;
      } else if (p[0] == L'<' && p[1] == L'!' && p[2] == L'-' && p[3] == L'-') {
        const wchar_t* close = FindCommentEnd(p + 4);
        if (!close) return p;
        p = close + 3;
      } else {
        return p;
      }
    }
  }

  // The "-->" closing a comment whose text starts at `p`, or null. Remembers where a search
  // failed: no later comment can close either, so hostile text cannot make peeks quadratic.
  const wchar_t* FindCommentEnd(const wchar_t* p) {
    if (unclosed_from_ && p >= unclosed_from_) return nullptr;
    for (const wchar_t* q = p; *q; ++q) {
      if (*q == L'-' && q[1] == L'-' && q[2] == L'>') return q;
    }
    unclosed_from_ = p;
    return nullptr;
  }

  std::size_t ScanName() {
    const wchar_t* start = cur_;
    ++cur_;  // the caller saw a name-start character
    while (xml::IsNameChar(*cur_)) ++cur_;
    return static_cast<std::size_t>(cur_ - start);
  }

  void Expect(wchar_t c) {
    if (*cur_ != c) throw ParseException(kMsgUnexpected);
    ++cur_;
  }

  void ParseAttributes(XmlTreeItem& item) {
    for (;;) {
      SkipWhite();
      if (!xml::IsNameStart(*cur_)) return;
      const wchar_t* name = cur_;
      std::size_t name_length = ScanName();
      SkipWhite();
      if (*cur_ != L'=') throw ParseException(kMsgMissingEquals);
      ++cur_;
      SkipWhite();
      wchar_t quote = *cur_;
      if (quote != L'"' && quote != L'\'') throw ParseException(kMsgUnquotedValue);
      // An unclosed value is reported where it opens, not at the end of the text.
      const wchar_t* start = cur_ + 1;
      const wchar_t* end = ScanTo(start, quote, kMsgMissingQuote);
      XmlAttrib* attrib = item.attribs_.Append(new XmlAttrib);
      attrib->name_.Assign(name, name_length);
      Decode(start, end, attrib->value_);
      cur_ = end + 1;
    }
  }

  void ParseBody(XmlTreeItem& item, const wchar_t* name, std::size_t name_length) {
    const wchar_t* start = cur_;
    const wchar_t* end = ScanTo(start, L'<', kMsgMissingClosingTag);
    cur_ = end;
    ExpectEndTag(name, name_length);
    if (end > start) Decode(start, end, item.body_);
  }

  // Finds `stop` from `start`, counting the lines passed; at the end of the text the failure is
  // raised with the cursor and the line count left where the scan began.
  const wchar_t* ScanTo(const wchar_t* start, wchar_t stop, int failure) {
    int lines = 0;
    const wchar_t* p = start;
    for (; *p != stop; ++p) {
      if (*p == 0) throw ParseException(failure);
      if (*p == L'\n') ++lines;
    }
    xml::g_line += lines;
    return p;
  }

  // The end tag of `name`: '<', '/', the name exactly, '>', with white space between them. A
  // mismatch is reported where the end tag should have begun.
  void ExpectEndTag(const wchar_t* name, std::size_t length) {
    const wchar_t* start = cur_;
    int line = xml::g_line;
    if (!MatchEndTag(name, length)) {
      cur_ = start;
      xml::g_line = line;
      throw ParseException(kMsgUnexpected);
    }
  }

  bool MatchEndTag(const wchar_t* name, std::size_t length) {
    if (*cur_ != L'<') return false;
    ++cur_;
    SkipWhite();
    if (*cur_ != L'/') return false;
    ++cur_;
    SkipWhite();
    if (std::wcsncmp(cur_, name, length) != 0 || xml::IsNameChar(cur_[length])) return false;
    cur_ += length;
    SkipWhite();
    if (*cur_ != L'>') return false;
    ++cur_;
    return true;
  }

  // Replaces the five entities (in any letter case) by their characters; any other '&' stays.
  static void Decode(const wchar_t* p, const wchar_t* end, XmlText& text) {
    auto length = static_cast<std::size_t>(end - p);
    wchar_t* out = text.Prepare(length);
    wchar_t* const begin = out;
    const wchar_t* amp = std::wmemchr(p, L'&', length);
    while (amp) {
      std::wmemcpy(out, p, static_cast<std::size_t>(amp - p));
      out += amp - p;
      p = amp;
      auto left = static_cast<std::size_t>(end - p);
      const xml::Entity* found = nullptr;
      for (const xml::Entity& entity : xml::kEntities) {
        if (entity.length <= left && SameEntity(p, entity)) {
          found = &entity;
          break;
        }
      }
      *out++ = found ? found->ch : L'&';
      p += found ? found->length : 1;
      amp = std::wmemchr(p, L'&', static_cast<std::size_t>(end - p));
    }
    std::wmemcpy(out, p, static_cast<std::size_t>(end - p));
    out += end - p;
    text.SetLength(static_cast<std::size_t>(out - begin));
  }

  static bool SameEntity(const wchar_t* p, const xml::Entity& entity) {
    for (std::size_t i = 0; i < entity.length; ++i) {
      if (xml::AsciiLower(p[i]) != entity.text[i]) return false;
    }
    return true;
  }

  const wchar_t* cur_;
  const wchar_t* unclosed_from_ = nullptr;
  std::wstring name_;
};

BOOL XmlTree::Get(void* window, const wchar_t*& text) {
  if (!text) return Fail(err::kInvalidParameter);
  parse_error_ = 0;
  parse_error_line_ = 0;
  parse_error_text_.clear();
  xml::g_line = 1;
  const wchar_t* start = text;
  if (*start == 0xFEFF) ++start;
  prolog_.Reset();

  XmlReader reader(start);
  int failure = 0;
  try {
    // An empty tree holds nothing from an earlier read, so that read's memory can go.
    if (!arena_ || count_ == 0) arena_ = std::make_unique<XmlArena>();
    XmlArena::Scope arena_scope(arena_.get());
    prolog_.Assign(start, reader.MeasureProlog());
    if (reader.AtEnd()) {
      failure = kMsgNoData;
    } else {
      reader.ParseLevel(*this, nullptr, 0, 0);
      reader.SkipWhite();
      if (!reader.AtEnd()) throw ParseException(kMsgSyntaxError);
    }
  } catch (const ParseException& e) {
    failure = e.MessageId();
  } catch (const std::bad_alloc&) {
    text = reader.Position();
    return Fail(err::kNotEnoughMemory);
  }
  text = reader.Position();
  if (failure == 0) return kTrue;

  parse_error_ = failure;
  parse_error_line_ = xml::g_line;
  if (failure == kMsgNoData) {
    parse_error_text_ = LoadStr(kMsgNoData);
  } else {
    const wchar_t* at = reader.Position();
    std::size_t quoted = 0;
    while (quoted < kQuotedChars && at[quoted]) ++quoted;
    parse_error_text_ = FormatFrame(LoadStr(kMsgParseFrame), xml::g_line, LoadStr(failure), std::wstring(at, quoted));
  }
  if (!quiet_) ShowMessage(window, parse_error_text_, MsgIcon::kError);
  return Fail(err::kInvalidData);
}

}  // namespace tv
