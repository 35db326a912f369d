// The one door between the service plumbing (control loop and handler, in entry/) and the
// service's behaviour (service/): every start, stop, session change and product control code
// arrives through ServiceEventCallback.
#pragma once

#include "platform/service_manager.h"
#include "platform/types.h"

namespace tv {

// The controls and session-change events the service's behaviour tells apart, beside the
// service manager's own states and controls (platform/service_manager.h).
namespace svc {
inline constexpr DWORD kControlInitialise = 0;  // the product's own: before the loop starts
inline constexpr DWORD kControlRun = 3;         // the first code the loop hands the callback
inline constexpr DWORD kControlParamChange = 6;
inline constexpr DWORD kControlSessionChange = 14;
inline constexpr DWORD kControlSettingsChanged = 128;
inline constexpr DWORD kControlQuitWork = 129;
// The product's own, like 0: the loop has reported the service running (and so able to hear
// session changes); beyond the range of real control codes.
inline constexpr DWORD kControlStarted = 0x10000;

inline constexpr DWORD kAcceptSessionChange = 0x80;

// Session-change event types (WTS_*).
inline constexpr DWORD kConsoleConnect = 1;
inline constexpr DWORD kConsoleDisconnect = 2;
inline constexpr DWORD kRemoteConnect = 3;
inline constexpr DWORD kRemoteDisconnect = 4;
inline constexpr DWORD kSessionLogon = 5;
inline constexpr DWORD kSessionLogoff = 6;
inline constexpr DWORD kSessionLock = 7;
inline constexpr DWORD kSessionUnlock = 8;
}  // namespace svc

// The service status record, field for field as SERVICE_STATUS.
struct ServiceStatusRecord {
  DWORD serviceType = 16;  // own process
  DWORD currentState = svc::kStopped;
  DWORD controlsAccepted = 0;
  DWORD win32ExitCode = 0;
  DWORD serviceSpecificExitCode = 0;
  DWORD checkPoint = 0;
  DWORD waitHint = 0;
};

// The event data of a session change, laid out as WTSSESSION_NOTIFICATION.
struct SessionNotification {
  DWORD size = sizeof(SessionNotification);
  DWORD sessionId = 0;
};

// Handles one service event: `code` is a control code (0 initialise, 3 run first time, 1 stop,
// 14 session change with `eventType` and `eventData` pointing at a SessionNotification, 128,
// 129, ...). May add controls to `status->controlsAccepted`. Answers the handler's result.
// Reaches the process's service object, which the dispatcher installs before the first call.
DWORD ServiceEventCallback(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status);

}  // namespace tv
