// Portable simulated accounts (both toolchains): an in-memory directory of users and groups.
#include "platform/portable/accounts.h"

#include <cwctype>

namespace tv {

SimulatedAccounts::SimulatedAccounts() {
  wellKnown_[WellKnownGroup::kUsers] = L"Users";
  wellKnown_[WellKnownGroup::kGuests] = L"Guests";
  wellKnown_[WellKnownGroup::kRemoteDesktopUsers] = L"Remote Desktop Users";
  wellKnown_[WellKnownGroup::kAdministrators] = L"Administrators";
}

std::wstring SimulatedAccounts::Key(const std::wstring& name) {
  std::wstring key = name;
  for (wchar_t& c : key) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
  return key;
}

void SimulatedAccounts::SetMachineName(const std::wstring& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  computer_ = name;
}

void SimulatedAccounts::AddDomainController(const std::wstring& domain, const std::wstring& controller) {
  std::lock_guard<std::mutex> lock(mutex_);
  controllers_[Key(domain)] = controller;
}

void SimulatedAccounts::SetGlobalGroups(const std::wstring& user, std::vector<std::wstring> groups) {
  std::lock_guard<std::mutex> lock(mutex_);
  globalGroups_[Key(user)] = std::move(groups);
}

void SimulatedAccounts::SetLocalGroups(const std::wstring& account, std::vector<std::wstring> groups) {
  std::lock_guard<std::mutex> lock(mutex_);
  localGroups_[Key(account)] = std::move(groups);
}

void SimulatedAccounts::SetWellKnownGroupName(WellKnownGroup group, const std::wstring& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  wellKnown_[group] = name;
}

void SimulatedAccounts::FailOp(Op op, ErrorCode error, int times, int skip) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), error, times, skip);
}

std::wstring SimulatedAccounts::LastGlobalGroupServer() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lastServer_;
}

BOOL SimulatedAccounts::QueryComputerName(std::wstring& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kComputerName))) return Fail(e);
  out = computer_;
  return kTrue;
}

BOOL SimulatedAccounts::FindDomainController(const std::wstring& domain, std::wstring& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kFindController))) return Fail(e);
  auto it = controllers_.find(Key(domain));
  if (it == controllers_.end()) return Fail(err::kDcNotFound);
  out = it->second;
  return kTrue;
}

BOOL SimulatedAccounts::GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                                            std::vector<std::wstring>& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  lastServer_ = server;
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kGlobalGroups))) return Fail(e);
  auto it = globalGroups_.find(Key(user));
  if (it == globalGroups_.end()) return Fail(err::kUserNotFound);
  out = it->second;
  return kTrue;
}

BOOL SimulatedAccounts::GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kLocalGroups))) return Fail(e);
  auto it = localGroups_.find(Key(account));
  if (it == localGroups_.end()) return Fail(err::kUserNotFound);
  out = it->second;
  return kTrue;
}

BOOL SimulatedAccounts::GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kWellKnown))) return Fail(e);
  auto it = wellKnown_.find(group);
  if (it == wellKnown_.end()) return Fail(err::kNoneMapped);
  name = it->second;
  if (domain) *domain = L"BUILTIN";
  return kTrue;
}

#ifndef _WIN32
std::unique_ptr<Accounts> CreateSystemAccounts() { return std::make_unique<SimulatedAccounts>(); }
#endif

}  // namespace tv
