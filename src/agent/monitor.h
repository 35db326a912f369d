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
// "TarnvaleEventIdle-<session>[-<tag>]", "TarnvaleEventCancel-<session>[-<tag>]" and the
// session's quit event "TarnvaleEventQuit[-<tag>]". An empty tag gives the plain names, which an
// agent started by hand looks for.
std::wstring AgentIdleEventName(DWORD session, const std::wstring& tag = {});
std::wstring AgentCancelEventName(DWORD session, const std::wstring& tag = {});
std::wstring AgentQuitEventName(const std::wstring& tag = {});
// The session's reload event; there is none without a tag.
std::wstring AgentReloadEventName(DWORD session, const std::wstring& tag);

// Runs the agent for `session` with the service's objects of `tag` until the session's quit
// event (also while a warning is open), command 301 or the end of the session. 0 also when
// another agent already runs on this desktop; 1 when the hook library is missing or damaged
// (after telling the user) or the window cannot be made. Windows only: the portable build
// answers 1 with err::kCallNotImplemented.
int RunMonitor(DWORD session, const std::wstring& tag = {});

}  // namespace tv
