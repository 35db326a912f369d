#include "settings/policy.h"

#include <gtest/gtest.h>

#include <string>

#include "settings/record_fixture.h"

namespace tv {
namespace {

class PolicyTest : public test::RecordTest {};

TEST_F(PolicyTest, ReadsMarkWhatIsNotSetAndFollowTheScope) {
  Policy p(store_);
  EXPECT_EQ(p.GetIntComp(L"Enable"), kNotSet) << "no key at all";
  EXPECT_FALSE(p.Find(L"Enable", kScopeComputer));

  Dword(kComputerPolicyKey, L"Enable", 1);
  Dword(kComputerPolicyKey, L"Zero", 0);
  Text(kComputerPolicyKey, L"Timeout", L"15");  // the number forms are RegKey::GetInt's
  Dword(kUserPolicyKey, L"Enable", 0);
  Text(kUserPolicyKey, L"Name", L"user scope");

  Policy comp(store_), user(store_);
  EXPECT_EQ(comp.GetIntComp(L"Timeout"), 15u);
  EXPECT_EQ(comp.GetIntComp(L"Missing"), kNotSet);
  EXPECT_TRUE(comp.IsOnComp(L"Enable"));
  EXPECT_FALSE(comp.IsOnComp(L"Zero"));
  EXPECT_FALSE(comp.IsOnComp(L"Missing"));
  EXPECT_TRUE(comp.Find(L"Zero", kScopeComputer));
  EXPECT_FALSE(user.IsOnUser(L"Enable"));
  EXPECT_TRUE(user.Find(L"Enable", kScopeUser));
  wchar_t text[32];
  EXPECT_TRUE(user.GetStrUser(text, std::size(text), L"Name"));
  EXPECT_STREQ(text, L"user scope");
  EXPECT_FALSE(user.GetStrUser(text, 5, L"Name")) << "too long for the buffer";
  EXPECT_STREQ(text, L"");
  EXPECT_FALSE(comp.GetStrComp(text, std::size(text), L"Enable")) << "not text";
  EXPECT_STREQ(text, L"");

  // Once a key is open the scope argument no longer chooses: the open key answers.
  EXPECT_EQ(comp.GetInt(L"Enable", kScopeUser), 1u);
  ASSERT_TRUE(comp.OpenRegKey(kScopeUser, false));
  EXPECT_EQ(comp.GetInt(L"Enable", kScopeComputer), 0u);
  ASSERT_TRUE(comp.OpenAltRegKey(L"HKLM\\SOFTWARE\\Policies\\Brellick\\Tarnvale", false));
  EXPECT_EQ(comp.GetIntComp(L"Timeout"), 15u);
}

TEST_F(PolicyTest, WritesGoToTheOpenKeyAndListsAreRewrittenWhole) {
  Policy p(store_);
  ASSERT_TRUE(p.OpenRegKey(kScopeComputer, true));
  ASSERT_TRUE(p.SetInt(5, L"Timeout", kScopeComputer));
  ASSERT_TRUE(p.SetBool(true, L"Enable", kScopeComputer));
  ASSERT_TRUE(p.SetStr(L"hello", L"MessageText", kScopeComputer));
  EXPECT_FALSE(p.FindStrList(L"ApplyTo", kScopeComputer));
  ASSERT_TRUE(p.SetStrList({L"a", L"b", L"c"}, L"ApplyTo", kScopeComputer));
  ASSERT_TRUE(p.SetStrList({L"z"}, L"ApplyTo", kScopeComputer));
  EXPECT_TRUE(p.FindStrList(L"ApplyTo", kScopeComputer));

  Policy r(store_);
  EXPECT_EQ(r.GetIntComp(L"Timeout"), 5u);
  EXPECT_EQ(RegKey(kComputerPolicyKey, false, store_).GetValueType(L"Enable"), reg::kDword);
  wchar_t text[8];
  EXPECT_TRUE(r.GetStrComp(text, std::size(text), L"MessageText") && std::wstring(text) == L"hello");
  StrList list = {L"stale"};
  EXPECT_TRUE(r.GetStrList(list, L"ApplyTo", kScopeComputer));
  EXPECT_EQ(list, (StrList{L"z"})) << "old entries past the new end are gone";
  EXPECT_TRUE(r.GetStrList(list, L"Exclude", kScopeComputer)) << "a missing subkey is an empty list";
  EXPECT_TRUE(list.empty());

  Policy none(store_);
  list = {L"stale"};
  EXPECT_FALSE(none.GetStrList(list, L"ApplyTo", kScopeUser)) << "no policy key at all";
  EXPECT_TRUE(list.empty());

  // A write that fails stops the list there and says so.
  store_.FailOperation(RegOp::kWrite, 2, err::kCantWrite);
  EXPECT_FALSE(p.SetStrList({L"1st", L"2nd", L"3rd"}, L"ApplyTo", kScopeComputer));
  EXPECT_EQ(GetLastErrorCode(), err::kCantWrite);
  EXPECT_TRUE(r.GetStrList(list, L"ApplyTo", kScopeComputer));
  EXPECT_EQ(list, (StrList{L"1st"}));
}

TEST_F(PolicyTest, NumberedListsReportARegistryThatStopsAnswering) {
  const wchar_t* path = L"HKLM\\SOFTWARE\\Policies\\Brellick\\Tarnvale\\L";
  for (const wchar_t* n : {L"1", L"2", L"3"}) Text(path, n, std::wstring(L"entry ") + n);
  RegKey key(path, false, store_);
  StrList list;
  store_.FailOperation(RegOp::kRead, 3, err::kCantRead);
  EXPECT_FALSE(ReadNumberedList(key, list));
  EXPECT_EQ(GetLastErrorCode(), err::kCantRead);
  EXPECT_EQ(list.size(), 1u) << "the entries before the failure are kept";
  EXPECT_TRUE(ReadNumberedList(key, list));
  EXPECT_EQ(list.size(), 3u);
  Raw(path, L"2", reg::kExpandSz, {L'x', 0, 0, 0});  // expandable text counts as text
  EXPECT_TRUE(ReadNumberedList(key, list));
  EXPECT_EQ(list[1], L"x");
}

}  // namespace
}  // namespace tv
