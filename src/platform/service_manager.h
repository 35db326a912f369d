// The service-manager seam: installing, starting, stopping, controlling and removing a Windows
// service, as the installer's one-shot modes and the configuration utility need it.
// SimulatedServiceManager (platform/portable/service_manager.h) keeps an in-memory service table
// that follows the service manager's rules (access rights, marked-for-delete, stop pending).
//
// Handles are ServiceHandle owners: closed exactly once, by the manager that opened them, without
// losing the error code of a failure on the way out. Operations answer 1 or 0 with the error code
// in the last-error slot.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "platform/types.h"
#include "platform/unique_handle.h"

namespace tv {

// Values of the service manager's own constants.
namespace svc {
// Access rights on the manager.
inline constexpr DWORD kManagerConnect = 0x0001;
inline constexpr DWORD kManagerCreateService = 0x0002;
// Access rights on a service.
inline constexpr DWORD kQueryConfig = 0x0001;
inline constexpr DWORD kChangeConfig = 0x0002;
inline constexpr DWORD kQueryStatus = 0x0004;
inline constexpr DWORD kStart = 0x0010;
inline constexpr DWORD kStop = 0x0020;
inline constexpr DWORD kPauseContinue = 0x0040;
inline constexpr DWORD kInterrogate = 0x0080;
inline constexpr DWORD kUserDefinedControl = 0x0100;
inline constexpr DWORD kDelete = 0x10000;
inline constexpr DWORD kReadControl = 0x20000;
inline constexpr DWORD kWriteDac = 0x40000;
// Control codes (128..255 are the service's own).
inline constexpr DWORD kControlStop = 1;
inline constexpr DWORD kControlPause = 2;
inline constexpr DWORD kControlContinue = 3;
inline constexpr DWORD kControlInterrogate = 4;
inline constexpr DWORD kControlShutdown = 5;
// Current states.
inline constexpr DWORD kStopped = 1;
inline constexpr DWORD kStartPending = 2;
inline constexpr DWORD kStopPending = 3;
inline constexpr DWORD kRunning = 4;
inline constexpr DWORD kContinuePending = 5;
inline constexpr DWORD kPausePending = 6;
inline constexpr DWORD kPaused = 7;
// Configuration values.
inline constexpr DWORD kOwnProcess = 0x10;
inline constexpr DWORD kAutoStart = 2;
inline constexpr DWORD kDemandStart = 3;
inline constexpr DWORD kDisabled = 4;
inline constexpr DWORD kErrorNormal = 1;
// Controls a running service accepts.
inline constexpr DWORD kAcceptStop = 0x01;
// What the service manager does when the service ends without reporting that it stopped
// (SC_ACTION_TYPE).
inline constexpr DWORD kRecoverNone = 0;
inline constexpr DWORD kRecoverRestart = 1;
inline constexpr DWORD kRecoverReboot = 2;
inline constexpr DWORD kRecoverRunCommand = 3;
}  // namespace svc

namespace err {
inline constexpr ErrorCode kInvalidServiceControl = 1052;  // ERROR_INVALID_SERVICE_CONTROL
inline constexpr ErrorCode kServiceRequestTimeout = 1053;  // ERROR_SERVICE_REQUEST_TIMEOUT: no answer in time
inline constexpr ErrorCode kServiceDisabled = 1058;        // ERROR_SERVICE_DISABLED
inline constexpr ErrorCode kServiceCannotAcceptCtrl = 1061;  // ERROR_SERVICE_CANNOT_ACCEPT_CTRL
}  // namespace err

// What a service is created with and what QueryConfig reads back. An empty account means the
// local system account.
struct ServiceConfig {
  std::wstring name;
  std::wstring displayName;
  std::wstring binaryPath;  // the whole command line, quotes included
  std::wstring description;
  std::wstring account;
  DWORD type = svc::kOwnProcess;
  DWORD startType = svc::kAutoStart;
  DWORD errorControl = svc::kErrorNormal;
};

// SERVICE_STATUS_PROCESS's fields.
struct ServiceStatus {
  DWORD type = 0;
  DWORD state = 0;
  DWORD controlsAccepted = 0;
  DWORD win32ExitCode = 0;
  DWORD specificExitCode = 0;
  DWORD checkPoint = 0;
  DWORD waitHint = 0;
  DWORD processId = 0;
};

// One step of a service's recovery: the n-th failure within a reset period takes the n-th action
// (the last one for every later failure), after `delayMs`.
struct ServiceRecoveryAction {
  DWORD type = svc::kRecoverNone;
  DWORD delayMs = 0;
  bool operator==(const ServiceRecoveryAction& o) const { return type == o.type && delayMs == o.delayMs; }
};

// SERVICE_FAILURE_ACTIONS without the reboot message and the command: the failure count goes back
// to 0 after `resetSeconds` without a failure.
struct ServiceFailureActions {
  DWORD resetSeconds = 0;
  std::vector<ServiceRecoveryAction> actions;
  bool operator==(const ServiceFailureActions& o) const {
    return resetSeconds == o.resetSeconds && actions == o.actions;
  }
};

class ServiceManager;

// A manager or service handle together with the manager that must close it.
struct ServiceHandleRef {
  ServiceManager* owner = nullptr;
  void* raw = nullptr;
  bool operator==(const ServiceHandleRef& o) const { return owner == o.owner && raw == o.raw; }
};
struct ServiceHandleTraits {
  using Handle = ServiceHandleRef;
  static Handle Invalid() { return {}; }
  static bool IsValid(const Handle& h) { return h.raw != nullptr; }
  static void Close(const Handle& h);
};
using ServiceHandle = UniqueHandle<ServiceHandleTraits>;

class ServiceManager {
 public:
  virtual ~ServiceManager() = default;

  // Connects to this computer's service manager with `access` (svc::kManager*).
  virtual BOOL OpenManager(DWORD access, ServiceHandle& out) = 0;

  // Creates the service `config` describes and opens it with `access`. A non-empty description
  // is set as well when `access` allows changing the configuration; a description that cannot be
  // set does not undo the creation. kServiceExists when the name is taken,
  // kServiceMarkedForDelete while an earlier one of that name is still being removed.
  virtual BOOL Create(const ServiceHandle& manager, const ServiceConfig& config, DWORD access,
                      ServiceHandle& out) = 0;

  // Opens the service `name` with `access` (kServiceDoesNotExist when there is none).
  virtual BOOL Open(const ServiceHandle& manager, const std::wstring& name, DWORD access, ServiceHandle& out) = 0;

  // Starts the service without arguments; returns once the start was requested.
  virtual BOOL Start(const ServiceHandle& service) = 0;

  // Sends control `code`; `status` (optional) receives the status the service answered with.
  // The handle needs the right the code belongs to: kStop for 1, kPauseContinue for 2, 3 and
  // 6..10, kInterrogate for 4, kUserDefinedControl for 128..255.
  virtual BOOL Control(const ServiceHandle& service, DWORD code, ServiceStatus* status = nullptr) = 0;

  virtual BOOL QueryStatus(const ServiceHandle& service, ServiceStatus& out) = 0;

  // The stored configuration (the name stays empty: the service manager does not report it).
  virtual BOOL QueryConfig(const ServiceHandle& service, ServiceConfig& out) = 0;

  virtual BOOL ChangeStartType(const ServiceHandle& service, DWORD startType) = 0;
  virtual BOOL SetDescription(const ServiceHandle& service, const std::wstring& description) = 0;

  // Replaces the service's DACL by the one the security-descriptor text `sddl` spells ("D:(A;;...;;;SY)...").
  // Needs svc::kWriteDac; text that does not parse fails with kInvalidParameter and changes nothing.
  virtual BOOL SetSecurity(const ServiceHandle& service, const std::wstring& sddl) = 0;

  // Sets what the service manager does after the service fails. Needs svc::kChangeConfig, and
  // svc::kStart as well when an action restarts the service.
  virtual BOOL SetFailureActions(const ServiceHandle& service, const ServiceFailureActions& actions) = 0;

  // Marks the service for deletion; it goes once it is stopped and every handle to it is closed.
  virtual BOOL Delete(const ServiceHandle& service) = 0;

 protected:
  friend struct ServiceHandleTraits;
  // Closes a handle this manager handed out.
  virtual void CloseRaw(void* raw) = 0;

  // The owner of a handle this manager opens.
  ServiceHandleRef Ref(void* raw) { return {this, raw}; }
  // The raw handle of `h`, or null when `h` is empty or was opened by another manager.
  void* RawOf(const ServiceHandle& h) const { return h.get().owner == this ? h.get().raw : nullptr; }
};

inline void ServiceHandleTraits::Close(const Handle& h) {
  if (h.owner) h.owner->CloseRaw(h.raw);
}

// The computer's own service manager on Windows; an empty simulated one elsewhere.
std::unique_ptr<ServiceManager> CreateSystemServiceManager();

}  // namespace tv
