#include "foundation/text_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "platform/last_error.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

std::wstring Decode(const Bytes& bytes, TextEncoding* encoding = nullptr) {
  return DecodeTextFile(bytes.data(), bytes.size(), encoding);
}

TEST(TextFileDecode, ByteOrderMarksChooseTheEncodingAndAreDropped) {
  TextEncoding encoding;
  EXPECT_EQ(Decode({0xFF, 0xFE, 'a', 0, 0xAC, 0x20}, &encoding), L"a\u20AC");
  EXPECT_EQ(encoding, TextEncoding::kUtf16Le);
  EXPECT_EQ(Decode({0xFE, 0xFF, 0, 'a', 0x20, 0xAC}, &encoding), L"a\u20AC");
  EXPECT_EQ(encoding, TextEncoding::kUtf16Be);
  EXPECT_EQ(Decode({0xEF, 0xBB, 0xBF, 'a', 0xE2, 0x82, 0xAC}, &encoding), L"a\u20AC");
  EXPECT_EQ(encoding, TextEncoding::kUtf8);
  EXPECT_EQ(Decode({0xFF, 0xFE}, &encoding), L"");
  EXPECT_EQ(Decode({}, &encoding), L"");
  EXPECT_EQ(encoding, TextEncoding::kAnsi);
  EXPECT_EQ(DecodeTextFile(nullptr, 5), L"");
  // A supplementary character survives both ways (a surrogate pair where wchar_t is 16 bits).
  const std::wstring clef = Decode({0xEF, 0xBB, 0xBF, 0xF0, 0x9D, 0x84, 0x9E});
  EXPECT_EQ(clef, Decode({0xFF, 0xFE, 0x34, 0xD8, 0x1E, 0xDD}));
  EXPECT_EQ(clef.size(), sizeof(wchar_t) == 2 ? 2u : 1u);
}

TEST(TextFileDecode, ZerosControlsAndTruncationNeverReachTheReader) {
  // UTF-16: a zero becomes a space and an odd last byte is dropped.
  EXPECT_EQ(Decode({0xFF, 0xFE, 'a', 0, 0, 0, 'b', 0, 'c'}), L"a b");
  EXPECT_EQ(Decode({0xFE, 0xFF, 0, 'a', 0, 0, 0}), L"a ");
  EXPECT_EQ(Decode({0xFF, 0xFE, 1, 0}), std::wstring(1, L'\x01'));  // controls stay in UTF-16
  // 8-bit text: controls other than tab, LF, CR and 0x1A, and DEL, become ".".
  EXPECT_EQ(Decode({'a', 0, 1, '\t', '\n', '\r', 0x1A, 0x1F, 0x7F, 'z'}), L"a..\t\n\r\x1A..z");
  EXPECT_EQ(Decode({0xEF, 0xBB, 0xBF, 'a', 0, 0x7F}), L"a..");
  // Invalid UTF-8: one replacement character per byte that fits nowhere.
  EXPECT_EQ(Decode({0xEF, 0xBB, 0xBF, 'a', 0xC0, 0x80, 'b', 0xED, 0xA0, 0x80, 0xE2, 0x82}),
            L"a\uFFFD\uFFFDb\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
#ifndef _WIN32
  // Off Windows the ANSI code page is Windows-1252.
  EXPECT_EQ(Decode({0xE9, 0x80, 0x81}), L"\u00E9\u20AC\u0081");
#endif
}

class TextFileWrite : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = fs::temp_directory_path() / (std::string("tv-text-file-") + info->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  // Joined as text: a non-ASCII name must not pass through the C library's locale.
  std::wstring Path(const std::wstring& name) const { return dir_.wstring() + L"/" + name; }
  std::ptrdiff_t Entries() const { return std::distance(fs::directory_iterator(dir_), fs::directory_iterator()); }
  fs::path dir_;
};

TEST_F(TextFileWrite, WritesUtf16WithMarkAndReplacesWholeFiles) {
  const std::wstring path = Path(L"caf\u00E9-\u20AC.cfg");
  ASSERT_TRUE(WriteTextFile(path.c_str(), L"first version, quite long"));
  ASSERT_TRUE(WriteTextFile(path.c_str(), L"x\u00E9"));
  Bytes bytes;
  ASSERT_TRUE(ReadFileBytes(path.c_str(), &bytes));
  EXPECT_EQ(bytes, (Bytes{0xFF, 0xFE, 'x', 0, 0xE9, 0}));
  std::wstring text;
  ASSERT_TRUE(ReadTextFile(path.c_str(), &text));
  EXPECT_EQ(text, L"x\u00E9");
  EXPECT_EQ(Entries(), 1);  // no temporary file left beside it
  ASSERT_TRUE(WriteTextFile(path.c_str(), L""));
  ASSERT_TRUE(ReadFileBytes(path.c_str(), &bytes));
  EXPECT_EQ(bytes, (Bytes{0xFF, 0xFE}));
}

TEST_F(TextFileWrite, FailuresLeaveTheTargetAsItWasAndNoTemporaryFile) {
  // The target is a folder holding a file: the rename must fail, and the folder stays whole.
  const std::wstring blocked = Path(L"blocked");
  fs::create_directories(dir_ / "blocked");
  ASSERT_TRUE(WriteTextFile(Path(L"blocked/inner.cfg").c_str(), L"keep"));
  EXPECT_FALSE(WriteTextFile(blocked.c_str(), L"new"));
  EXPECT_NE(GetLastErrorCode(), err::kSuccess);
  EXPECT_TRUE(fs::is_directory(dir_ / "blocked"));
  EXPECT_EQ(Entries(), 1);
  std::wstring text = L"untouched";
  ASSERT_TRUE(ReadTextFile(Path(L"blocked/inner.cfg").c_str(), &text));
  EXPECT_EQ(text, L"keep");

  const std::wstring missing = Path(L"no-such-folder/x.cfg");
  EXPECT_FALSE(WriteTextFile(missing.c_str(), L"x"));
  const ErrorCode error = GetLastErrorCode();
  EXPECT_TRUE(error == err::kPathNotFound || error == err::kFileNotFound) << error;

  text = L"untouched";
  EXPECT_FALSE(ReadTextFile(Path(L"absent.cfg").c_str(), &text));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  EXPECT_EQ(text, L"untouched");
  EXPECT_FALSE(WriteTextFile(nullptr, L"x"));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
  EXPECT_FALSE(ReadTextFile(L"", &text));
}

}  // namespace
}  // namespace tv
