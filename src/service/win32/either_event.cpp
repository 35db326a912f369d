// Waiting for the first of two events, Windows: one wait on both handles.
#include "platform/win32/windows_include.h"

#include "service/session_signals.h"

namespace tv {

DWORD WaitForEitherEvent(Event& first, Event& second, DWORD timeoutMs) {
  HANDLE handles[2] = {static_cast<HANDLE>(static_cast<void*>(first)), static_cast<HANDLE>(static_cast<void*>(second))};
  const DWORD result = ::WaitForMultipleObjects(2, handles, FALSE, timeoutMs);
  if (result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1) return result - WAIT_OBJECT_0;
  // A failed wait must not turn the caller's once-a-second loop into a spin.
  if (result == WAIT_FAILED) ::Sleep(timeoutMs);
  return WAIT_TIMEOUT;
}

}  // namespace tv
