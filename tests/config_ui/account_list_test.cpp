#include "config_ui/account_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/last_error.h"

namespace tv {
namespace {

PickedObject User(const std::wstring& path) { return {L"", path, L"User", L""}; }
PickedObject Group(const std::wstring& path) { return {L"", path, L"Group", L""}; }

TEST(AccountList, PickedObjectsBecomeEntries) {
  std::wstring entry = L"untouched";
  ASSERT_TRUE(AccountEntryFromPicked(User(L"WinNT://CORP/alice"), L"WS01", entry));
  EXPECT_EQ(entry, L"CORP\\alice");
  ASSERT_TRUE(AccountEntryFromPicked(User(L"WinNT://ws01/bob"), L"WS01", entry));
  EXPECT_EQ(entry, L"bob") << "a local user by name alone, case aside";
  ASSERT_TRUE(AccountEntryFromPicked(User(L"WinNT://CORP/WS01/carol"), L"WS01", entry));
  EXPECT_EQ(entry, L"carol") << "the last two components count";
  ASSERT_TRUE(AccountEntryFromPicked(Group(L"WinNT://CORP/Domain Users"), L"WS01", entry));
  EXPECT_EQ(entry, L"Domain Users") << "a group by name, whatever its domain";
  ASSERT_TRUE(AccountEntryFromPicked(User(L"winnt://dave"), L"WS01", entry));
  EXPECT_EQ(entry, L"dave");

  const std::wstring longDomain(300, L'D');
  ASSERT_TRUE(AccountEntryFromPicked(User(L"WinNT://" + longDomain + L"/erin"), L"WS01", entry));
  EXPECT_EQ(entry, std::wstring(273, L'D') + L"\\erin");

  entry = L"untouched";
  SetLastErrorCode(0);
  EXPECT_FALSE(AccountEntryFromPicked({L"WS02", L"WinNT://CORP/WS02", L"Computer", L""}, L"WS01", entry));
  EXPECT_EQ(GetLastErrorCode(), err::kNotSupported);
  EXPECT_FALSE(AccountEntryFromPicked(User(L"WinNT://"), L"WS01", entry));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  EXPECT_FALSE(AccountEntryFromPicked(Group(L""), L"WS01", entry));
  EXPECT_EQ(entry, L"untouched");
}

TEST(AccountList, AddingSkipsDuplicatesCaseAside) {
  StrList list = {L"CORP\\alice"};
  EXPECT_FALSE(AddAccountEntry(list, L"corp\\ALICE"));
  EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
  EXPECT_FALSE(AddAccountEntry(list, L""));
  EXPECT_TRUE(AddAccountEntry(list, L"CORP\\alice2")) << "a prefix is not a match";
  EXPECT_TRUE(SameAccountName(L"Пользователи", L"пользователи"));
  EXPECT_FALSE(SameAccountName(L"a×", L"a÷")) << "not letters";

  const std::vector<PickedObject> picked = {
      User(L"WinNT://CORP/bob"), User(L"WinNT://CORP/BOB"),  Group(L"WinNT://WS01/Users"),
      User(L"WinNT://WS01/bob"), Group(L"WinNT://CORP/users"), {L"", L"WinNT://CORP/PC1", L"Computer", L""},
  };
  EXPECT_EQ(AddPickedObjects(list, picked, L"WS01"), 3);
  EXPECT_EQ(list, (StrList{L"CORP\\alice", L"CORP\\alice2", L"CORP\\bob", L"Users", L"bob"}));
}

TEST(AccountList, RemovalSelectsTheNeighbour) {
  StrList list = {L"a", L"b", L"c"};
  EXPECT_EQ(RemoveAccountEntry(list, 3), -1);
  EXPECT_EQ(RemoveAccountEntry(list, -1), -1);
  EXPECT_EQ(list.size(), 3u);
  EXPECT_EQ(RemoveAccountEntry(list, 1), 1) << "the next item moves up";
  EXPECT_EQ(list, (StrList{L"a", L"c"}));
  EXPECT_EQ(RemoveAccountEntry(list, 1), 0) << "the last one removed: the new last";
  EXPECT_EQ(RemoveAccountEntry(list, 0), -1);
  EXPECT_TRUE(list.empty());
}

struct Walk {
  int answerToCount = 1;
  std::size_t stopAfter = 100;
  std::vector<std::wstring> seen;
  std::size_t count = 0;
};

int Visit(void* context, const PickedObject* object, std::size_t index) {
  Walk& w = *static_cast<Walk*>(context);
  if (!object) {
    w.count = index;
    return w.answerToCount;
  }
  w.seen.push_back(object->path);
  return w.seen.size() < w.stopAfter ? 1 : 0;
}

TEST(AccountList, SelectionWalkAsksFirstAndStopsWhenTold) {
  const std::vector<PickedObject> objects = {User(L"p0"), User(L"p1"), User(L"p2")};
  Walk all;
  EXPECT_TRUE(ProcessPickedObjects(objects, Visit, &all));
  EXPECT_EQ(all.count, 3u);
  EXPECT_EQ(all.seen, (std::vector<std::wstring>{L"p0", L"p1", L"p2"}));

  Walk refused;
  refused.answerToCount = 0;
  EXPECT_TRUE(ProcessPickedObjects(objects, Visit, &refused));
  EXPECT_TRUE(refused.seen.empty());

  Walk two;
  two.stopAfter = 2;
  ProcessPickedObjects(objects, Visit, &two);
  EXPECT_EQ(two.seen.size(), 2u);

  EXPECT_FALSE(ProcessPickedObjects(objects, nullptr, nullptr));
}

}  // namespace
}  // namespace tv
