// Where the links of a mark-up text were laid out, so that a point (a click, the mouse) can be
// tested against them after drawing.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "platform/types.h"

namespace tv {

// A rectangle in the drawing's coordinates: left and top inclusive, right and bottom exclusive.
struct MarkupRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  // TRUE when (x, y) lies inside.
  BOOL Contains(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
};

// One link: its command id, one rectangle per line piece it was drawn on, and its text.
class DrawHTMLLinkArea {
 public:
  explicit DrawHTMLLinkArea(int id = 0) : id_(id) {}

  int GetID() const { return id_; }
  void SetID(int id) { id_ = id; }

  // Opens a rectangle with its top-left corner at (x, y).
  void StartRect(int x, int y);
  // Closes the open rectangle at (x, y) as its bottom-right corner; an empty one is dropped.
  // Nothing happens when no rectangle is open.
  void EndRect(int x, int y);
  // Appends to the link's text.
  void AddText(const wchar_t* text, std::size_t length);
  const std::wstring& GetText() const { return text_; }

  // TRUE when (x, y) lies in one of the closed rectangles.
  BOOL IsPointOverLink(int x, int y) const;
  const std::vector<MarkupRect>& GetRects() const { return rects_; }
  // Moves every closed rectangle by (dx, dy).
  void Offset(int dx, int dy);
  // Moves the closed rectangles from index `first` on horizontally by dx.
  void OffsetFrom(std::size_t first, int dx);

 private:
  int id_;
  std::vector<MarkupRect> rects_;
  std::wstring text_;
  bool open_ = false;
  int openX_ = 0;
  int openY_ = 0;
};

// The link areas found by the last drawing, in the order they appear in the text.
class DrawHTMLLinks {
 public:
  // Empties the list.
  void Reset() { areas_.clear(); }
  void Add(DrawHTMLLinkArea area) { areas_.push_back(std::move(area)); }
  std::size_t GetCount() const { return areas_.size(); }
  DrawHTMLLinkArea& GetAt(std::size_t index) { return areas_[index]; }
  const DrawHTMLLinkArea& GetAt(std::size_t index) const { return areas_[index]; }

  // The index of the first area that holds (x, y), or -1.
  int FindIndex(int x, int y) const;
  // The first area that holds (x, y), or null.
  const DrawHTMLLinkArea* Find(int x, int y) const;
  // The id of the first area that holds (x, y), or 0.
  int GetID(int x, int y) const;

 private:
  std::vector<DrawHTMLLinkArea> areas_;
};

}  // namespace tv
