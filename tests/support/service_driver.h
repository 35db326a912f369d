// The service manager as a Windows test under Wine sees it: a service's state, stopping and
// starting it behind the product's back, and the end of the boot phase in which starts are refused.
#pragma once

#ifdef _WIN32

#include "platform/win32/windows_include.h"

namespace tv::test {

// The service's current state (SERVICE_RUNNING, ...), 0 when there is no such service.
::DWORD ServiceStateOf(const wchar_t* name);

// Asks the service manager to start (`run`) or stop the service and waits up to `limitMs` for
// the state; false when the request was refused or the state did not come.
bool SetServiceRunning(const wchar_t* name, bool run, ::DWORD limitMs);

// After boot the service manager starts the automatic services one by one and refuses every
// other start meanwhile (ERROR_SERVICE_DATABASE_LOCKED). Waits up to `limitMs` for that to end.
bool WaitForAutomaticStarts(::DWORD limitMs);

}  // namespace tv::test

#endif  // _WIN32
