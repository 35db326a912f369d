// The service as it runs on Windows: one TVThread per monitored session and one TVThreadBkg.
#pragma once

#include <atomic>
#include <memory>

#include "service/service_core.h"
#include "service/tv_thread_bkg.h"

namespace tv {

class ThreadedService final : public ServiceCore {
 public:
  explicit ThreadedService(const ServiceEnvironment& env);
  // Raises the quit flag and waits, without limit, until every thread of the service ended:
  // they refer to this object.
  ~ThreadedService() override;

  bool BackgroundRunning() const { return background_.load() != nullptr; }

 protected:
  BOOL LaunchMonitor(SessionId session, const std::wstring& account) override;
  BOOL LaunchBackground() override;
  void DrainThreads() override;

 private:
  bool AllThreadsGone() const;

  std::atomic<TVThreadBkg*> background_{nullptr};
};

// A service object on real threads, for the plumbing to install with SetServiceInstance.
std::unique_ptr<ServiceCore> CreateThreadedService(const ServiceEnvironment& env);

}  // namespace tv
