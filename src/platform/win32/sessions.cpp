// Win32 implementation of the terminal-session seam over WTSAPI32, bound by name at construction.
#include "platform/win32/windows_include.h"

#include <sddl.h>
#include <wtsapi32.h>
#include <userenv.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "platform/sessions.h"
#include "platform/win32/bound_library.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

using EnumerateSessionsFn = BOOL(WINAPI*)(HANDLE, ::DWORD, ::DWORD, PWTS_SESSION_INFOW*, ::DWORD*);
using QuerySessionInformationFn = BOOL(WINAPI*)(HANDLE, ::DWORD, WTS_INFO_CLASS, LPWSTR*, ::DWORD*);
using FreeMemoryFn = void(WINAPI*)(PVOID);
using LogoffSessionFn = BOOL(WINAPI*)(HANDLE, ::DWORD, BOOL);
using QueryUserTokenFn = BOOL(WINAPI*)(ULONG, PHANDLE);
using SendMessageFn = BOOL(WINAPI*)(HANDLE, ::DWORD, LPWSTR, ::DWORD, LPWSTR, ::DWORD, ::DWORD, ::DWORD, ::DWORD*, BOOL);
using RegisterNotificationFn = BOOL(WINAPI*)(HWND, ::DWORD);
using UnregisterNotificationFn = BOOL(WINAPI*)(HWND);
using ActiveConsoleSessionFn = ::DWORD(WINAPI*)();
using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOW*);
using EnumerateProcessesFn = BOOL(WINAPI*)(HANDLE, ::DWORD, ::DWORD, PWTS_PROCESS_INFOW*, ::DWORD*);
// WTSEnumerateProcessesExW and the freeing call its lists need, which this compiler's headers
// lack: level 0 rows are WTS_PROCESS_INFOW, freed by type 0 (WTSTypeProcessInfoLevel0).
using EnumerateProcessesExFn = BOOL(WINAPI*)(HANDLE, ::DWORD*, ::DWORD, LPWSTR*, ::DWORD*);
using FreeMemoryExFn = BOOL(WINAPI*)(int, PVOID, ULONG);
using ProcessIdToSessionIdFn = BOOL(WINAPI*)(::DWORD, ::DWORD*);

// WTSSessionInfoEx and the head of its level-1 record, which this compiler's headers lack:
// Level, then (at the union's 8-byte alignment, for the record's LARGE_INTEGER times)
// SessionId, SessionState and SessionFlags.
constexpr int kWtsSessionInfoEx = 25;
struct SessionInfoExHead {
  ::DWORD level;
  struct alignas(8) Level1 {
    ULONG sessionId;
    ::DWORD sessionState;
    LONG sessionFlags;
  } data;
};
static_assert(offsetof(SessionInfoExHead, data) == 8, "WTSINFOEXW keeps its record 8-aligned");

void CloseKernelToken(void* handle, void*) { ::CloseHandle(static_cast<HANDLE>(handle)); }

// The environment block CreateEnvironmentBlock builds for a user.
struct EnvironmentBlockTraits {
  using Handle = void*;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr; }
  static void Close(Handle h) { ::DestroyEnvironmentBlock(h); }
};
using UniqueEnvironmentBlock = UniqueHandle<EnvironmentBlockTraits>;

// The TOKEN_GROUPS of `token`, in `buffer`.
BOOL ReadTokenGroups(HANDLE token, std::vector<unsigned char>& buffer) {
  ::DWORD size = 0;
  (void)::GetTokenInformation(token, TokenGroups, nullptr, 0, &size);
  if (size == 0) return Fail(LastErrorOr(err::kGenFailure));
  buffer.assign(size, 0);
  if (!::GetTokenInformation(token, TokenGroups, buffer.data(), size, &size)) return Fail(LastErrorOr(err::kGenFailure));
  return kTrue;
}

// The name and authority the system gives `sid`, asking a domain controller when its own cache
// does not know a domain group.
BOOL NameOfSid(PSID sid, TokenGroup& out) {
  std::vector<wchar_t> name(256), domain(256);
  for (int round = 0; round < 2; ++round) {
    ::DWORD nameChars = static_cast<::DWORD>(name.size());
    ::DWORD domainChars = static_cast<::DWORD>(domain.size());
    SID_NAME_USE use{};
    if (::LookupAccountSidW(nullptr, sid, name.data(), &nameChars, domain.data(), &domainChars, &use)) {
      out.name = name.data();
      out.domain = domain.data();
      return kTrue;
    }
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) break;
    name.resize(std::max<size_t>(nameChars, name.size()) + 1);
    domain.resize(std::max<size_t>(domainChars, domain.size()) + 1);
  }
  return Fail(LastErrorOr(err::kNoneMapped));
}

// A started process, held by its handle: the handle, not the process id, because an id is
// reused by another process soon after this one ends.
class Win32SessionProcess final : public SessionProcess {
 public:
  explicit Win32SessionProcess(HANDLE process) : process_(process) {}
  bool Running() override { return ::WaitForSingleObject(process_.get(), 0) != WAIT_OBJECT_0; }
  DWORD ExitCode() override {
    ::DWORD code = STILL_ACTIVE;
    return ::GetExitCodeProcess(process_.get(), &code) ? code : STILL_ACTIVE;
  }

 private:
  UniqueKernelHandle process_;
};

class Win32Sessions final : public Sessions {
 public:
  explicit Win32Sessions(Win32SessionsOptions options)
      : wts_(options.library ? options.library : L"wtsapi32.dll"),
        kernel_(L"kernel32.dll"),
        ntdll_(L"ntdll.dll"),
        pause_(std::move(options.pause)) {
    enumerate_ = wts_.Get<EnumerateSessionsFn>("WTSEnumerateSessionsW");
    query_ = wts_.Get<QuerySessionInformationFn>("WTSQuerySessionInformationW");
    free_ = wts_.Get<FreeMemoryFn>("WTSFreeMemory");
    logoff_ = wts_.Get<LogoffSessionFn>("WTSLogoffSession");
    userToken_ = wts_.Get<QueryUserTokenFn>("WTSQueryUserToken");
    sendMessage_ = wts_.Get<SendMessageFn>("WTSSendMessageW");
    register_ = wts_.Get<RegisterNotificationFn>("WTSRegisterSessionNotification");
    unregister_ = wts_.Get<UnregisterNotificationFn>("WTSUnRegisterSessionNotification");
    activeConsole_ = kernel_.Get<ActiveConsoleSessionFn>("WTSGetActiveConsoleSessionId");
    enumerateProcesses_ = wts_.Get<EnumerateProcessesFn>("WTSEnumerateProcessesW");
    enumerateEx_ = wts_.Get<EnumerateProcessesExFn>("WTSEnumerateProcessesExW");
    freeEx_ = wts_.Get<FreeMemoryExFn>("WTSFreeMemoryExW");
    processSession_ = kernel_.Get<ProcessIdToSessionIdFn>("ProcessIdToSessionId");
    if (!pause_) pause_ = [](DWORD ms) { ::Sleep(ms); };
  }

  bool IsAvailable() const override { return wts_.loaded(); }

  BOOL EnumerateSessions(std::vector<SessionEntry>& out) override {
    if (!enumerate_ || !free_) return Fail(err::kProcNotFound);
    PWTS_SESSION_INFOW rows = nullptr;
    ::DWORD count = 0;
    if (!enumerate_(WTS_CURRENT_SERVER_HANDLE, 0, 1, &rows, &count)) return Fail(LastErrorOr(err::kGenFailure));
    UniqueWtsMemory keep(WtsMemory{rows, free_});
    std::vector<SessionEntry> list;
    list.reserve(count);
    for (::DWORD i = 0; i < count && rows; ++i) {
      list.push_back({rows[i].SessionId, static_cast<SessionState>(rows[i].State),
                      rows[i].pWinStationName ? rows[i].pWinStationName : L""});
    }
    out.swap(list);
    return kTrue;
  }

  BOOL QuerySessionInfo(SessionId id, SessionInfo& out) override {
    UniqueWtsMemory block;
    ::DWORD bytes = 0;
    if (!Query(id, WTSSessionInfo, block, bytes)) return kFalse;
    if (bytes < sizeof(WTSINFOW)) return Fail(err::kInvalidData);
    const auto* w = static_cast<const WTSINFOW*>(block.get().block);
    SessionInfo info;
    info.id = w->SessionId;
    info.state = static_cast<SessionState>(w->State);
    info.winStation = Bounded(w->WinStationName, WINSTATIONNAME_LENGTH);
    info.domain = Bounded(w->Domain, DOMAIN_LENGTH);
    info.user = Bounded(w->UserName, USERNAME_LENGTH + 1);
    info.connectTime = w->ConnectTime.QuadPart;
    info.disconnectTime = w->DisconnectTime.QuadPart;
    info.lastInputTime = w->LastInputTime.QuadPart;
    info.logonTime = w->LogonTime.QuadPart;
    info.currentTime = w->CurrentTime.QuadPart;
    out = std::move(info);
    return kTrue;
  }

  BOOL QueryUserName(SessionId id, std::wstring& out) override { return QueryText(id, WTSUserName, out); }
  BOOL QueryDomainName(SessionId id, std::wstring& out) override { return QueryText(id, WTSDomainName, out); }

  BOOL QueryConnectState(SessionId id, SessionState& out) override {
    UniqueWtsMemory block;
    ::DWORD bytes = 0;
    if (!Query(id, WTSConnectState, block, bytes)) return kFalse;
    if (bytes < sizeof(::DWORD)) return Fail(err::kInvalidData);
    out = static_cast<SessionState>(*static_cast<const ::DWORD*>(block.get().block));
    return kTrue;
  }

  SessionId GetActiveConsoleSessionId() override {
    if (!activeConsole_) {
      SetLastErrorCode(err::kProcNotFound);
      return kNoSession;
    }
    return activeConsole_();
  }

  BOOL QueryUserToken(SessionId id, UserToken& out) override {
    if (!userToken_) return Fail(err::kProcNotFound);
    HANDLE token = nullptr;
    if (!userToken_(id, &token)) return Fail(LastErrorOr(err::kNoToken));
    out.reset(TokenRef{token, &CloseKernelToken, nullptr});
    return kTrue;
  }

  BOOL LogoffSession(SessionId id) override {
    if (!logoff_) return Fail(err::kProcNotFound);
    if (!logoff_(WTS_CURRENT_SERVER_HANDLE, id, FALSE)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL SendSessionMessage(SessionId id, const std::wstring& caption, const std::wstring& text, DWORD style,
                          DWORD timeoutSeconds, bool wait, DWORD& response) override {
    if (!sendMessage_) return Fail(err::kProcNotFound);
    // The lengths are in bytes; the strings are only read despite the non-const parameter types.
    std::wstring c = caption, t = text;
    ::DWORD answer = 0;
    if (!sendMessage_(WTS_CURRENT_SERVER_HANDLE, id, c.data(), static_cast<::DWORD>(c.size() * sizeof(wchar_t)), t.data(),
                      static_cast<::DWORD>(t.size() * sizeof(wchar_t)), style, timeoutSeconds, &answer, wait ? TRUE : FALSE))
      return Fail(LastErrorOr(err::kGenFailure));
    response = answer;
    return kTrue;
  }

  BOOL QueryLockState(SessionId id, bool& locked) override {
    UniqueWtsMemory block;
    ::DWORD bytes = 0;
    if (!Query(id, static_cast<WTS_INFO_CLASS>(kWtsSessionInfoEx), block, bytes)) return kFalse;
    if (bytes < sizeof(SessionInfoExHead)) return Fail(err::kInvalidData);
    const auto* head = static_cast<const SessionInfoExHead*>(block.get().block);
    if (head->level != 1) return Fail(err::kInvalidData);
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    // The real version, whatever compatibility shims tell GetVersionEx.
    auto getVersion = ntdll_.Get<RtlGetVersionFn>("RtlGetVersion");
    if (!getVersion || getVersion(&version) != 0) return Fail(err::kProcNotFound);
    if (!LockedFromSessionFlags(head->data.sessionFlags, version.dwMajorVersion, version.dwMinorVersion, locked))
      return Fail(err::kNotSupported);
    return kTrue;
  }

  BOOL StartInSession(SessionId id, const std::wstring& commandLine) override {
    return Start(id, commandLine, nullptr);
  }

  BOOL StartTrackedInSession(SessionId id, const std::wstring& commandLine,
                             std::unique_ptr<SessionProcess>& started) override {
    HANDLE process = nullptr;
    if (!Start(id, commandLine, &process)) return kFalse;
    started = std::make_unique<Win32SessionProcess>(process);
    return kTrue;
  }

  BOOL QueryLogonSid(SessionId id, std::wstring& out) override {
    UserToken user;
    if (!QueryUserToken(id, user)) return kFalse;
    std::vector<unsigned char> buffer;
    if (!ReadTokenGroups(static_cast<HANDLE>(user.get().handle), buffer)) return kFalse;
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    for (::DWORD i = 0; i < groups->GroupCount; ++i) {
      if ((groups->Groups[i].Attributes & SE_GROUP_LOGON_ID) != SE_GROUP_LOGON_ID) continue;
      LPWSTR text = nullptr;
      if (!::ConvertSidToStringSidW(groups->Groups[i].Sid, &text)) return Fail(LastErrorOr(err::kGenFailure));
      out = text;
      ::LocalFree(text);
      return kTrue;
    }
    return Fail(err::kNoToken);
  }

  BOOL QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) override {
    UserToken user;
    if (!QueryUserToken(id, user)) return kFalse;
    std::vector<unsigned char> buffer;
    if (!ReadTokenGroups(static_cast<HANDLE>(user.get().handle), buffer)) return kFalse;
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    std::vector<TokenGroup> list;
    for (::DWORD i = 0; i < groups->GroupCount; ++i) {
      const ::DWORD attributes = groups->Groups[i].Attributes;
      // The logon SID is this logon's alone and the label is an integrity level: neither is a
      // group anybody could list.
      if ((attributes & SE_GROUP_LOGON_ID) == SE_GROUP_LOGON_ID || (attributes & SE_GROUP_INTEGRITY) != 0) continue;
      TokenGroup group;
      if (!NameOfSid(groups->Groups[i].Sid, group)) {
        if (GetLastErrorCode() == err::kNoneMapped) continue;
        return kFalse;
      }
      list.push_back(std::move(group));
    }
    out.swap(list);
    SetLastErrorCode(err::kSuccess);
    return kTrue;
  }

  BOOL EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) override {
    // The filtered listing first: on a terminal server the terminal services pick the session's
    // few processes out of thousands. Then the whole listing, then the tool-help snapshot, for
    // systems (and emulators) that answer one of them but not the other.
    ErrorCode last = err::kProcNotFound;
    if (enumerateEx_ && freeEx_) {
      ::DWORD level = 0;
      LPWSTR rows = nullptr;
      ::DWORD count = 0;
      if (enumerateEx_(WTS_CURRENT_SERVER_HANDLE, &level, id, &rows, &count)) {
        const auto* info = reinterpret_cast<const WTS_PROCESS_INFOW*>(rows);
        std::vector<std::wstring> names;
        for (::DWORD i = 0; i < count && info; ++i) {
          if (info[i].SessionId == id && info[i].pProcessName) names.emplace_back(info[i].pProcessName);
        }
        freeEx_(0, rows, count);
        out.swap(names);
        return kTrue;
      }
      last = LastErrorOr(err::kGenFailure);
    }
    if (enumerateProcesses_ && free_) {
      PWTS_PROCESS_INFOW rows = nullptr;
      ::DWORD count = 0;
      if (enumerateProcesses_(WTS_CURRENT_SERVER_HANDLE, 0, 1, &rows, &count)) {
        UniqueWtsMemory keep(WtsMemory{rows, free_});
        std::vector<std::wstring> names;
        for (::DWORD i = 0; i < count && rows; ++i) {
          if (rows[i].SessionId == id && rows[i].pProcessName) names.emplace_back(rows[i].pProcessName);
        }
        out.swap(names);
        return kTrue;
      }
      last = LastErrorOr(err::kGenFailure);
    }
    if (processSession_) {
      UniqueKernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
      if (snapshot.valid()) {
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof(entry);
        std::vector<std::wstring> names;
        for (BOOL more = ::Process32FirstW(snapshot.get(), &entry); more; more = ::Process32NextW(snapshot.get(), &entry)) {
          ::DWORD session = kNoSession;
          if (processSession_(entry.th32ProcessID, &session) && session == id) names.emplace_back(entry.szExeFile);
        }
        out.swap(names);
        return kTrue;
      }
      last = LastErrorOr(err::kGenFailure);
    }
    return Fail(last);
  }

  BOOL RegisterSessionNotification(void* window) override {
    if (!register_) return Fail(err::kProcNotFound);
    if (!register_(static_cast<HWND>(window), NOTIFY_FOR_THIS_SESSION)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL UnregisterSessionNotification(void* window) override {
    if (!unregister_) return Fail(err::kProcNotFound);
    if (!unregister_(static_cast<HWND>(window))) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL RegisterPolicyNotification(void* event) override {
    if (!::RegisterGPNotification(static_cast<HANDLE>(event), TRUE)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL UnregisterPolicyNotification(void* event) override {
    if (!::UnregisterGPNotification(static_cast<HANDLE>(event))) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

 private:
  // Starts `commandLine` as the session's user; the process handle goes to `process` when asked
  // for, else it is closed.
  BOOL Start(SessionId id, const std::wstring& commandLine, HANDLE* process) {
    UserToken user;
    if (!QueryUserToken(id, user)) return kFalse;
    const LaunchRequest request = SessionLaunchRequest(commandLine);
    UniqueKernelHandle launch;
    if (!LaunchToken(static_cast<HANDLE>(user.get().handle), request.preferLinkedToken, launch)) return kFalse;

    ErrorCode lastError = err::kGenFailure;
    for (int attempt = 1; attempt <= kStartAttempts; ++attempt) {
      if (attempt > 1) pause_(kStartRetryDelayMs);
      // A null block would hand the program the service's own environment: local system's
      // profile folders and the computer account's name, in the user's session. The block is
      // built afresh each attempt, since right after log-on the user's profile may still be
      // loading. It is made without the starter's variables for the same reason.
      UniqueEnvironmentBlock environment;
      if (request.userEnvironment) {
        void* block = nullptr;
        if (!::CreateEnvironmentBlock(&block, launch.get(), FALSE)) {
          lastError = LastErrorOr(err::kGenFailure);
          continue;
        }
        environment.reset(block);
      }
      std::wstring line = request.commandLine;  // CreateProcess may write into its command line
      std::wstring desktop = request.desktop;
      STARTUPINFOW si{};
      si.cb = sizeof(si);
      si.lpDesktop = desktop.data();
      PROCESS_INFORMATION pi{};
      if (::CreateProcessAsUserW(launch.get(), nullptr, line.data(), nullptr, nullptr,
                                 request.inheritHandles ? TRUE : FALSE, request.creationFlags, environment.get(),
                                 nullptr, &si, &pi)) {
        ::CloseHandle(pi.hThread);
        if (process) {
          *process = pi.hProcess;
        } else {
          ::CloseHandle(pi.hProcess);
        }
        SetLastErrorCode(err::kSuccess);
        return kTrue;
      }
      lastError = LastErrorOr(err::kGenFailure);
    }
    return Fail(lastError);
  }

  // Fixed-size name fields are terminated when the name is shorter than the field; a name that
  // fills the field is not, so never read past it.
  static std::wstring Bounded(const wchar_t* field, size_t capacity) {
    size_t n = 0;
    while (n < capacity && field[n] != L'\0') ++n;
    return std::wstring(field, n);
  }

  BOOL Query(SessionId id, WTS_INFO_CLASS what, UniqueWtsMemory& block, ::DWORD& bytes) {
    if (!query_ || !free_) return Fail(err::kProcNotFound);
    LPWSTR buffer = nullptr;
    bytes = 0;
    if (!query_(WTS_CURRENT_SERVER_HANDLE, id, what, &buffer, &bytes)) return Fail(LastErrorOr(err::kGenFailure));
    block.reset(WtsMemory{buffer, free_});
    if (!buffer) return Fail(err::kInvalidData);
    return kTrue;
  }

  BOOL QueryText(SessionId id, WTS_INFO_CLASS what, std::wstring& out) {
    UniqueWtsMemory block;
    ::DWORD bytes = 0;
    if (!Query(id, what, block, bytes)) return kFalse;
    out = Bounded(static_cast<const wchar_t*>(block.get().block), bytes / sizeof(wchar_t));
    return kTrue;
  }

  // The token a process in the user's session is started with: the elevated linked token when
  // the user has one, so the agent sees every window of the session; else a primary copy,
  // since the token the terminal services hand out may not be usable for a new process as is.
  static BOOL LaunchToken(HANDLE user, bool preferLinked, UniqueKernelHandle& out) {
    TOKEN_LINKED_TOKEN linked{};
    ::DWORD size = 0;
    if (preferLinked && ::GetTokenInformation(user, TokenLinkedToken, &linked, sizeof(linked), &size) &&
        linked.LinkedToken) {
      out.reset(linked.LinkedToken);
      return kTrue;
    }
    HANDLE copy = nullptr;
    constexpr ::DWORD kAccess = TOKEN_ASSIGN_PRIMARY | TOKEN_DUPLICATE | TOKEN_QUERY;  // 11
    if (!::DuplicateTokenEx(user, kAccess, nullptr, SecurityImpersonation, TokenPrimary, &copy))
      return Fail(LastErrorOr(err::kGenFailure));
    out.reset(copy);
    return kTrue;
  }

  BoundLibrary wts_;
  BoundLibrary kernel_;
  BoundLibrary ntdll_;
  std::function<void(DWORD)> pause_;
  EnumerateSessionsFn enumerate_ = nullptr;
  QuerySessionInformationFn query_ = nullptr;
  FreeMemoryFn free_ = nullptr;
  LogoffSessionFn logoff_ = nullptr;
  QueryUserTokenFn userToken_ = nullptr;
  SendMessageFn sendMessage_ = nullptr;
  RegisterNotificationFn register_ = nullptr;
  UnregisterNotificationFn unregister_ = nullptr;
  ActiveConsoleSessionFn activeConsole_ = nullptr;
  EnumerateProcessesFn enumerateProcesses_ = nullptr;
  EnumerateProcessesExFn enumerateEx_ = nullptr;
  FreeMemoryExFn freeEx_ = nullptr;
  ProcessIdToSessionIdFn processSession_ = nullptr;
};

}  // namespace

std::unique_ptr<Sessions> CreateWin32Sessions(Win32SessionsOptions options) {
  return std::make_unique<Win32Sessions>(std::move(options));
}

std::unique_ptr<Sessions> CreateSystemSessions() { return CreateWin32Sessions(); }

}  // namespace tv
