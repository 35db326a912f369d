// Portable simulated service manager (both toolchains): an in-memory service table.
#include "platform/portable/service_manager.h"

#include <cwctype>
#include <initializer_list>

namespace tv {

namespace {
// The right a control code needs on the service handle; 0 for a code no caller may send.
DWORD RightForControl(DWORD code) {
  if (code == svc::kControlStop) return svc::kStop;
  if (code == svc::kControlInterrogate) return svc::kInterrogate;
  if (code == svc::kControlPause || code == svc::kControlContinue || (code >= 6 && code <= 10))
    return svc::kPauseContinue;
  if (code >= 128 && code <= 255) return svc::kUserDefinedControl;
  return 0;
}

// The two-letter rights and trustees a service DACL is written with.
bool KnownCode(const std::wstring& code, std::initializer_list<const wchar_t*> codes) {
  for (const wchar_t* c : codes)
    if (code == c) return true;
  return false;
}

bool ValidRights(const std::wstring& rights) {
  if (rights.size() > 2 && rights[0] == L'0' && (rights[1] == L'x' || rights[1] == L'X')) {
    for (std::size_t i = 2; i < rights.size(); ++i)
      if (!std::iswxdigit(static_cast<std::wint_t>(rights[i]))) return false;
    return true;
  }
  if (rights.empty() || rights.size() % 2) return false;
  for (std::size_t i = 0; i < rights.size(); i += 2) {
    if (!KnownCode(rights.substr(i, 2), {L"CC", L"DC", L"LC", L"SW", L"RP", L"WP", L"DT", L"LO", L"CR", L"RC", L"SD",
                                         L"WD", L"WO", L"GA", L"GR", L"GW", L"GX"}))
      return false;
  }
  return true;
}

bool ValidTrustee(const std::wstring& sid) {
  if (sid.rfind(L"S-1-", 0) == 0) return sid.size() > 4;
  return KnownCode(sid, {L"SY", L"BA", L"BU", L"IU", L"AU", L"SU", L"LS", L"NS", L"WD", L"BG", L"RD"});
}

// What ConvertStringSecurityDescriptorToSecurityDescriptor would take as a DACL: "D:", optional
// flags, then one or more "(type;flags;rights;;;trustee)" entries of allow or deny.
bool ValidDacl(const std::wstring& sddl) {
  if (sddl.rfind(L"D:", 0) != 0) return false;
  std::size_t i = 2;
  while (i < sddl.size() && sddl[i] != L'(') {
    if (!std::iswupper(static_cast<std::wint_t>(sddl[i]))) return false;
    ++i;
  }
  int entries = 0;
  while (i < sddl.size()) {
    if (sddl[i] != L'(') return false;
    const std::size_t close = sddl.find(L')', i);
    if (close == std::wstring::npos) return false;
    std::vector<std::wstring> fields(1);
    for (std::size_t k = i + 1; k < close; ++k) {
      if (sddl[k] == L';') fields.emplace_back();
      else fields.back() += sddl[k];
    }
    if (fields.size() != 6 || (fields[0] != L"A" && fields[0] != L"D") || !ValidRights(fields[2]) ||
        !ValidTrustee(fields[5]))
      return false;
    ++entries;
    i = close + 1;
  }
  return entries > 0;
}

bool ValidName(const std::wstring& name) {
  if (name.empty() || name.size() > 256) return false;
  for (wchar_t c : name)
    if (c == L'/' || c == L'\\') return false;
  return true;
}
}  // namespace

std::wstring SimulatedServiceManager::Key(const std::wstring& name) {
  std::wstring key = name;
  for (wchar_t& c : key) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
  return key;
}

// --- Driving and reading the table -------------------------------------------------------------

void SimulatedServiceManager::AddService(const ServiceConfig& config, DWORD state) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service s;
  s.config = config;
  s.state = state;
  if (state != svc::kStopped) s.processId = nextProcessId_++;
  services_[Key(config.name)] = std::move(s);
}

void SimulatedServiceManager::SetState(const std::wstring& name, DWORD state) {
  std::lock_guard<std::mutex> lock(mutex_);
  const std::wstring key = Key(name);
  if (Service* s = FindService(key)) {
    s->state = state;
    s->pendingStop = 0;
    s->processId = state == svc::kStopped ? 0 : (s->processId ? s->processId : nextProcessId_++);
    RemoveIfUnused(key);
  }
}

void SimulatedServiceManager::SetStopDelay(const std::wstring& name, int queries) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (Service* s = FindService(Key(name))) s->stopDelay = queries;
}

void SimulatedServiceManager::FailOp(Op op, ErrorCode error, int times, int skip) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), error, times, skip);
}

bool SimulatedServiceManager::HasService(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return FindService(Key(name)) != nullptr;
}

bool SimulatedServiceManager::IsMarkedForDelete(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  return s && s->markedForDelete;
}

DWORD SimulatedServiceManager::StateOf(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  return s ? s->state : 0;
}

BOOL SimulatedServiceManager::ConfigOf(const std::wstring& name, ServiceConfig& out) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  if (!s) return Fail(err::kServiceDoesNotExist);
  out = s->config;
  return kTrue;
}

std::wstring SimulatedServiceManager::SecurityOf(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  return s ? s->sddl : std::wstring();
}

ServiceFailureActions SimulatedServiceManager::FailureActionsOf(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  return s ? s->failureActions : ServiceFailureActions{};
}

std::vector<DWORD> SimulatedServiceManager::ControlsReceived(const std::wstring& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Service* s = FindService(Key(name));
  return s ? s->controls : std::vector<DWORD>{};
}

size_t SimulatedServiceManager::OpenHandles() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return handles_.size();
}

// --- Internals ---------------------------------------------------------------------------------

SimulatedServiceManager::Service* SimulatedServiceManager::FindService(const std::wstring& key) {
  auto it = services_.find(key);
  return it == services_.end() ? nullptr : &it->second;
}

const SimulatedServiceManager::Service* SimulatedServiceManager::FindService(const std::wstring& key) const {
  auto it = services_.find(key);
  return it == services_.end() ? nullptr : &it->second;
}

ServiceHandleRef SimulatedServiceManager::NewHandle(bool isManager, DWORD access, const std::wstring& key) {
  const std::uintptr_t id = nextHandle_;
  nextHandle_ += 4;
  handles_[id] = {isManager, access, key};
  return Ref(reinterpret_cast<void*>(id));
}

BOOL SimulatedServiceManager::Enter(const ServiceHandle& h, Op op, DWORD needed, Service*& service) {
  auto it = handles_.find(reinterpret_cast<std::uintptr_t>(RawOf(h)));
  if (it == handles_.end() || it->second.isManager) return Fail(err::kInvalidHandle);
  if ((it->second.access & needed) != needed) return Fail(err::kAccessDenied);
  if (ErrorCode e = faults_.Next(static_cast<int>(op))) return Fail(e);
  service = FindService(it->second.key);
  // A handle outlives nothing: the service stays in the table while a handle is open.
  if (!service) return Fail(err::kInvalidHandle);
  return kTrue;
}

// A service marked for deletion goes once it is stopped and nobody holds a handle to it.
void SimulatedServiceManager::RemoveIfUnused(const std::wstring& key) {
  const Service* s = FindService(key);
  if (!s || !s->markedForDelete || s->state != svc::kStopped) return;
  for (const auto& [id, h] : handles_)
    if (!h.isManager && h.key == key) return;
  services_.erase(key);
}

ServiceStatus SimulatedServiceManager::StatusOf(const Service& s) const {
  ServiceStatus st;
  st.type = s.config.type;
  st.state = s.state;
  st.controlsAccepted = s.state == svc::kRunning ? svc::kAcceptStop : 0;
  st.processId = s.processId;
  if (s.state == svc::kStopPending) {
    st.checkPoint = 1;
    st.waitHint = 2000;
  }
  return st;
}

// --- ServiceManager ----------------------------------------------------------------------------

// A handle is handed over only after the lock is released: replacing what `out` held closes
// that handle, and closing takes the lock.
BOOL SimulatedServiceManager::OpenManager(DWORD access, ServiceHandle& out) {
  ServiceHandleRef ref;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (ErrorCode e = faults_.Next(static_cast<int>(Op::kOpenManager))) return Fail(e);
    ref = NewHandle(true, access | svc::kManagerConnect, std::wstring());
  }
  out.reset(ref);
  return kTrue;
}

BOOL SimulatedServiceManager::Create(const ServiceHandle& manager, const ServiceConfig& config, DWORD access,
                                     ServiceHandle& out) {
  ServiceHandleRef ref;
  if (!CreateRef(manager, config, access, ref)) return kFalse;
  out.reset(ref);
  return kTrue;
}

BOOL SimulatedServiceManager::CreateRef(const ServiceHandle& manager, const ServiceConfig& config, DWORD access,
                                           ServiceHandleRef& ref) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = handles_.find(reinterpret_cast<std::uintptr_t>(RawOf(manager)));
  if (it == handles_.end() || !it->second.isManager) return Fail(err::kInvalidHandle);
  if (!(it->second.access & svc::kManagerCreateService)) return Fail(err::kAccessDenied);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kCreate))) return Fail(e);
  if (!ValidName(config.name)) return Fail(err::kInvalidName);
  if (config.binaryPath.empty()) return Fail(err::kInvalidParameter);
  const std::wstring key = Key(config.name);
  if (const Service* existing = FindService(key))
    return Fail(existing->markedForDelete ? err::kServiceMarkedForDelete : err::kServiceExists);
  Service s;
  s.config = config;
  if (s.config.displayName.empty()) s.config.displayName = config.name;
  // As on Windows, the description is a separate step that needs the right to change the
  // configuration; without it the service is created with none.
  if (!(access & svc::kChangeConfig)) s.config.description.clear();
  services_[key] = std::move(s);
  ref = NewHandle(false, access, key);
  return kTrue;
}

BOOL SimulatedServiceManager::Open(const ServiceHandle& manager, const std::wstring& name, DWORD access,
                                   ServiceHandle& out) {
  ServiceHandleRef ref;
  if (!OpenRef(manager, name, access, ref)) return kFalse;
  out.reset(ref);
  return kTrue;
}

BOOL SimulatedServiceManager::OpenRef(const ServiceHandle& manager, const std::wstring& name, DWORD access,
                                         ServiceHandleRef& ref) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = handles_.find(reinterpret_cast<std::uintptr_t>(RawOf(manager)));
  if (it == handles_.end() || !it->second.isManager) return Fail(err::kInvalidHandle);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kOpen))) return Fail(e);
  if (!ValidName(name)) return Fail(err::kInvalidName);
  const std::wstring key = Key(name);
  if (!FindService(key)) return Fail(err::kServiceDoesNotExist);
  ref = NewHandle(false, access, key);
  return kTrue;
}

BOOL SimulatedServiceManager::Start(const ServiceHandle& service) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kStart, svc::kStart, s)) return kFalse;
  if (s->markedForDelete) return Fail(err::kServiceMarkedForDelete);
  if (s->config.startType == svc::kDisabled) return Fail(err::kServiceDisabled);
  if (s->state != svc::kStopped) return Fail(err::kServiceAlreadyRunning);
  s->state = svc::kRunning;
  s->processId = nextProcessId_++;
  return kTrue;
}

BOOL SimulatedServiceManager::Control(const ServiceHandle& service, DWORD code, ServiceStatus* status) {
  std::lock_guard<std::mutex> lock(mutex_);
  const DWORD right = RightForControl(code);
  if (right == 0) {
    // Codes the system reserves (shutdown, session change, ...) cannot be sent by a program.
    if (handles_.find(reinterpret_cast<std::uintptr_t>(RawOf(service))) == handles_.end())
      return Fail(err::kInvalidHandle);
    return Fail(err::kInvalidParameter);
  }
  Service* s = nullptr;
  if (!Enter(service, Op::kControl, right, s)) return kFalse;
  if (s->state == svc::kStopped) return Fail(err::kServiceNotActive);
  if (s->state != svc::kRunning) return Fail(err::kServiceCannotAcceptCtrl);
  if (code == svc::kControlPause || code == svc::kControlContinue) return Fail(err::kInvalidServiceControl);
  if (code != svc::kControlInterrogate) s->controls.push_back(code);
  if (code == svc::kControlStop) {
    if (s->stopDelay == 0) {
      s->state = svc::kStopped;
      s->processId = 0;
    } else {
      s->state = svc::kStopPending;
      s->pendingStop = s->stopDelay;
    }
  }
  if (status) *status = StatusOf(*s);
  return kTrue;
}

BOOL SimulatedServiceManager::QueryStatus(const ServiceHandle& service, ServiceStatus& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kQueryStatus, svc::kQueryStatus, s)) return kFalse;
  if (s->state == svc::kStopPending && s->pendingStop > 0 && --s->pendingStop == 0) {
    s->state = svc::kStopped;
    s->processId = 0;
  }
  out = StatusOf(*s);
  return kTrue;
}

BOOL SimulatedServiceManager::QueryConfig(const ServiceHandle& service, ServiceConfig& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kQueryConfig, svc::kQueryConfig, s)) return kFalse;
  out = s->config;
  out.name.clear();
  if (out.account.empty()) out.account = L"LocalSystem";
  return kTrue;
}

BOOL SimulatedServiceManager::ChangeStartType(const ServiceHandle& service, DWORD startType) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kChangeConfig, svc::kChangeConfig, s)) return kFalse;
  if (s->markedForDelete) return Fail(err::kServiceMarkedForDelete);
  if (startType > svc::kDisabled) return Fail(err::kInvalidParameter);
  s->config.startType = startType;
  return kTrue;
}

BOOL SimulatedServiceManager::SetDescription(const ServiceHandle& service, const std::wstring& description) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kChangeConfig, svc::kChangeConfig, s)) return kFalse;
  if (s->markedForDelete) return Fail(err::kServiceMarkedForDelete);
  s->config.description = description;
  return kTrue;
}

BOOL SimulatedServiceManager::Delete(const ServiceHandle& service) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kDelete, svc::kDelete, s)) return kFalse;
  if (s->markedForDelete) return Fail(err::kServiceMarkedForDelete);
  s->markedForDelete = true;
  return kTrue;
}

BOOL SimulatedServiceManager::SetSecurity(const ServiceHandle& service, const std::wstring& sddl) {
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  if (!Enter(service, Op::kSetSecurity, svc::kWriteDac, s)) return kFalse;
  if (!ValidDacl(sddl)) return Fail(err::kInvalidParameter);
  s->sddl = sddl;
  return kTrue;
}

BOOL SimulatedServiceManager::SetFailureActions(const ServiceHandle& service, const ServiceFailureActions& actions) {
  bool restarts = false;
  for (const ServiceRecoveryAction& a : actions.actions) {
    if (a.type > svc::kRecoverRunCommand) return Fail(err::kInvalidParameter);
    restarts = restarts || a.type == svc::kRecoverRestart;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  Service* s = nullptr;
  const DWORD needed = svc::kChangeConfig | (restarts ? svc::kStart : 0);
  if (!Enter(service, Op::kSetFailureActions, needed, s)) return kFalse;
  if (s->markedForDelete) return Fail(err::kServiceMarkedForDelete);
  s->failureActions = actions;
  return kTrue;
}

void SimulatedServiceManager::CloseRaw(void* raw) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = handles_.find(reinterpret_cast<std::uintptr_t>(raw));
  if (it == handles_.end()) {
    SetLastErrorCode(err::kInvalidHandle);
    return;
  }
  const std::wstring key = it->second.key;
  handles_.erase(it);
  if (!key.empty()) RemoveIfUnused(key);
}

#ifndef _WIN32
std::unique_ptr<ServiceManager> CreateSystemServiceManager() { return std::make_unique<SimulatedServiceManager>(); }
#endif

}  // namespace tv
