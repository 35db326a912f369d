// The terminal-session seam: what the service, its session threads and the agent need of the
// operating system's sessions and processes. The service logic takes a Sessions& so that tests
// and the simulator can run it against SimulatedSessions (platform/portable/sessions.h).
//
// Every operation answers 1 or 0 and leaves the error code in the last-error slot. An operation
// whose system entry point is missing (an old system, a library that lacks it) answers 0 with
// err::kProcNotFound: "not available".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "platform/types.h"
#include "platform/unique_handle.h"

namespace tv {

using SessionId = DWORD;
inline constexpr SessionId kNoSession = 0xFFFFFFFFu;

// A session's connect state, with Windows' WTS_CONNECTSTATE_CLASS values (0 = active).
enum class SessionState : DWORD {
  kActive = 0,
  kConnected = 1,
  kConnectQuery = 2,
  kShadow = 3,
  kDisconnected = 4,
  kIdle = 5,
  kListen = 6,
  kReset = 7,
  kDown = 8,
  kInit = 9,
};

// Session-change notification codes (WTS_SESSION_*), as the service's control handler gets them.
enum class SessionChange : DWORD {
  kConsoleConnect = 1,
  kConsoleDisconnect = 2,
  kRemoteConnect = 3,
  kRemoteDisconnect = 4,
  kLogon = 5,
  kLogoff = 6,
  kLock = 7,
  kUnlock = 8,
  kRemoteControl = 9,
};

// One row of the session list.
struct SessionEntry {
  SessionId id = kNoSession;
  SessionState state = SessionState::kDown;
  std::wstring winStation;
};

// A session's information record. Times are FILETIME values (100 ns since 1601, UTC); 0 when the
// system does not know (never disconnected, nobody logged on).
struct SessionInfo {
  SessionId id = kNoSession;
  SessionState state = SessionState::kDown;
  std::wstring winStation;
  std::wstring domain;
  std::wstring user;
  std::int64_t connectTime = 0;
  std::int64_t disconnectTime = 0;
  std::int64_t lastInputTime = 0;
  std::int64_t logonTime = 0;
  std::int64_t currentTime = 0;
};

// Answers of a session message box beyond the ordinary button ids.
inline constexpr DWORD kMessageTimedOut = 32000;  // IDTIMEOUT: nobody answered in time
inline constexpr DWORD kMessageAsync = 32001;     // IDASYNC: sent without waiting

// A program that must run in a user's session is tried this many times, this far apart: right
// after log-on the user's desktop may not be ready to take a new process yet.
inline constexpr int kStartAttempts = 11;
inline constexpr DWORD kStartRetryDelayMs = 1000;

// How a program is started in a user's session, as the Win32 layer hands it to
// CreateProcessAsUserW; the simulated layer records it, so tests read what a real start asks for.
struct LaunchRequest {
  std::wstring commandLine;
  // The window station and desktop the program's windows go to.
  std::wstring desktop;
  // The user's elevated linked token when the user has one, else a primary copy of the user token.
  bool preferLinkedToken = true;
  bool inheritHandles = false;
  // CreateProcess flags: the priority class, and CREATE_UNICODE_ENVIRONMENT with a built block.
  DWORD creationFlags = 0;
  // The environment block built from the user's token (profile folders, USERNAME, the user's own
  // variables) rather than the starter's, which in the service is local system's.
  bool userEnvironment = false;
};
inline constexpr DWORD kNormalPriorityClass = 0x20;        // NORMAL_PRIORITY_CLASS
inline constexpr DWORD kCreateUnicodeEnvironment = 0x400;  // CREATE_UNICODE_ENVIRONMENT

// The request for `commandLine` in a user's session: the user's own token and environment,
// the interactive window station's desktop "winsta0\\default", normal priority, no handles
// inherited. The window station is named: a desktop name alone is looked for in the starter's
// window station, which for a service is a non-interactive one of session 0 that the user's
// session does not have.
inline LaunchRequest SessionLaunchRequest(const std::wstring& commandLine) {
  LaunchRequest r;
  r.commandLine = commandLine;
  r.desktop = L"winsta0\\default";
  r.creationFlags = kNormalPriorityClass | kCreateUnicodeEnvironment;
  r.userEnvironment = true;
  return r;
}

// A group of a user's logon token, by the names the system gives it ("CORP" and "Sales",
// "BUILTIN" and "Administrators"; an empty domain for "Everyone").
struct TokenGroup {
  std::wstring domain;
  std::wstring name;
  bool operator==(const TokenGroup& o) const { return domain == o.domain && name == o.name; }
};

// Error codes of this seam that the shared list lacks (Windows' values).
namespace err {
inline constexpr ErrorCode kNoToken = 1008;  // ERROR_NO_TOKEN: nobody is logged on to the session
}  // namespace err

// A user's token as the platform hands it out: an opaque handle with the function that closes it.
struct TokenRef {
  void* handle = nullptr;
  void (*close)(void* handle, void* context) = nullptr;
  void* context = nullptr;
  bool operator==(const TokenRef& o) const { return handle == o.handle && context == o.context; }
};
struct TokenRefTraits {
  using Handle = TokenRef;
  static Handle Invalid() { return {}; }
  static bool IsValid(const Handle& h) { return h.handle != nullptr; }
  static void Close(const Handle& h) {
    if (h.close) h.close(h.handle, h.context);
  }
};
using UserToken = UniqueHandle<TokenRefTraits>;

// A process the service started in a session, followed for as long as its starter keeps this.
class SessionProcess {
 public:
  virtual ~SessionProcess() = default;
  // Whether the process still runs. A process whose state cannot be read counts as running:
  // its starter must never conclude from a failed question that a user's agent has gone.
  virtual bool Running() = 0;
  // The exit code once it has ended (259, still active, before).
  virtual DWORD ExitCode() = 0;
};

class Sessions {
 public:
  virtual ~Sessions() = default;

  // False when the terminal-services layer is missing altogether; every operation then answers
  // "not available".
  virtual bool IsAvailable() const = 0;

  // The sessions on this computer with their connect states. `out` is replaced on success.
  virtual BOOL EnumerateSessions(std::vector<SessionEntry>& out) = 0;
  // Whether any session is in the active state, in `any`; fails as EnumerateSessions does. By
  // default the whole list is taken; a layer that holds its sessions may answer at the first.
  virtual BOOL HasActiveSession(bool& any) {
    std::vector<SessionEntry> list;
    if (!EnumerateSessions(list)) return kFalse;
    any = false;
    for (const SessionEntry& e : list) any = any || e.state == SessionState::kActive;
    return kTrue;
  }

  // A session's information record (user, domain, state, times).
  virtual BOOL QuerySessionInfo(SessionId id, SessionInfo& out) = 0;

  // Whether session `id` is locked now. FALSE (err::kNotSupported) when the system cannot say
  // (before Windows 7, or the session's flag reads "unknown").
  virtual BOOL QueryLockState(SessionId id, bool& locked) = 0;

  // Single items of the record, for systems where the whole record cannot be had. A session
  // nobody is logged on to answers an empty user name with success.
  virtual BOOL QueryUserName(SessionId id, std::wstring& out) = 0;
  virtual BOOL QueryDomainName(SessionId id, std::wstring& out) = 0;
  virtual BOOL QueryConnectState(SessionId id, SessionState& out) = 0;

  // The session attached to the physical console, kNoSession while none is (a switch is going on).
  virtual SessionId GetActiveConsoleSessionId() = 0;

  // The primary token of the user logged on to session `id` (only a service may ask).
  virtual BOOL QueryUserToken(SessionId id, UserToken& out) = 0;

  // Asks the system to log session `id` off and returns without waiting for it to happen.
  virtual BOOL LogoffSession(SessionId id) = 0;

  // Shows a system message box in session `id`. `style` holds MB_* flags, `timeoutSeconds` 0
  // waits for ever. Without `wait` the answer is kMessageAsync at once; with it, the button
  // pressed or kMessageTimedOut.
  virtual BOOL SendSessionMessage(SessionId id, const std::wstring& caption, const std::wstring& text,
                                  DWORD style, DWORD timeoutSeconds, bool wait, DWORD& response) = 0;

  // Starts `commandLine` in session `id` as the session's user: the user's elevated linked token
  // when there is one, else a primary copy of the user token; desktop "winsta0\\default", normal priority,
  // no handles inherited. Tries kStartAttempts times, kStartRetryDelayMs apart; answers 0 at once
  // when the user token cannot be had. The new process's handles are closed, not returned.
  virtual BOOL StartInSession(SessionId id, const std::wstring& commandLine) = 0;

  // As StartInSession, but the new process is kept in `started` so that its starter can tell
  // when it ends. The base answers a process that always counts as running, for seams that
  // cannot follow what they start.
  virtual BOOL StartTrackedInSession(SessionId id, const std::wstring& commandLine,
                                     std::unique_ptr<SessionProcess>& started);

  // The logon SID of the user logged on to session `id`, as SDDL text ("S-1-5-5-X-Y"): the one
  // identity that every process of that logon carries and no other session's does, so objects
  // meant for that session alone grant it their rights.
  virtual BOOL QueryLogonSid(SessionId id, std::wstring& out) = 0;

  // The groups in the logon token of the user of session `id`: every group the logon carries,
  // nested and universal ones included, known even when no domain controller answers. Leaves
  // out the logon SID and the integrity label; keeps groups held for deny only, since an
  // administrator's token under UAC holds Administrators that way and he is one all the same.
  // A group the system knows no name for (ERROR_NONE_MAPPED) is left out: no list can name it.
  // Fails when any other group cannot be named, rather than answer an incomplete list. The
  // base answers "not available".
  virtual BOOL QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) {
    (void)id;
    (void)out;
    return Fail(err::kProcNotFound);
  }

  // The image names ("render.exe") of the processes that run in session `id` now, in no
  // particular order; a name more than once when the program runs more than once. The base
  // answers "not available".
  virtual BOOL EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) {
    (void)id;
    (void)out;
    return Fail(err::kProcNotFound);
  }

  // Session-change messages for the caller's own session, sent to `window` (a window handle).
  virtual BOOL RegisterSessionNotification(void* window) = 0;
  virtual BOOL UnregisterSessionNotification(void* window) = 0;

  // Machine group-policy changes, signalled on `event` (an event handle).
  virtual BOOL RegisterPolicyNotification(void* event) = 0;
  virtual BOOL UnregisterPolicyNotification(void* event) = 0;
};

// Reads the lock flag of a session's extended information record (WTSINFOEX level 1's
// SessionFlags: 0 locked, 1 unlocked, -1 unknown) on a system of version `major`.`minor`.
// Windows 7 and Server 2008 R2 (6.1) report the two values the other way round. FALSE for an
// unknown or unexpected flag.
bool LockedFromSessionFlags(long flags, DWORD major, DWORD minor, bool& locked);

// The computer's own sessions: the terminal-services layer on Windows, an empty simulated table
// elsewhere.
std::unique_ptr<Sessions> CreateSystemSessions();

#ifdef _WIN32
struct Win32SessionsOptions {
  // The library the terminal-services entry points are bound from.
  const wchar_t* library = L"wtsapi32.dll";
  // Waits between two start attempts; empty means a real sleep of that many milliseconds.
  std::function<void(DWORD ms)> pause;
};
std::unique_ptr<Sessions> CreateWin32Sessions(Win32SessionsOptions options = {});
#endif

}  // namespace tv
