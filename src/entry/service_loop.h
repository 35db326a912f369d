// The service control loop and its control handler, as logic without the service manager: the
// dispatcher thread runs ServiceControlLoop::Run, the service manager's handler thread calls
// HandleControl, and both turn what arrives into calls of the service's event callback. The
// Win32 side only supplies the queue (a completion port), the status reporter (SetServiceStatus)
// and the trampolines; tests drive the same object with an in-memory queue.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "platform/types.h"
#include "service/service_events.h"

namespace tv {

// The service's event callback, as the loop calls it (ServiceEventCallback in the product).
using ServiceCallback = std::function<DWORD(DWORD code, DWORD eventType, void* eventData, ServiceStatusRecord* status)>;

// Reports a status to the service manager; empty when the process runs outside it.
using StatusReporter = std::function<void(const ServiceStatusRecord& status)>;

// The handler's answers: done, and "this control is not handled" (ERROR_CALL_NOT_IMPLEMENTED).
inline constexpr DWORD kControlHandled = 0;
inline constexpr DWORD kControlNotImplemented = 120;

// The wait hint reported while a transition is pending.
inline constexpr DWORD kPendingWaitHintMs = 2000;

// Where the handler leaves the codes that the dispatcher thread must act on.
class ControlCodeQueue {
 public:
  virtual ~ControlCodeQueue() = default;
  // Appends `code`; FALSE when the queue cannot take it.
  virtual BOOL Post(DWORD code) = 0;
  // Blocks until a code is there and takes the oldest; FALSE when the queue is broken.
  virtual BOOL Wait(DWORD& code) = 0;
};

// A queue in memory, for tests and for running the loop outside the service manager.
class InMemoryCodeQueue final : public ControlCodeQueue {
 public:
  BOOL Post(DWORD code) override;
  BOOL Wait(DWORD& code) override;

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<DWORD> codes_;
};

// The state a pending state settles in when the callback has done its part: start and continue
// pending become running, stop pending stopped, pause pending paused; any other state stays.
DWORD CompletedState(DWORD state);

// What the handler does with a control, decided from the current state alone.
enum class ControlAction {
  kRefuse,           // answer kControlNotImplemented, change nothing
  kBeginTransition,  // enter `pendingState` and leave the code to the dispatcher thread
  kInterrogate,      // report the status as it is
  kPassThrough,      // hand to the callback on the handler's thread, answer its result
  kPassAndReport,    // the same, then report the status
};
struct ControlDecision {
  ControlAction action = ControlAction::kRefuse;
  DWORD pendingState = 0;
};
ControlDecision DecideControl(DWORD currentState, DWORD control);

// One service run: from start pending until stopped.
class ServiceControlLoop {
 public:
  // The status starts as own process, start pending, accepting stop, wait hint 2000.
  ServiceControlLoop(ServiceCallback callback, ControlCodeQueue& queue, StatusReporter reporter);
  ServiceControlLoop(const ServiceControlLoop&) = delete;
  ServiceControlLoop& operator=(const ServiceControlLoop&) = delete;

  // The dispatcher thread's part: reports start pending, calls the callback with 0 (initialise),
  // then with 3 (run), then with each queued code, completing the pending transition after each,
  // until the service is stopped. A broken queue ends the run as stopped.
  void Run();

  // The control handler (service manager's thread). Answers kControlHandled,
  // kControlNotImplemented or the callback's result.
  DWORD HandleControl(DWORD control, DWORD eventType, void* eventData);

  // A copy of the status as it stands.
  ServiceStatusRecord Status() const;

 private:
  // Calls the callback with a copy of the status and keeps the changes it made.
  DWORD Call(DWORD code, DWORD eventType, void* eventData);
  void CompleteTransition();
  // Reports the pending start with the next checkpoint.
  void ReportProgress();
  void Report();  // with mutex_ held

  ServiceCallback callback_;
  ControlCodeQueue& queue_;
  StatusReporter reporter_;

  mutable std::mutex mutex_;
  ServiceStatusRecord status_;
  // Set when a transition has completed, taken by the handler before it starts the next one, so
  // that one transition never overtakes another.
  std::condition_variable transition_done_cv_;
  bool transition_done_ = false;
};

}  // namespace tv
