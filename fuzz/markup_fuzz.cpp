// Mark-up texts from arbitrary bytes laid out at arbitrary widths: layout always ends, every piece
// stands for text it consumed, every link rectangle is a real rectangle, and escaping plain text
// survives stripping unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "foundation/markup_fixed_measurer.h"
#include "foundation/markup_layout.h"
#include "foundation/markup_tokenizer.h"

namespace {
void Check(bool ok) {
  if (!ok) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tv;
  // Byte 0: the width in steps of 3 pixels; byte 1: bit 0 reads the rest as UTF-16LE (else one
  // character a byte, which reaches the ASCII tags sooner), bits 1-3 the hot link, bits 4-7 the
  // base font height.
  if (size < 2) return 0;
  const int width = data[0] * 3;
  const bool wide = data[1] & 1;
  std::wstring text;
  if (wide) {
    for (std::size_t i = 2; i + 1 < size; i += 2) text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
  } else {
    for (std::size_t i = 2; i < size; ++i) text += static_cast<wchar_t>(data[i]);
  }

  MarkupStyle style;
  style.font.height = -(data[1] >> 4);  // 0 included: "the default size"
  style.hotLink = ((data[1] >> 1) & 7) - 1;
  style.linkCmdId = 1000;
  MarkupFixedMeasurer measurer;
  MarkupLayoutResult result;
  const MarkupRect bounds{5, 7, 5 + width, 7 + 100};
  LayoutMarkup(text.c_str(), text.size(), bounds, style, measurer, &result);

  Check(result.height >= 0);
  Check(result.pieces.size() <= text.size());
  for (const MarkupPiece& p : result.pieces) {
    Check(p.rect.top >= bounds.top && p.rect.left >= bounds.left);
    if (p.kind == MarkupPiece::Kind::kText) Check(!p.text.empty());
    Check(p.link < static_cast<int>(result.links.GetCount()));
  }
  for (std::size_t i = 0; i < result.links.GetCount(); ++i) {
    const DrawHTMLLinkArea& area = result.links.GetAt(i);
    Check(area.GetID() >= 1000 && area.GetID() <= 1009);
    for (const MarkupRect& r : area.GetRects()) {
      Check(r.left < r.right && r.top < r.bottom);
      Check(area.IsPointOverLink(r.left, r.top) && !area.IsPointOverLink(r.right, r.top));
    }
  }

  const std::wstring stripped = StripMarkupTags(text.c_str(), text.size());
  Check(stripped.size() <= text.size() * 2);  // only a break tag (4+ characters) grows, to 2
  if (text.find_first_of(L"\r\n") == std::wstring::npos) {
    const std::wstring escaped = MarkupFromPlainText(text.c_str(), text.size());
    Check(StripMarkupTags(escaped.c_str(), escaped.size()) == text);
  }
  return 0;
}
