#include "config_ui/main_commands.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "foundation/text_file.h"
#include "platform/portable/accounts.h"
#include "settings/my_opts.h"

#include "config_ui/main_dialog_ids.h"
#include "foundation/string_table.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "settings/my_config.h"

namespace tv {
namespace {

TEST(MainCommands, AnEmptyListUnderPolicySaysWhatItMeans) {
  const std::vector<std::wstring> some{L"Staff"};
  EXPECT_EQ(ListLinesShown(some, true, true), some);
  EXPECT_TRUE(ListLinesShown({}, true, false).empty()) << "the computer's own empty list is shown empty";
  const auto apply = ListLinesShown({}, true, true), exclude = ListLinesShown({}, false, true);
  ASSERT_EQ(apply.size(), 1u);
  ASSERT_EQ(exclude.size(), 1u);
  EXPECT_NE(apply[0].find(L"everyone"), std::wstring::npos);
  EXPECT_NE(exclude[0].find(L"nobody"), std::wstring::npos);
}

// The import the dialog runs, its question, and No: the edited settings come back exactly, which
// a second export shows byte for byte.
TEST(MainCommands, AnImportWithFindingsAsksAndNoPutsTheSettingsBack) {
  MemKeyStore store;
  SimulatedAccounts accounts;
  const MyOptsServices services{&store, &accounts, nullptr, nullptr};
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("tv-import-undo-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  std::filesystem::create_directories(folder);
  const std::wstring hand = (folder / "hand.cfg").wstring(), first = (folder / "first.cfg").wstring(),
                     again = (folder / "again.cfg").wstring();
  ASSERT_TRUE(WriteTextFile(hand.c_str(), L"<?xml version=\"1.0\"?>\r\n"
                                          L"<DATA Name=\"Timeout\" Type=\"REG_DWORD\" Value=\"thirty\"/>\r\n"));

  MyOpts edited(services);
  edited.Reset();
  edited.Timeout = 25;
  edited.Exclude = {L"Helpdesk"};
  edited.SetSchedule(L"Mon 8:00-17:30, ");
  ASSERT_TRUE(edited.Export(nullptr, first.c_str(), 1));
  MyOpts before(services);
  before.CopyFrom(edited);
  std::vector<ImportFinding> findings;
  ASSERT_TRUE(edited.Import(nullptr, hand.c_str(), 1, &findings));
  ASSERT_FALSE(findings.empty());
  const std::wstring question = ImportFindingsQuestion(findings, L"hand.cfg");
  EXPECT_NE(question.find(L"hand.cfg:2: Timeout is \"thirty\""), std::wstring::npos) << question;
  EXPECT_NE(question.find(L"Keep the imported settings?"), std::wstring::npos);

  edited.CopyFrom(before);
  ASSERT_TRUE(edited.Export(nullptr, again.c_str(), 1));
  std::vector<std::uint8_t> a, b;
  ASSERT_TRUE(ReadFileBytes(first.c_str(), &a));
  ASSERT_TRUE(ReadFileBytes(again.c_str(), &b));
  EXPECT_EQ(a, b);
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

TEST(MainCommands, TargetLabelMenuAndGpoSwitch) {
  EXPECT_EQ(TargetLabel(false, L"WS01", L""), L"<B>WS01</b> (This Computer)");

  auto items = TargetMenuItems(false);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_STREQ(LoadStr(items[0].stringId), L"GPO...");
  items = TargetMenuItems(true);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].command, TargetCommand::kThisComputer);
  EXPECT_STREQ(LoadStr(items[0].stringId), L"This computer");

  EXPECT_FALSE(IsOtherGpo(L"LDAP://CN=A,DC=corp", L"ldap://cn=a,dc=CORP"));
  EXPECT_TRUE(IsOtherGpo(L"LDAP://CN=A,DC=corp", L"LDAP://CN=B,DC=corp"));
  EXPECT_TRUE(IsOtherGpo(L"", L"LDAP://CN=A"));
}

TEST(MainCommands, ExportImportStartsWhereTheLastOneEnded) {
  EXPECT_EQ(ExportImportStartFile(L"", L"C:\\Users\\ann\\Documents"), L"C:\\Users\\ann\\Documents\\Tarnvale.cfg");
  EXPECT_EQ(ExportImportStartFile(L"E:\\cfg\\office.cfg", L"D:"), L"E:\\cfg\\office.cfg");
  EXPECT_EQ(FolderOf(L"E:\\cfg\\office.cfg"), L"E:\\cfg");
  EXPECT_EQ(FolderOf(L"office.cfg"), L"");
}

TEST(MainCommands, NoticesAndServiceStopMessages) {
  MemKeyStore store;
  MyConfig config(store);
  EXPECT_TRUE(ShowMayCloseNotice(false, config));
  EXPECT_FALSE(ShowMayCloseNotice(true, config)) << "OK closes anyway";
  config.Set(kConfigHideCloseMsg, true);
  EXPECT_FALSE(ShowMayCloseNotice(false, config));

  EXPECT_EQ(StopServiceMessage(kTrue, err::kServiceDoesNotExist), 13);
  EXPECT_EQ(StopServiceMessage(kFalse, err::kServiceDoesNotExist), 10);
  EXPECT_EQ(StopServiceMessage(kFalse, err::kServiceMarkedForDelete), 11);
  const int other = StopServiceMessage(kFalse, err::kAccessDenied);
  EXPECT_STREQ(LoadStr(other), L"Cannot unregister Tarnvale service.");
  EXPECT_TRUE(StopServiceMessageOffersRetry(other));
  EXPECT_FALSE(StopServiceMessageOffersRetry(13));

  EXPECT_TRUE(IsSettingsChangedNotice(2, 0x5678, 0x12345678u));
  EXPECT_FALSE(IsSettingsChangedNotice(2, 0x12345678, 0x12345678u)) << "only the low 16 bits";
  EXPECT_FALSE(IsSettingsChangedNotice(302, 0x5678, 0x12345678u));
}

}  // namespace
}  // namespace tv
