#include "config_ui/service_access.h"

#include "config_ui/main_validation.h"
#include "platform/last_error.h"
#include "platform/service_manager.h"

namespace tv {

BOOL StartServiceAndWait(ServiceAccess& service, const std::function<void(DWORD)>& sleep) {
  if (!service.Start()) return kFalse;
  for (int poll = 0; poll < kServiceStartPolls; ++poll) {
    if (sleep) sleep(kServiceStartPollMs);
    DWORD state = 0;
    // A look that fails is not the end: the service manager may be busy with the start itself.
    if (service.QueryState(state) && state == svc::kRunning) return kTrue;
  }
  SetLastErrorCode(err::kServiceRequestTimeout);
  return kFalse;
}

}  // namespace tv
