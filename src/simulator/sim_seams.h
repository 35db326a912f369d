// The two seams through which the simulator watches the real service act: an event log that hands
// every entry to an observer the moment it is written, and a sessions layer that passes every call
// on to the simulated sessions and tells the observer which session the service is dealing with,
// which warnings it shows and which log-offs it asks for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/accounts.h"
#include "platform/event_log.h"
#include "platform/portable/power.h"
#include "platform/portable/sessions.h"
#include "platform/power.h"
#include "platform/sessions.h"

namespace tv {

class SimObserver {
 public:
  virtual ~SimObserver() = default;
  // An event-log entry, as written.
  virtual void OnEventLogged(DWORD eventId, const std::vector<std::wstring>& strings) = 0;
  // The service asked something of session `id` (the entries it writes next are likely about it).
  virtual void OnSessionTouched(SessionId id) = 0;
  // A warning reached session `id`: through the warning process (`messageBox` false) or as a
  // system message box (`text` is then the text the box shows).
  virtual void OnWarning(SessionId id, bool messageBox, const std::wstring& text) = 0;
  // The service logged session `id` off (the session is gone).
  virtual void OnLoggedOff(SessionId id) = 0;
  // The computer was put to sleep (or hibernated). Called from inside the suspend request, which
  // on a real computer returns only after the wake-up: the observer lets the time pass until then.
  virtual void OnSuspended(bool hibernate) = 0;
  // A shutdown of the computer was started; it goes down a moment later.
  virtual void OnShutdownStarted() = 0;
};

// Forwards to a SimulatedPower and reports the suspends and shutdowns that succeeded.
class ObservingPower final : public Power {
 public:
  ObservingPower(SimObserver& observer, SimulatedPower& inner) : observer_(observer), inner_(inner) {}
  BOOL GetCapabilities(PowerCapabilities& out) override { return inner_.GetCapabilities(out); }
  BOOL SetShutdownPrivilege(bool enable) override { return inner_.SetShutdownPrivilege(enable); }
  BOOL Suspend(bool hibernate) override;
  BOOL StartShutdown(const ShutdownRequest& request) override;
  BOOL AbortShutdown() override { return inner_.AbortShutdown(); }

 private:
  SimObserver& observer_;
  SimulatedPower& inner_;
};

class ObservingEventLog final : public EventLog {
 public:
  explicit ObservingEventLog(SimObserver& observer) : observer_(observer) {}
  BOOL Report(EventType type, DWORD eventId, const std::vector<std::wstring>& strings) override;
  BOOL RegisterSource(const std::wstring& messageFile) override;
  BOOL RemoveSource() override;

 private:
  SimObserver& observer_;
};

// Forwards to the SimulatedSessions set with Attach (which the simulator replaces when the
// simulated computer restarts). Without one every call answers "not available".
class ObservingSessions final : public Sessions {
 public:
  explicit ObservingSessions(SimObserver& observer) : observer_(observer) {}
  void Attach(SimulatedSessions* inner) { inner_ = inner; }

  bool IsAvailable() const override;
  BOOL EnumerateSessions(std::vector<SessionEntry>& out) override;
  BOOL HasActiveSession(bool& any) override;
  BOOL QuerySessionInfo(SessionId id, SessionInfo& out) override;
  BOOL QueryUserName(SessionId id, std::wstring& out) override;
  BOOL QueryDomainName(SessionId id, std::wstring& out) override;
  BOOL QueryConnectState(SessionId id, SessionState& out) override;
  BOOL QueryLockState(SessionId id, bool& locked) override;
  SessionId GetActiveConsoleSessionId() override;
  BOOL QueryUserToken(SessionId id, UserToken& out) override;
  BOOL LogoffSession(SessionId id) override;
  BOOL SendSessionMessage(SessionId id, const std::wstring& caption, const std::wstring& text, DWORD style,
                          DWORD timeoutSeconds, bool wait, DWORD& response) override;
  BOOL StartInSession(SessionId id, const std::wstring& commandLine) override;
  BOOL QueryLogonSid(SessionId id, std::wstring& out) override;
  BOOL QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) override;
  BOOL EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) override;
  BOOL RegisterSessionNotification(void* window) override;
  BOOL UnregisterSessionNotification(void* window) override;
  BOOL RegisterPolicyNotification(void* event) override;
  BOOL UnregisterPolicyNotification(void* event) override;

 private:
  bool Ready() const;
  SimObserver& observer_;
  SimulatedSessions* inner_ = nullptr;
};

// The simulated directory, out of reach while `down()` says so: every look-up that needs a domain
// controller fails as an unreachable one does (RPC server unavailable).
class ReachableAccounts final : public Accounts {
 public:
  ReachableAccounts(Accounts& inner, std::function<bool()> down) : inner_(inner), down_(std::move(down)) {}

  BOOL QueryComputerName(std::wstring& out) override { return inner_.QueryComputerName(out); }
  BOOL FindDomainController(const std::wstring& domain, std::wstring& out) override;
  BOOL GetUserGlobalGroups(const std::wstring& server, const std::wstring& user,
                           std::vector<std::wstring>& out) override;
  BOOL GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) override;
  BOOL GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain = nullptr) override {
    return inner_.GetWellKnownGroupName(group, name, domain);
  }

 private:
  Accounts& inner_;
  std::function<bool()> down_;
};

}  // namespace tv
