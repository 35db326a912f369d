// The service's own worker: one thread that runs the work handed to it, one item at a time, in
// the order it was handed in. The service manager's handler thread must return at once; what a
// control or a session change asks for (reading the settings, asking a domain controller about
// groups, starting a session's thread) can take seconds, and on a morning log-on storm with a
// slow controller it would hold every later notification and the stop request behind it.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tv {

class WorkQueue {
 public:
  WorkQueue() = default;
  // Stops taking work, drops what waits and waits for the item that runs (if any).
  ~WorkQueue();
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  // Hands `work` to the worker (started with the first item). FALSE, dropping it, once Close
  // was called or when no thread can be started.
  bool Post(std::function<void()> work);
  // Takes no more work and drops what waits; the item that runs finishes on its own. Never
  // waits, so a stop never waits behind a slow item.
  void Close();
  // Waits until the worker has nothing left to run (for tests and orderly ends).
  void WaitIdle();
  // Close, then waits for the item that runs and the thread's end.
  void Shutdown();

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> items_;
  bool closed_ = false;
  bool busy_ = false;
  std::thread thread_;
};

}  // namespace tv
