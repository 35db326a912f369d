// The mark-up tag table and the recognisers for tags and entities.
#include "foundation/markup_tokenizer.h"

#include <iterator>

namespace tv {
namespace {

using K = MarkupTagKind;

// Tags are compared on their full text, so no row is a prefix of another and order is free; the
// common ones come first because every '<' of a text walks the table.
constexpr MarkupTagInfo kTags[] = {
    {L"<B>", L"</B>", K::kBold, 0},
    {L"<BR>", nullptr, K::kBreak, 0},
    {L"<A>", L"</A>", K::kLink, 0},
    {L"<A1>", L"</A1>", K::kLink, 1},
    {L"<A2>", L"</A2>", K::kLink, 2},
    {L"<A3>", L"</A3>", K::kLink, 3},
    {L"<A4>", L"</A4>", K::kLink, 4},
    {L"<A5>", L"</A5>", K::kLink, 5},
    {L"<A6>", L"</A6>", K::kLink, 6},
    {L"<A7>", L"</A7>", K::kLink, 7},
    {L"<A8>", L"</A8>", K::kLink, 8},
    {L"<A9>", L"</A9>", K::kLink, 9},
    {L"<I>", L"</I>", K::kItalic, 0},
    {L"<U>", L"</U>", K::kUnderline, 0},
    {L"<H>", L"</H>", K::kHeading, 0},
    {L"<BIG>", L"</BIG>", K::kBig, 0},
    {L"<SMALL>", L"</SMALL>", K::kSmall, 0},
    {L"<AA>", L"</AA>", K::kQuality, 4},
    {L"<CT>", L"</CT>", K::kQuality, 5},
    {L"<D>", L"</D>", K::kStrike, 0},
    {L"<RED>", L"</RED>", K::kColor, MakeMarkupColor(128, 0, 0)},
    {L"<GREEN>", L"</GREEN>", K::kColor, MakeMarkupColor(0, 128, 0)},
    {L"<BLUE>", L"</BLUE>", K::kColor, MakeMarkupColor(0, 0, 128)},
    {L"<GREY>", L"</GREY>", K::kColor, MakeMarkupColor(128, 128, 128)},
    {L"<LTRED>", L"</LTRED>", K::kColor, MakeMarkupColor(192, 0, 0)},
    {L"<LTGREEN>", L"</LTGREEN>", K::kColor, MakeMarkupColor(0, 192, 0)},
    {L"<LTBLUE>", L"</LTBLUE>", K::kColor, MakeMarkupColor(0, 0, 192)},
    {L"<LTGREY>", L"</LTGREY>", K::kColor, MakeMarkupColor(192, 192, 192)},
    {L"<DKRED>", L"</DKRED>", K::kColor, MakeMarkupColor(64, 0, 0)},
    {L"<DKGREEN>", L"</DKGREEN>", K::kColor, MakeMarkupColor(0, 64, 0)},
    // The opening text lacks its '<' and so can never match; texts in the field rely on
    // "<DKBLUE>" showing as it is, so the row stays as it always was.
    {L"DKBLUE>", L"</DKBLUE>", K::kColor, MakeMarkupColor(0, 0, 64)},
    {L"<DKGREY>", L"</DKGREY>", K::kColor, MakeMarkupColor(64, 64, 64)},
    {L"<CENTER>", L"</CENTER>", K::kCenter, 0},
    {L"<NOBR>", L"</NOBR>", K::kNoBreak, 0},
    {L"<T>", L"</T>", K::kModeT, 0},
    {L"<ICON>", L"</ICON>", K::kIcon, 0},
    {L"<BRHALF>", nullptr, K::kHalfBreak, 0},
};

wchar_t FoldAscii(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

// TRUE when `word` (upper case) stands at text[pos] without regard to case; *len gets its length.
bool MatchAt(const wchar_t* text, std::size_t length, std::size_t pos, const wchar_t* word, std::size_t* len) {
  std::size_t i = 0;
  for (; word[i]; ++i) {
    if (pos + i >= length || FoldAscii(text[pos + i]) != FoldAscii(word[i])) return false;
  }
  *len = i;
  return true;
}

struct Entity {
  const wchar_t* text;
  wchar_t ch;
};
constexpr Entity kEntities[] = {{L"&amp;", L'&'}, {L"&lt;", L'<'}, {L"&gt;", L'>'}, {L"&nbsp;", L'\u00A0'}};

}  // namespace

const MarkupTagInfo* GetMarkupTagTable(std::size_t* count) {
  if (count) *count = std::size(kTags);
  return kTags;
}

BOOL MatchMarkupTag(const wchar_t* text, std::size_t length, std::size_t pos, MarkupTagMatch* match) {
  if (!text || pos >= length || text[pos] != L'<' || pos + 2 >= length) return kFalse;
  const bool closing = text[pos + 1] == L'/';
  for (const MarkupTagInfo& tag : kTags) {
    const wchar_t* word = closing ? tag.close : tag.open;
    std::size_t len = 0;
    if (!word || !MatchAt(text, length, pos, word, &len)) continue;
    if (match) {
      match->tag = &tag;
      match->closing = closing;
      match->length = len;
    }
    return kTrue;
  }
  return kFalse;
}

std::size_t MatchMarkupEntity(const wchar_t* text, std::size_t length, std::size_t pos, wchar_t* decoded) {
  if (!text || pos >= length || text[pos] != L'&') return 0;
  for (const Entity& e : kEntities) {
    std::size_t len = 0;
    if (MatchAt(text, length, pos, e.text, &len)) {
      if (decoded) *decoded = e.ch;
      return len;
    }
  }
  return 0;
}

std::size_t FindMarkupText(const wchar_t* text, std::size_t length, std::size_t from, const wchar_t* needle) {
  if (!text || !needle || !needle[0]) return length;
  const wchar_t first = FoldAscii(needle[0]);
  for (std::size_t pos = from; pos < length; ++pos) {
    std::size_t len = 0;
    if (FoldAscii(text[pos]) == first && MatchAt(text, length, pos, needle, &len)) return pos;
  }
  return length;
}

std::wstring StripMarkupTags(const wchar_t* text, std::size_t length) {
  std::wstring out;
  if (!text) return out;
  out.reserve(length);
  std::size_t pos = 0;
  while (pos < length) {
    MarkupTagMatch m;
    wchar_t ch = 0;
    if (MatchMarkupTag(text, length, pos, &m)) {
      pos += m.length;
      if (m.tag->kind == MarkupTagKind::kBreak || m.tag->kind == MarkupTagKind::kHalfBreak) {
        out += L"\r\n";
      } else if (m.tag->kind == MarkupTagKind::kIcon && !m.closing) {
        pos = FindMarkupText(text, length, pos, m.tag->close);  // the number is no text
      }
    } else if (std::size_t n = MatchMarkupEntity(text, length, pos, &ch)) {
      out.push_back(ch);
      pos += n;
    } else {
      out.push_back(text[pos++]);
    }
  }
  return out;
}

std::wstring MarkupFromPlainText(const wchar_t* text, std::size_t length) {
  std::wstring out;
  if (!text) return out;
  out.reserve(length + length / 8);
  for (std::size_t i = 0; i < length; ++i) {
    switch (text[i]) {
      case L'&': out += L"&amp;"; break;
      case L'<': out += L"&lt;"; break;
      case L'>': out += L"&gt;"; break;
      case L'\r':
        if (i + 1 < length && text[i + 1] == L'\n') ++i;
        out += L"<BR>";
        break;
      case L'\n': out += L"<BR>"; break;
      default: out.push_back(text[i]);
    }
  }
  return out;
}

}  // namespace tv
