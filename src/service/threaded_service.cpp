#include "service/threaded_service.h"

#include <chrono>
#include <new>
#include <thread>

#include "service/tv_thread.h"

namespace tv {

namespace {
// How many slices the stop sequence gives the threads to notice the quit flag.
constexpr int kDrainSlices = 10;
}  // namespace

ThreadedService::ThreadedService(const ServiceEnvironment& env) : ServiceCore(env) {}

ThreadedService::~ThreadedService() {
  RaiseQuit();
  // The item under way may still start a session's thread: it must be over before the wait for
  // the threads begins, or a thread could start after it.
  work_.Shutdown();
  while (!AllThreadsGone()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

bool ThreadedService::AllThreadsGone() const { return Registry().Count() == 0 && !BackgroundRunning(); }

void ThreadedService::Submit(std::function<void()> work) {
  // After the stop nothing is taken any more, which is what the stop wants.
  (void)work_.Post(std::move(work));
}

BOOL ThreadedService::LaunchMonitor(SessionId session, const std::wstring& account) {
  auto* thread = new (std::nothrow) TVThread(*this, session, account);
  if (!thread) return Fail(err::kNotEnoughMemory);
  if (!Registry().Add(thread->Monitor(), thread)) {
    delete thread;  // never started: nobody else holds it
    return kTrue;
  }
  if (!thread->Start()) {
    PreserveLastError keep;
    delete thread;  // the thread never ran, so it casts no vote
    return kFalse;
  }
  thread->DeleteIfDone();
  return kTrue;
}

BOOL ThreadedService::LaunchBackground() {
  if (BackgroundRunning()) return kTrue;
  auto* thread = new (std::nothrow) TVThreadBkg(*this, background_);
  if (!thread) return Fail(err::kNotEnoughMemory);
  background_.store(thread);
  if (!thread->Start()) {
    PreserveLastError keep;
    delete thread;
    return kFalse;
  }
  thread->DeleteIfDone();
  return kTrue;
}

void ThreadedService::DrainThreads() {
  // Up to ten slices in all, looked at more often so that the stop is not longer than it must be.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kDrainSlices * Environment().drainSliceMs);
  while (!AllThreadsGone() && std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::unique_ptr<ServiceCore> CreateThreadedService(const ServiceEnvironment& env) {
  return std::make_unique<ThreadedService>(env);
}

}  // namespace tv
