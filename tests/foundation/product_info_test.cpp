#include "foundation/product_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <utility>

#include "foundation/data_folder.h"
#include "platform/last_error.h"

namespace tv {
namespace {

// The product with a long version text that cannot fit the shared buffer.
class LongVersion : public MyProductInfo {
 public:
  std::wstring text = std::wstring(120, L'v') + L"12345";
  const wchar_t* GetVersionStrLong(BOOL) const override { return text.c_str(); }
};

// Update checks compare the packed numbers, the About box shows the texts: they must agree.
TEST(ProductInfo, VersionNumbersAgreeWithTheTextsWhichShareOneBufferCutAtItsSize) {
  const ProductInfo* info = GetMyProductInfo();
  ASSERT_EQ(info, GetMyProductInfo());
  unsigned major = 0, minor = 0, patch = 0;
  ASSERT_EQ(std::swscanf(info->GetVersionStr(), L"%u.%u.%u", &major, &minor, &patch), 3);
  const std::uint64_t revision = info->GetRevisionNum();
  ASSERT_GT(revision, 0u);
  EXPECT_EQ(info->GetVersionQWORD(), std::uint64_t{major} << 48 | std::uint64_t{minor} << 32 |
                                         std::uint64_t{patch} << 16 | revision);
  EXPECT_EQ(info->GetVersionNum(), major << 24 | (minor * 10 + patch) << 16 | revision);
  EXPECT_EQ(std::to_wstring(revision), info->GetRevisionStr());
  EXPECT_EQ(info->GetForOS()[11], wchar_t{0xAE}) << "the registered sign survives both compilers' character sets";

  const std::wstring version = info->GetVersionStr(), rev = L" (rev. " + std::to_wstring(revision) + L")";
  const wchar_t* bold = info->GetVersionStrRev(7);  // any non-zero is bold
  EXPECT_EQ(std::wstring(bold), L"Version <b>" + version + L"</b>" + rev);
  const wchar_t* plain = info->GetVersionStrRev(0);
  EXPECT_EQ(std::wstring(plain), L"Version " + version + rev);
  EXPECT_EQ(bold, plain);  // the first answer now reads as the second

  LongVersion other;
  const wchar_t* cut = other.GetVersionStrRev(0);
  EXPECT_EQ(cut, plain);  // one buffer for the process, not one per object
  EXPECT_EQ(std::wstring(cut), (other.text + rev).substr(0, kVersionStrRevChars - 1));
}

TEST(ProductInfo, AppBookkeepingBalancesOnEveryWayOut) {
  LongVersion info;
  EXPECT_FALSE(info.LeaveApp());  // leaving what was never entered changes nothing
  EXPECT_EQ(info.EnterApp(), 1);
  {
    AppScope scope(info);
    EXPECT_EQ(info.GetAppCount(), 2);
  }
  EXPECT_TRUE(info.LeaveApp());
  EXPECT_FALSE(info.LeaveApp());
  EXPECT_EQ(info.GetAppCount(), 0);
}

// Stand-in for the shell: writes `g_folder`, and fails when `g_folder_fails`.
std::wstring g_folder;
bool g_folder_fails = false;

BOOL FakeFolder(wchar_t* buffer, std::size_t size) {
  const std::size_t n = std::min(g_folder.size(), size - 1);
  std::copy_n(g_folder.c_str(), n, buffer);
  buffer[n] = L'\0';
  return g_folder_fails ? Fail(err::kFileNotFound) : kTrue;
}

TEST(DataFolder, SeparatorNameAndBound) {
  const std::size_t last = kDataFolderChars - 1;  // characters before the terminator
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"C:\\ProgramData", L"C:\\ProgramData\\Tarnvale"},
      {L"C:\\ProgramData\\", L"C:\\ProgramData\\Tarnvale"},
      {L"/srv/data/", L"/srv/data/Tarnvale"},
      {std::wstring(last - 9, L'f'), std::wstring(last - 9, L'f') + L"\\Tarnvale"},  // exactly fits
      {std::wstring(last - 8, L'f'), std::wstring(last - 8, L'f') + L"\\Tarnval"},   // the name is cut
      {std::wstring(last, L'f'), std::wstring(last, L'f')},                          // already full
  };
  for (const auto& [folder, expected] : cases) {
    g_folder = folder;
    wchar_t buffer[kDataFolderChars + 1];
    buffer[kDataFolderChars] = L'#';
    EXPECT_TRUE(GetDataFolder(buffer, FakeFolder));
    EXPECT_EQ(std::wstring(buffer), expected);
    EXPECT_EQ(buffer[kDataFolderChars], L'#');
  }

  // No folder: false and an empty buffer. A failing source's leftovers are not passed on as a
  // folder, and its error is kept.
  wchar_t buffer[kDataFolderChars];
  g_folder = L"";
  SetLastErrorCode(err::kSuccess);
  EXPECT_FALSE(GetDataFolder(buffer, FakeFolder));
  EXPECT_STREQ(buffer, L"");
  EXPECT_NE(GetLastErrorCode(), err::kSuccess);
  g_folder = L"C:\\half";
  g_folder_fails = true;
  EXPECT_FALSE(GetDataFolder(buffer, FakeFolder));
  EXPECT_STREQ(buffer, L"");
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
}

TEST(DataFolder, RealAllUsersFolder) {
  wchar_t buffer[kDataFolderChars];
#ifdef _WIN32
  ASSERT_TRUE(GetDataFolder(buffer));
  const std::wstring folder = buffer;
  ASSERT_GT(folder.size(), 12u);
  EXPECT_EQ(folder.substr(folder.size() - 9), L"\\Tarnvale");
  EXPECT_EQ(folder[1], L':');  // a drive path, not a shell item name
#else
  // This test process owns its environment.
  ::unsetenv("TARNVALE_COMMON_APPDATA");
  ASSERT_TRUE(GetDataFolder(buffer));
  EXPECT_STREQ(buffer, L"/var/lib\\Tarnvale");
  ::setenv("TARNVALE_COMMON_APPDATA", "", 1);
  EXPECT_FALSE(GetDataFolder(buffer));
  EXPECT_STREQ(buffer, L"");
  ::unsetenv("TARNVALE_COMMON_APPDATA");
#endif
}

}  // namespace
}  // namespace tv
