// Portable stand-in for the service dispatcher: there is no service manager to hand the process
// to, so "/service" ends at once.
#ifndef _WIN32

#include "entry/service_dispatcher.h"
#include "platform/last_error.h"

namespace tv {

BOOL RunServiceDispatcher() { return Fail(err::kCallNotImplemented); }

EventLog* GetServiceEventLog() { return nullptr; }

}  // namespace tv

#endif  // !_WIN32
