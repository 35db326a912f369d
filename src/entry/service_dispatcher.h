// Running the process as the service: hands it to the service manager's control dispatcher,
// which calls the service main function, which runs the control loop over the product's service
// event callback.
#pragma once

#include "platform/types.h"

namespace tv {

class EventLog;

// Runs the service "Tarnvale" until the service manager stops it. FALSE (with the error code)
// when the process was not started by the service manager or the dispatcher could not start;
// the portable build has no service manager and always answers FALSE (kCallNotImplemented).
BOOL RunServiceDispatcher();

// The event log the service process writes to while RunServiceDispatcher runs; null before and
// after.
EventLog* GetServiceEventLog();

}  // namespace tv
