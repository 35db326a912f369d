// Portable simulated terminal sessions: a table of sessions that a test or the simulator drives
// (log on, lock, disconnect, ...) and that records what the product asked of it (log-offs,
// message boxes, processes started), with faults on command. Safe to use from several threads.
// A session that is not in the table fails with err::kFileNotFound; one nobody is logged on to
// has no user token (err::kNoToken).
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/portable/fault_plan.h"
#include "platform/sessions.h"

namespace tv {

class SimulatedSessions final : public Sessions {
 public:
  // The operations a fault can be injected into.
  enum class Op {
    kEnumerate,
    kQueryInfo,
    kQueryUser,
    kQueryDomain,
    kQueryState,
    kQueryLock,
    kQueryToken,
    kLogoff,
    kSendMessage,
    kStartAttempt,  // one attempt of StartInSession; a start fails only when all attempts fail
    kRegisterNotification,
    kQueryGroups,
    kEnumProcesses,
  };

  struct LoggedOff {
    SessionId id;
    std::wstring domain;
    std::wstring user;
  };
  struct MessageShown {
    SessionId id;
    std::wstring caption;
    std::wstring text;
    DWORD style;
    DWORD timeoutSeconds;
    bool wait;
  };
  struct ProcessStart {
    SessionId id;
    std::wstring commandLine;
    int attempts;  // attempts made; the pause between two of them is kStartRetryDelayMs
    bool started;
    int process = -1;  // the simulated process, for EndProcess; -1 when none was made
    LaunchRequest request;  // what a real start would have asked of the system
  };
  struct Notification {
    SessionChange change;
    SessionId id;
  };

  SimulatedSessions() = default;

  // --- Driving the table ---------------------------------------------------------------------

  // A new session `id` (replacing any with that id). A non-empty `user` counts as a log-on and
  // queues kLogon. The console session's station is "Console", the others "RDP-Tcp#<id>".
  void AddSession(SessionId id, const std::wstring& domain, const std::wstring& user,
                  SessionState state = SessionState::kActive);
  // The session ends without the product's doing (the user logged off himself): queues kLogoff.
  void EndSession(SessionId id);
  // A user logs on to an existing session (a logon screen until now): queues kLogon.
  void LogOn(SessionId id, const std::wstring& domain, const std::wstring& user);
  // The client goes away (state kDisconnected) or comes back (kActive); queues the console or
  // remote variant of the change, by the session's station.
  void Disconnect(SessionId id);
  void Reconnect(SessionId id);
  // Simulated process `process` (ProcessStart::process) ends with `exitCode`, as when the user
  // kills it or it crashes. Processes also end with their session (EndSession, a log-off).
  void EndProcess(int process, DWORD exitCode = 1);
  // Session `id`'s logon SID is `sid` from now on, whatever its log-ons (a test that must open
  // the session's objects under Windows' access checks gives one its own token holds).
  void SetLogonSid(SessionId id, const std::wstring& sid);
  // The groups in the logon token of `domain`\`user`, in every session that user logs on to.
  // Until a test gives them, QueryTokenGroups fails with err::kNotFound, as when the token
  // cannot be read.
  void SetTokenGroups(const std::wstring& domain, const std::wstring& user, std::vector<TokenGroup> groups);
  // Program `image` ("render.exe") starts in session `id` as its user would start it; answers the
  // simulated process, for EndProcess. It ends with its session, as every process does.
  int RunProgram(SessionId id, const std::wstring& image);
  // Whether simulated process `process` runs.
  bool ProcessRunning(int process) const;
  // Sets the state without any notification.
  void SetState(SessionId id, SessionState state);
  void Lock(SessionId id);    // queues kLock
  void Unlock(SessionId id);  // queues kUnlock
  void SetConsoleSession(SessionId id);
  // While false, every operation answers "not available", as without the terminal services.
  void SetAvailable(bool available);
  // The answer of a message box sent with `wait` (default kMessageTimedOut).
  void SetMessageResponse(DWORD response);
  // Whether a log-off removes the session at once (default) or leaves it for EndSession.
  void SetLogoffRemovesSession(bool removes);
  // Whether the table keeps its records (log-offs, messages, process starts, ended processes) for
  // the readers below (default). A week of tens of thousands of simulated users, which nobody
  // reads back that way, would otherwise keep every one of them.
  void SetKeepRecords(bool keep);
  // Stamps the session times (FILETIME units); without it they stay 0.
  void SetTimeSource(std::function<std::int64_t()> now);

  // Calls of `op` (for session `id`, or any) fail with `error`: `skip` calls pass first, then
  // `times` calls fail (kFailAlways: from then on).
  void FailOp(Op op, ErrorCode error, int times = 1, int skip = 0, SessionId id = kAnySubject);
  void ClearFaults();

  // --- Reading what happened -----------------------------------------------------------------

  bool HasSession(SessionId id) const;
  bool IsLocked(SessionId id) const;
  size_t SessionCount() const;
  std::vector<LoggedOff> LoggedOffSessions() const;
  std::vector<MessageShown> MessagesShown() const;
  std::vector<ProcessStart> ProcessStarts() const;
  // The session-change notifications queued since the last call, oldest first.
  std::vector<Notification> TakeNotifications();
  // How often a session's process list was asked for.
  int ProcessListings() const { return listings_.load(); }
  // User tokens handed out and not closed yet (a leak shows here).
  int OpenTokens() const;
  std::vector<void*> NotificationWindows() const;
  std::vector<void*> PolicyEvents() const;
  void ClearRecords();

  // --- Sessions ------------------------------------------------------------------------------

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
  BOOL StartTrackedInSession(SessionId id, const std::wstring& commandLine,
                             std::unique_ptr<SessionProcess>& started) override;
  // "S-1-5-5-0-<n>", a number new with every log-on (AddSession with a user, LogOn).
  BOOL QueryLogonSid(SessionId id, std::wstring& out) override;
  BOOL QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) override;
  // The running processes of the session: what was started in it (named by the command line's
  // program) and what RunProgram started.
  BOOL EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) override;
  BOOL RegisterSessionNotification(void* window) override;
  BOOL UnregisterSessionNotification(void* window) override;
  BOOL RegisterPolicyNotification(void* event) override;
  BOOL UnregisterPolicyNotification(void* event) override;

 private:
  struct Session {
    SessionInfo info;
    bool locked = false;
    unsigned logon = 0;
  };
  // What a simulated process shares with the SessionProcess its starter holds.
  struct ProcessState {
    SessionId session;
    std::wstring image;
    std::atomic<bool> running{true};
    std::atomic<DWORD> exitCode{259};
  };
  class SimProcess;

  BOOL StartLocked(SessionId id, const std::wstring& commandLine, std::shared_ptr<ProcessState>* process);
  void EndProcessesOfLocked(SessionId id);

  Session* Find(SessionId id);
  const Session* Find(SessionId id) const;
  std::int64_t Now() const { return now_ ? now_() : 0; }
  bool IsConsole(const Session& s) const;
  // The common entry checks of a query: availability, injected fault, existing session.
  BOOL Enter(Op op, SessionId id, Session*& session);
  BOOL TokenLocked(SessionId id, UserToken& out);
  static void CloseToken(void* handle, void* context);

  mutable std::mutex mutex_;
  std::map<SessionId, Session> sessions_;
  SessionId console_ = kNoSession;
  bool available_ = true;
  bool logoffRemoves_ = true;
  bool keepRecords_ = true;
  DWORD messageResponse_ = kMessageTimedOut;
  std::function<std::int64_t()> now_;
  FaultPlan faults_;
  std::vector<LoggedOff> loggedOff_;
  std::vector<MessageShown> messages_;
  std::vector<ProcessStart> starts_;
  std::vector<Notification> notifications_;
  std::vector<void*> windows_;
  std::vector<void*> policyEvents_;
  std::atomic<int> openTokens_{0};
  std::atomic<int> listings_{0};
  std::uintptr_t nextToken_ = 1;
  unsigned nextLogon_ = 1000;
  std::vector<std::shared_ptr<ProcessState>> processes_;  // null: ended, and records not kept
  // Indices into processes_ by session, of those not yet ended with their session: a session's
  // end or process list then costs what that session started, not what the computer ever ran.
  std::map<SessionId, std::vector<std::size_t>> processesOf_;
  std::map<SessionId, std::wstring> logonSids_;
  std::unordered_map<std::wstring, std::vector<TokenGroup>> tokenGroups_;  // by lower-case "domain\user"
};

}  // namespace tv
