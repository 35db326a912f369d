#include "support/win_pixels.h"

#ifdef _WIN32

namespace tv::test {

Canvas::Canvas(int cx, int cy) {
  HDC screen = ::GetDC(nullptr);
  dc_ = ::CreateCompatibleDC(screen);
  bitmap_ = ::CreateCompatibleBitmap(screen, cx, cy);
  ::ReleaseDC(nullptr, screen);
  if (Ok()) old_ = ::SelectObject(dc_, bitmap_);
}

Canvas::~Canvas() {
  if (old_) ::SelectObject(dc_, old_);
  if (bitmap_) ::DeleteObject(bitmap_);
  if (dc_) ::DeleteDC(dc_);
}

void Canvas::Print(HWND window) const {
  ::SendMessageW(window, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc_), PRF_CLIENT);
}

std::vector<std::uint32_t> ScreenPixels(HWND window) {
  RECT r{};
  ::GetWindowRect(window, &r);
  const int w = r.right - r.left, h = r.bottom - r.top;
  std::vector<std::uint32_t> pixels;
  if (w <= 0 || h <= 0) return pixels;
  // A DIB section of 32-bit pixels, so that the copy reads back without a conversion.
  HDC screen = ::GetDC(nullptr);
  HDC memory = ::CreateCompatibleDC(screen);
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(info.bmiHeader), w, -h, 1, 32, BI_RGB};
  void* bits = nullptr;
  HBITMAP bitmap = ::CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (bitmap && bits) {
    HGDIOBJ old = ::SelectObject(memory, bitmap);
    if (::BitBlt(memory, 0, 0, w, h, screen, r.left, r.top, SRCCOPY)) {
      const auto* p = static_cast<const std::uint32_t*>(bits);
      pixels.assign(p, p + static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
    }
    ::SelectObject(memory, old);
  }
  if (bitmap) ::DeleteObject(bitmap);
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);
  return pixels;
}

}  // namespace tv::test

#endif  // _WIN32
