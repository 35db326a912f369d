// The service's background thread: once a round (a second) it wakes, or earlier when the
// machine group policy changes, and hands that to the service's BackgroundWork; it ends when the
// service's quit flag is up. It deletes itself when done and clears the service's pointer to it.
#pragma once

#include <atomic>

#include "foundation/thread.h"
#include "service/background.h"

namespace tv {

class ServiceCore;

class TVThreadBkg : public CSThreadExAutoDelete {
 public:
  // `slot` is where the service keeps its pointer to this thread; the destructor clears it.
  TVThreadBkg(ServiceCore& core, std::atomic<TVThreadBkg*>& slot);
  ~TVThreadBkg() override;

  // The background decisions, named as the thread has always offered them.
  void RefreshDelayed(DWORD seconds);
  void BeginDelayedShutdown();
  void CancelDelayedShutdown();
  BOOL DoShutdown();

 protected:
  DWORD DoThreadEx() override;

 private:
  ServiceCore& core_;
  std::atomic<TVThreadBkg*>& slot_;
};

}  // namespace tv
