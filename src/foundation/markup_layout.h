// Lays a mark-up text out into a rectangle: wraps it into lines, applies the tags' fonts, colours
// and switches, and answers a list of positioned pieces (text runs and icons) plus the link
// areas. It measures through an abstract measurer, so it runs and is tested without a screen;
// the Windows drawing code only paints what it answers.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/markup_links.h"
#include "foundation/markup_tokenizer.h"

namespace tv {

// The parts of a font the tags change; everything else (face, character set) is the base font's.
struct MarkupFont {
  int height = 0;      // as a LOGFONT's lfHeight: negative means character height; the sign is kept
  int weight = 400;
  bool italic = false;
  bool underline = false;
  bool strikeOut = false;
  int quality = 0;     // a LOGFONT's lfQuality
  bool operator==(const MarkupFont& o) const {
    return height == o.height && weight == o.weight && italic == o.italic && underline == o.underline &&
           strikeOut == o.strikeOut && quality == o.quality;
  }
  bool operator!=(const MarkupFont& o) const { return !(*this == o); }
};

struct MarkupSize {
  int cx = 0;
  int cy = 0;
};

// Measures for the layout. Implementations never throw.
class MarkupMeasurer {
 public:
  virtual ~MarkupMeasurer() = default;
  // The extent of text[0, length) drawn in `font`.
  virtual MarkupSize MeasureText(const MarkupFont& font, const wchar_t* text, std::size_t length) = 0;
  // The size the icon with this number is drawn at; {0, 0} when there is no such icon.
  virtual MarkupSize MeasureIcon(int iconId) = 0;
};

// One positioned piece of the laid-out text.
struct MarkupPiece {
  enum class Kind { kText, kIcon };
  Kind kind = Kind::kText;
  MarkupRect rect;          // where it goes: left/top, and its measured extent
  std::wstring text;        // kText: the characters, entities decoded
  MarkupFont font;          // kText
  MarkupColor color = 0;    // kText
  bool modeT = false;       // kText: drawn while the "<T>" flag was on
  int link = -1;            // kText: index of its link area in the links list, or -1
  int iconId = 0;           // kIcon: the number between "<ICON>" and "</ICON>"
};

// What the layout starts from.
struct MarkupStyle {
  MarkupFont font;                                   // the base font
  MarkupColor textColor = MakeMarkupColor(0, 0, 0);  // colour outside colour tags
  MarkupColor linkColor = MakeMarkupColor(0, 0, 255);
  MarkupColor hotLinkColor = MakeMarkupColor(192, 0, 0);  // the link under the mouse
  int linkCmdId = 0;                                 // "<A>" has this id, "<An>" this + n
  int hotLink = -1;                                  // index of the link under the mouse, or -1
};

// The result of one layout.
struct MarkupLayoutResult {
  std::vector<MarkupPiece> pieces;
  DrawHTMLLinks links;
  int height = 0;  // from the rectangle's top to the bottom of the last line
  int width = 0;   // the widest line, from the rectangle's left
};

// Text between tags is taken in runs of at most this many characters.
inline constexpr std::size_t kMarkupMaxRun = 1024;

// Lays out text[0, length) into `bounds` (only its left, top and right are used; the text may run
// below its bottom). Never fails: bad mark-up is drawn as text or ignored, and every step
// consumes input, so any text ends.
void LayoutMarkup(const wchar_t* text, std::size_t length, const MarkupRect& bounds, const MarkupStyle& style,
                  MarkupMeasurer& measurer, MarkupLayoutResult* result);

}  // namespace tv
