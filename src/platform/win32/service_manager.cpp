// Win32 implementation of the service-manager seam over the service control manager API.
#include "platform/win32/windows_include.h"

#include <sddl.h>

#include <vector>

#include "platform/service_manager.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

void CopyStatus(const SERVICE_STATUS_PROCESS& s, ServiceStatus& out) {
  out.type = s.dwServiceType;
  out.state = s.dwCurrentState;
  out.controlsAccepted = s.dwControlsAccepted;
  out.win32ExitCode = s.dwWin32ExitCode;
  out.specificExitCode = s.dwServiceSpecificExitCode;
  out.checkPoint = s.dwCheckPoint;
  out.waitHint = s.dwWaitHint;
  out.processId = s.dwProcessId;
}

const wchar_t* OrNull(const std::wstring& s) { return s.empty() ? nullptr : s.c_str(); }

class Win32ServiceManager final : public ServiceManager {
 public:
  BOOL OpenManager(DWORD access, ServiceHandle& out) override {
    SC_HANDLE h = ::OpenSCManagerW(nullptr, nullptr, access);
    if (!h) return Fail(LastErrorOr(err::kGenFailure));
    out.reset(Ref(h));
    return kTrue;
  }

  BOOL Create(const ServiceHandle& manager, const ServiceConfig& config, DWORD access, ServiceHandle& out) override {
    SC_HANDLE m = Sc(manager);
    if (!m) return Fail(err::kInvalidHandle);
    SC_HANDLE h = ::CreateServiceW(m, config.name.c_str(), OrNull(config.displayName), access, config.type,
                                   config.startType, config.errorControl, config.binaryPath.c_str(), nullptr,
                                   nullptr, nullptr, OrNull(config.account), nullptr);
    if (!h) return Fail(LastErrorOr(err::kGenFailure));
    out.reset(Ref(h));
    if (!config.description.empty() && (access & svc::kChangeConfig)) {
      PreserveLastError keep;
      SetDescription(out, config.description);
    }
    SetLastErrorCode(err::kSuccess);
    return kTrue;
  }

  BOOL Open(const ServiceHandle& manager, const std::wstring& name, DWORD access, ServiceHandle& out) override {
    SC_HANDLE m = Sc(manager);
    if (!m) return Fail(err::kInvalidHandle);
    SC_HANDLE h = ::OpenServiceW(m, name.c_str(), access);
    if (!h) return Fail(LastErrorOr(err::kGenFailure));
    out.reset(Ref(h));
    return kTrue;
  }

  BOOL Start(const ServiceHandle& service) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    if (!::StartServiceW(s, 0, nullptr)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL Control(const ServiceHandle& service, DWORD code, ServiceStatus* status) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    SERVICE_STATUS raw{};
    if (!::ControlService(s, code, &raw)) return Fail(LastErrorOr(err::kGenFailure));
    if (status) {
      SERVICE_STATUS_PROCESS p{};
      p.dwServiceType = raw.dwServiceType;
      p.dwCurrentState = raw.dwCurrentState;
      p.dwControlsAccepted = raw.dwControlsAccepted;
      p.dwWin32ExitCode = raw.dwWin32ExitCode;
      p.dwServiceSpecificExitCode = raw.dwServiceSpecificExitCode;
      p.dwCheckPoint = raw.dwCheckPoint;
      p.dwWaitHint = raw.dwWaitHint;
      CopyStatus(p, *status);
    }
    return kTrue;
  }

  BOOL QueryStatus(const ServiceHandle& service, ServiceStatus& out) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    SERVICE_STATUS_PROCESS p{};
    ::DWORD needed = 0;
    if (!::QueryServiceStatusEx(s, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&p), sizeof(p), &needed))
      return Fail(LastErrorOr(err::kGenFailure));
    CopyStatus(p, out);
    return kTrue;
  }

  BOOL QueryConfig(const ServiceHandle& service, ServiceConfig& out) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    std::vector<BYTE> buffer;
    if (!QueryBuffer(buffer, [&](LPBYTE p, ::DWORD size, ::DWORD* needed) {
          return ::QueryServiceConfigW(s, reinterpret_cast<LPQUERY_SERVICE_CONFIGW>(p), size, needed);
        }))
      return kFalse;
    const auto* q = reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(buffer.data());
    ServiceConfig config;
    config.displayName = q->lpDisplayName ? q->lpDisplayName : L"";
    config.binaryPath = q->lpBinaryPathName ? q->lpBinaryPathName : L"";
    config.account = q->lpServiceStartName ? q->lpServiceStartName : L"";
    config.type = q->dwServiceType;
    config.startType = q->dwStartType;
    config.errorControl = q->dwErrorControl;
    // A system that cannot tell the description still has a usable configuration.
    std::vector<BYTE> text;
    if (QueryBuffer(text, [&](LPBYTE p, ::DWORD size, ::DWORD* needed) {
          return ::QueryServiceConfig2W(s, SERVICE_CONFIG_DESCRIPTION, p, size, needed);
        })) {
      const auto* d = reinterpret_cast<const SERVICE_DESCRIPTIONW*>(text.data());
      if (d->lpDescription) config.description = d->lpDescription;
    }
    out = std::move(config);
    SetLastErrorCode(err::kSuccess);
    return kTrue;
  }

  BOOL ChangeStartType(const ServiceHandle& service, DWORD startType) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    if (!::ChangeServiceConfigW(s, SERVICE_NO_CHANGE, startType, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr))
      return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL SetDescription(const ServiceHandle& service, const std::wstring& description) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    std::wstring text = description;
    SERVICE_DESCRIPTIONW d{text.data()};
    if (!::ChangeServiceConfig2W(s, SERVICE_CONFIG_DESCRIPTION, &d)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL SetSecurity(const ServiceHandle& service, const std::wstring& sddl) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    PSECURITY_DESCRIPTOR sd = nullptr;
    // Systems differ in the code for text that does not parse (Windows 87, Wine 1336); the seam
    // promises one.
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &sd, nullptr))
      return Fail(err::kInvalidParameter);
    const BOOL ok = ::SetServiceObjectSecurity(s, DACL_SECURITY_INFORMATION, sd);
    const ErrorCode error = ok ? err::kSuccess : LastErrorOr(err::kGenFailure);
    ::LocalFree(sd);
    if (!ok) return Fail(error);
    SetLastErrorCode(err::kSuccess);
    return kTrue;
  }

  BOOL SetFailureActions(const ServiceHandle& service, const ServiceFailureActions& actions) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    std::vector<SC_ACTION> steps;
    for (const ServiceRecoveryAction& a : actions.actions)
      steps.push_back({static_cast<SC_ACTION_TYPE>(a.type), a.delayMs});
    SERVICE_FAILURE_ACTIONSW f{};
    f.dwResetPeriod = actions.resetSeconds;
    f.cActions = static_cast<::DWORD>(steps.size());
    f.lpsaActions = steps.empty() ? nullptr : steps.data();
    if (!::ChangeServiceConfig2W(s, SERVICE_CONFIG_FAILURE_ACTIONS, &f)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL Delete(const ServiceHandle& service) override {
    SC_HANDLE s = Sc(service);
    if (!s) return Fail(err::kInvalidHandle);
    if (!::DeleteService(s)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

 protected:
  void CloseRaw(void* raw) override { ::CloseServiceHandle(static_cast<SC_HANDLE>(raw)); }

 private:
  SC_HANDLE Sc(const ServiceHandle& h) const { return static_cast<SC_HANDLE>(RawOf(h)); }

  // Runs a "buffer too small, here is the size" query until the buffer fits.
  template <class Query>
  static BOOL QueryBuffer(std::vector<BYTE>& buffer, Query query) {
    ::DWORD needed = 0;
    buffer.assign(512, 0);
    for (int round = 0; round < 4; ++round) {
      if (query(buffer.data(), static_cast<::DWORD>(buffer.size()), &needed)) return kTrue;
      if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER || needed <= buffer.size())
        return Fail(LastErrorOr(err::kGenFailure));
      buffer.assign(needed, 0);
    }
    return Fail(err::kInsufficientBuffer);
  }
};

}  // namespace

std::unique_ptr<ServiceManager> CreateSystemServiceManager() { return std::make_unique<Win32ServiceManager>(); }

}  // namespace tv
