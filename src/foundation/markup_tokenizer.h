// The mark-up language of status texts and messages: a fixed table of upper-case tags in angle
// brackets (no attributes), four entities, and the helpers that recognise them in a text. It
// looks like HTML but is not: anything outside the table is ordinary text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tv {

// A colour as 0x00BBGGRR, the layout of a Win32 COLORREF, so it passes to GDI unchanged.
using MarkupColor = std::uint32_t;

// The colour with the given red, green and blue parts.
constexpr MarkupColor MakeMarkupColor(unsigned r, unsigned g, unsigned b) {
  return (r & 0xFFu) | ((g & 0xFFu) << 8) | ((b & 0xFFu) << 16);
}

// What a tag does.
enum class MarkupTagKind {
  kBold,        // weight 700
  kItalic,
  kUnderline,
  kHeading,     // weight 900, height magnitude + 4
  kBig,         // height magnitude + 2
  kSmall,       // height magnitude - 2
  kLink,        // value: the number added to the link command id base
  kQuality,     // value: the font quality (4 anti-aliased, 5 ClearType)
  kStrike,
  kColor,       // value: the MarkupColor
  kCenter,      // switch: centre lines on, off
  kNoBreak,     // switch: wrapping off, on
  kModeT,       // switch: the rendering mode flag
  kIcon,        // the enclosed decimal number names an icon
  kBreak,       // no closing tag
  kHalfBreak,   // no closing tag
};

// One row of the tag table. `close` is null for tags without a closing partner.
struct MarkupTagInfo {
  const wchar_t* open;
  const wchar_t* close;
  MarkupTagKind kind;
  std::uint32_t value;
};

// A tag recognised at a position of a text.
struct MarkupTagMatch {
  const MarkupTagInfo* tag = nullptr;
  bool closing = false;     // true for the "</...>" form
  std::size_t length = 0;   // characters the tag occupies
};

// The tag table, in the order it is searched; `count` receives its length.
const MarkupTagInfo* GetMarkupTagTable(std::size_t* count);

// TRUE when a tag of the table (opening or closing) starts at text[pos]: compared on its full
// text, angle brackets included, without regard to case. Tags are only looked for where a '<'
// stands, so the dark-blue row's opening text "DKBLUE>" never matches while "</DKBLUE>" does.
BOOL MatchMarkupTag(const wchar_t* text, std::size_t length, std::size_t pos, MarkupTagMatch* match);

// When one of "&amp;", "&lt;", "&gt;", "&nbsp;" starts at text[pos] (case-insensitive), stores the
// character it stands for (U+00A0 for &nbsp;) and answers its length; otherwise answers 0.
std::size_t MatchMarkupEntity(const wchar_t* text, std::size_t length, std::size_t pos, wchar_t* decoded);

// The first position >= from where `needle` occurs without regard to (ASCII) case, or `length`.
std::size_t FindMarkupText(const wchar_t* text, std::size_t length, std::size_t from, const wchar_t* needle);

// The text with its tags removed and entities decoded; a line break ("<BR>", "<BRHALF>") becomes
// "\r\n" and an icon's number is dropped. Text that is no tag (unknown or malformed) is kept.
std::wstring StripMarkupTags(const wchar_t* text, std::size_t length);

// Plain text made safe to show as mark-up: '&', '<' and '>' become entities and each line break
// ("\r\n", "\n" or "\r") becomes "<BR>".
std::wstring MarkupFromPlainText(const wchar_t* text, std::size_t length);

}  // namespace tv
