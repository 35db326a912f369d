#include "settings/gp_obj.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <filesystem>
#include <string>

#include "settings/my_opts.h"
#include "settings/record_fixture.h"

namespace tv {
namespace {

constexpr const wchar_t* kPath = L"LDAP://cn={31B2F340-016D-11D2-945F-00C04FB984F9},cn=policies,cn=system,DC=corp";
constexpr const wchar_t* kName = L"{31B2F340-016D-11D2-945F-00C04FB984F9}";
constexpr HResult kNoSuchObject = static_cast<HResult>(0x80072030u);

bool SameGuid(const gpo::Guid& a, const gpo::Guid& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class GpoTest : public test::RecordTest {
 protected:
  GpoTest() { directory_.AddGpo(kPath, kName, L"Default Domain Policy"); }
  // The product's key in the GPO's saved computer section, as group policy would apply it.
  std::wstring Saved(const wchar_t* sub = nullptr) {
    std::wstring path = SimulatedGpoDirectory::SectionPath(kName, gpo::kSectionMachine) + L"\\" + kPolicySubKey;
    if (sub) path += std::wstring(L"\\") + sub;
    return path;
  }
  std::vector<std::wstring> ValueNames(const std::wstring& path) {
    RegKey key(path.c_str(), false, store_);
    std::vector<std::wstring> names;
    std::wstring n;
    for (DWORD i = 0; key.GetValueByIndex(i, &n); ++i) names.push_back(n);
    return names;
  }
};

TEST_F(GpoTest, OpenRefusesWhatIsNotAReachableDirectoryGpoAndReleasesIt) {
  GPObj none(UnavailableGpoFactory());
  EXPECT_FALSE(none.Open(kPath, kScopeComputer, false));
  EXPECT_EQ(none.GetResult(), gpo::kClassNotRegistered);
  EXPECT_FALSE(none.IsOpen());

  GPObj g(directory_);
  EXPECT_FALSE(g.Open(L"LDAP://cn={nowhere}", kScopeComputer, false));
  EXPECT_EQ(g.GetResult(), kNoSuchObject);
  EXPECT_EQ(directory_.LiveObjects(), 0);

  directory_.AddGpo(L"LDAP://local", L"{LOCAL}", L"Local", gpo::Type::kLocal);
  EXPECT_FALSE(g.Open(L"ldap://LOCAL", kScopeComputer, false)) << "a computer's own policy is not edited";

  const HResult kDenied = static_cast<HResult>(0x80070005u);
  for (auto op : {SimulatedGpoDirectory::Op::kCreate, SimulatedGpoDirectory::Op::kOpen,
                  SimulatedGpoDirectory::Op::kGetType, SimulatedGpoDirectory::Op::kGetRegistryKey}) {
    directory_.FailOp(op, kDenied);
    EXPECT_FALSE(g.Open(kPath, kScopeComputer, true)) << static_cast<int>(op);
    EXPECT_EQ(g.GetResult(), kDenied) << static_cast<int>(op);
    EXPECT_EQ(directory_.LiveObjects(), 0) << "a failed step releases everything";
  }

  // Reading a GPO that has never held the product's key is fine: the policy is not configured.
  ASSERT_TRUE(g.Open(kPath, kScopeComputer, false));
  EXPECT_TRUE(g.IsNotConfigured());
  EXPECT_EQ(g.GetInt(L"Enable"), kNotSet);
  EXPECT_FALSE(g.SetInt(1, L"Enable", true));
}

TEST_F(GpoTest, SwitchedOffValuesLiveUnderTheirMarkerNameAndReadBack) {
  GPObj g(directory_);
  ASSERT_TRUE(g.Open(kPath, kScopeComputer, true));
  ASSERT_TRUE(g.SetInt(5, L"Timeout", false));
  EXPECT_FALSE(g.Key().FindValue(L"Timeout"));
  EXPECT_EQ(g.GetInt(L"Timeout"), 5u) << "read from its marker name";
  ASSERT_TRUE(g.SetInt(6, L"Timeout", true));
  EXPECT_FALSE(g.Key().FindValue(L"**del.Timeout"));
  EXPECT_EQ(g.Key().GetInt(L"Timeout", 0), 6u);

  // A number someone typed in as text stays text, in either form.
  ASSERT_TRUE(g.Key().PutStr(L"**del.PercentCPU", L"40"));
  ASSERT_TRUE(g.SetInt(static_cast<DWORD>(-3), L"PercentCPU", false));
  EXPECT_EQ(g.Key().GetValueType(L"**del.PercentCPU"), reg::kSz);
  EXPECT_EQ(g.GetInt(L"PercentCPU"), static_cast<DWORD>(-3));
  ASSERT_TRUE(g.SetInt(50, L"PercentCPU", true));
  EXPECT_EQ(g.Key().GetValueType(L"PercentCPU"), reg::kDword) << "the live name held nothing yet";

  ASSERT_TRUE(g.SetStr(L"text", L"MessageText", false));
  wchar_t text[16];
  ASSERT_TRUE(g.GetStr(text, std::size(text), L"MessageText"));
  EXPECT_STREQ(text, L"text");
  EXPECT_FALSE(g.GetStr(text, std::size(text), L"Nothing"));
  EXPECT_STREQ(text, L"");

  ASSERT_TRUE(g.SetAllNotConfigured(kScopeComputer));
  EXPECT_EQ(g.GetInt(L"Timeout"), kNotSet);
  EXPECT_EQ(g.GetStrSizeChars(L"MessageText"), 0u);
}

TEST_F(GpoTest, ListsKeepTheirEntriesJoinedWhileSwitchedOff) {
  GPObj g(directory_);
  ASSERT_TRUE(g.Open(kPath, kScopeComputer, true));
  StrList list;
  EXPECT_FALSE(g.GetStrList(list, L"ApplyTo")) << "no subkey";

  ASSERT_TRUE(g.SetStrList({L"alpha", L"beta"}, L"ApplyTo", false));
  RegKey sub(g.Key(), L"ApplyTo", false);
  std::wstring joined;
  ASSERT_TRUE(sub.GetStr(L"**delvals.", &joined));
  EXPECT_EQ(joined, L"alpha|beta");
  EXPECT_FALSE(sub.FindValue(L"1"));
  ASSERT_TRUE(g.GetStrList(list, L"ApplyTo"));
  EXPECT_EQ(list, (StrList{L"alpha", L"beta"}));

  ASSERT_TRUE(g.SetStrList({L"alpha", L"beta", L"gamma"}, L"ApplyTo", true));
  ASSERT_TRUE(sub.GetStr(L"**delvals.", &joined));
  EXPECT_EQ(joined, L"") << "tells group policy to drop other values";
  ASSERT_TRUE(g.SetStrList({L"one"}, L"ApplyTo", true));
  ASSERT_TRUE(g.GetStrList(list, L"ApplyTo"));
  EXPECT_EQ(list, (StrList{L"one"})) << "entries past the new end go";

  // The joined form cannot carry a "|" inside an entry; empty parts are dropped.
  ASSERT_TRUE(g.SetStrList({L"a|b", L"", L"c"}, L"Exclude", false));
  ASSERT_TRUE(g.GetStrList(list, L"Exclude"));
  EXPECT_EQ(list, (StrList{L"a", L"b", L"c"}));
}

TEST_F(GpoTest, SaveNamesTheRegistryExtensionAndTheScopesSection) {
  GPObj g(directory_);
  ASSERT_TRUE(g.Open(kPath, kScopeUser, true));
  ASSERT_TRUE(g.SetInt(1, L"Enable", true));
  ASSERT_TRUE(g.Save(kScopeUser));
  ASSERT_EQ(directory_.Saves().size(), 1u);
  const auto save = directory_.Saves()[0];
  EXPECT_TRUE(!save.machine && save.add && SameGuid(save.extension, gpo::kRegistryExtension));
  EXPECT_FALSE(HasKey(Saved().c_str())) << "the user section, not the computer's";

  directory_.FailOp(SimulatedGpoDirectory::Op::kSave, gpo::kFail);
  EXPECT_FALSE(g.Save(kScopeUser));
  EXPECT_EQ(g.GetResult(), gpo::kFail);
}

// ---- the settings record bound to a GPO

class BoundRecordTest : public GpoTest {
 protected:
  struct Bound : MyOpts {
    explicit Bound(BoundRecordTest& t) : MyOpts(t.Services()) { std::wcscpy(gpoPath, kPath); }
  };
  void Fill(MyOpts& o, DWORD state) {
    test::FillAll(o);
    o.policyState = state;
    o.Enable = state == kPolicyEnabled ? 1 : 0;
  }
};

TEST_F(BoundRecordTest, AnEnabledPolicyRoundTripsThroughTheGpoAndItsCache) {
  Dword(test::kAppKey, L"Timeout", 77);  // the local settings are not what a bound record edits
  Bound o(*this);
  Fill(o, kPolicyEnabled);
  ASSERT_TRUE(o.Store());
  EXPECT_EQ(o.gpoResult, 0);
  ASSERT_EQ(directory_.Saves().size(), 1u);
  EXPECT_TRUE(directory_.Saves()[0].machine);
  RegKey saved(Saved().c_str(), false, store_);
  EXPECT_EQ(saved.GetInt(L"Timeout", 0), 33u);
  EXPECT_FALSE(saved.FindValue(L"Options")) << "the flag word is the local computer's";
  EXPECT_EQ(RegKey(test::kAppKey, false, store_).GetInt(L"Timeout", 0), 77u);
  EXPECT_FALSE(HasKey(test::kTempKey));

  // The whole record is cached in the data folder; without one there is no cache.
  GPObj g(directory_);
  ASSERT_TRUE(g.Open(kPath, kScopeComputer, false));
  const std::wstring cache = MyOpts::GetGPOStoragePath(g, kFalse, test::ScratchFolderSource);
  std::wstring expected = scratch_.wstring() + L"\\Tarnvale\\GPOcache\\" + kName;
#ifndef _WIN32
  for (wchar_t& c : expected) c = c == L'\\' ? L'/' : c;
#endif
  EXPECT_EQ(cache, expected);
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(cache)));
  const auto noFolder = [](wchar_t* b, std::size_t) { b[0] = L'\0'; return kFalse; };
  EXPECT_STREQ(MyOpts::GetGPOStoragePath(g, kFalse, noFolder), L"");
  g.Close();

  Bound back(*this);
  back.policyInForce = 1;
  ASSERT_TRUE(back.Load());
  EXPECT_STREQ(back.gpoDisplayName, L"Default Domain Policy");
  EXPECT_EQ(back.policyInForce, 0);
  back.SetAll(o.GetAll());  // the flag word comes from the local key, not the GPO
  EXPECT_EQ(back.IsDifferent(o), 0);
}

TEST_F(BoundRecordTest, NotConfiguredAndDisabledPoliciesComeBackFromTheCache) {
  Bound o(*this);
  Fill(o, kPolicyNotConfigured);
  o.Enable = 1;  // prepared, but the policy is not switched on
  ASSERT_TRUE(o.Store());
  for (const std::wstring& name : ValueNames(Saved())) {
    EXPECT_EQ(name.rfind(L"**del.", 0), 0u) << "only switched-off values in a GPO that is not configured: " << name;
  }
  EXPECT_EQ(ValueNames(Saved(L"ApplyTo")), (std::vector<std::wstring>{L"**delvals."}));

  Bound back(*this);
  ASSERT_TRUE(back.Load());
  back.SetAll(o.GetAll());  // the flag word is the local key's
  EXPECT_EQ(back.IsDifferent(o), 0);

  Fill(o, kPolicyDisabled);
  o.Timeout = 44;
  ASSERT_TRUE(o.Store());
  EXPECT_EQ(RegKey(Saved().c_str(), false, store_).GetInt(L"Enable", 1), 0u) << "a disabled policy is set to 0";
  ASSERT_TRUE(back.Load());
  back.SetAll(o.GetAll());
  EXPECT_EQ(back.IsDifferent(o), 0);

  // Without its cache a GPO that is not configured shows the defaults, switched off.
  std::filesystem::remove_all(scratch_);
  RegKey(Saved().c_str(), true, store_).DelAll();
  ASSERT_TRUE(back.Load());
  MyOpts defaults(Services());
  defaults.Reset();
  defaults.SetAll(back.GetAll());
  EXPECT_EQ(back.IsDifferent(defaults), 0);
}

TEST_F(BoundRecordTest, AGpoThatCannotBeOpenedOrSavedChangesNothing) {
  Bound o(*this);
  Fill(o, kPolicyEnabled);
  std::wcscpy(o.gpoDisplayName, L"old name");
  std::wcscpy(o.gpoPath, L"LDAP://cn={gone}");
  EXPECT_FALSE(o.Load());
  EXPECT_EQ(o.gpoResult, kNoSuchObject);
  EXPECT_STREQ(o.gpoDisplayName, L"");
  EXPECT_EQ(o.Timeout, 10u) << "the defaults of the load's reset stay";
  EXPECT_STREQ(o.gpoPath, L"LDAP://cn={gone}");

  Fill(o, kPolicyEnabled);
  EXPECT_FALSE(o.Store());
  EXPECT_EQ(o.gpoResult, kNoSuchObject);

  std::wcscpy(o.gpoPath, kPath);
  directory_.FailOp(SimulatedGpoDirectory::Op::kSave, gpo::kFail);
  EXPECT_FALSE(o.Store());
  EXPECT_FALSE(HasKey(Saved().c_str()));
  EXPECT_TRUE(directory_.Saves().empty());
}

#ifdef _WIN32
// Wine has no group-policy object: the system's factory must fail cleanly.
TEST(SystemGpo, AMissingGroupPolicyObjectLeavesTheRecordAlone) {
  SimulatedAccounts accounts;
  MemKeyStore store;
  const MyOptsServices services{&store, &accounts, nullptr, nullptr};
  MyOpts o(services), before(services);
  o.Reset();
  before.CopyFrom(o);
  std::wcscpy(o.gpoPath, kPath);
  EXPECT_FALSE(o.Load());
  EXPECT_FALSE(gpo::Succeeded(o.gpoResult));
  EXPECT_EQ(o.IsDifferent(before), 0);
  EXPECT_FALSE(o.Store());
}
#endif

}  // namespace
}  // namespace tv
