// What the configuration utility does to the service, behind a seam: the utility sits below the
// service plumbing it drives, which hands it an implementation at start. The waiting after a
// start is decided here, on any implementation and any sleep, so it is tested without a service.
#pragma once

#include <functional>

#include "platform/types.h"

namespace tv {

class ServiceAccess {
 public:
  virtual ~ServiceAccess() = default;
  // The service's current state (1 stopped ... 4 running); `state` untouched on failure.
  virtual BOOL QueryState(DWORD& state) = 0;
  // Starts the service, installing it first when it is missing; tells the administrator nothing.
  virtual BOOL Start() = 0;
  // Stops and removes the service, telling the administrator how that went and offering Retry.
  virtual BOOL StopAndRemove() = 0;
  // Sends control `code` (128: reload the settings).
  virtual BOOL SendControl(DWORD code) = 0;
};

// Starts the service and looks at its state every kServiceStartPollMs, at most kServiceStartPolls
// times, until it runs. TRUE once it runs; FALSE when the start failed (its error code stays) or
// the service was not running after the last look.
BOOL StartServiceAndWait(ServiceAccess& service, const std::function<void(DWORD)>& sleep);

}  // namespace tv
