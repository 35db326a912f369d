// DrawHTML and DrawHTMLTools for Windows: a GDI measurer under the portable layout, and the
// painting of the pieces it answers.
#include "ui/win32/draw_html.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <utility>
#include <vector>

#include "ui/win32/dpi.h"

namespace tv {
namespace {

std::atomic<HINSTANCE> g_resourceModule{nullptr};

MarkupFont FromLogFont(const LOGFONTW& lf) {
  MarkupFont f;
  f.height = lf.lfHeight;
  f.weight = lf.lfWeight ? static_cast<int>(lf.lfWeight) : FW_NORMAL;
  f.italic = lf.lfItalic != 0;
  f.underline = lf.lfUnderline != 0;
  f.strikeOut = lf.lfStrikeOut != 0;
  f.quality = lf.lfQuality;
  return f;
}

// Measures with real fonts made from the tools' base font, and loads the icons; owns both for
// the duration of one Draw so a text with many pieces makes each font once.
class GdiMeasurer : public MarkupMeasurer {
 public:
  GdiMeasurer(HDC dc, const LOGFONTW& base, int dpi)
      : dc_(dc), base_(base), original_(::GetCurrentObject(dc, OBJ_FONT)), iconSize_(IconSizeForDpi(16, dpi)) {}
  ~GdiMeasurer() override {
    ::SelectObject(dc_, original_);
    for (auto& [font, handle] : fonts_) ::DeleteObject(handle);
    for (auto& [id, icon] : icons_)
      if (icon.handle) ::DestroyIcon(icon.handle);
  }
  GdiMeasurer(const GdiMeasurer&) = delete;
  GdiMeasurer& operator=(const GdiMeasurer&) = delete;

  MarkupSize MeasureText(const MarkupFont& font, const wchar_t* text, std::size_t length) override {
    Select(font);
    SIZE size = {};
    if (!::GetTextExtentPoint32W(dc_, text, static_cast<int>(std::min<std::size_t>(length, 0x7FFFFFFF)), &size))
      return MarkupSize{};
    return MarkupSize{size.cx, size.cy};
  }

  MarkupSize MeasureIcon(int iconId) override {
    const Icon& icon = LoadIcon(iconId);
    return MarkupSize{icon.cx, icon.cy};
  }

  // Makes `font` the DC's font.
  void Select(const MarkupFont& font) {
    HFONT handle = nullptr;
    for (auto& [f, h] : fonts_)
      if (f == font) handle = h;
    if (!handle) {
      LOGFONTW lf = base_;
      lf.lfHeight = font.height;
      lf.lfWeight = font.weight;
      lf.lfItalic = font.italic;
      lf.lfUnderline = font.underline;
      lf.lfStrikeOut = font.strikeOut;
      lf.lfQuality = static_cast<BYTE>(font.quality);
      handle = ::CreateFontIndirectW(&lf);
      if (!handle) return;  // keeps the font selected before: text still shows
      fonts_.emplace_back(font, handle);
    }
    ::SelectObject(dc_, handle);
  }

  HICON IconHandle(int iconId) { return LoadIcon(iconId).handle; }

 private:
  struct Icon {
    HICON handle = nullptr;
    int cx = 0;
    int cy = 0;
  };

  const Icon& LoadIcon(int iconId) {
    for (auto& [id, icon] : icons_)
      if (id == iconId) return icon;
    Icon icon;
    // A positive number is the resource module's, a negative one the program's own.
    HINSTANCE module = iconId > 0 ? GetHTMLResourceModule() : ::GetModuleHandleW(nullptr);
    const int number = iconId < 0 ? -iconId : iconId;
    if (number > 0 && number <= 0xFFFF) {
      // A small icon at the window's density, not the screen's.
      icon.handle = LoadIconAtSize(module, MAKEINTRESOURCEW(number), iconSize_);
      if (icon.handle) icon.cx = icon.cy = iconSize_;
    }
    icons_.emplace_back(iconId, icon);
    return icons_.back().second;
  }

  HDC dc_;
  LOGFONTW base_;
  HGDIOBJ original_;
  int iconSize_;
  std::vector<std::pair<MarkupFont, HFONT>> fonts_;
  std::vector<std::pair<int, Icon>> icons_;
};

}  // namespace

void SetHTMLResourceModule(HINSTANCE module) { g_resourceModule.store(module); }

HINSTANCE GetHTMLResourceModule() {
  HINSTANCE module = g_resourceModule.load();
  return module ? module : ::GetModuleHandleW(nullptr);
}

DrawHTMLTools::DrawHTMLTools()
    : linkColor_(RGB(0, 0, 255)),  // the system's hot-track colour is grey on some themes
      hotLinkColor_(RGB(192, 0, 0)),
      bkgColor_(::GetSysColor(COLOR_BTNFACE)) {
  Update();
}

DrawHTMLTools::~DrawHTMLTools() {
  if (font_) ::DeleteObject(font_);
}

void DrawHTMLTools::SetDefaultFont(DefaultFont which) {
  default_ = which;
  Update();
}

void DrawHTMLTools::SetFixedFont(BOOL fixed) {
  fixed_ = fixed ? TRUE : FALSE;
  Update();
}

void DrawHTMLTools::SetCustomFont(const LOGFONTW& font) {
  custom_ = true;
  logFont_ = font;
  Update();
}

void DrawHTMLTools::SetDpi(int dpi) {
  if (dpi == dpi_) return;
  dpi_ = dpi;
  Update();
}

int DrawHTMLTools::GetDpi() const { return dpi_ > 0 ? dpi_ : SystemDpi(); }

void DrawHTMLTools::Update() {
  LOGFONTW lf = logFont_;
  if (!custom_) {
    NONCLIENTMETRICSW ncm = {};
    ncm.cbSize = sizeof(ncm);
    const bool haveMetrics = ::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(ncm), &ncm, 0) != 0;
    if (haveMetrics && default_ == kMessageFont) lf = ncm.lfMessageFont;
    else if (haveMetrics && default_ == kStatusFont) lf = ncm.lfStatusFont;
    else if (haveMetrics && default_ == kMenuFont) lf = ncm.lfMenuFont;
    else ::GetObjectW(::GetStockObject(DEFAULT_GUI_FONT), sizeof(lf), &lf);
    // The system's fonts are sized for the screen; a window on another monitor needs its own size.
    lf.lfHeight = ScaleFontHeight(lf.lfHeight, SystemDpi(), GetDpi());
    if (fixed_) {
      lf.lfPitchAndFamily = FIXED_PITCH | FF_MODERN;
      std::wcsncpy(lf.lfFaceName, L"Courier New", LF_FACESIZE - 1);
      lf.lfFaceName[LF_FACESIZE - 1] = L'\0';
    }
  }
  HFONT font = ::CreateFontIndirectW(&lf);
  if (!font) return;  // the old font stays usable
  if (font_) ::DeleteObject(font_);
  font_ = font;
  logFont_ = lf;
}

BOOL DrawHTML::Draw(DrawMode mode, HDC dc, RECT* rect, const wchar_t* text, std::size_t length,
                    DrawHTMLLinks* links, DrawHTMLTools& tools) {
  if (!dc || !rect) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (!text) length = 0;
  MarkupStyle style;
  style.font = FromLogFont(tools.GetLogFont());
  style.textColor = ::GetTextColor(dc);
  style.linkColor = tools.GetLinkColor();
  style.hotLinkColor = tools.GetHotLinkColor();
  style.linkCmdId = linkCmdId_;
  style.hotLink = hotLink_;

  MarkupLayoutResult result;
  GdiMeasurer measurer(dc, tools.GetLogFont(), tools.GetDpi());
  try {
    LayoutMarkup(text, length, MarkupRect{rect->left, rect->top, rect->right, rect->bottom}, style, measurer,
                 &result);
  } catch (...) {  // out of memory for a huge text: nothing is drawn
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }

  if (mode == DrawMode::kMeasure) {
    rect->bottom = rect->top + result.height;
  } else {
    const int saved = ::SaveDC(dc);
    ::SetBkMode(dc, TRANSPARENT);
    for (const MarkupPiece& piece : result.pieces) {
      if (piece.kind == MarkupPiece::Kind::kIcon) {
        if (HICON icon = measurer.IconHandle(piece.iconId))
          ::DrawIconEx(dc, piece.rect.left, piece.rect.top, icon, piece.rect.right - piece.rect.left,
                       piece.rect.bottom - piece.rect.top, 0, nullptr, DI_NORMAL);
        continue;
      }
      measurer.Select(piece.font);
      ::SetTextColor(dc, piece.color);
      // "<T>" text is drawn on its own background, so it stays readable over anything.
      ::SetBkMode(dc, piece.modeT ? OPAQUE : TRANSPARENT);
      if (piece.modeT) ::SetBkColor(dc, tools.GetBkgColor());
      ::ExtTextOutW(dc, piece.rect.left, piece.rect.top, 0, nullptr, piece.text.c_str(),
                    static_cast<UINT>(piece.text.size()), nullptr);
    }
    ::RestoreDC(dc, saved);
  }
  if (links) *links = std::move(result.links);
  return TRUE;
}

BOOL DrawHTML::OnPaint(HWND window, HDC dc, const wchar_t* text, std::size_t length, COLORREF textColor,
                       DrawHTMLLinks* links, DrawHTMLTools& tools) {
  if (!window || !dc) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  RECT client = {};
  ::GetClientRect(window, &client);
  const int cx = client.right - client.left;
  const int cy = client.bottom - client.top;
  HBRUSH brush = ::CreateSolidBrush(tools.GetBkgColor());

  // Painting off screen first keeps a hover repaint from flickering.
  HDC memory = ::CreateCompatibleDC(dc);
  HBITMAP bitmap = memory && cx > 0 && cy > 0 ? ::CreateCompatibleBitmap(dc, cx, cy) : nullptr;
  HDC target = bitmap ? memory : dc;
  HGDIOBJ oldBitmap = bitmap ? ::SelectObject(memory, bitmap) : nullptr;

  if (brush) ::FillRect(target, &client, brush);
  const COLORREF oldColor = ::SetTextColor(target, textColor);
  RECT area = client;
  const BOOL ok = Draw(DrawMode::kDraw, target, &area, text, length, links, tools);
  ::SetTextColor(target, oldColor);
  if (bitmap) {
    ::BitBlt(dc, 0, 0, cx, cy, memory, 0, 0, SRCCOPY);
    ::SelectObject(memory, oldBitmap);
    ::DeleteObject(bitmap);
  }
  if (memory) ::DeleteDC(memory);
  if (brush) ::DeleteObject(brush);
  return ok;
}

BOOL DrawHTML::IsLinkArea(const DrawHTMLLinks& links, int x, int y) { return links.Find(x, y) ? TRUE : FALSE; }

int DrawHTML::GetLinkAreaID(const DrawHTMLLinks& links, int x, int y) { return links.GetID(x, y); }

const DrawHTMLLinkArea* DrawHTML::FindLinkArea(const DrawHTMLLinks& links, int x, int y) { return links.Find(x, y); }

std::size_t DrawHTML::GetHTMLTextStripTags(const wchar_t* text, std::size_t length, wchar_t* buffer,
                                           std::size_t size) {
  std::wstring stripped;
  try {
    stripped = StripMarkupTags(text, length);
  } catch (...) {
    stripped.clear();
  }
  if (buffer && size > 0) {
    const std::size_t n = std::min(stripped.size(), size - 1);
    std::wmemcpy(buffer, stripped.data(), n);
    buffer[n] = L'\0';
  }
  return stripped.size();
}

}  // namespace tv
