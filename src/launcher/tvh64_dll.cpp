// The hook library TVH64.DLL: reports keyboard and mouse input in the session to the agent
// through its one export. Kept apart from TV64.DLL so that the agent can run (and be told that
// the hooks are missing) without it.
#include "launcher/hook_thread.h"

extern "C" __declspec(dllexport) BOOL DoDllHook(tv::ActivityCallback callback, void* context) {
  try {
    if (!callback && !context) return tvh::StopReporting();
    return tvh::StartReporting(callback, context);
  } catch (...) {
    // Out of resources for a lock: the agent then runs without input reports.
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
}
