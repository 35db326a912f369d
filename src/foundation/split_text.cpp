#include "foundation/split_text.h"

namespace tv {

std::vector<std::wstring_view> SplitText(std::wstring_view text, wchar_t separator, bool skipEmpty) {
  std::vector<std::wstring_view> pieces;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find(separator, start);
    if (end == std::wstring_view::npos) end = text.size();
    if (end > start || !skipEmpty) pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

}  // namespace tv
