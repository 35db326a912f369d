// Win32 service-manager helpers for tests that install the product's service under Wine.
#include "service_driver.h"

#ifdef _WIN32

#include "ui_driver.h"

namespace tv::test {
namespace {

// One service handle with its manager, closed together.
class OpenedService {
 public:
  OpenedService(const wchar_t* name, DWORD access) {
    manager_ = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (manager_) service_ = ::OpenServiceW(manager_, name, access);
  }
  ~OpenedService() {
    if (service_) ::CloseServiceHandle(service_);
    if (manager_) ::CloseServiceHandle(manager_);
  }
  OpenedService(const OpenedService&) = delete;
  OpenedService& operator=(const OpenedService&) = delete;
  SC_HANDLE Get() const { return service_; }

 private:
  SC_HANDLE manager_ = nullptr;
  SC_HANDLE service_ = nullptr;
};

}  // namespace

DWORD ServiceStateOf(const wchar_t* name) {
  OpenedService service(name, SERVICE_QUERY_STATUS);
  SERVICE_STATUS status{};
  return service.Get() && ::QueryServiceStatus(service.Get(), &status) ? status.dwCurrentState : 0;
}

bool SetServiceRunning(const wchar_t* name, bool run, DWORD limitMs) {
  {
    OpenedService service(name, SERVICE_START | SERVICE_STOP);
    SERVICE_STATUS status{};
    if (!service.Get()) return false;
    if (run ? !::StartServiceW(service.Get(), 0, nullptr)
            : !::ControlService(service.Get(), SERVICE_CONTROL_STOP, &status))
      return false;
  }
  const DWORD wanted = run ? SERVICE_RUNNING : SERVICE_STOPPED;
  return Eventually([&] { return ServiceStateOf(name) == wanted; }, limitMs);
}

bool WaitForAutomaticStarts(DWORD limitMs) {
  // A start request for a service that already runs is refused as "already running" once the
  // phase is over.
  return Eventually(
      [] {
        OpenedService service(L"RpcSs", SERVICE_START);
        return service.Get() && !::StartServiceW(service.Get(), 0, nullptr) &&
               ::GetLastError() != ERROR_SERVICE_DATABASE_LOCKED;
      },
      limitMs);
}

}  // namespace tv::test

#endif  // _WIN32
