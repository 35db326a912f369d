// The fallback account chooser: typed names become the objects the main dialog's lists expect,
// names the system would refuse are refused with a sentence, and list rows map to their objects.
#include "config_ui/account_chooser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/last_error.h"

namespace tv {
namespace {

const std::vector<std::wstring> kGroups = {L"Administrators", L"Users"};

std::wstring EntryFor(const std::wstring& typed) {
  PickedObject object;
  std::wstring problem;
  if (!ParseTypedAccount(typed, L"PC1", kGroups, object, problem)) return L"refused: " + problem;
  std::wstring entry;
  if (!AccountEntryFromPicked(object, L"PC1", entry)) return L"no entry";
  return object.objectClass + L" " + object.path + L" -> " + entry;
}

TEST(AccountChooser, TypedNamesBecomeLocalOrDomainAccountsTheListsTakeAsEntries) {
  EXPECT_EQ(EntryFor(L"alice"), L"User WinNT://PC1/alice -> alice");
  EXPECT_EQ(EntryFor(L"  DOM \\ alice \t"), L"User WinNT://DOM/alice -> DOM\\alice");
  // This computer, whichever way it is named, and a local group whatever its case.
  EXPECT_EQ(EntryFor(L"pc1\\bob"), L"User WinNT://PC1/bob -> bob");
  EXPECT_EQ(EntryFor(L".\\bob"), L"User WinNT://PC1/bob -> bob");
  EXPECT_EQ(EntryFor(L"administrators"), L"Group WinNT://PC1/administrators -> administrators");
  EXPECT_EQ(EntryFor(L"BUILTIN\\Users"), L"Group WinNT://PC1/Users -> Users");
  // A group name under another domain cannot be told from a user there without a directory.
  EXPECT_EQ(EntryFor(L"DOM\\Users"), L"User WinNT://DOM/Users -> DOM\\Users");
}

TEST(AccountChooser, NamesTheSystemWouldRefuseAreRefusedWithASentenceAndNothingChanges) {
  std::vector<std::wstring> bad = {L"", L"   ", L"a\\b\\c", L"\\alice", L"DOM\\", L"DOM\\  ", L"..", L". .",
                                   L"DOM/x\\alice", L"ali\x0007" L"ce", std::wstring(257, L'x')};
  for (const wchar_t* c = kAccountNameForbidden; *c; ++c) {
    if (*c != L'\\') bad.push_back(std::wstring(L"al") + *c + L"ce");
  }
  for (const std::wstring& typed : bad) {
    PickedObject object{L"keep", L"WinNT://X/keep", L"User", L""};
    std::wstring problem;
    SetLastErrorCode(0);
    EXPECT_FALSE(ParseTypedAccount(typed, L"PC1", kGroups, object, problem)) << typed.size();
    EXPECT_EQ(GetLastErrorCode(), err::kInvalidName);
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(object.name, L"keep");
  }
  PickedObject object;
  std::wstring problem;
  EXPECT_TRUE(ParseTypedAccount(std::wstring(256, L'x'), L"PC1", kGroups, object, problem));
}

TEST(AccountChooser, RowsListUsersThenGroupsOnceEachAndMapToTheirObjects) {
  const AccountChooser chooser(L"PC1", {L"zed", L"Alice", L"alice", L" "}, {L"Users", L"administrators", L"USERS"});
  ASSERT_EQ(chooser.Rows().size(), 4u);
  EXPECT_EQ(chooser.RowText(0), L"Alice\tUser");
  EXPECT_EQ(chooser.RowText(1), L"zed\tUser");
  EXPECT_EQ(chooser.RowText(2), L"administrators\tGroup");
  EXPECT_EQ(chooser.RowText(3), L"Users\tGroup");
  EXPECT_EQ(chooser.RowText(4), L"");

  std::vector<PickedObject> out;
  std::wstring problem;
  const auto picked = [&out] {
    std::vector<std::wstring> seen;
    for (const PickedObject& o : out) seen.push_back(o.objectClass + L" " + o.path);
    return seen;
  };
  ASSERT_TRUE(chooser.Choose({3, 0, 3}, L"DOM\\carol", out, problem));
  EXPECT_EQ(picked(), (std::vector<std::wstring>{L"User WinNT://PC1/Alice", L"Group WinNT://PC1/Users",
                                                 L"User WinNT://DOM/carol"}));
  // A typed name is a group when the list knows it as one.
  ASSERT_TRUE(chooser.Choose({}, L"users", out, problem));
  EXPECT_EQ(picked(), std::vector<std::wstring>{L"Group WinNT://PC1/users"}) << "as typed";

  // Nothing chosen, a row that is not there, or a bad typed name: refused, `out` kept.
  for (const auto& [rows, typed, code] : {std::tuple{std::vector<int>{}, L"  ", err::kInvalidParameter},
                                          std::tuple{std::vector<int>{4}, L"", err::kInvalidParameter},
                                          std::tuple{std::vector<int>{-1}, L"", err::kInvalidParameter},
                                          std::tuple{std::vector<int>{0}, L"a|b", err::kInvalidName}}) {
    problem.clear();
    EXPECT_FALSE(chooser.Choose(rows, typed, out, problem));
    EXPECT_EQ(GetLastErrorCode(), code);
    EXPECT_FALSE(problem.empty());
    ASSERT_EQ(out.size(), 1u);
  }
}

}  // namespace
}  // namespace tv
