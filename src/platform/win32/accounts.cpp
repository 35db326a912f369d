// Win32 implementation of the accounts seam over the network-management API and account SIDs.
#include "platform/win32/windows_include.h"

#include <lm.h>

#include "platform/accounts.h"
#include "platform/win32/handles.h"

namespace tv {

void NetApiBufferTraits::Close(void* h) { ::NetApiBufferFree(h); }

namespace {

BOOL FromStatus(NET_API_STATUS status) {
  if (status == NERR_Success) return kTrue;
  return Fail(status);
}

const wchar_t* ServerOrNull(const std::wstring& server) { return server.empty() ? nullptr : server.c_str(); }

// The group names of a NetUserGet*Groups answer (`read` rows of `Row` in `buffer`, which this
// frees) into `out`, replacing it; the status as an error when the call failed.
template <typename Row>
BOOL TakeNames(NET_API_STATUS status, LPBYTE buffer, ::DWORD read, LPWSTR Row::*name,
               std::vector<std::wstring>& out) {
  UniqueNetApiBuffer keep(buffer);
  if (status != NERR_Success) return FromStatus(status);
  std::vector<std::wstring> names;
  const auto* rows = reinterpret_cast<const Row*>(buffer);
  for (::DWORD i = 0; i < read && rows; ++i)
    if (rows[i].*name) names.emplace_back(rows[i].*name);
  out.swap(names);
  return kTrue;
}

WELL_KNOWN_SID_TYPE SidType(WellKnownGroup group) {
  switch (group) {
    case WellKnownGroup::kUsers: return WinBuiltinUsersSid;
    case WellKnownGroup::kGuests: return WinBuiltinGuestsSid;
    case WellKnownGroup::kRemoteDesktopUsers: return WinBuiltinRemoteDesktopUsersSid;
    case WellKnownGroup::kAdministrators: return WinBuiltinAdministratorsSid;
  }
  return WinBuiltinUsersSid;
}

class Win32Accounts final : public Accounts {
 public:
  BOOL QueryComputerName(std::wstring& out) override {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    ::DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    if (!::GetComputerNameW(name, &size)) return Fail(LastErrorOr(err::kGenFailure));
    out.assign(name, size);
    return kTrue;
  }

  BOOL FindDomainController(const std::wstring& domain, std::wstring& out) override {
    LPBYTE buffer = nullptr;
    // Any controller will do; the primary one answers only for the computer's own domain.
    NET_API_STATUS status = ::NetGetAnyDCName(nullptr, domain.c_str(), &buffer);
    if (status != NERR_Success) {
      if (buffer) ::NetApiBufferFree(buffer);
      buffer = nullptr;
      status = ::NetGetDCName(nullptr, domain.c_str(), &buffer);
    }
    UniqueNetApiBuffer keep(buffer);
    if (status != NERR_Success) return FromStatus(status);
    if (!buffer) return Fail(err::kDcNotFound);
    out = reinterpret_cast<const wchar_t*>(buffer);
    return kTrue;
  }

  BOOL GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                           std::vector<std::wstring>& out) override {
    LPBYTE buffer = nullptr;
    ::DWORD read = 0, total = 0;
    NET_API_STATUS status =
        ::NetUserGetGroups(ServerOrNull(server), user.c_str(), 0, &buffer, MAX_PREFERRED_LENGTH, &read, &total);
    return TakeNames(status, buffer, read, &GROUP_USERS_INFO_0::grui0_name, out);
  }

  BOOL GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) override {
    LPBYTE buffer = nullptr;
    ::DWORD read = 0, total = 0;
    NET_API_STATUS status = ::NetUserGetLocalGroups(nullptr, account.c_str(), 0, LG_INCLUDE_INDIRECT, &buffer,
                                                    MAX_PREFERRED_LENGTH, &read, &total);
    return TakeNames(status, buffer, read, &LOCALGROUP_USERS_INFO_0::lgrui0_name, out);
  }

  BOOL GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain) override {
    BYTE sid[SECURITY_MAX_SID_SIZE];
    ::DWORD sidSize = sizeof(sid);
    if (!::CreateWellKnownSid(SidType(group), nullptr, sid, &sidSize)) return Fail(LastErrorOr(err::kGenFailure));
    wchar_t account[256] = {};
    wchar_t authority[256] = {};
    ::DWORD accountSize = 256, authoritySize = 256;
    SID_NAME_USE use;
    if (!::LookupAccountSidW(nullptr, sid, account, &accountSize, authority, &authoritySize, &use))
      return Fail(LastErrorOr(err::kNoneMapped));
    name = account;
    if (domain) *domain = authority;
    return kTrue;
  }
};

}  // namespace

std::unique_ptr<Accounts> CreateSystemAccounts() { return std::make_unique<Win32Accounts>(); }

}  // namespace tv
