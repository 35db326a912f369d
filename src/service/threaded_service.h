// The service as it runs on Windows: one TVThread per monitored session and one TVThreadBkg.
#pragma once

#include <atomic>
#include <memory>

#include "service/service_core.h"
#include "service/tv_thread_bkg.h"
#include "service/work_queue.h"

namespace tv {

class ThreadedService final : public ServiceCore {
 public:
  explicit ThreadedService(const ServiceEnvironment& env);
  // Raises the quit flag and waits, without limit, until every thread of the service ended:
  // they refer to this object.
  ~ThreadedService() override;

  bool BackgroundRunning() const { return background_.load() != nullptr; }
  // Waits until the worker has run everything handed to it so far.
  void WaitForWork() { work_.WaitIdle(); }

 protected:
  BOOL LaunchMonitor(SessionId session, const std::wstring& account) override;
  BOOL LaunchBackground() override;
  void DrainThreads() override;
  void Submit(std::function<void()> work) override;
  void AbandonWork() override { work_.Close(); }

 private:
  bool AllThreadsGone() const;

  std::atomic<TVThreadBkg*> background_{nullptr};
  WorkQueue work_;
};

// A service object on real threads, for the plumbing to install with SetServiceInstance.
std::unique_ptr<ServiceCore> CreateThreadedService(const ServiceEnvironment& env);

}  // namespace tv
