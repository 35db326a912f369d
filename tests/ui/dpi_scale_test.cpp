// Pixel arithmetic at other screen densities: sizes, font heights, icon sizes, and the mapping of
// a grid laid out at 96 DPI to the pixels it is drawn on and back.
#include "ui/dpi_scale.h"

#include <gtest/gtest.h>

namespace tv {
namespace {

TEST(DpiScale, SizesAndFontHeightsRoundToTheNearestPixelAndKeepTheirSign) {
  EXPECT_EQ(ScaleForDpi(10, 96), 10);
  EXPECT_EQ(ScaleForDpi(10, 144), 15);
  EXPECT_EQ(ScaleForDpi(7, 144), 11);  // 10.5 rounds away from zero
  EXPECT_EQ(ScaleForDpi(-7, 144), -11);
  EXPECT_EQ(ScaleForDpi(13, 120), 16);  // 16.25
  EXPECT_EQ(ScaleForDpi(10, 0), 10) << "an unknown density leaves sizes alone";

  EXPECT_EQ(ScaleFontHeight(-11, 96, 144), -17);  // 16.5
  EXPECT_EQ(ScaleFontHeight(-17, 144, 96), -11);
  EXPECT_EQ(ScaleFontHeight(12, 96, 192), 24);
  EXPECT_EQ(ScaleFontHeight(0, 96, 144), 0) << "the default height stays the default";
  EXPECT_EQ(ScaleFontHeight(-1, 144, 72), -1) << "a height never becomes the default";

  EXPECT_EQ(PointsToFontHeight(8, 96), -11);  // 10.67
  EXPECT_EQ(PointsToFontHeight(8, 144), -16);
  EXPECT_EQ(PointsToFontHeight(9, 120), -15);
}

TEST(DpiScale, IconSizesComeFromTheSizesIconFilesCarry) {
  EXPECT_EQ(IconSizeForDpi(16, 96), 16);
  EXPECT_EQ(IconSizeForDpi(16, 120), 20);
  EXPECT_EQ(IconSizeForDpi(16, 144), 24);
  EXPECT_EQ(IconSizeForDpi(32, 144), 48);
  EXPECT_EQ(IconSizeForDpi(16, 168), 24) << "28 is drawn from the 24-pixel picture";
  EXPECT_EQ(IconSizeForDpi(32, 192), 64);
  EXPECT_EQ(IconSizeForDpi(16, 72), 12) << "below the smallest picture the size is kept";
}

// Every pixel a click can land on, at every density: the layout pixel it picks is the one painted
// under it, so a cell boundary drawn at device pixel D belongs to the cell right of it.
TEST(DpiScale, GridPixelsMapToTheCellsPaintedUnderThem) {
  for (int dpi : {96, 120, 144, 168, 192, 240, 288}) {
    SCOPED_TRACE(dpi);
    for (int edge = -40; edge <= 400; ++edge) {
      const int device = DesignToDevice(edge, dpi);
      ASSERT_EQ(DeviceToDesign(device, dpi), edge) << "the pixel an edge is painted at lies in the cell it opens";
      ASSERT_LT(DeviceToDesign(device - 1, dpi), edge) << "the pixel before it lies in the cell before";
      ASSERT_GE(DesignToDevice(edge + 1, dpi) - device, dpi / 96) << "a layout pixel is at least as wide scaled";
    }
    EXPECT_EQ(DesignToDevice(240, dpi), 240 * dpi / 96) << "a whole grid scales exactly when it can";
  }
  // An extent measured in device pixels takes enough layout pixels to hold it whole.
  EXPECT_EQ(DeviceExtentToDesign(19, 144), 13);  // 12.67
  EXPECT_EQ(DeviceExtentToDesign(18, 144), 12);
  EXPECT_GE(DesignToDevice(DeviceExtentToDesign(41, 168), 168), 41);
}

}  // namespace
}  // namespace tv
