// Portable simulated service manager: an in-memory service table that follows the rules the
// product's install and removal logic meets on a real computer (access rights per operation and
// control code, "already running", "not active", marked for deletion until the last handle is
// closed, a stop that stays pending for a while), with faults on command and a count of open
// handles so that leaks show.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/portable/fault_plan.h"
#include "platform/service_manager.h"

namespace tv {

class SimulatedServiceManager final : public ServiceManager {
 public:
  enum class Op {
    kOpenManager,
    kCreate,
    kOpen,
    kStart,
    kControl,
    kQueryStatus,
    kQueryConfig,
    kChangeConfig,
    kDelete,
    kSetSecurity,
    kSetFailureActions,
  };

  SimulatedServiceManager() = default;
  ~SimulatedServiceManager() override = default;

  // --- Driving the table ---------------------------------------------------------------------

  // Installs a service as if someone else had (replacing one of that name).
  void AddService(const ServiceConfig& config, DWORD state = svc::kStopped);
  // Sets a service's state from outside (it crashed, it started by itself).
  void SetState(const std::wstring& name, DWORD state);
  // After a stop control the service reports kStopPending for `queries` status queries before
  // it is stopped (0, the default: it stops at once). A negative count never stops.
  void SetStopDelay(const std::wstring& name, int queries);
  void FailOp(Op op, ErrorCode error, int times = 1, int skip = 0);

  // --- Reading the table ---------------------------------------------------------------------

  bool HasService(const std::wstring& name) const;
  bool IsMarkedForDelete(const std::wstring& name) const;
  // The service's state, 0 when there is no such service.
  DWORD StateOf(const std::wstring& name) const;
  BOOL ConfigOf(const std::wstring& name, ServiceConfig& out) const;
  // The DACL text last set on the service ("" while it has the service manager's default).
  std::wstring SecurityOf(const std::wstring& name) const;
  // The recovery last set on the service (none by default).
  ServiceFailureActions FailureActionsOf(const std::wstring& name) const;
  // The control codes the service accepted, in order.
  std::vector<DWORD> ControlsReceived(const std::wstring& name) const;
  // Manager and service handles not closed yet.
  size_t OpenHandles() const;

  // --- ServiceManager ------------------------------------------------------------------------

  BOOL OpenManager(DWORD access, ServiceHandle& out) override;
  BOOL Create(const ServiceHandle& manager, const ServiceConfig& config, DWORD access, ServiceHandle& out) override;
  BOOL Open(const ServiceHandle& manager, const std::wstring& name, DWORD access, ServiceHandle& out) override;
  BOOL Start(const ServiceHandle& service) override;
  BOOL Control(const ServiceHandle& service, DWORD code, ServiceStatus* status = nullptr) override;
  BOOL QueryStatus(const ServiceHandle& service, ServiceStatus& out) override;
  BOOL QueryConfig(const ServiceHandle& service, ServiceConfig& out) override;
  BOOL ChangeStartType(const ServiceHandle& service, DWORD startType) override;
  BOOL SetDescription(const ServiceHandle& service, const std::wstring& description) override;
  BOOL Delete(const ServiceHandle& service) override;
  BOOL SetSecurity(const ServiceHandle& service, const std::wstring& sddl) override;
  BOOL SetFailureActions(const ServiceHandle& service, const ServiceFailureActions& actions) override;

 protected:
  void CloseRaw(void* raw) override;

 private:
  struct Service {
    ServiceConfig config;
    DWORD state = svc::kStopped;
    DWORD processId = 0;
    bool markedForDelete = false;
    int stopDelay = 0;     // queries a stop stays pending (configured)
    int pendingStop = 0;   // queries left in the current stop
    std::vector<DWORD> controls;
    std::wstring sddl;
    ServiceFailureActions failureActions;
  };
  struct OpenHandle {
    bool isManager;
    DWORD access;
    std::wstring key;  // the service's key; empty for a manager
  };

  static std::wstring Key(const std::wstring& name);
  Service* FindService(const std::wstring& key);
  const Service* FindService(const std::wstring& key) const;
  // The service behind handle `h`, checked for `needed` access rights and the injected fault.
  BOOL Enter(const ServiceHandle& h, Op op, DWORD needed, Service*& service);
  void RemoveIfUnused(const std::wstring& key);
  ServiceStatus StatusOf(const Service& s) const;
  ServiceHandleRef NewHandle(bool isManager, DWORD access, const std::wstring& key);
  BOOL CreateRef(const ServiceHandle& manager, const ServiceConfig& config, DWORD access, ServiceHandleRef& ref);
  BOOL OpenRef(const ServiceHandle& manager, const std::wstring& name, DWORD access, ServiceHandleRef& ref);

  mutable std::mutex mutex_;
  std::map<std::wstring, Service> services_;
  std::map<std::uintptr_t, OpenHandle> handles_;
  std::uintptr_t nextHandle_ = 0x100;
  DWORD nextProcessId_ = 4000;
  FaultPlan faults_;
};

}  // namespace tv
