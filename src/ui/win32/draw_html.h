// Drawing mark-up text with GDI: the fonts and colours of one control (DrawHTMLTools), the
// renderer that lays a text out and paints it or only measures it (DrawHTML), and the process-wide
// module icons are loaded from.
#pragma once

#include <cstddef>

#include "foundation/markup_layout.h"
#include "foundation/markup_links.h"
#include "platform/win32/windows_include.h"

namespace tv {

// Sets the module whose icon resources "<ICON>n</ICON>" with a positive n names (the module that
// holds the user-interface resources). Null means the program's own module.
void SetHTMLResourceModule(HINSTANCE module);
// The module set by SetHTMLResourceModule, or the program's own module when none was set.
HINSTANCE GetHTMLResourceModule();

// The fonts and colours one control draws its mark-up with. Owns the fonts it makes.
class DrawHTMLTools {
 public:
  // Which system font the base font is taken from.
  enum DefaultFont {
    kMessageFont = 0,  // the message-box font (the default)
    kStatusFont = 1,   // the status-bar font
    kMenuFont = 2,     // the menu font
    kGuiFont = 3,      // DEFAULT_GUI_FONT
  };

  DrawHTMLTools();
  ~DrawHTMLTools();
  DrawHTMLTools(const DrawHTMLTools&) = delete;
  DrawHTMLTools& operator=(const DrawHTMLTools&) = delete;

  // Chooses the system font the base font follows (unless a fixed or custom font is set).
  void SetDefaultFont(DefaultFont which);
  // TRUE: the base font is a fixed-pitch font of the default font's height.
  void SetFixedFont(BOOL fixed);
  BOOL GetFixedFont() const { return fixed_; }
  // Uses this font as the base font from now on (over the default and the fixed font).
  void SetCustomFont(const LOGFONTW& font);

  void SetLinkColor(COLORREF color) { linkColor_ = color; }
  COLORREF GetLinkColor() const { return linkColor_; }
  void SetHotLinkColor(COLORREF color) { hotLinkColor_ = color; }
  COLORREF GetHotLinkColor() const { return hotLinkColor_; }
  void SetBkgColor(COLORREF color) { bkgColor_ = color; }
  COLORREF GetBkgColor() const { return bkgColor_; }

  // The base font (never null once constructed, unless the system is out of fonts).
  HFONT GetFont() const { return font_; }
  // The description the base font was made from.
  const LOGFONTW& GetLogFont() const { return logFont_; }

  // The density of the window drawn into: the system fonts are made for the screen's density and
  // are scaled to this one, and icons are sized for it. 0 (the default) means the screen's.
  void SetDpi(int dpi);
  int GetDpi() const;

  // Rebuilds the base font from the current system settings (after WM_SETTINGCHANGE).
  void Update();

 private:
  DefaultFont default_ = kMessageFont;
  BOOL fixed_ = FALSE;
  bool custom_ = false;
  int dpi_ = 0;
  LOGFONTW logFont_ = {};
  HFONT font_ = nullptr;
  COLORREF linkColor_;
  COLORREF hotLinkColor_;
  COLORREF bkgColor_;
};

// How DrawHTML::Draw treats its rectangle.
enum class DrawMode {
  kDraw,     // lay out and paint
  kMeasure,  // lay out only; the rectangle's bottom is set so its height is the height used
};

// Lays mark-up text out and paints it into a device context.
class DrawHTML {
 public:
  DrawHTML() = default;

  // "<A>" gets this id, "<A1>".."<A9>" this + 1..9.
  void SetLinkCmdID(int id) { linkCmdId_ = id; }
  int GetLinkCmdID() const { return linkCmdId_; }
  // The index (in the links list) of the link to highlight as under the mouse, or -1.
  void SetHotLink(int index) { hotLink_ = index; }
  int GetHotLink() const { return hotLink_; }

  // Lays out text[0, length) in `rect` with the tools' fonts and the DC's text colour; in kDraw
  // mode paints it on a transparent background (clipped only by the DC), in kMeasure mode sets rect->bottom to
  // rect->top + the height used. `links` (may be null) receives the link areas. FALSE with
  // ERROR_INVALID_PARAMETER for a null DC or rectangle.
  BOOL Draw(DrawMode mode, HDC dc, RECT* rect, const wchar_t* text, std::size_t length, DrawHTMLLinks* links,
            DrawHTMLTools& tools);

  // Paints text into the window's client area over the tools' background colour, in `textColor`
  // (flicker-free through an off-screen bitmap when one can be made).
  BOOL OnPaint(HWND window, HDC dc, const wchar_t* text, std::size_t length, COLORREF textColor,
               DrawHTMLLinks* links, DrawHTMLTools& tools);

  // Hit tests over the areas of the last drawing: whether (x, y) is over a link, its id (0 when
  // over none), the area itself (null when over none).
  static BOOL IsLinkArea(const DrawHTMLLinks& links, int x, int y);
  static int GetLinkAreaID(const DrawHTMLLinks& links, int x, int y);
  static const DrawHTMLLinkArea* FindLinkArea(const DrawHTMLLinks& links, int x, int y);

  // Copies the text with its tags removed (see StripMarkupTags) into buffer[0, size), cut to fit
  // and always terminated when size > 0; answers the full stripped length (without terminator),
  // so a caller can size the buffer with a first call with size 0.
  static std::size_t GetHTMLTextStripTags(const wchar_t* text, std::size_t length, wchar_t* buffer,
                                          std::size_t size);

 private:
  int linkCmdId_ = 0;
  int hotLink_ = -1;
};

}  // namespace tv
