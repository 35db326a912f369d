// The agent needs window messages and input hooks; without Windows there is nothing to run.
#ifndef _WIN32

#include "agent/monitor.h"
#include "platform/last_error.h"

namespace tv {

int RunMonitor(DWORD, const std::wstring&) {
  SetLastErrorCode(err::kCallNotImplemented);
  return 1;
}

}  // namespace tv

#endif  // _WIN32
