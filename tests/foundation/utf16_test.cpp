#include <gtest/gtest.h>

#include "foundation/utf16.h"

namespace tv {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(Utf16, EncodesLittleEndianWithOptionalTerminator) {
  EXPECT_EQ(ToUtf16Le(L"A\u00e9\u20ac"), (Bytes{0x41, 0x00, 0xE9, 0x00, 0xAC, 0x20}));
  EXPECT_EQ(ToUtf16Le(L"", true), (Bytes{0, 0}));
  EXPECT_EQ(ToUtf16Le(L"x", true), (Bytes{'x', 0, 0, 0}));
  // U+1F600 is one wchar_t on Linux and a surrogate pair on Windows: the bytes are the same.
  const std::wstring smile = L"\U0001F600";
  EXPECT_EQ(ToUtf16Le(smile), (Bytes{0x3D, 0xD8, 0x00, 0xDE}));
  EXPECT_EQ(Utf16Length(smile + L"a"), 3u);
  if constexpr (sizeof(wchar_t) == 4) {
    EXPECT_EQ(ToUtf16Le(std::wstring(1, static_cast<wchar_t>(0x110000))), (Bytes{0xFD, 0xFF}));
  }
}

TEST(Utf16, DecodesPairsLoneSurrogatesOddBytesAndZeros) {
  const Bytes pair = {0x3D, 0xD8, 0x00, 0xDE, 'a', 0};
  EXPECT_EQ(FromUtf16Le(pair.data(), pair.size()), L"\U0001F600a");
  // A lone surrogate survives the round trip as the code unit it was.
  const Bytes lone = {0x3D, 0xD8, 'b', 0};
  const std::wstring decoded = FromUtf16Le(lone.data(), lone.size());
  ASSERT_EQ(decoded.size(), 2u);
  EXPECT_EQ(static_cast<std::uint32_t>(decoded[0]), 0xD83Du);
  EXPECT_EQ(ToUtf16Le(decoded), lone);
  const Bytes trailingHigh = {'c', 0, 0x3D, 0xD8};
  EXPECT_EQ(FromUtf16Le(trailingHigh.data(), trailingHigh.size()).size(), 2u);

  const Bytes odd = {'a', 0, 'b'};
  EXPECT_EQ(FromUtf16Le(odd.data(), odd.size()), L"a");
  const Bytes withZero = {'a', 0, 0, 0, 'b', 0};
  EXPECT_EQ(FromUtf16Le(withZero.data(), withZero.size(), true), L"a");
  EXPECT_EQ(FromUtf16Le(withZero.data(), withZero.size()), std::wstring(L"a\0b", 3));
  EXPECT_EQ(FromUtf16Le(nullptr, 10), L"");
}

}  // namespace
}  // namespace tv
