// The session's agent ("/monitor"): one hidden window per desktop that turns the user's input,
// CPU load and session changes into signals of the session's idle event, shows the warning on
// request and tells the service when the session ends.
#pragma once

#include <string>

#include "foundation/app_message.h"
#include "platform/types.h"

namespace tv {

// The agent window's class and title; one window of it per desktop.
inline constexpr const wchar_t* kMonitorClassName = L"TARNVALE_MONITOR";

// Names of the service's events as the agent opens them, without the "Global\" namespace prefix:
// "TarnvaleEventIdle-<session>", "TarnvaleEventCancel-<session>", "TarnvaleEventQuit".
std::wstring AgentIdleEventName(DWORD session);
std::wstring AgentCancelEventName(DWORD session);
std::wstring AgentQuitEventName();

// Runs the agent for `session` until the service's quit event, command 301 or the end of the
// session. 0 also when another agent already runs on this desktop; 1 when the hook library is
// missing or damaged (after telling the user) or the window cannot be made. Windows only: the
// portable build answers 1 with err::kCallNotImplemented.
int RunMonitor(DWORD session);

}  // namespace tv
