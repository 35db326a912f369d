#include <gtest/gtest.h>

#include "platform/portable/accounts.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

// Both implementations answer these in English (a test system runs in English; the real names
// come from the SIDs, not from text in the product).
void ExpectEnglishWellKnownGroups(Accounts& a) {
  const std::pair<WellKnownGroup, const wchar_t*> names[] = {
      {WellKnownGroup::kUsers, L"Users"},
      {WellKnownGroup::kGuests, L"Guests"},
      {WellKnownGroup::kRemoteDesktopUsers, L"Remote Desktop Users"},
      {WellKnownGroup::kAdministrators, L"Administrators"}};
  for (const auto& [group, expected] : names) {
    std::wstring name, domain;
    ASSERT_TRUE(a.GetWellKnownGroupName(group, name, &domain)) << GetLastErrorCode();
    EXPECT_EQ(name + L"@" + domain, std::wstring(expected) + L"@BUILTIN");
  }
}

TEST(SimulatedAccounts, LookupsIgnoreCaseAndUnknownsFailCleanly) {
  SimulatedAccounts a;
  a.AddDomainController(L"CORP", L"\\\\DC1");
  a.SetGlobalGroups(L"Ann", {L"Domain Users", L"Sales"});
  a.SetLocalGroups(L"CORP\\Ann", {L"Remote Desktop Users"});
  std::wstring text;
  std::vector<std::wstring> global, groups;
  ASSERT_TRUE(a.FindDomainController(L"corp", text) && a.GetUserGlobalGroups(text, L"ANN", global) &&
              a.GetUserLocalGroups(L"corp\\ann", groups));
  EXPECT_EQ(global, (std::vector<std::wstring>{L"Domain Users", L"Sales"}));
  EXPECT_EQ(groups, std::vector<std::wstring>{L"Remote Desktop Users"});

  // Unknowns fail with the system's codes and leave the out-parameters as they were.
  text = L"keep";
  EXPECT_EQ(ErrorOf(a.FindDomainController(L"OTHER", text)), err::kDcNotFound);
  EXPECT_EQ(text, L"keep");
  EXPECT_EQ(ErrorOf(a.GetUserLocalGroups(L"ann", groups)), err::kUserNotFound);  // the bare name is another account
  EXPECT_EQ(groups, std::vector<std::wstring>{L"Remote Desktop Users"});

  ExpectEnglishWellKnownGroups(a);
}

#ifdef _WIN32
TEST(Win32Accounts, WellKnownGroupsAndTheCurrentUser) {
  auto a = CreateSystemAccounts();
  ExpectEnglishWellKnownGroups(*a);
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
