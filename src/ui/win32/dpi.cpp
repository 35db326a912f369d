// Window densities through the calls of newer systems, looked up at run time.
#include "ui/win32/dpi.h"

#include <commctrl.h>

namespace tv {
namespace {

template <typename Function>
Function Lookup(const wchar_t* library, const char* name) {
  HMODULE module = ::GetModuleHandleW(library);
  if (!module) module = ::LoadLibraryW(library);  // comctl32 may not be loaded yet; kept for the process
  return module ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name))) : nullptr;
}

int DcDpi(HWND window) {
  HDC dc = ::GetDC(window);
  if (!dc) return kDesignDpi;
  const int dpi = ::GetDeviceCaps(dc, LOGPIXELSY);
  ::ReleaseDC(window, dc);
  return dpi > 0 ? dpi : kDesignDpi;
}

}  // namespace

int SystemDpi() {
  using GetDpiForSystemFn = UINT(WINAPI*)();
  static const auto forSystem = Lookup<GetDpiForSystemFn>(L"user32.dll", "GetDpiForSystem");
  if (forSystem) {
    const UINT dpi = forSystem();
    if (dpi > 0) return static_cast<int>(dpi);
  }
  return DcDpi(nullptr);
}

int WindowDpi(HWND window) {
  if (!window) return SystemDpi();
  using GetDpiForWindowFn = UINT(WINAPI*)(HWND);
  static const auto forWindow = Lookup<GetDpiForWindowFn>(L"user32.dll", "GetDpiForWindow");
  if (forWindow) {
    const UINT dpi = forWindow(window);
    if (dpi > 0) return static_cast<int>(dpi);
  }
  return DcDpi(window);
}

int ScaleForWindow(HWND window, int value) { return ScaleForDpi(value, WindowDpi(window)); }

HICON LoadIconAtSize(HINSTANCE module, const wchar_t* id, int size) {
  using LoadIconWithScaleDownFn = HRESULT(WINAPI*)(HINSTANCE, PCWSTR, int, int, HICON*);
  static const auto scaleDown = Lookup<LoadIconWithScaleDownFn>(L"comctl32.dll", "LoadIconWithScaleDown");
  if (!module) return nullptr;
  HICON icon = nullptr;
  if (scaleDown && SUCCEEDED(scaleDown(module, id, size, size, &icon)) && icon) return icon;
  // Without it (common controls before 6) the system picks the nearest picture and stretches it.
  return static_cast<HICON>(::LoadImageW(module, id, IMAGE_ICON, size, size, 0));
}

void ApplySuggestedRect(HWND window, LPARAM suggested) {
  const auto* rect = reinterpret_cast<const RECT*>(suggested);
  if (!window || !rect) return;
  ::SetWindowPos(window, nullptr, rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace tv
