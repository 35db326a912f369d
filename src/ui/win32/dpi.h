// The density a window is shown at, and what follows from it: its pixel sizes and its icons.
// The calls that know a window's own density exist from Windows 10 on; each is looked up when
// first needed, and older systems (and import libraries without them) get the screen's density.
#pragma once

#include "platform/win32/windows_include.h"
#include "ui/dpi_scale.h"

// Older SDK headers lack the notifications of a change of density.
#ifndef WM_DPICHANGED
#define WM_DPICHANGED 0x02E0
#endif
#ifndef WM_DPICHANGED_BEFOREPARENT
#define WM_DPICHANGED_BEFOREPARENT 0x02E2
#endif
#ifndef WM_DPICHANGED_AFTERPARENT
#define WM_DPICHANGED_AFTERPARENT 0x02E3
#endif

namespace tv {

// The screen's density as the process sees it (its system DPI).
int SystemDpi();
// The density `window` is shown at: its monitor's under per-monitor awareness, else the system's.
// A null window answers the system's.
int WindowDpi(HWND window);
// `value` pixels at 96 DPI, at the density of `window`.
int ScaleForWindow(HWND window, int value);

// Icon `id` of `module` at `size` pixels square, drawn down from a larger picture when the file
// has none of that size; the caller destroys it. Null when the module has no such icon.
HICON LoadIconAtSize(HINSTANCE module, const wchar_t* id, int size);

// Moves and sizes a top-level window to the rectangle WM_DPICHANGED suggests (its lParam).
void ApplySuggestedRect(HWND window, LPARAM suggested);

}  // namespace tv
