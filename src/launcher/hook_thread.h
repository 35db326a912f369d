// The engine of TVH64.DLL: one thread of the library's own that installs the low-level keyboard
// and mouse hooks, pumps their messages and calls the agent's callback. The hook procedures only
// flag the input kind and wake the thread, so input is never held up by the agent.
#pragma once

#include "agent/hook_library.h"
#include "platform/win32/windows_include.h"

namespace tvh {

// Starts reporting to `callback` with `context`, or redirects reporting that runs already. On
// the reporting thread itself (inside the callback) it only redirects. 1 on success; 0 with the
// system's error code when the thread or the hooks could not be made.
BOOL StartReporting(tv::ActivityCallback callback, void* context);

// Stops reporting: no callback runs once it returns. Called from inside the callback, the
// thread ends as soon as the callback returns. Stopping what is not running succeeds.
BOOL StopReporting();

}  // namespace tvh
