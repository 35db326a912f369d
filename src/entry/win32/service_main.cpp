// Win32 service entry: the control dispatcher, the service main function and the control
// handler as static trampolines onto ServiceControlLoop, with an I/O completion port as the queue
// of control codes between the handler's thread and the dispatcher's.
#include "platform/win32/windows_include.h"

#include <atomic>
#include <memory>

#include "entry/process_paths.h"
#include "entry/service_dispatcher.h"
#include "entry/service_loop.h"
#include "service/service_env.h"
#include "service/threaded_service.h"
#include "platform/event_log.h"
#include "platform/last_error.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

// The service's name, writable as the dispatch table wants it.
wchar_t g_service_name[] = L"Tarnvale";
std::atomic<EventLog*> g_event_log{nullptr};

class CompletionPortQueue final : public ControlCodeQueue {
 public:
  CompletionPortQueue() : port_(::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)) {}
  bool valid() const { return port_.valid(); }

  BOOL Post(DWORD code) override {
    if (!::PostQueuedCompletionStatus(port_.get(), 0, code, nullptr)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL Wait(DWORD& code) override {
    ::DWORD bytes = 0;
    ULONG_PTR key = 0;
    OVERLAPPED* overlapped = nullptr;
    if (!::GetQueuedCompletionStatus(port_.get(), &bytes, &key, &overlapped, INFINITE))
      return Fail(LastErrorOr(err::kGenFailure));
    code = static_cast<DWORD>(key);
    return kTrue;
  }

 private:
  UniqueKernelHandle port_;
};

// The status handle of the run in progress; the reporter may be asked before registration
// returns, and then reports nothing.
std::atomic<SERVICE_STATUS_HANDLE> g_status_handle{nullptr};

void ReportToManager(const ServiceStatusRecord& s) {
  SERVICE_STATUS_HANDLE handle = g_status_handle.load();
  if (!handle) return;
  SERVICE_STATUS status{};
  status.dwServiceType = s.serviceType;
  status.dwCurrentState = s.currentState;
  status.dwControlsAccepted = s.controlsAccepted;
  status.dwWin32ExitCode = s.win32ExitCode;
  status.dwServiceSpecificExitCode = s.serviceSpecificExitCode;
  status.dwCheckPoint = s.checkPoint;
  status.dwWaitHint = s.waitHint;
  ::SetServiceStatus(handle, &status);
}

DWORD ProductCallback(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status) {
  return ServiceEventCallback(code, eventType, eventData, status);
}

::DWORD WINAPI HandlerTrampoline(::DWORD control, ::DWORD eventType, LPVOID eventData, LPVOID context) {
  try {
    return static_cast<ServiceControlLoop*>(context)->HandleControl(control, eventType, eventData);
  } catch (...) {
    return kControlNotImplemented;
  }
}

void WINAPI ServiceMainTrampoline(::DWORD, LPWSTR*) {
  try {
    CompletionPortQueue queue;
    if (!queue.valid()) return;
    ServiceControlLoop loop(ProductCallback, queue, ReportToManager);
    SERVICE_STATUS_HANDLE handle = ::RegisterServiceCtrlHandlerExW(g_service_name, HandlerTrampoline, &loop);
    if (!handle) return;
    g_status_handle.store(handle);
    loop.Run();
    // Stopped has been reported: the service manager sends nothing more to this loop.
    g_status_handle.store(nullptr);
  } catch (...) {
    // Nothing may unwind into the dispatcher.
  }
}

}  // namespace

EventLog* GetServiceEventLog() { return g_event_log.load(); }

BOOL RunServiceDispatcher() {
  std::unique_ptr<EventLog> log = CreateSystemEventLog(kEventSourceName);
  g_event_log.store(log.get());
  // The service starts its agents from the launcher beside this library.
  std::wstring folder;
  const std::wstring launcher = GetLibraryFolder(folder) ? folder + kLauncherFileName : std::wstring();
  SystemServiceSeams seams;
  std::unique_ptr<ServiceCore> service = CreateThreadedService(seams.Environment(launcher, log.get()));
  SetServiceInstance(service.get());

  SERVICE_TABLE_ENTRYW table[] = {{g_service_name, ServiceMainTrampoline}, {nullptr, nullptr}};
  const BOOL ok = ::StartServiceCtrlDispatcherW(table) ? kTrue : Fail(LastErrorOr(err::kGenFailure));

  PreserveLastError keep;
  SetServiceInstance(nullptr);
  service.reset();
  g_event_log.store(nullptr);
  return ok;
}

}  // namespace tv
