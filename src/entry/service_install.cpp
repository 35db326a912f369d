#include "entry/service_install.h"

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "entry/error_text.h"
#include "entry/process_paths.h"
#include "foundation/string_table.h"
#include "platform/message_box.h"

namespace tv {
namespace {

// Windows' button set and answer for the Retry/Cancel boxes (MB_RETRYCANCEL, IDRETRY).
constexpr int kMsgRetryCancel = 5;
constexpr int kAnswerRetry = 4;

// A string-table message with an information icon (MB_ICONINFORMATION, 64).
void Msg(int id) { ShowMessage(nullptr, LoadStr(id), MsgIcon::kInformation, kMsgOk); }

// A string-table message followed by a blank line and the system's text for `error`, as an
// error box with Retry and Cancel (16 | 5 = 21). Answers TRUE when the person chose Retry.
// Anything else, including a box that could not be shown, gives up: a service account without a
// desktop must not loop.
BOOL MsgLastError(int id, ErrorCode error) {
  std::wstring text = LoadStr(id);
  text += L"\n\n";
  text += SystemErrorText(error);
  return ShowMessage(nullptr, text, MsgIcon::kError, kMsgRetryCancel) == kAnswerRetry ? kTrue : kFalse;
}

ServiceConfig ProductServiceConfig(const std::wstring& command) {
  ServiceConfig config;
  config.name = kServiceName;
  config.displayName = kServiceName;
  config.binaryPath = command;
  config.type = svc::kOwnProcess;
  config.startType = svc::kAutoStart;
  config.errorControl = svc::kErrorNormal;
  return config;
}

}  // namespace

ServiceFailureActions ProductFailureActions() {
  ServiceFailureActions f;
  f.resetSeconds = kRecoveryResetSeconds;
  f.actions = {{svc::kRecoverRestart, kRecoveryDelayMs},
               {svc::kRecoverRestart, kRecoveryDelayMs},
               {svc::kRecoverNone, 0}};
  return f;
}

std::wstring MakeServiceCommand(const std::wstring& libraryFolder, const std::wstring& executablePath) {
  const std::wstring program = libraryFolder.empty() ? executablePath : libraryFolder + kLauncherFileName;
  return L"\"" + program + L"\" /service";
}

ServiceInstaller::ServiceInstaller(ServiceManager& manager, EventLog& eventLog, std::wstring libraryFolder,
                                   std::wstring executablePath, SleepFunction sleep,
                                   std::optional<MyOptsServices> settings)
    : manager_(manager),
      event_log_(eventLog),
      library_folder_(std::move(libraryFolder)),
      executable_path_(std::move(executablePath)),
      sleep_(std::move(sleep)),
      settings_(std::move(settings)) {}

BOOL ServiceInstaller::QueryServiceState(DWORD& state) {
  ServiceHandle manager;
  if (!manager_.OpenManager(svc::kManagerConnect, manager)) return kFalse;
  ServiceHandle service;
  if (!manager_.Open(manager, kServiceName, svc::kQueryStatus, service)) return kFalse;
  ServiceStatus status;
  if (!manager_.QueryStatus(service, status)) return kFalse;
  state = status.state;
  return kTrue;
}

BOOL ServiceInstaller::StopServiceAndWait(const ServiceHandle& service) {
  ServiceStatus status;
  if (!manager_.QueryStatus(service, status)) return kFalse;
  if (status.state != svc::kRunning) {
    if (status.state == svc::kStopped) return kTrue;
    // Already on its way somewhere (stop pending, start pending): not ours to wait for.
    return Fail(err::kServiceCannotAcceptCtrl);
  }
  if (!manager_.Control(service, svc::kControlStop, &status)) {
    // The service may have stopped by itself between the query and the control; any other
    // refusal will not go away by waiting.
    const ErrorCode error = GetLastErrorCode();
    if (error != err::kServiceNotActive) return kFalse;
    if (!manager_.QueryStatus(service, status)) return kFalse;
  }
  for (int round = 0; round < kStopWaitRounds; ++round) {
    if (status.state == svc::kStopped) return kTrue;
    if (sleep_) sleep_(kStopWaitSliceMs);
    if (!manager_.QueryStatus(service, status)) return kFalse;
  }
  if (status.state == svc::kStopped) return kTrue;
  return Fail(err::kServiceRequestTimeout);
}

BOOL ServiceInstaller::EnsureAutoStart(const ServiceHandle& service) {
  ServiceConfig config;
  if (!manager_.QueryConfig(service, config)) return kFalse;
  if (config.startType == svc::kAutoStart) return kTrue;
  return manager_.ChangeStartType(service, svc::kAutoStart);
}

BOOL ServiceInstaller::StopAndDeleteService() {
  ServiceHandle manager;
  if (!manager_.OpenManager(svc::kManagerConnect, manager)) return kFalse;
  ServiceHandle service;
  if (!manager_.Open(manager, kServiceName, kRemoveAccess, service)) return kFalse;
  if (!StopServiceAndWait(service)) return kFalse;
  if (!manager_.Delete(service)) return kFalse;
  SetLastErrorCode(err::kSuccess);
  return kTrue;
}

BOOL ServiceInstaller::SendServiceControl(DWORD code) {
  ServiceHandle manager;
  if (!manager_.OpenManager(svc::kManagerConnect, manager)) return kFalse;
  const DWORD access = code < 128 ? svc::kPauseContinue : svc::kUserDefinedControl;
  ServiceHandle service;
  if (!manager_.Open(manager, kServiceName, access, service)) return kFalse;
  ServiceStatus status;
  return manager_.Control(service, code, &status);
}

BOOL ServiceInstaller::Secure(const ServiceHandle& service) {
  return manager_.SetSecurity(service, kServiceSddl) && manager_.SetFailureActions(service, ProductFailureActions());
}

// An existing service may come from a version installed with the service manager's default DACL,
// so it is secured whatever its state. Whether the start itself worked is not the installation's
// concern (the service manager logs it), so only the attempt is made.
BOOL ServiceInstaller::SecureAndStartExisting(DWORD state) {
  ServiceHandle manager;
  if (!manager_.OpenManager(svc::kManagerConnect, manager)) return kFalse;
  ServiceHandle service;
  if (!manager_.Open(manager, kServiceName, kRestartAccess, service)) return kFalse;
  if (!Secure(service)) return kFalse;
  if (state != svc::kRunning) {
    (void)EnsureAutoStart(service);
    (void)manager_.Start(service);
  }
  SetLastErrorCode(err::kSuccess);
  return kTrue;
}

BOOL ServiceInstaller::InstallAndStartService(BOOL silent) {
  const ServiceConfig config = ProductServiceConfig(ServiceCommand());
  bool retry = false;
  for (;;) {
    // The service reads the settings as it starts, so they are complete before it can.
    const BOOL seeded = !settings_ || MyOpts(*settings_).StoreMissingDefaults();
    if (seeded) {
      ServiceHandle manager;
      if (manager_.OpenManager(svc::kManagerCreateService, manager)) {
        ServiceHandle service;
        if (manager_.Create(manager, config, kCreateAccess, service)) {
          // A service that would run with the default DACL is not started at all.
          const BOOL started = Secure(service) && manager_.Start(service);
          service.reset();
          manager.reset();
          if (started) {
            if (!silent && !retry) Msg(msgid::kStarted);
            break;
          }
        }
      }
    }
    const ErrorCode error = GetLastErrorCode();
    if (seeded && error == err::kServiceExists) {
      DWORD state = 0;
      if (!QueryServiceState(state)) {
        // The state could not be read: treat it as any other failure, with the original error.
        SetLastErrorCode(error);
      } else if (SecureAndStartExisting(state)) {
        if (state == svc::kRunning && !silent) Msg(msgid::kAlreadyStarted);
        break;
      }
    }
    const ErrorCode failure = GetLastErrorCode();
    if (silent || !MsgLastError(msgid::kCannotRegister, failure)) {
      (void)StopAndDeleteService();
      SetLastErrorCode(failure);
      return kFalse;
    }
    retry = true;
  }
  // The texts live in TV64.DLL beside the launcher; a log without them still records the events,
  // so a failed registration does not fail the installation.
  {
    PreserveLastError keep;
    (void)event_log_.RegisterSource(library_folder_ + kLibraryFileName);
  }
  return kTrue;
}

BOOL ServiceInstaller::UninstallService(BOOL silent) {
  bool retry = false;
  for (;;) {
    SetLastErrorCode(err::kSuccess);
    if (StopAndDeleteService()) {
      if (!silent && !retry) Msg(msgid::kStopped);
      return kTrue;
    }
    const ErrorCode error = GetLastErrorCode();
    if (error == err::kServiceDoesNotExist) {
      if (!silent) Msg(msgid::kAlreadyStopped);
      return kTrue;
    }
    if (error == err::kServiceMarkedForDelete) {
      if (!silent) Msg(msgid::kStopsAfterRestart);
      return kTrue;
    }
    if (silent || !MsgLastError(msgid::kCannotUnregister, error)) {
      SetLastErrorCode(error);
      return kFalse;
    }
    retry = true;
  }
}

// --- This computer ------------------------------------------------------------------------------

namespace {

ServiceInstaller& SystemInstaller() {
  struct Parts {
    std::unique_ptr<ServiceManager> manager = CreateSystemServiceManager();
    std::unique_ptr<EventLog> log = CreateSystemEventLog();
    std::wstring folder;
    std::wstring executable;
    std::unique_ptr<ServiceInstaller> installer;
    Parts() {
      if (!GetLibraryFolder(folder)) folder.clear();
      if (!GetExecutablePath(executable)) executable = kLauncherFileName;
      installer = std::make_unique<ServiceInstaller>(
          *manager, *log, folder, executable,
          [](DWORD ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }, MyOptsServices{});
    }
  };
  static Parts parts;
  return *parts.installer;
}

}  // namespace

BOOL InstallAndStartService(BOOL silent) { return SystemInstaller().InstallAndStartService(silent); }
BOOL StopAndDeleteService() { return SystemInstaller().StopAndDeleteService(); }
BOOL QueryServiceState(DWORD& state) { return SystemInstaller().QueryServiceState(state); }
BOOL SendServiceControl(DWORD code) { return SystemInstaller().SendServiceControl(code); }
BOOL UninstallService(BOOL silent) { return SystemInstaller().UninstallService(silent); }

}  // namespace tv
