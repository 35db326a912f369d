// Portable simulated terminal sessions (both toolchains): the table, its notifications and records.
#include "platform/portable/sessions.h"

#include <algorithm>
#include <cwctype>

namespace tv {

namespace {
std::wstring StationName(SessionId id, bool console) {
  return console ? std::wstring(L"Console") : L"RDP-Tcp#" + std::to_wstring(id);
}

// The program a command line starts, as a process list names it: the first token (quoted or
// not) without its folder.
std::wstring ImageOf(const std::wstring& commandLine) {
  std::wstring path;
  if (!commandLine.empty() && commandLine[0] == L'"') {
    path = commandLine.substr(1, commandLine.find(L'"', 1) - 1);
  } else {
    path = commandLine.substr(0, commandLine.find(L' '));
  }
  const std::size_t slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

// Windows matches account names without regard to case.
std::wstring AccountKey(const std::wstring& domain, const std::wstring& user) {
  std::wstring key = domain + L"\\" + user;
  for (wchar_t& c : key) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
  return key;
}
}  // namespace

// --- Driving the table -------------------------------------------------------------------------

void SimulatedSessions::AddSession(SessionId id, const std::wstring& domain, const std::wstring& user,
                                   SessionState state) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session s;
  s.info.id = id;
  s.info.state = state;
  s.info.winStation = StationName(id, id == console_);
  s.info.domain = domain;
  s.info.user = user;
  s.info.connectTime = Now();
  if (!user.empty()) s.info.logonTime = s.info.connectTime;
  s.logon = nextLogon_++;
  EndProcessesOfLocked(id);
  sessions_[id] = std::move(s);
  if (!user.empty()) notifications_.push_back({SessionChange::kLogon, id});
}

void SimulatedSessions::EndSession(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  EndProcessesOfLocked(id);
  if (sessions_.erase(id) != 0) notifications_.push_back({SessionChange::kLogoff, id});
}

void SimulatedSessions::LogOn(SessionId id, const std::wstring& domain, const std::wstring& user) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = Find(id);
  if (!s) return;
  s->info.domain = domain;
  s->info.user = user;
  s->info.logonTime = Now();
  s->logon = nextLogon_++;
  notifications_.push_back({SessionChange::kLogon, id});
}

void SimulatedSessions::Disconnect(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = Find(id);
  if (!s) return;
  s->info.state = SessionState::kDisconnected;
  s->info.disconnectTime = Now();
  notifications_.push_back({IsConsole(*s) ? SessionChange::kConsoleDisconnect : SessionChange::kRemoteDisconnect, id});
}

void SimulatedSessions::Reconnect(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = Find(id);
  if (!s) return;
  s->info.state = SessionState::kActive;
  s->info.connectTime = Now();
  notifications_.push_back({IsConsole(*s) ? SessionChange::kConsoleConnect : SessionChange::kRemoteConnect, id});
}

void SimulatedSessions::SetState(SessionId id, SessionState state) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (Session* s = Find(id)) s->info.state = state;
}

void SimulatedSessions::Lock(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = Find(id);
  if (!s) return;
  s->locked = true;
  notifications_.push_back({SessionChange::kLock, id});
}

void SimulatedSessions::Unlock(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = Find(id);
  if (!s) return;
  s->locked = false;
  notifications_.push_back({SessionChange::kUnlock, id});
}

void SimulatedSessions::SetConsoleSession(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  console_ = id;
  for (auto& [sid, s] : sessions_) s.info.winStation = StationName(sid, sid == id);
}

void SimulatedSessions::SetAvailable(bool available) {
  std::lock_guard<std::mutex> lock(mutex_);
  available_ = available;
}

void SimulatedSessions::SetMessageResponse(DWORD response) {
  std::lock_guard<std::mutex> lock(mutex_);
  messageResponse_ = response;
}

void SimulatedSessions::SetLogoffRemovesSession(bool removes) {
  std::lock_guard<std::mutex> lock(mutex_);
  logoffRemoves_ = removes;
}

void SimulatedSessions::SetKeepRecords(bool keep) {
  std::lock_guard<std::mutex> lock(mutex_);
  keepRecords_ = keep;
}

void SimulatedSessions::SetTimeSource(std::function<std::int64_t()> now) {
  std::lock_guard<std::mutex> lock(mutex_);
  now_ = std::move(now);
}

void SimulatedSessions::FailOp(Op op, ErrorCode error, int times, int skip, SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), error, times, skip, id);
}

void SimulatedSessions::ClearFaults() {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Clear();
}

// --- Reading what happened ---------------------------------------------------------------------

bool SimulatedSessions::HasSession(SessionId id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return Find(id) != nullptr;
}

bool SimulatedSessions::IsLocked(SessionId id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Session* s = Find(id);
  return s && s->locked;
}

size_t SimulatedSessions::SessionCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return sessions_.size();
}

std::vector<SimulatedSessions::LoggedOff> SimulatedSessions::LoggedOffSessions() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return loggedOff_;
}

std::vector<SimulatedSessions::MessageShown> SimulatedSessions::MessagesShown() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return messages_;
}

std::vector<SimulatedSessions::ProcessStart> SimulatedSessions::ProcessStarts() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return starts_;
}

std::vector<SimulatedSessions::Notification> SimulatedSessions::TakeNotifications() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Notification> out;
  out.swap(notifications_);
  return out;
}

int SimulatedSessions::OpenTokens() const { return openTokens_.load(); }

std::vector<void*> SimulatedSessions::NotificationWindows() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return windows_;
}

std::vector<void*> SimulatedSessions::PolicyEvents() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return policyEvents_;
}

void SimulatedSessions::ClearRecords() {
  std::lock_guard<std::mutex> lock(mutex_);
  loggedOff_.clear();
  messages_.clear();
  starts_.clear();
  notifications_.clear();
}

// --- Sessions ----------------------------------------------------------------------------------

SimulatedSessions::Session* SimulatedSessions::Find(SessionId id) {
  auto it = sessions_.find(id);
  return it == sessions_.end() ? nullptr : &it->second;
}

const SimulatedSessions::Session* SimulatedSessions::Find(SessionId id) const {
  auto it = sessions_.find(id);
  return it == sessions_.end() ? nullptr : &it->second;
}

bool SimulatedSessions::IsConsole(const Session& s) const { return s.info.id == console_; }

BOOL SimulatedSessions::Enter(Op op, SessionId id, Session*& session) {
  if (!available_) return Fail(err::kProcNotFound);
  if (ErrorCode e = faults_.Next(static_cast<int>(op), id)) return Fail(e);
  session = Find(id);
  if (!session) return Fail(err::kFileNotFound);
  return kTrue;
}

bool SimulatedSessions::IsAvailable() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return available_;
}

BOOL SimulatedSessions::EnumerateSessions(std::vector<SessionEntry>& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return Fail(err::kProcNotFound);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kEnumerate))) return Fail(e);
  std::vector<SessionEntry> list;
  list.reserve(sessions_.size());
  for (const auto& [id, s] : sessions_) list.push_back({id, s.info.state, s.info.winStation});
  out.swap(list);
  return kTrue;
}

BOOL SimulatedSessions::HasActiveSession(bool& any) {
  std::lock_guard<std::mutex> lock(mutex_);
  // The same checks and the same injected faults as a listing, without copying the list.
  if (!available_) return Fail(err::kProcNotFound);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kEnumerate))) return Fail(e);
  any = std::any_of(sessions_.begin(), sessions_.end(),
                    [](const auto& entry) { return entry.second.info.state == SessionState::kActive; });
  return kTrue;
}

BOOL SimulatedSessions::QuerySessionInfo(SessionId id, SessionInfo& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kQueryInfo, id, s)) return kFalse;
  out = s->info;
  out.currentTime = Now();
  return kTrue;
}

BOOL SimulatedSessions::QueryUserName(SessionId id, std::wstring& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kQueryUser, id, s)) return kFalse;
  out = s->info.user;
  return kTrue;
}

BOOL SimulatedSessions::QueryDomainName(SessionId id, std::wstring& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kQueryDomain, id, s)) return kFalse;
  out = s->info.domain;
  return kTrue;
}

BOOL SimulatedSessions::QueryConnectState(SessionId id, SessionState& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kQueryState, id, s)) return kFalse;
  out = s->info.state;
  return kTrue;
}

BOOL SimulatedSessions::QueryLockState(SessionId id, bool& locked) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kQueryLock, id, s)) return kFalse;
  locked = s->locked;
  return kTrue;
}

SessionId SimulatedSessions::GetActiveConsoleSessionId() {
  std::lock_guard<std::mutex> lock(mutex_);
  return console_;
}

void SimulatedSessions::CloseToken(void*, void* context) {
  static_cast<SimulatedSessions*>(context)->openTokens_.fetch_sub(1);
}

BOOL SimulatedSessions::TokenLocked(SessionId id, UserToken& out) {
  Session* s = nullptr;
  if (!Enter(Op::kQueryToken, id, s)) return kFalse;
  if (s->info.user.empty()) return Fail(err::kNoToken);
  // Any distinct non-null value will do: nobody looks behind a simulated token.
  void* handle = reinterpret_cast<void*>(nextToken_++);
  openTokens_.fetch_add(1);
  out.reset(TokenRef{handle, &CloseToken, this});
  return kTrue;
}

BOOL SimulatedSessions::QueryUserToken(SessionId id, UserToken& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  return TokenLocked(id, out);
}

BOOL SimulatedSessions::LogoffSession(SessionId id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kLogoff, id, s)) return kFalse;
  if (keepRecords_) loggedOff_.push_back({id, s->info.domain, s->info.user});
  if (logoffRemoves_) {
    EndProcessesOfLocked(id);
    sessions_.erase(id);
    notifications_.push_back({SessionChange::kLogoff, id});
  }
  return kTrue;
}

BOOL SimulatedSessions::SendSessionMessage(SessionId id, const std::wstring& caption, const std::wstring& text,
                                           DWORD style, DWORD timeoutSeconds, bool wait, DWORD& response) {
  std::lock_guard<std::mutex> lock(mutex_);
  Session* s = nullptr;
  if (!Enter(Op::kSendMessage, id, s)) return kFalse;
  if (keepRecords_) messages_.push_back({id, caption, text, style, timeoutSeconds, wait});
  response = wait ? messageResponse_ : kMessageAsync;
  return kTrue;
}

class SimulatedSessions::SimProcess final : public SessionProcess {
 public:
  explicit SimProcess(std::shared_ptr<ProcessState> state) : state_(std::move(state)) {}
  bool Running() override { return state_->running.load(); }
  DWORD ExitCode() override { return state_->exitCode.load(); }

 private:
  std::shared_ptr<ProcessState> state_;
};

BOOL SimulatedSessions::StartInSession(SessionId id, const std::wstring& commandLine) {
  UserToken token;  // declared before the lock: its release takes no lock, but must not outlive `this`
  std::lock_guard<std::mutex> lock(mutex_);
  if (!TokenLocked(id, token)) return kFalse;
  return StartLocked(id, commandLine, nullptr);
}

BOOL SimulatedSessions::StartTrackedInSession(SessionId id, const std::wstring& commandLine,
                                              std::unique_ptr<SessionProcess>& started) {
  UserToken token;
  std::shared_ptr<ProcessState> state;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!TokenLocked(id, token)) return kFalse;
    if (!StartLocked(id, commandLine, &state)) return kFalse;
  }
  started = std::make_unique<SimProcess>(std::move(state));
  return kTrue;
}

BOOL SimulatedSessions::StartLocked(SessionId id, const std::wstring& commandLine,
                                    std::shared_ptr<ProcessState>* process) {
  ErrorCode last = 0;
  for (int attempt = 1; attempt <= kStartAttempts; ++attempt) {
    last = faults_.Next(static_cast<int>(Op::kStartAttempt), id);
    if (last == 0) {
      auto state = std::make_shared<ProcessState>();
      state->session = id;
      state->image = ImageOf(commandLine);
      processes_.push_back(state);
      processesOf_[id].push_back(processes_.size() - 1);
      if (keepRecords_) {
        starts_.push_back({id, commandLine, attempt, true, static_cast<int>(processes_.size() - 1),
                           SessionLaunchRequest(commandLine)});
      }
      if (process) *process = std::move(state);
      SetLastErrorCode(err::kSuccess);
      return kTrue;
    }
  }
  if (keepRecords_) starts_.push_back({id, commandLine, kStartAttempts, false, -1, SessionLaunchRequest(commandLine)});
  return Fail(last);
}

void SimulatedSessions::EndProcess(int process, DWORD exitCode) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (process < 0 || static_cast<size_t>(process) >= processes_.size()) return;
  std::shared_ptr<ProcessState>& p = processes_[static_cast<size_t>(process)];
  if (!p) return;
  if (p->running.exchange(false)) p->exitCode.store(exitCode);
  if (!keepRecords_) p.reset();
}

int SimulatedSessions::RunProgram(SessionId id, const std::wstring& image) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto state = std::make_shared<ProcessState>();
  state->session = id;
  state->image = image;
  processes_.push_back(std::move(state));
  processesOf_[id].push_back(processes_.size() - 1);
  return static_cast<int>(processes_.size() - 1);
}

BOOL SimulatedSessions::EnumerateSessionProcesses(SessionId id, std::vector<std::wstring>& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  ++listings_;
  Session* s = nullptr;
  if (!Enter(Op::kEnumProcesses, id, s)) return kFalse;
  std::vector<std::wstring> names;
  if (auto it = processesOf_.find(id); it != processesOf_.end()) {
    for (std::size_t i : it->second) {
      if (processes_[i] && processes_[i]->running.load()) names.push_back(processes_[i]->image);
    }
  }
  out.swap(names);
  return kTrue;
}

bool SimulatedSessions::ProcessRunning(int process) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return process >= 0 && static_cast<size_t>(process) < processes_.size() &&
         processes_[static_cast<size_t>(process)] && processes_[static_cast<size_t>(process)]->running.load();
}

void SimulatedSessions::EndProcessesOfLocked(SessionId id) {
  auto it = processesOf_.find(id);
  if (it == processesOf_.end()) return;
  for (std::size_t i : it->second) {
    std::shared_ptr<ProcessState>& p = processes_[i];
    if (!p) continue;
    if (p->running.exchange(false)) p->exitCode.store(0);
    if (!keepRecords_) p.reset();
  }
  processesOf_.erase(it);
}

BOOL SimulatedSessions::QueryLogonSid(SessionId id, std::wstring& out) {
  UserToken token;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!TokenLocked(id, token)) return kFalse;
  auto fixed = logonSids_.find(id);
  out = fixed != logonSids_.end() ? fixed->second : L"S-1-5-5-0-" + std::to_wstring(Find(id)->logon);
  return kTrue;
}

void SimulatedSessions::SetLogonSid(SessionId id, const std::wstring& sid) {
  std::lock_guard<std::mutex> lock(mutex_);
  logonSids_[id] = sid;
}

void SimulatedSessions::SetTokenGroups(const std::wstring& domain, const std::wstring& user,
                                       std::vector<TokenGroup> groups) {
  std::lock_guard<std::mutex> lock(mutex_);
  tokenGroups_[AccountKey(domain, user)] = std::move(groups);
}

BOOL SimulatedSessions::QueryTokenGroups(SessionId id, std::vector<TokenGroup>& out) {
  UserToken token;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!TokenLocked(id, token)) return kFalse;
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kQueryGroups), id)) return Fail(e);
  const Session* s = Find(id);
  auto known = tokenGroups_.find(AccountKey(s->info.domain, s->info.user));
  if (known == tokenGroups_.end()) return Fail(err::kNotFound);
  out = known->second;
  return kTrue;
}

BOOL SimulatedSessions::RegisterSessionNotification(void* window) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return Fail(err::kProcNotFound);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kRegisterNotification))) return Fail(e);
  if (!window) return Fail(err::kInvalidHandle);
  windows_.push_back(window);
  return kTrue;
}

BOOL SimulatedSessions::UnregisterSessionNotification(void* window) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!available_) return Fail(err::kProcNotFound);
  auto it = std::find(windows_.begin(), windows_.end(), window);
  if (it == windows_.end()) return Fail(err::kInvalidParameter);
  windows_.erase(it);
  return kTrue;
}

BOOL SimulatedSessions::RegisterPolicyNotification(void* event) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!event) return Fail(err::kInvalidHandle);
  policyEvents_.push_back(event);
  return kTrue;
}

BOOL SimulatedSessions::UnregisterPolicyNotification(void* event) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = std::find(policyEvents_.begin(), policyEvents_.end(), event);
  if (it == policyEvents_.end()) return Fail(err::kInvalidParameter);
  policyEvents_.erase(it);
  return kTrue;
}

#ifndef _WIN32
std::unique_ptr<Sessions> CreateSystemSessions() { return std::make_unique<SimulatedSessions>(); }
#endif

}  // namespace tv
