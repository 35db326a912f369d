// A static control that shows mark-up text: paints it with DrawHTML, shows the hand cursor over
// links and turns a click on a link into WM_COMMAND to its parent. Use it either as the window
// class "TVStaticHTML" (in code or in a dialog template, after Register) or by attaching to an
// existing STATIC control. WM_GETTEXT answers the mark-up exactly as set.
#pragma once

#include <cstddef>
#include <string>

// window.h first: it names Win32's DWORD, which tv::DWORD (platform/types.h) would hide inside
// namespace tv once declared.
#include "ui/win32/window.h"
#include "foundation/markup_links.h"
#include "ui/win32/draw_html.h"
#include "platform/win32/windows_include.h"

namespace tv {

class CSStaticHTML : public CSCtrl {
 public:
  // The window class name registered by Register.
  static constexpr const wchar_t* kClassName = L"TVStaticHTML";

  CSStaticHTML();
  // Destroys a window this object created; an attached control is only let go.
  ~CSStaticHTML() override;

  // Registers "TVStaticHTML" for `instance`, so dialog templates can name it: a control made by
  // the dialog manager gets its own CSStaticHTML, deleted with the window (reach it through
  // FromControl). Registering twice succeeds.
  static BOOL Register(HINSTANCE instance);
  // The CSStaticHTML that owns `control`, or null.
  static CSStaticHTML* FromControl(HWND control);

  // Creates the control as a child of `parent` with the given id and mark-up text (WS_CHILD and
  // WS_VISIBLE are added to `style`). Registers the class for `instance` when needed.
  BOOL Create(HWND parent, int id, const RECT& rect, const wchar_t* text, ::DWORD style = 0,
              HINSTANCE instance = nullptr);
  // Takes over an existing (STATIC) control; its window text becomes the mark-up.
  BOOL Attach(HWND control);

  // Sets the mark-up text and repaints. A null text counts as empty.
  BOOL SetHTMLText(const wchar_t* text);
  // Sets the text from string resource `id` of `module` (the resource module when null).
  BOOL SetHTMLText(UINT id, HINSTANCE module);
  const std::wstring& GetHTMLText() const { return text_; }
  std::size_t GetHTMLTextLength() const { return text_.size(); }
  // The text without its tags (see StripMarkupTags).
  std::wstring GetHTMLTextStripTags() const;

  void SetTextColor(COLORREF color);
  COLORREF GetTextColor() const { return textColor_; }
  void SetLinkColor(COLORREF color);
  COLORREF GetLinkColor() const { return tools_.GetLinkColor(); }
  void SetBkgColor(COLORREF color);
  COLORREF GetBkgColor() const { return tools_.GetBkgColor(); }
  void SetFixedFont(BOOL fixed);
  // The base id of the text's links ("<A>" = id, "<An>" = id + n).
  void SetLinkCmdID(int id);
  int GetLinkCmdID() const { return draw_.GetLinkCmdID(); }

  // The control's fonts and colours, for finer settings (SetCustomFont, SetDefaultFont).
  DrawHTMLTools& GetTools() { return tools_; }

  // Measures the text at rect's width: sets rect->bottom so its height is the height needed.
  // Uses the control's own DC when `dc` is null.
  BOOL CalcHeight(HDC dc, RECT* rect);

  // Makes the whole control one link with the control's own id: a click, and Space or Enter when
  // it has WS_TABSTOP and the focus, sends WM_COMMAND(id) to the parent.
  BOOL MakeLink();
  // Shows plain text: '&', '<', '>' are shown as they are and line breaks break lines.
  BOOL MakeHtml(const wchar_t* plainText);

  // The link areas of the last painting or measurement, in client coordinates.
  const DrawHTMLLinks& GetLinks() const { return links_; }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void OnFinalMessage() override;

 private:
  static LRESULT CALLBACK ClassProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  void Relayout();
  int HitLink(LPARAM screenPoint) const;
  void ClickAt(int x, int y);
  void PostCommand(int id);

  std::wstring text_;
  DrawHTML draw_;
  DrawHTMLTools tools_;
  DrawHTMLLinks links_;
  COLORREF textColor_;
  bool wholeLink_ = false;
  bool ownsWindow_ = false;
  bool autoDelete_ = false;
  bool tracking_ = false;
  int hot_ = -1;
};

}  // namespace tv
