#include "simulator/sim_seams.h"

#include "platform/last_error.h"

namespace tv {

BOOL ObservingEventLog::Report(EventType, DWORD eventId, const std::vector<std::wstring>& strings) {
  observer_.OnEventLogged(eventId, strings);
  return kTrue;
}

BOOL ObservingEventLog::RegisterSource(const std::wstring&) { return kTrue; }
BOOL ObservingEventLog::RemoveSource() { return kTrue; }

BOOL ObservingPower::Suspend(bool hibernate) {
  if (!inner_.Suspend(hibernate)) return kFalse;
  PreserveLastError keep;
  observer_.OnSuspended(hibernate);
  return kTrue;
}

BOOL ObservingPower::StartShutdown(const ShutdownRequest& request) {
  if (!inner_.StartShutdown(request)) return kFalse;
  PreserveLastError keep;
  observer_.OnShutdownStarted();
  return kTrue;
}

bool ObservingSessions::Ready() const {
  if (inner_) return true;
  SetLastErrorCode(err::kProcNotFound);
  return false;
}

bool ObservingSessions::IsAvailable() const { return inner_ && inner_->IsAvailable(); }

BOOL ObservingSessions::EnumerateSessions(std::vector<SessionEntry>& out) {
  return Ready() ? inner_->EnumerateSessions(out) : kFalse;
}

BOOL ObservingSessions::HasActiveSession(bool& any) { return Ready() ? inner_->HasActiveSession(any) : kFalse; }

BOOL ObservingSessions::QuerySessionInfo(SessionId id, SessionInfo& out) {
  observer_.OnSessionTouched(id);
  return Ready() ? inner_->QuerySessionInfo(id, out) : kFalse;
}

BOOL ObservingSessions::QueryUserName(SessionId id, std::wstring& out) {
  observer_.OnSessionTouched(id);
  return Ready() ? inner_->QueryUserName(id, out) : kFalse;
}

BOOL ObservingSessions::QueryDomainName(SessionId id, std::wstring& out) {
  observer_.OnSessionTouched(id);
  return Ready() ? inner_->QueryDomainName(id, out) : kFalse;
}

BOOL ObservingSessions::QueryConnectState(SessionId id, SessionState& out) {
  observer_.OnSessionTouched(id);
  return Ready() ? inner_->QueryConnectState(id, out) : kFalse;
}

SessionId ObservingSessions::GetActiveConsoleSessionId() {
  return inner_ ? inner_->GetActiveConsoleSessionId() : kNoSession;
}

BOOL ObservingSessions::QueryUserToken(SessionId id, UserToken& out) {
  return Ready() ? inner_->QueryUserToken(id, out) : kFalse;
}

BOOL ObservingSessions::LogoffSession(SessionId id) {
  observer_.OnSessionTouched(id);
  if (!Ready()) return kFalse;
  const BOOL ok = inner_->LogoffSession(id);
  if (ok) {
    PreserveLastError keep;
    observer_.OnLoggedOff(id);
  }
  return ok;
}

BOOL ObservingSessions::SendSessionMessage(SessionId id, const std::wstring& caption, const std::wstring& text,
                                           DWORD style, DWORD timeoutSeconds, bool wait, DWORD& response) {
  observer_.OnSessionTouched(id);
  if (!Ready()) return kFalse;
  const BOOL ok = inner_->SendSessionMessage(id, caption, text, style, timeoutSeconds, wait, response);
  if (ok) {
    PreserveLastError keep;
    observer_.OnWarning(id, true, text);
  }
  return ok;
}

BOOL ObservingSessions::StartInSession(SessionId id, const std::wstring& commandLine) {
  observer_.OnSessionTouched(id);
  if (!Ready()) return kFalse;
  const BOOL ok = inner_->StartInSession(id, commandLine);
  // The warning process is the launcher with "/msg"; the agent ("/monitor") is not news.
  if (ok && commandLine.find(L" /msg:") != std::wstring::npos) {
    PreserveLastError keep;
    observer_.OnWarning(id, false, std::wstring());
  }
  return ok;
}

BOOL ObservingSessions::QueryLockState(SessionId id, bool& locked) {
  return Ready() ? inner_->QueryLockState(id, locked) : kFalse;
}

BOOL ObservingSessions::QueryLogonSid(SessionId id, std::wstring& out) {
  return Ready() ? inner_->QueryLogonSid(id, out) : kFalse;
}

BOOL ObservingSessions::QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) {
  return Ready() ? inner_->QueryTokenGroups(id, out) : kFalse;
}

BOOL ObservingSessions::EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) {
  return Ready() ? inner_->EnumerateSessionProcesses(id, out) : kFalse;
}

namespace {
constexpr ErrorCode kRpcServerUnavailable = 1722;
}  // namespace

BOOL ReachableAccounts::FindDomainController(const std::wstring& domain, std::wstring& out) {
  if (down_()) return Fail(kRpcServerUnavailable);
  return inner_.FindDomainController(domain, out);
}

BOOL ReachableAccounts::GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                                            std::vector<std::wstring>& out) {
  if (down_()) return Fail(kRpcServerUnavailable);
  return inner_.GetUserGlobalGroups(server, user, out);
}

BOOL ReachableAccounts::GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) {
  // A domain account's local groups are resolved through the domain as well.
  if (account.find(L'\\') != std::wstring::npos && down_()) return Fail(kRpcServerUnavailable);
  return inner_.GetUserLocalGroups(account, out);
}

BOOL ObservingSessions::RegisterSessionNotification(void* window) {
  return Ready() ? inner_->RegisterSessionNotification(window) : kFalse;
}

BOOL ObservingSessions::UnregisterSessionNotification(void* window) {
  return Ready() ? inner_->UnregisterSessionNotification(window) : kFalse;
}

BOOL ObservingSessions::RegisterPolicyNotification(void* event) {
  return Ready() ? inner_->RegisterPolicyNotification(event) : kFalse;
}

BOOL ObservingSessions::UnregisterPolicyNotification(void* event) {
  return Ready() ? inner_->UnregisterPolicyNotification(event) : kFalse;
}

}  // namespace tv
