// Pixel arithmetic for screens of any density: dialog templates scale with their font, but what a
// window draws or places in pixels has to be scaled from the 96 dots per inch it was designed at.
#pragma once

namespace tv {

// The density that pixel constants in the code are written for (100 % scaling).
inline constexpr int kDesignDpi = 96;

// `value` pixels at 96 DPI as pixels at `dpi`, rounded to the nearest (halves away from zero,
// like MulDiv). A density of zero or below counts as 96, so an unknown density leaves sizes alone.
int ScaleForDpi(int value, int dpi);

// A drawing laid out in 96-DPI pixels (a grid of cells that the mouse picks from) and shown at
// `dpi`: a layout edge `design` is drawn at device pixel DesignToDevice(design), and a device pixel
// `device` lies in the layout pixel DeviceToDesign(device). The pair agree exactly: for every
// edge b and pixel x, DeviceToDesign(x) >= b exactly when x >= DesignToDevice(b), so a click
// always picks the cell painted under it.
int DesignToDevice(int design, int dpi);
int DeviceToDesign(int device, int dpi);
// The layout pixels that hold `device` pixels whole (a measured text extent), rounded up.
int DeviceExtentToDesign(int device, int dpi);

// A font height (a LOGFONT's lfHeight, negative for a character height) made for `fromDpi`, for
// a window at `toDpi`; the sign is kept and a non-zero height never becomes zero.
int ScaleFontHeight(int height, int fromDpi, int toDpi);

// The character height in pixels, as a LOGFONT's negative lfHeight, of a font of `points` at `dpi`.
int PointsToFontHeight(int points, int dpi);

// The icon size of a system metric made for 96 DPI (16 or 32) at `dpi`, taken down to the
// nearest size that icon files carry (16, 20, 24, 32, 40, 48, 64, 96, 128, 256), so it is drawn
// from a picture of its own rather than stretched.
int IconSizeForDpi(int sizeAt96, int dpi);

}  // namespace tv
