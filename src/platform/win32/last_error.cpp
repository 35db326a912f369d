// Win32 implementation of the last-error slot: the thread's own GetLastError value.
#include "platform/last_error.h"
#include "platform/win32/windows_include.h"

namespace tv {

ErrorCode GetLastErrorCode() { return ::GetLastError(); }
void SetLastErrorCode(ErrorCode code) { ::SetLastError(code); }

}  // namespace tv
