// The accounts seam: what the membership test needs to know about accounts and groups (the
// computer's name, a domain controller, a user's global and local groups) and the localized
// names of the well-known groups the settings offer. SimulatedAccounts
// (platform/portable/accounts.h) stands in for it in tests and the simulator.
//
// Operations answer 1 or 0 with the error code in the last-error slot; network-API status codes
// are stored there too, so callers read every failure one way.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "platform/types.h"

namespace tv {

// Groups that exist on every computer under a name that depends on its language.
enum class WellKnownGroup { kUsers, kGuests, kRemoteDesktopUsers, kAdministrators };

namespace err {
inline constexpr ErrorCode kNoLogonServers = 1311;  // ERROR_NO_LOGON_SERVERS
inline constexpr ErrorCode kUserNotFound = 2221;    // NERR_UserNotFound
inline constexpr ErrorCode kDcNotFound = 2453;      // NERR_DCNotFound
}  // namespace err

class Accounts {
 public:
  virtual ~Accounts() = default;

  // This computer's NetBIOS name.
  virtual BOOL QueryComputerName(std::wstring& out) = 0;

  // A domain controller of `domain`, as "\\NAME" (ready to pass as a server name).
  virtual BOOL FindDomainController(const std::wstring& domain, std::wstring& out) = 0;

  // The global groups of `user` as `server` (a controller, or empty for this computer) knows them.
  // `out` is replaced on success.
  virtual BOOL GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                                   std::vector<std::wstring>& out) = 0;

  // The local groups of `account` ("user" or "DOMAIN\user") on this computer, memberships through
  // other groups included. `out` is replaced on success.
  virtual BOOL GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) = 0;

  // The name this computer gives `group`; `domain` (optional) receives its authority ("BUILTIN").
  virtual BOOL GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain = nullptr) = 0;
};

// The computer's own accounts on Windows; a simulated directory elsewhere.
std::unique_ptr<Accounts> CreateSystemAccounts();

}  // namespace tv
