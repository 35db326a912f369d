#include "regxml_command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "entry/error_text.h"
#include "foundation/text_file.h"
#include "platform/last_error.h"
#include "settings/reg_key.h"

namespace tv {
namespace {

class RegXmlCommandTest : public ::testing::Test {
 protected:
  RegXmlCommandTest() {
    folder_ = std::filesystem::temp_directory_path() /
              ("tv-regxml-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder_);
  }
  ~RegXmlCommandTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::wstring File(const char* name) const { return (folder_ / name).wstring(); }
  int Run(std::vector<std::wstring> args) {
    out.clear();
    err.clear();
    return RunRegXml(args, out, err, &store);
  }

  MemKeyStore store;
  std::wstring out, err;
  std::filesystem::path folder_;
};

TEST_F(RegXmlCommandTest, HelpHiveAndErrorsSpeakPlainly) {
  EXPECT_EQ(Run({L"--help"}), kRegXmlOk);
  EXPECT_NE(out.find(L"usage: tv-regxml"), std::wstring::npos);
  EXPECT_TRUE(err.empty());

  // A path without its hive is the command line's fault, not the store's.
  EXPECT_EQ(Run({L"export", L"SOFTWARE\\Brellick\\Tarnvale", File("x.cfg")}), kRegXmlUsage);
  EXPECT_NE(err.find(L"does not begin with a hive"), std::wstring::npos) << err;
  EXPECT_EQ(err.substr(0, err.find(L'\n')).find(L"store"), std::wstring::npos) << err;

  // Failures carry the system's words, not a bare number.
  EXPECT_EQ(Run({L"export", L"HKLM\\SOFTWARE\\Nobody", File("x.cfg")}), kRegXmlFailed);
  EXPECT_NE(err.find(SystemErrorText(err::kFileNotFound)), std::wstring::npos) << err;
  EXPECT_EQ(err.find(L"(error"), std::wstring::npos) << err;
  EXPECT_EQ(Run({L"import", L"HKLM\\SOFTWARE\\Brellick\\Tarnvale", File("missing.cfg")}), kRegXmlFailed);
  EXPECT_NE(err.find(SystemErrorText(err::kFileNotFound)), std::wstring::npos) << err;
}

TEST_F(RegXmlCommandTest, AnImportIntoTheProductKeyNamesWhatTheServiceCannotUse) {
  const std::wstring file = File("hand.cfg");
  ASSERT_TRUE(WriteTextFile(file.c_str(), L"<?xml version=\"1.0\"?>\r\n"
                                          L"<DATA Name=\"\"/>\r\n"
                                          L"<DATA Name=\"Timeout\" Type=\"REG_DWORD\" Value=\"thirty\"/>\r\n"
                                          L"<DATA Name=\"Timeuot\" Type=\"REG_DWORD\" Value=\"15\"/>\r\n"));
  EXPECT_EQ(Run({L"import", L"HKLM\\software\\brellick\\TARNVALE", file}), kRegXmlImportedWithFindings);
  EXPECT_NE(err.find(file + L":3: Timeout is \"thirty\", which Tarnvale would read as 0: give a number"),
            std::wstring::npos)
      << err;
  EXPECT_NE(err.find(file + L":4: 'Timeuot' is not a setting Tarnvale reads; it is ignored"), std::wstring::npos)
      << err;
  // The import itself happened, as the format says.
  EXPECT_EQ(RegKey(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale", false, store).GetInt(L"Timeuot", 0), 15u);

  // Any other key is a plain registry dump.
  EXPECT_EQ(Run({L"import", L"HKCU\\Software\\Elsewhere", file}), kRegXmlOk) << err;
  EXPECT_TRUE(err.empty());
}

}  // namespace
}  // namespace tv
