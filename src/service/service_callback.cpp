// The one door from the service plumbing into the service's behaviour.
#include <atomic>

#include "service/service_core.h"
#include "service/service_events.h"

namespace tv {

namespace {
std::atomic<ServiceCore*> g_service{nullptr};
}  // namespace

void SetServiceInstance(ServiceCore* service) { g_service.store(service); }

ServiceCore* GetServiceInstance() { return g_service.load(); }

DWORD ServiceEventCallback(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status) {
  ServiceCore* service = g_service.load();
  if (!service) return 0;
  return service->HandleEvent(code, eventType, eventData, status);
}

}  // namespace tv
