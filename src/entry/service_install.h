// Installing, starting, stopping, controlling and removing the product's own service, and
// registering its event-log source: what the installer's one-shot modes ("/load", "/unload",
// "/uninstall-msi" and their silent forms) and the configuration utility do to the service.
// Everything goes through the service-manager and event-log seams, so the same logic runs on the
// simulated manager in tests and on the real one in the product.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "entry/process_paths.h"
#include "platform/event_log.h"
#include "platform/service_manager.h"
#include "platform/types.h"
#include "settings/my_opts.h"

namespace tv {

// The service's name, which is also its display name.
inline constexpr const wchar_t* kServiceName = L"Tarnvale";

// Access rights the installation asks for: query and change the configuration, start and write
// the DACL on creation; the same plus query status on an existing service; delete, stop and
// query status (0x10024) for removal.
inline constexpr DWORD kCreateAccess = svc::kQueryConfig | svc::kChangeConfig | svc::kStart | svc::kWriteDac;
inline constexpr DWORD kRestartAccess = kCreateAccess | svc::kQueryStatus;

// The service's DACL. The service manager's default lets interactive users send the service's own
// controls, so any user of a terminal server could quit the monitoring of every session (129) or
// flood reloads (128). Local system keeps what a service's own account needs plus start, stop and
// the controls; administrators get everything; interactive and authenticated users may only read
// the configuration and status, interrogate and read the DACL.
inline constexpr const wchar_t* kServiceSddl =
    L"D:(A;;CCLCSWRPWPDTLOCRRC;;;SY)(A;;CCDCLCSWRPWPDTLOCRSDRCWDWO;;;BA)(A;;CCLCLORC;;;IU)(A;;CCLCLORC;;;AU)";

// The service restarts a minute after its first and second failure; a third within a day is left
// for an administrator to look at, and a day without failures starts the count again.
inline constexpr DWORD kRecoveryDelayMs = 60 * 1000;
inline constexpr DWORD kRecoveryResetSeconds = 24 * 60 * 60;
ServiceFailureActions ProductFailureActions();
inline constexpr DWORD kRemoveAccess = svc::kDelete | svc::kStop | svc::kQueryStatus;

// How many times StopServiceAndWait looks for the stopped state, and the pause between looks.
inline constexpr int kStopWaitRounds = 10;
inline constexpr DWORD kStopWaitSliceMs = 1000;

// String-table entries the installation shows.
namespace msgid {
inline constexpr int kCannotRegister = 7;
inline constexpr int kCannotUnregister = 8;
inline constexpr int kAlreadyStarted = 9;
inline constexpr int kAlreadyStopped = 10;
inline constexpr int kStopsAfterRestart = 11;
inline constexpr int kStarted = 12;
inline constexpr int kStopped = 13;
inline constexpr int kCannotStart = 14;
inline constexpr int kCannotStop = 15;
inline constexpr int kNotInstalled = 16;
inline constexpr int kCannotCommunicate = 17;
}  // namespace msgid

// Pauses the calling thread; replaced in tests so that waiting costs nothing.
using SleepFunction = std::function<void(DWORD milliseconds)>;

// The service command the service manager stores: the launcher in `libraryFolder` (which ends in a
// separator) in double quotes, then " /service". An empty folder falls back to `executablePath`,
// the running program.
std::wstring MakeServiceCommand(const std::wstring& libraryFolder, const std::wstring& executablePath);

// The service plumbing over one service manager and one event log.
class ServiceInstaller {
 public:
  // `libraryFolder`: the folder of TV64.DLL with its trailing separator, or empty when it cannot
  // be formed. `executablePath`: the running program, used only when the folder is empty.
  // `settings`: where the settings record lives; when given, installing first writes the default
  // of every setting the product's key lacks (MyOpts::StoreMissingDefaults).
  ServiceInstaller(ServiceManager& manager, EventLog& eventLog, std::wstring libraryFolder,
                   std::wstring executablePath, SleepFunction sleep,
                   std::optional<MyOptsServices> settings = std::nullopt);

  // Completes the settings with their defaults (see the constructor), installs the service (or,
  // when it exists but is not running, makes it start automatically) and starts it, then
  // registers the event-log source. Settings that cannot be written fail the installation. The service gets kServiceSddl and
  // ProductFailureActions, an existing one too; a service that cannot get them counts as not
  // installed. Unless `silent`, tells the person that it started, that it was already running, or
  // why installing failed, offering Retry/Cancel. A failure leaves no half-installed service
  // behind. TRUE on success.
  BOOL InstallAndStartService(BOOL silent);

  // Stops the service (waiting for it) and marks it for deletion. FALSE with the error code in
  // the last-error slot (kServiceDoesNotExist, kServiceMarkedForDelete, ...) on failure.
  BOOL StopAndDeleteService();

  // The service's current state (svc::kStopped, svc::kRunning, ...). `state` is untouched on
  // failure.
  BOOL QueryServiceState(DWORD& state);

  // TRUE once the service behind `service` (opened with query-status and stop rights) is stopped:
  // at once if it is not running, else after a stop control and up to kStopWaitRounds looks
  // kStopWaitSliceMs apart. A stop that does not finish in time fails with
  // kServiceRequestTimeout.
  BOOL StopServiceAndWait(const ServiceHandle& service);

  // Makes `service` (opened with query- and change-configuration rights) start automatically.
  BOOL EnsureAutoStart(const ServiceHandle& service);

  // Sends control `code`: below 128 over a handle with the pause/continue right, from 128 on
  // with the user-defined-control right. TRUE if the service manager accepted it.
  BOOL SendServiceControl(DWORD code);

  // Stops and removes the service. A service that is already gone or already marked for deletion
  // counts as success; unless `silent` the person is told so, told of the removal, or offered
  // Retry/Cancel on a failure. TRUE on success.
  BOOL UninstallService(BOOL silent);

  // The command the service is (or would be) installed with.
  std::wstring ServiceCommand() const { return MakeServiceCommand(library_folder_, executable_path_); }

 private:
  // Sets the DACL and the recovery on `service` (opened with kCreateAccess).
  BOOL Secure(const ServiceHandle& service);
  // Secures the existing service and, unless it runs, makes it start automatically and starts it.
  // FALSE only when it could not be opened or secured.
  BOOL SecureAndStartExisting(DWORD state);

  ServiceManager& manager_;
  EventLog& event_log_;
  std::wstring library_folder_;
  std::wstring executable_path_;
  SleepFunction sleep_;
  std::optional<MyOptsServices> settings_;
};

// The same operations on this computer's service manager and event log, with the real folder of
// the library and a real sleep.
BOOL InstallAndStartService(BOOL silent);
BOOL StopAndDeleteService();
BOOL QueryServiceState(DWORD& state);
BOOL SendServiceControl(DWORD code);
BOOL UninstallService(BOOL silent);

}  // namespace tv
