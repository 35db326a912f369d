#include "settings/import_checks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/text_file.h"
#include "settings/record_fixture.h"
#include "settings/settings_file.h"

namespace tv {
namespace {

class ImportChecksTest : public test::RecordTest {
 protected:
  std::wstring Write(const char* name, const std::wstring& text) {
    const std::wstring path = File(name);
    EXPECT_TRUE(WriteTextFile(path.c_str(), text));
    return path;
  }
};

// A file as a hand-edit leaves it: words for a number, a misspelt name, a value the service
// corrects and a subkey nobody reads, each named once with its line, through the utility's
// import and through an import straight into the product's key.
TEST_F(ImportChecksTest, NamesWhatTheServiceCannotUseWithItsLine) {
  const std::wstring path = Write("hand.cfg",
                                  L"<?xml version=\"1.0\"?>\r\n"
                                  L"<KEY Name=\"Extra\">\r\n\t<DATA Name=\"\"/>\r\n</KEY>\r\n"
                                  L"<DATA Name=\"\"/>\r\n"
                                  L"<DATA Name=\"Enable\" Type=\"REG_DWORD\" Value=\"1\"/>\r\n"
                                  L"<DATA Name=\"Timeout\" Type=\"REG_DWORD\" Value=\"thirty\"/>\r\n"
                                  L"<DATA Name=\"Timeuot\" Type=\"REG_DWORD\" Value=\"15\"/>\r\n"
                                  L"<DATA Name=\"MessageTimeout\" Value=\"20000\"/>\r\n"
                                  L"<DATA Name=\"SessionsTotal\" Type=\"REG_DWORD\" Value=\"4\"/>\r\n"
                                  // The service's record of why each session is watched: no setting, but known.
                                  L"<KEY Name=\"Sessions\">\r\n\t<DATA Name=\"3\" Type=\"REG_DWORD\" Value=\"1\"/>\r\n</KEY>\r\n");
  MyOpts o(Services());
  o.Reset();
  std::vector<ImportFinding> findings;
  ASSERT_TRUE(o.Import(nullptr, path.c_str(), 1, &findings));
  std::vector<std::wstring> shown;
  for (const ImportFinding& f : findings) shown.push_back(FormatImportFinding(f, L"hand.cfg"));
  const std::vector<std::wstring> expected{
      L"hand.cfg:8: 'Timeuot' is not a setting Tarnvale reads; it is ignored",
      L"hand.cfg:2: the key 'Extra' is not read by the service",
      L"hand.cfg:7: Timeout is \"thirty\", which Tarnvale would read as 0: give a number",
      L"hand.cfg:7: Timeout: 0 is outside 1 to 9999; 10 is used instead",
      L"hand.cfg:9: MessageTimeout: 20000 is outside 0 to 9999; 5 is used instead",
  };
  EXPECT_EQ(shown, expected);
  EXPECT_EQ(findings[0].kind, ImportFindingKind::kUnknownName);
  EXPECT_EQ(findings[2].kind, ImportFindingKind::kNotANumber);
  EXPECT_EQ(findings[3].kind, ImportFindingKind::kServiceCorrects);
  EXPECT_EQ(o.Timeout, 0u) << "the record takes what the format reads; the findings say so";

  // Straight into the product's key: the same findings, whatever policy the computer has.
  Dword(kComputerPolicyKey, L"Enable", 1);
  RegKey key(test::kAppKey, true, store_);
  ASSERT_TRUE(ImportRegKey(nullptr, key, path.c_str(), 1));
  std::wstring text;
  ASSERT_TRUE(ReadTextFile(path.c_str(), &text));
  const std::vector<ImportFinding> direct = CheckImportedSettings(key, text);
  ASSERT_EQ(direct.size(), findings.size());
  for (std::size_t i = 0; i < direct.size(); ++i) EXPECT_EQ(direct[i].what, findings[i].what);
}

TEST_F(ImportChecksTest, WhatTheProductExportsComesBackWithoutAWord) {
  MyOpts o(Services());
  test::FillAll(o);
  const std::wstring path = File("all.cfg");
  ASSERT_TRUE(o.Export(nullptr, path.c_str(), 1));
  std::vector<ImportFinding> findings{{}};
  ASSERT_TRUE(o.Import(nullptr, path.c_str(), 1, &findings));
  EXPECT_TRUE(findings.empty()) << FormatImportFinding(findings.front(), L"all.cfg");
  // The key the service fills besides the settings is known too.
  for (const wchar_t* name : {L"SessionsMaximumTime", L"LastLogoff", L"ImpExpPath", L"options", L"NotConfigured"})
    EXPECT_TRUE(IsKnownProductValue(name)) << name;
  EXPECT_FALSE(IsKnownProductValue(L"Timeuot"));
}

// The shipped example is UTF-8, which every reader of settings files takes, and holds nothing the
// service would not use as written.
TEST_F(ImportChecksTest, TheShippedExampleIsUtf8AndClean) {
  const std::string narrow = TV_EXAMPLES_DIR;
  const std::wstring example = std::wstring(narrow.begin(), narrow.end()) + L"/office.cfg";
  TextEncoding encoding = TextEncoding::kAnsi;
  std::wstring text;
  ASSERT_TRUE(ReadTextFile(example.c_str(), &text, &encoding));
  EXPECT_EQ(encoding, TextEncoding::kUtf8);
  MyOpts o(Services());
  o.Reset();
  std::vector<ImportFinding> findings{{}};
  ASSERT_TRUE(o.Import(nullptr, example.c_str(), 1, &findings));
  EXPECT_TRUE(findings.empty()) << FormatImportFinding(findings.front(), L"office.cfg");
  EXPECT_TRUE(o.Enable);
}

}  // namespace
}  // namespace tv
