// The pixels of windows for Windows tests: what a control paints into a bitmap of the test's own,
// and what the screen shows where a window is.
#pragma once

#ifdef _WIN32

#include <cstdint>
#include <vector>

#include "platform/win32/windows_include.h"

namespace tv::test {

// A memory device context with a screen-compatible bitmap of cx x cy selected into it.
class Canvas {
 public:
  Canvas(int cx, int cy);
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas();
  bool Ok() const { return dc_ && bitmap_; }
  HDC Dc() const { return dc_; }
  // Has `window` paint its client area here, as WM_PRINTCLIENT asks it to.
  void Print(HWND window) const;
  COLORREF At(int x, int y) const { return ::GetPixel(dc_, x, y); }

 private:
  HDC dc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ old_ = nullptr;
};

// The window's pixels as the screen shows them, row by row; empty when it has no area.
std::vector<std::uint32_t> ScreenPixels(HWND window);

}  // namespace tv::test

#endif  // _WIN32
