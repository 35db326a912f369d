#include "foundation/split_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tv {
namespace {

std::vector<std::wstring> Split(const wchar_t* text, bool skipEmpty) {
  std::vector<std::wstring> out;
  for (std::wstring_view piece : SplitText(text, L'|', skipEmpty)) out.emplace_back(piece);
  return out;
}

using Pieces = std::vector<std::wstring>;

TEST(SplitText, EmptyPiecesAreKeptOrLeftOutAsAsked) {
  EXPECT_EQ(Split(L"", false), Pieces{L""});
  EXPECT_EQ(Split(L"", true), Pieces{});
  EXPECT_EQ(Split(L"a", false), Pieces{L"a"});
  EXPECT_EQ(Split(L"|a||b|", false), (Pieces{L"", L"a", L"", L"b", L""}));
  EXPECT_EQ(Split(L"|a||b|", true), (Pieces{L"a", L"b"}));
  EXPECT_EQ(Split(L"||", true), Pieces{});
}

}  // namespace
}  // namespace tv
