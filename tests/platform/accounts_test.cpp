#include <gtest/gtest.h>

#include "platform/portable/accounts.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

TEST(SimulatedAccounts, DirectoryLookupsIgnoreCaseAndUnknownsFailCleanly) {
  SimulatedAccounts a;
  a.SetMachineName(L"TS01");
  a.AddDomainController(L"CORP", L"\\\\DC1");
  a.SetGlobalGroups(L"Ann", {L"Domain Users", L"Sales"});
  a.SetLocalGroups(L"CORP\\Ann", {L"Remote Desktop Users"});

  std::wstring text;
  ASSERT_TRUE(a.QueryComputerName(text));
  EXPECT_EQ(text, L"TS01");
  ASSERT_TRUE(a.FindDomainController(L"corp", text));
  EXPECT_EQ(text, L"\\\\DC1");

  std::vector<std::wstring> groups;
  ASSERT_TRUE(a.GetUserGlobalGroups(L"\\\\DC1", L"ANN", groups));
  EXPECT_EQ(groups, (std::vector<std::wstring>{L"Domain Users", L"Sales"}));
  EXPECT_EQ(a.LastGlobalGroupServer(), L"\\\\DC1");
  ASSERT_TRUE(a.GetUserLocalGroups(L"corp\\ann", groups));
  EXPECT_EQ(groups, std::vector<std::wstring>{L"Remote Desktop Users"});

  // Unknowns fail with the system's codes and leave the out-parameters as they were.
  text = L"keep";
  EXPECT_FALSE(a.FindDomainController(L"OTHER", text));
  EXPECT_EQ(GetLastErrorCode(), err::kDcNotFound);
  EXPECT_EQ(text, L"keep");
  EXPECT_FALSE(a.GetUserLocalGroups(L"ann", groups));  // the bare name is another account
  EXPECT_EQ(GetLastErrorCode(), err::kUserNotFound);
  EXPECT_EQ(groups, std::vector<std::wstring>{L"Remote Desktop Users"});
}

TEST(SimulatedAccounts, WellKnownNamesAreEnglishUnlessLocalizedAndFaultsAreCounted) {
  SimulatedAccounts a;
  const std::pair<WellKnownGroup, const wchar_t*> names[] = {
      {WellKnownGroup::kUsers, L"Users"},
      {WellKnownGroup::kGuests, L"Guests"},
      {WellKnownGroup::kRemoteDesktopUsers, L"Remote Desktop Users"},
      {WellKnownGroup::kAdministrators, L"Administrators"}};
  for (const auto& [group, expected] : names) {
    std::wstring name, domain;
    ASSERT_TRUE(a.GetWellKnownGroupName(group, name, &domain));
    EXPECT_EQ(name, expected);
    EXPECT_EQ(domain, L"BUILTIN");
  }
  a.SetWellKnownGroupName(WellKnownGroup::kUsers, L"Benutzer");
  std::wstring name;
  ASSERT_TRUE(a.GetWellKnownGroupName(WellKnownGroup::kUsers, name));
  EXPECT_EQ(name, L"Benutzer");

  a.SetGlobalGroups(L"ann", {L"G"});
  std::vector<std::wstring> groups;
  a.FailOp(SimulatedAccounts::Op::kGlobalGroups, err::kNoLogonServers, 2, 1);
  EXPECT_TRUE(a.GetUserGlobalGroups(L"", L"ann", groups));
  EXPECT_FALSE(a.GetUserGlobalGroups(L"", L"ann", groups));
  EXPECT_EQ(GetLastErrorCode(), err::kNoLogonServers);
  EXPECT_FALSE(a.GetUserGlobalGroups(L"", L"ann", groups));
  EXPECT_TRUE(a.GetUserGlobalGroups(L"", L"ann", groups));
}

#ifdef _WIN32
TEST(Win32Accounts, WellKnownGroupsAndTheCurrentUser) {
  auto a = CreateSystemAccounts();
  // A test system runs in English; the names come from the SIDs, not from text in the product.
  const std::pair<WellKnownGroup, const wchar_t*> names[] = {
      {WellKnownGroup::kUsers, L"Users"},
      {WellKnownGroup::kGuests, L"Guests"},
      {WellKnownGroup::kRemoteDesktopUsers, L"Remote Desktop Users"},
      {WellKnownGroup::kAdministrators, L"Administrators"}};
  for (const auto& [group, expected] : names) {
    std::wstring name, domain;
    ASSERT_TRUE(a->GetWellKnownGroupName(group, name, &domain)) << GetLastErrorCode();
    EXPECT_EQ(name, expected);
    EXPECT_EQ(domain, L"BUILTIN");
  }

  std::wstring computer;
  ASSERT_TRUE(a->QueryComputerName(computer));
  wchar_t expected[MAX_COMPUTERNAME_LENGTH + 1];
  ::DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameW(expected, &size));
  EXPECT_EQ(computer, expected);

  wchar_t user[256];
  ::DWORD userSize = 256;
  ASSERT_TRUE(::GetUserNameW(user, &userSize));
  std::vector<std::wstring> groups;
  ASSERT_TRUE(a->GetUserLocalGroups(user, groups)) << GetLastErrorCode();
  EXPECT_FALSE(groups.empty());

  // No controller answers for a domain that does not exist; the error must say why.
  std::wstring dc = L"keep";
  EXPECT_FALSE(a->FindDomainController(L"TV-NO-SUCH-DOMAIN", dc));
  EXPECT_NE(GetLastErrorCode(), 0u);
  EXPECT_EQ(dc, L"keep");
}
#endif

}  // namespace
}  // namespace tv
