// The layout of mark-up text: tags change a state (font, colour, link, switches), text between
// tags is cut into pieces that fit the lines, and each finished line places its pieces and link
// rectangles. Tags with a closing partner enclose the text up to the first such closing tag; the
// stack of open tags is kept explicitly so that deep nesting cannot exhaust the call stack.
#include "foundation/markup_layout.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <utility>

namespace tv {
namespace {

constexpr std::size_t kNone = SIZE_MAX;

bool IsBlank(wchar_t c) { return c == L' '; }  // tabs and line ends are made spaces in runs

// Changes a LOGFONT-style height's magnitude by `delta`, keeping its sign and at least 1.
int AdjustMagnitude(int height, int delta) {
  if (height == 0) return 0;  // "the default size": there is no magnitude to change
  const long long mag = std::clamp<long long>((height < 0 ? -static_cast<long long>(height) : height) + delta, 1,
                                              INT_MAX / 2);
  return height < 0 ? -static_cast<int>(mag) : static_cast<int>(mag);
}

// The number between "<ICON>" and "</ICON>"; 0 when it is none.
int ParseIconNumber(const wchar_t* text, std::size_t begin, std::size_t end) {
  while (begin < end && (text[begin] == L' ' || text[begin] == L'\t')) ++begin;
  bool negative = false;
  if (begin < end && (text[begin] == L'-' || text[begin] == L'+')) negative = text[begin++] == L'-';
  long long value = 0;
  bool digits = false;
  for (; begin < end && text[begin] >= L'0' && text[begin] <= L'9'; ++begin) {
    digits = true;
    value = std::min<long long>(value * 10 + (text[begin] - L'0'), INT_MAX);
  }
  while (begin < end && (text[begin] == L' ' || text[begin] == L'\t')) ++begin;
  if (!digits || begin != end) return 0;
  return static_cast<int>(negative ? -value : value);
}

class Engine {
 public:
  Engine(const wchar_t* text, std::size_t length, const MarkupRect& bounds, const MarkupStyle& style,
         MarkupMeasurer& measurer, MarkupLayoutResult* out)
      : text_(text),
        length_(text ? length : 0),
        bounds_(bounds),
        width_(std::max(0, bounds.right - bounds.left)),
        style_(style),
        measurer_(measurer),
        out_(*out),
        font_(style.font),
        color_(style.textColor),
        lineTop_(bounds.top),
        bottom_(bounds.top) {
    std::size_t count = 0;
    table_ = GetMarkupTagTable(&count);
    closeCache_.assign(count, kNone);
    lineHeight_ = LineHeightOf(font_);
  }

  void Run() {
    std::size_t pos = 0;
    std::wstring run;
    for (;;) {
      while (!stack_.empty() && pos >= stack_.back().end) pos = PopAt(pos);
      if (pos >= length_) break;
      MarkupTagMatch tag;
      if (MatchMarkupTag(text_, length_, pos, &tag)) {
        pos = HandleTag(pos, tag);
        continue;
      }
      pos = TakeRun(pos, &run);
      PlaceRun(run);
    }
    if (x_ > 0 || lineFirstPiece_ < out_.pieces.size()) FinishLine(false);
    out_.height = std::max(0, bottom_ - bounds_.top);
  }

 private:
  struct Open {
    std::size_t tagIndex;
    std::size_t end;  // where the enclosed text ends: its closing tag, or the enclosing one's end
    MarkupFont font;
    MarkupColor color;
    int link;
  };
  struct Segment {
    int link;
    int x0;
    int x1;
  };

  int LineHeightOf(const MarkupFont& font) {
    for (const auto& [f, h] : heights_)
      if (f == font) return h;
    const int h = std::max(0, measurer_.MeasureText(font, L"Hg", 2).cy);
    if (heights_.size() < 64) heights_.emplace_back(font, h);
    return h;
  }

  void SetFont(const MarkupFont& font) {
    font_ = font;
    lineHeight_ = std::max(lineHeight_, LineHeightOf(font));
  }

  // The first closing tag of row `index` at or after `from`. Positions only move forward, so the
  // answer of an earlier search stays right as long as it lies ahead; this keeps a text full of
  // opening tags linear.
  std::size_t FindClose(std::size_t index, std::size_t from) {
    std::size_t& cached = closeCache_[index];
    if (cached == kNone || cached < from) cached = FindMarkupText(text_, length_, from, table_[index].close);
    return cached;
  }

  std::size_t HandleTag(std::size_t pos, const MarkupTagMatch& tag) {
    const MarkupTagInfo& info = *tag.tag;
    const std::size_t after = pos + tag.length;
    switch (info.kind) {
      case MarkupTagKind::kBreak:
        FinishLine(false);
        return after;
      case MarkupTagKind::kHalfBreak:
        FinishLine(true);
        return after;
      case MarkupTagKind::kCenter:
        center_ = !tag.closing;
        return after;
      case MarkupTagKind::kNoBreak:
        noWrap_ = !tag.closing;
        return after;
      case MarkupTagKind::kModeT:
        modeT_ = !tag.closing;
        return after;
      case MarkupTagKind::kIcon:
        return tag.closing ? after : PlaceIcon(after, &info);
      default:
        break;
    }
    if (tag.closing) return after;  // a closing tag that closes nothing open here
    const std::size_t index = static_cast<std::size_t>(&info - table_);
    const std::size_t outerEnd = stack_.empty() ? length_ : stack_.back().end;
    stack_.push_back(Open{index, std::min(FindClose(index, after), outerEnd), font_, color_, link_});
    MarkupFont font = font_;
    switch (info.kind) {
      case MarkupTagKind::kBold: font.weight = 700; break;
      case MarkupTagKind::kItalic: font.italic = true; break;
      case MarkupTagKind::kUnderline: font.underline = true; break;
      case MarkupTagKind::kHeading:
        font.weight = 900;
        font.height = AdjustMagnitude(font.height, 4);
        break;
      case MarkupTagKind::kBig: font.height = AdjustMagnitude(font.height, 2); break;
      case MarkupTagKind::kSmall: font.height = AdjustMagnitude(font.height, -2); break;
      case MarkupTagKind::kQuality: font.quality = static_cast<int>(info.value); break;
      case MarkupTagKind::kStrike: font.strikeOut = true; break;
      case MarkupTagKind::kColor: color_ = info.value; break;
      case MarkupTagKind::kLink: {
        font.underline = true;
        const int index = static_cast<int>(out_.links.GetCount());
        color_ = index == style_.hotLink ? style_.hotLinkColor : style_.linkColor;
        out_.links.Add(DrawHTMLLinkArea(style_.linkCmdId + static_cast<int>(info.value)));
        SwitchLink(index);
        break;
      }
      default: break;
    }
    if (font != font_) SetFont(font);
    return after;
  }

  std::size_t PopAt(std::size_t pos) {
    const Open open = stack_.back();
    stack_.pop_back();
    color_ = open.color;
    if (open.font != font_) SetFont(open.font);
    if (open.link != link_) SwitchLink(open.link);
    std::size_t len = 0;
    const wchar_t* close = table_[open.tagIndex].close;
    MarkupTagMatch m;
    if (MatchMarkupTag(text_, length_, pos, &m) && m.closing && m.tag->close == close) len = m.length;
    return pos + len;
  }

  // Ends the current link's piece of this line and starts the next link's at the same place.
  void SwitchLink(int link) {
    if (link_ >= 0) segments_.push_back(Segment{link_, segStart_, x_});
    link_ = link;
    segStart_ = x_;
  }

  // Collects the text from `pos` up to the next tag (at most kMarkupMaxRun characters), entities
  // decoded and tabs and line ends made spaces.
  std::size_t TakeRun(std::size_t pos, std::wstring* run) {
    run->clear();
    while (pos < length_ && run->size() < kMarkupMaxRun) {
      const wchar_t c = text_[pos];
      if (c == L'<' && MatchMarkupTag(text_, length_, pos, nullptr)) break;
      wchar_t decoded = 0;
      if (c == L'&') {
        if (std::size_t n = MatchMarkupEntity(text_, length_, pos, &decoded)) {
          run->push_back(decoded);
          pos += n;
          continue;
        }
      }
      run->push_back((c == L'\t' || c == L'\r' || c == L'\n') ? L' ' : c);
      ++pos;
    }
    return pos;
  }

  int Measure(const wchar_t* s, std::size_t n) { return n ? measurer_.MeasureText(font_, s, n).cx : 0; }

  // The longest prefix of s[0, n) no wider than `room` (widths assumed to grow with length):
  // doubling first, then halving, so a short fit in a long run costs little.
  std::size_t LongestFit(const wchar_t* s, std::size_t n, int room) {
    std::size_t good = 0;
    std::size_t step = 1;
    while (good < n) {
      const std::size_t tryLen = std::min(n, good + step);
      if (Measure(s, tryLen) > room) break;
      good = tryLen;
      step *= 2;
    }
    if (good == n) return n;
    std::size_t bad = std::min(n, good + step);
    while (bad - good > 1) {
      const std::size_t mid = good + (bad - good) / 2;
      if (Measure(s, mid) <= room) good = mid; else bad = mid;
    }
    return good;
  }

  void PlaceRun(const std::wstring& run) {
    std::size_t i = 0;
    const std::size_t n = run.size();
    while (i < n) {
      if (softStart_) {
        while (i < n && IsBlank(run[i])) ++i;
        if (i == n) break;
      }
      const wchar_t* s = run.data() + i;
      const std::size_t left = n - i;
      if (noWrap_) {
        PlaceText(s, left);
        break;
      }
      const int room = width_ - 2 - x_;
      const std::size_t fit = room < 0 ? 0 : LongestFit(s, left, room);
      if (fit == left) {
        PlaceText(s, left);
        break;
      }
      std::size_t cut = fit + 1;  // the character after the fitting prefix may be the blank
      while (cut > 0 && !IsBlank(s[cut - 1])) --cut;
      if (cut > 0) {
        PlaceText(s, cut - 1);
        i += cut;
      } else if (x_ > 0) {
        // The word may fit on a line of its own.
      } else {
        const std::size_t take = std::max<std::size_t>(fit, 1);
        PlaceText(s, take);
        i += take;
      }
      FinishLine(false);
      softStart_ = true;
    }
  }

  void PlaceText(const wchar_t* s, std::size_t n) {
    if (n == 0) return;
    const MarkupSize size = measurer_.MeasureText(font_, s, n);
    MarkupPiece piece;
    piece.kind = MarkupPiece::Kind::kText;
    piece.rect = MarkupRect{x_, 0, x_ + std::max(0, size.cx), std::max(0, size.cy)};
    piece.text.assign(s, n);
    piece.font = font_;
    piece.color = color_;
    piece.modeT = modeT_;
    piece.link = link_;
    if (link_ >= 0) out_.links.GetAt(static_cast<std::size_t>(link_)).AddText(s, n);
    out_.pieces.push_back(std::move(piece));
    x_ += std::max(0, size.cx);
    Placed();
  }

  std::size_t PlaceIcon(std::size_t after, const MarkupTagInfo* info) {
    const std::size_t outerEnd = stack_.empty() ? length_ : stack_.back().end;
    const std::size_t close = std::min(FindMarkupText(text_, length_, after, info->close), outerEnd);
    const int id = ParseIconNumber(text_, after, close);
    const MarkupSize size = id ? measurer_.MeasureIcon(id) : MarkupSize{};
    if (size.cx > 0 && size.cy > 0) {
      if (!noWrap_ && x_ > 0 && x_ + 2 + size.cx + 2 > width_ - 2) FinishLine(false);
      MarkupPiece piece;
      piece.kind = MarkupPiece::Kind::kIcon;
      piece.rect = MarkupRect{x_ + 2, 0, x_ + 2 + size.cx, size.cy};
      piece.iconId = id;
      out_.pieces.push_back(std::move(piece));
      x_ += 2 + size.cx + 2;
      lineHeight_ = std::max(lineHeight_, size.cy);
      Placed();
    }
    MarkupTagMatch m;
    if (close < length_ && MatchMarkupTag(text_, length_, close, &m) && m.closing && m.tag == info)
      return close + m.length;
    return close;
  }

  void Placed() {
    softStart_ = false;
    if (center_) lineCenter_ = true;
  }

  // Places the line's pieces and link rectangles and starts the next line. A half break on a line
  // that holds nothing advances by half a line; on a line with content it never overlaps it.
  void FinishLine(bool half) {
    if (link_ >= 0) {
      segments_.push_back(Segment{link_, segStart_, x_});
      segStart_ = 0;
    }
    const bool empty = x_ == 0 && lineFirstPiece_ == out_.pieces.size();
    const int dx = lineCenter_ ? std::max(0, (width_ - x_) / 2) : 0;
    const int left = bounds_.left + dx;
    for (std::size_t i = lineFirstPiece_; i < out_.pieces.size(); ++i) {
      MarkupRect& r = out_.pieces[i].rect;
      const int h = r.bottom - r.top;
      // Text sits on the line's bottom so mixed sizes share a base line; icons sit in the middle.
      const int top = out_.pieces[i].kind == MarkupPiece::Kind::kIcon ? lineTop_ + (lineHeight_ - h) / 2
                                                                     : lineTop_ + lineHeight_ - h;
      r = MarkupRect{r.left + left, top, r.right + left, top + h};
    }
    for (const Segment& s : segments_) {
      DrawHTMLLinkArea& area = out_.links.GetAt(static_cast<std::size_t>(s.link));
      area.StartRect(left + s.x0, lineTop_);
      area.EndRect(left + s.x1, lineTop_ + lineHeight_);
    }
    segments_.clear();
    if (!empty) {
      out_.width = std::max(out_.width, dx + x_);
      bottom_ = std::max(bottom_, lineTop_ + lineHeight_);
    }
    const long long advance = (half && empty) ? lineHeight_ / 2 : lineHeight_;
    lineTop_ = static_cast<int>(std::min<long long>(INT_MAX / 2, lineTop_ + advance));
    if (half && empty) bottom_ = std::max(bottom_, lineTop_);
    x_ = 0;
    lineHeight_ = LineHeightOf(font_);
    lineFirstPiece_ = out_.pieces.size();
    lineCenter_ = center_;
    softStart_ = false;
  }

  const wchar_t* text_;
  std::size_t length_;
  MarkupRect bounds_;
  int width_;
  const MarkupStyle& style_;
  MarkupMeasurer& measurer_;
  MarkupLayoutResult& out_;
  const MarkupTagInfo* table_ = nullptr;
  std::vector<std::size_t> closeCache_;
  std::vector<std::pair<MarkupFont, int>> heights_;
  std::vector<Open> stack_;
  std::vector<Segment> segments_;

  MarkupFont font_;
  MarkupColor color_;
  int link_ = -1;
  int segStart_ = 0;
  bool center_ = false;
  bool noWrap_ = false;
  bool modeT_ = false;

  int x_ = 0;
  int lineTop_;
  int lineHeight_ = 0;
  int bottom_ = 0;  // set to the top in the constructor
  std::size_t lineFirstPiece_ = 0;
  bool lineCenter_ = false;
  bool softStart_ = false;
};

}  // namespace

void LayoutMarkup(const wchar_t* text, std::size_t length, const MarkupRect& bounds, const MarkupStyle& style,
                  MarkupMeasurer& measurer, MarkupLayoutResult* result) {
  if (!result) return;
  *result = MarkupLayoutResult{};
  Engine(text, length, bounds, style, measurer, result).Run();
}

}  // namespace tv
