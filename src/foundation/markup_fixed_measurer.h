// A measurer without a screen: every character has the same advance for a font, so layouts can
// be computed (and checked) exactly in tests, fuzzing and benchmarks.
#pragma once

#include <cstddef>

#include "foundation/markup_layout.h"

namespace tv {

class MarkupFixedMeasurer : public MarkupMeasurer {
 public:
  // A font of height magnitude h (16 for height 0) is h tall and advances h / 2 per character,
  // one more when bold. Icons 1..99 and -1..-99 are `iconSize` square; other numbers are missing.
  explicit MarkupFixedMeasurer(int iconSize = 16) : iconSize_(iconSize) {}

  static int Magnitude(const MarkupFont& font) {
    const int h = font.height < 0 ? -font.height : font.height;
    return h == 0 ? 16 : h;
  }
  static int Advance(const MarkupFont& font) { return Magnitude(font) / 2 + (font.weight >= 700 ? 1 : 0); }

  MarkupSize MeasureText(const MarkupFont& font, const wchar_t*, std::size_t length) override {
    ++calls;
    return MarkupSize{static_cast<int>(length) * Advance(font), Magnitude(font)};
  }
  MarkupSize MeasureIcon(int iconId) override {
    const bool known = (iconId > 0 && iconId < 100) || (iconId < 0 && iconId > -100);
    return known ? MarkupSize{iconSize_, iconSize_} : MarkupSize{};
  }

  // How many times text was measured (the layout's cost in measurements).
  long long calls = 0;

 private:
  int iconSize_;
};

}  // namespace tv
