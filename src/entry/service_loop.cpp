#include "entry/service_loop.h"

#include <utility>

namespace tv {

BOOL InMemoryCodeQueue::Post(DWORD code) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    codes_.push_back(code);
  }
  ready_.notify_one();
  return kTrue;
}

BOOL InMemoryCodeQueue::Wait(DWORD& code) {
  std::unique_lock<std::mutex> lock(mutex_);
  ready_.wait(lock, [this] { return !codes_.empty(); });
  code = codes_.front();
  codes_.pop_front();
  return kTrue;
}

DWORD CompletedState(DWORD state) {
  switch (state) {
    case svc::kStartPending: return svc::kRunning;
    case svc::kStopPending: return svc::kStopped;
    case svc::kContinuePending: return svc::kRunning;
    case svc::kPausePending: return svc::kPaused;
    default: return state;
  }
}

ControlDecision DecideControl(DWORD currentState, DWORD control) {
  switch (control) {
    case svc::kControlStop:
    case svc::kControlShutdown:
      if (currentState == svc::kStopPending || currentState == svc::kStopped) return {};
      return {ControlAction::kBeginTransition, svc::kStopPending};
    case svc::kControlPause:
      if (currentState == svc::kPausePending || currentState == svc::kPaused) return {};
      return {ControlAction::kBeginTransition, svc::kPausePending};
    case svc::kControlContinue:
      if (currentState == svc::kRunning || currentState == svc::kContinuePending) return {};
      return {ControlAction::kBeginTransition,
              currentState == svc::kPaused ? svc::kContinuePending : svc::kStartPending};
    case svc::kControlInterrogate:
      return {ControlAction::kInterrogate, 0};
    case svc::kControlParamChange:
      return {};
    case 11:  // net-bind changes
    case 12:  // hardware profile
    case 13:  // power event
    case svc::kControlSessionChange:
      return {ControlAction::kPassThrough, 0};
    default:
      return {ControlAction::kPassAndReport, 0};
  }
}

ServiceControlLoop::ServiceControlLoop(ServiceCallback callback, ControlCodeQueue& queue, StatusReporter reporter)
    : callback_(std::move(callback)), queue_(queue), reporter_(std::move(reporter)) {
  status_.serviceType = 16;
  status_.currentState = svc::kStartPending;
  status_.checkPoint = 0;
  status_.waitHint = kPendingWaitHintMs;
  status_.controlsAccepted = svc::kAcceptStop;
}

ServiceStatusRecord ServiceControlLoop::Status() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return status_;
}

void ServiceControlLoop::Report() {
  if (reporter_) reporter_(status_);
}

DWORD ServiceControlLoop::Call(DWORD code, DWORD eventType, void* eventData) {
  if (!callback_) return kControlHandled;
  // The callback runs without the lock (it may take seconds, and the other thread must still be
  // able to interrogate); it sees a copy, and only what it changed is taken back.
  ServiceStatusRecord before = Status();
  ServiceStatusRecord copy = before;
  DWORD result = kControlHandled;
  try {
    result = callback_(code, eventType, eventData, &copy);
  } catch (...) {
    // A service event must never take the service manager's threads down with it.
    result = kControlNotImplemented;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (copy.controlsAccepted != before.controlsAccepted) status_.controlsAccepted = copy.controlsAccepted;
  if (copy.win32ExitCode != before.win32ExitCode) status_.win32ExitCode = copy.win32ExitCode;
  if (copy.serviceSpecificExitCode != before.serviceSpecificExitCode)
    status_.serviceSpecificExitCode = copy.serviceSpecificExitCode;
  return result;
}

void ServiceControlLoop::ReportProgress() {
  std::lock_guard<std::mutex> lock(mutex_);
  // A pending state is reported with a checkpoint that rises each time, so the service manager
  // sees progress rather than a start that hangs.
  ++status_.checkPoint;
  status_.waitHint = kPendingWaitHintMs;
  Report();
}

void ServiceControlLoop::CompleteTransition() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    status_.currentState = CompletedState(status_.currentState);
    status_.checkPoint = 0;
    status_.waitHint = 0;
    Report();
    transition_done_ = true;
  }
  transition_done_cv_.notify_all();
}

void ServiceControlLoop::Run() {
  // Tell the service manager at once that the process is alive: initialising and the start
  // sequence may take seconds, and some service managers give up on a silent start.
  ReportProgress();
  (void)Call(svc::kControlInitialise, 0, nullptr);
  // The controls the service accepts (session changes among them) are told at once, with the
  // next checkpoint: a log-on during a long start is then passed on rather than lost.
  ReportProgress();
  DWORD code = svc::kControlRun;
  bool announced = false;
  for (;;) {
    (void)Call(code, 0, nullptr);
    CompleteTransition();
    if (Status().currentState == svc::kStopped) return;
    if (!announced && Status().currentState == svc::kRunning) {
      // Running, the service manager passes session changes on from here; the service looks
      // once more for sessions that became active before that.
      announced = true;
      (void)Call(svc::kControlStarted, 0, nullptr);
    }
    if (!queue_.Wait(code)) {
      std::lock_guard<std::mutex> lock(mutex_);
      status_.currentState = svc::kStopped;
      status_.checkPoint = 0;
      status_.waitHint = 0;
      Report();
      return;
    }
  }
}

DWORD ServiceControlLoop::HandleControl(DWORD control, DWORD eventType, void* eventData) {
  const ControlDecision decision = DecideControl(Status().currentState, control);
  switch (decision.action) {
    case ControlAction::kRefuse:
      return kControlNotImplemented;
    case ControlAction::kInterrogate: {
      std::lock_guard<std::mutex> lock(mutex_);
      Report();
      return kControlHandled;
    }
    case ControlAction::kPassThrough:
      return Call(control, eventType, eventData);
    case ControlAction::kPassAndReport: {
      const DWORD result = Call(control, eventType, eventData);
      std::lock_guard<std::mutex> lock(mutex_);
      Report();
      return result;
    }
    case ControlAction::kBeginTransition:
      break;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  status_.checkPoint = 1;
  status_.waitHint = kPendingWaitHintMs;
  transition_done_cv_.wait(lock, [this] { return transition_done_; });
  transition_done_ = false;
  // Completing the previous transition cleared them again; a pending state always carries both.
  status_.checkPoint = 1;
  status_.waitHint = kPendingWaitHintMs;
  status_.currentState = decision.pendingState;
  Report();
  lock.unlock();
  if (!queue_.Post(control)) return kControlNotImplemented;
  return kControlHandled;
}

}  // namespace tv
