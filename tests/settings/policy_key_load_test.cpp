// Every policy of the administrative templates, written into the computer policy key the way
// group policy applies it, reaches the settings record (the real registry in the Windows build).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "policy_templates.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"

namespace tv {
namespace {

using admx::Kind;
using admx::Setting;

std::wstring Wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

const std::wstring kPolicyPath = L"HKLM\\" + Wide(admx::kPolicyKey);
const std::vector<std::wstring> kListEntries = {L"CORP\\alice", L"Night Shift", L"bob"};

// A value inside the setting's range and away from its default, so that a value that is not read
// shows. "Enable" stays 0: other tests on this computer must not find monitoring switched on.
DWORD PolicyNumber(const Setting& s) {
  if (std::string(s.valueName) == "Enable") return 0;
  if (s.kind == Kind::kSwitch) return s.defaultValue ? 0 : 1;
  return s.defaultValue == s.max ? s.min : s.max - 1;
}

std::wstring PolicyText(const Setting& s) {
  if (std::string(s.valueName) == "Schedule") return L"Mon 08:00-12:00, Tue 13:30-24:00";
  return Wide(s.valueName) + L" says: %d left.";
}

class PolicyKeyLoad : public ::testing::Test {
 protected:
  void SetUp() override { Remove(); }
  void TearDown() override { Remove(); }
  static void Remove() {
    RegKey parent(L"HKLM\\SOFTWARE\\Policies\\Brellick", false, DefaultKeyStore());
    if (parent.IsOpen()) (void)parent.DelSubKey(L"Tarnvale");
  }
};

TEST_F(PolicyKeyLoad, EveryPolicyAsGroupPolicyWritesItIsLoaded) {
  {
    RegKey policy(kPolicyPath.c_str(), true, DefaultKeyStore());
    ASSERT_TRUE(policy.IsOpen());
    for (const Setting* s : admx::AllSettings()) {
      const std::wstring name = Wide(s->valueName);
      switch (s->kind) {
        case Kind::kSwitch:
        case Kind::kDecimal:
        case Kind::kChoice: ASSERT_TRUE(policy.PutDword(name.c_str(), PolicyNumber(*s))); break;
        case Kind::kText: ASSERT_TRUE(policy.PutStr(name.c_str(), PolicyText(*s).c_str())); break;
        case Kind::kList: {
          RegKey list(policy, name.c_str(), true);
          ASSERT_TRUE(list.IsOpen());
          for (std::size_t i = 0; i < kListEntries.size(); ++i)
            ASSERT_TRUE(list.PutStr(std::to_wstring(i + 1).c_str(), kListEntries[i].c_str()));
          break;
        }
      }
    }
  }

  MyOpts loaded(DefaultKeyStore());
  ASSERT_TRUE(loaded.Load());
  EXPECT_EQ(loaded.policyInForce, 1);

  // The record answers by value name once it is written into a store of its own.
  MemKeyStore mirror;
  MyOpts copy(mirror);
  copy.CopyFrom(loaded);
  ASSERT_TRUE(copy.Store());
  RegKey back(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale", false, mirror);
  for (const Setting* s : admx::AllSettings()) {
    const std::wstring name = Wide(s->valueName);
    if (s->kind == Kind::kList) {
      RegKey list(back, name.c_str(), false);
      std::vector<std::wstring> entries;
      std::wstring entry;
      for (std::size_t i = 1; list.GetStr(std::to_wstring(i).c_str(), &entry); ++i) entries.push_back(entry);
      EXPECT_EQ(entries, kListEntries) << name;
    } else if (s->kind == Kind::kText) {
      std::wstring text;
      EXPECT_TRUE(back.GetStr(name.c_str(), &text));
      EXPECT_EQ(text, PolicyText(*s)) << name;
    } else {
      EXPECT_EQ(back.GetInt(name.c_str(), 0xFFFFFFFF), PolicyNumber(*s)) << name;
    }
  }
}

}  // namespace
}  // namespace tv
