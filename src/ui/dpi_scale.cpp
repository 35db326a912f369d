// Pixel arithmetic for screens of any density.
#include "ui/dpi_scale.h"

#include <array>
#include <cstdint>

namespace tv {
namespace {

// value * numerator / denominator, rounded half away from zero, in 64 bits.
int MulDivRound(int value, int numerator, int denominator) {
  const std::int64_t product = static_cast<std::int64_t>(value) * numerator;
  const std::int64_t half = denominator / 2;
  const std::int64_t rounded = product >= 0 ? (product + half) / denominator : (product - half) / denominator;
  return static_cast<int>(rounded);
}

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
  const std::int64_t q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

int Known(int dpi) { return dpi > 0 ? dpi : kDesignDpi; }

}  // namespace

int ScaleForDpi(int value, int dpi) { return MulDivRound(value, Known(dpi), kDesignDpi); }

int DesignToDevice(int design, int dpi) {
  // The smallest device pixel at or right of the edge: ceil(design * dpi / 96).
  return static_cast<int>(-FloorDiv(-static_cast<std::int64_t>(design) * Known(dpi), kDesignDpi));
}

int DeviceToDesign(int device, int dpi) {
  return static_cast<int>(FloorDiv(static_cast<std::int64_t>(device) * kDesignDpi, Known(dpi)));
}

int DeviceExtentToDesign(int device, int dpi) { return -DeviceToDesign(-device, dpi); }

int ScaleFontHeight(int height, int fromDpi, int toDpi) {
  if (height == 0) return 0;  // "the default size" stays so
  const int scaled = MulDivRound(height, Known(toDpi), Known(fromDpi));
  if (scaled == 0) return height < 0 ? -1 : 1;
  return scaled;
}

int PointsToFontHeight(int points, int dpi) { return -MulDivRound(points, Known(dpi), 72); }

int IconSizeForDpi(int sizeAt96, int dpi) {
  static constexpr std::array<int, 10> kSizes = {16, 20, 24, 32, 40, 48, 64, 96, 128, 256};
  const int wanted = ScaleForDpi(sizeAt96, dpi);
  int best = kSizes.front();
  for (int size : kSizes)
    if (size <= wanted) best = size;
  return wanted < kSizes.front() ? wanted : best;
}

}  // namespace tv
