// Link areas of a laid-out mark-up text and the hit tests over them.
#include "foundation/markup_links.h"

namespace tv {

void DrawHTMLLinkArea::StartRect(int x, int y) {
  open_ = true;
  openX_ = x;
  openY_ = y;
}

void DrawHTMLLinkArea::EndRect(int x, int y) {
  if (!open_) return;
  open_ = false;
  if (x <= openX_ || y <= openY_) return;  // nothing was drawn in it
  rects_.push_back(MarkupRect{openX_, openY_, x, y});
}

void DrawHTMLLinkArea::AddText(const wchar_t* text, std::size_t length) {
  if (text) text_.append(text, length);
}

BOOL DrawHTMLLinkArea::IsPointOverLink(int x, int y) const {
  for (const MarkupRect& r : rects_)
    if (r.Contains(x, y)) return kTrue;
  return kFalse;
}

void DrawHTMLLinkArea::Offset(int dx, int dy) {
  for (MarkupRect& r : rects_) {
    r.left += dx;
    r.right += dx;
    r.top += dy;
    r.bottom += dy;
  }
}

void DrawHTMLLinkArea::OffsetFrom(std::size_t first, int dx) {
  for (std::size_t i = first; i < rects_.size(); ++i) {
    rects_[i].left += dx;
    rects_[i].right += dx;
  }
}

int DrawHTMLLinks::FindIndex(int x, int y) const {
  for (std::size_t i = 0; i < areas_.size(); ++i)
    if (areas_[i].IsPointOverLink(x, y)) return static_cast<int>(i);
  return -1;
}

const DrawHTMLLinkArea* DrawHTMLLinks::Find(int x, int y) const {
  const int i = FindIndex(x, y);
  return i < 0 ? nullptr : &areas_[static_cast<std::size_t>(i)];
}

int DrawHTMLLinks::GetID(int x, int y) const {
  const DrawHTMLLinkArea* area = Find(x, y);
  return area ? area->GetID() : 0;
}

}  // namespace tv
