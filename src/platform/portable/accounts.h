// Portable simulated accounts: a small directory (computer name, domain controllers, users'
// global and local groups) that tests and the simulator fill, with English well-known group names
// and faults on command. Account and user names are matched case-insensitively, as Windows does.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/accounts.h"
#include "platform/portable/fault_plan.h"

namespace tv {

class SimulatedAccounts final : public Accounts {
 public:
  enum class Op { kComputerName, kFindController, kGlobalGroups, kLocalGroups, kWellKnown };

  SimulatedAccounts();

  void SetMachineName(const std::wstring& name);
  // `domain` answers `controller` ("\\NAME") to FindDomainController; other domains have none.
  void AddDomainController(const std::wstring& domain, const std::wstring& controller);
  // The global groups any server answers for `user` (a user without an entry is unknown).
  void SetGlobalGroups(const std::wstring& user, std::vector<std::wstring> groups);
  // The local groups of `account` ("user" or "DOMAIN\user"; an account without an entry is unknown).
  void SetLocalGroups(const std::wstring& account, std::vector<std::wstring> groups);
  // A localized name for a well-known group (English by default).
  void SetWellKnownGroupName(WellKnownGroup group, const std::wstring& name);
  void FailOp(Op op, ErrorCode error, int times = 1, int skip = 0);

  // The server named in the latest global-group query (to see which controller was asked).
  std::wstring LastGlobalGroupServer() const;

  BOOL QueryComputerName(std::wstring& out) override;
  BOOL FindDomainController(const std::wstring& domain, std::wstring& out) override;
  BOOL GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                           std::vector<std::wstring>& out) override;
  BOOL GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) override;
  BOOL GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain = nullptr) override;

 private:
  static std::wstring Key(const std::wstring& name);

  mutable std::mutex mutex_;
  std::wstring computer_ = L"SIMHOST";
  std::map<std::wstring, std::wstring> controllers_;
  // Hashed: a simulated terminal server has tens of thousands of accounts.
  std::unordered_map<std::wstring, std::vector<std::wstring>> globalGroups_;
  std::unordered_map<std::wstring, std::vector<std::wstring>> localGroups_;
  std::map<WellKnownGroup, std::wstring> wellKnown_;
  std::wstring lastServer_;
  FaultPlan faults_;
};

}  // namespace tv
