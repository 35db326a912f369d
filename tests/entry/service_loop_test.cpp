#include "entry/service_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace tv {
namespace {

TEST(ServiceLoopDecisions, HandlerRefusesRepeatsAndRoutesEveryOtherControlAndPendingStatesSettle) {
  using A = ControlAction;
  const struct {
    DWORD state, control;
    A action;
    DWORD pending;  // for kBeginTransition
  } cases[] = {
      {svc::kStopPending, svc::kControlStop, A::kRefuse, 0},
      {svc::kPaused, svc::kControlShutdown, A::kBeginTransition, svc::kStopPending},
      {svc::kPausePending, svc::kControlPause, A::kRefuse, 0},
      {svc::kRunning, svc::kControlPause, A::kBeginTransition, svc::kPausePending},
      {svc::kRunning, svc::kControlContinue, A::kRefuse, 0},
      {svc::kPaused, svc::kControlContinue, A::kBeginTransition, svc::kContinuePending},
      {svc::kPausePending, svc::kControlContinue, A::kBeginTransition, svc::kStartPending},
      {svc::kRunning, svc::kControlInterrogate, A::kInterrogate, 0},
      {svc::kRunning, svc::kControlParamChange, A::kRefuse, 0},
      {svc::kRunning, svc::kControlSessionChange, A::kPassThrough, 0},
      {svc::kRunning, 10, A::kPassAndReport, 0},
      {svc::kStopPending, 129, A::kPassAndReport, 0},
  };
  for (const auto& c : cases) {
    const ControlDecision d = DecideControl(c.state, c.control);
    EXPECT_EQ(d.action, c.action) << c.state << "/" << c.control;
    EXPECT_EQ(d.action == A::kBeginTransition ? d.pendingState : 0, c.pending) << c.state << "/" << c.control;
  }
  // A pending state settles into the state it leads to; a settled one stays.
  const std::pair<DWORD, DWORD> settles[] = {{svc::kStartPending, svc::kRunning},   {svc::kStopPending, svc::kStopped},
                                             {svc::kContinuePending, svc::kRunning}, {svc::kPausePending, svc::kPaused},
                                             {svc::kRunning, svc::kRunning},         {99, 99}};
  for (const auto& [from, to] : settles) EXPECT_EQ(CompletedState(from), to) << from;
}

// A service run on its own thread with a recording callback and reporter.
class ServiceLoopRun : public ::testing::Test {
 protected:
  struct CallbackCall {
    DWORD code, eventType;
    void* eventData;
  };

  std::mutex mutex;
  std::condition_variable changed;
  std::vector<CallbackCall> calls;
  std::vector<ServiceStatusRecord> reports;
  DWORD callbackResult = 0;
  // While set, the callback holds the "run" code (3) until released.
  bool holdRun = false;
  bool throwOn128 = false;

  InMemoryCodeQueue queue;
  ServiceControlLoop loop{[this](DWORD code, DWORD type, void* data, ServiceStatusRecord* status) -> DWORD {
                            std::unique_lock<std::mutex> lock(mutex);
                            calls.push_back({code, type, data});
                            changed.notify_all();
                            if (code == svc::kControlInitialise) status->controlsAccepted |= svc::kAcceptSessionChange;
                            if (code == svc::kControlRun) changed.wait(lock, [this] { return !holdRun; });
                            if (code == 128 && throwOn128) throw std::runtime_error("callback failed");
                            return callbackResult;
                          },
                          queue,
                          [this](const ServiceStatusRecord& s) {
                            std::lock_guard<std::mutex> lock(mutex);
                            reports.push_back(s);
                            changed.notify_all();
                          }};
  std::thread dispatcher;

  void Start() {
    dispatcher = std::thread([this] { loop.Run(); });
  }
  void WaitForCall(DWORD code) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] {
      return std::any_of(calls.begin(), calls.end(), [&](const CallbackCall& c) { return c.code == code; });
    });
  }
  void WaitForReportedState(DWORD state) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return !reports.empty() && reports.back().currentState == state; });
  }
  // The codes the callback saw; the "started" announcement only with `withStarted`, since a
  // stop that overtakes it decides whether it comes at all.
  std::vector<DWORD> Codes(bool withStarted = false) {
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<DWORD> codes;
    for (const auto& c : calls) {
      if (withStarted || c.code != svc::kControlStarted) codes.push_back(c.code);
    }
    return codes;
  }
  void TearDown() override {
    if (dispatcher.joinable()) {
      if (loop.Status().currentState != svc::kStopped) (void)loop.HandleControl(svc::kControlStop, 0, nullptr);
      dispatcher.join();
    }
  }
};

TEST_F(ServiceLoopRun, StartRunsInitialiseThenRunControlsAreRoutedAndStopEndsTheLoop) {
  Start();
  WaitForReportedState(svc::kRunning);
  WaitForCall(svc::kControlStarted);
  {
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(reports.front().currentState, svc::kStartPending);
    EXPECT_EQ(reports.front().waitHint, 2000u);
    EXPECT_EQ(reports.back().controlsAccepted, svc::kAcceptStop | svc::kAcceptSessionChange)
        << "what the callback adds at initialisation is reported";
    EXPECT_EQ(reports.back().waitHint, 0u);
  }

  // Product codes and session changes run on the handler's thread and answer the callback's
  // result; only the former are followed by a status report.
  callbackResult = 42;
  const size_t reportsBefore = reports.size();
  EXPECT_EQ(loop.HandleControl(128, 0, nullptr), 42u);
  SessionNotification note;
  EXPECT_EQ(loop.HandleControl(svc::kControlSessionChange, svc::kSessionLogon, &note), 42u);
  EXPECT_EQ(reports.size(), reportsBefore + 1);
  EXPECT_EQ(calls.back().eventType, svc::kSessionLogon);
  EXPECT_EQ(calls.back().eventData, &note);
  EXPECT_EQ(loop.HandleControl(svc::kControlInterrogate, 0, nullptr), kControlHandled);
  EXPECT_EQ(reports.size(), reportsBefore + 2);
  // A callback that throws is contained on the handler's thread.
  throwOn128 = true;
  EXPECT_EQ(loop.HandleControl(128, 0, nullptr), kControlNotImplemented);
  EXPECT_EQ(loop.Status().currentState, svc::kRunning);

  EXPECT_EQ(loop.HandleControl(svc::kControlStop, 0, nullptr), kControlHandled);
  dispatcher.join();
  EXPECT_EQ(loop.HandleControl(svc::kControlStop, 0, nullptr), kControlNotImplemented);
  EXPECT_EQ(Codes(true), (std::vector<DWORD>{0, 3, svc::kControlStarted, 128, 14, 128, 1}));
  ASSERT_GE(reports.size(), 2u);
  const ServiceStatusRecord& pendingStop = reports[reports.size() - 2];
  EXPECT_EQ(pendingStop.currentState, svc::kStopPending);
  EXPECT_EQ(pendingStop.checkPoint, 1u);
  EXPECT_EQ(pendingStop.waitHint, 2000u);
  EXPECT_EQ(reports.back().currentState, svc::kStopped);
  EXPECT_EQ(reports.back().checkPoint, 0u);
}

TEST_F(ServiceLoopRun, AStopDuringStartWaitsForTheStartToComplete) {
  holdRun = true;
  Start();
  // The stop comes while the run code is held: the start's own progress has gone past check
  // point 1 by then, so the 1 that follows is the handler's mark before it waits for the start.
  // (Sent earlier, the stop's mark could be overwritten by the start's progress, and the wait
  // below would never end.)
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return !calls.empty() && calls.back().code == svc::kControlRun; });
  }
  std::thread handler([this] { EXPECT_EQ(loop.HandleControl(svc::kControlStop, 0, nullptr), kControlHandled); });
  while (loop.Status().checkPoint != 1) std::this_thread::yield();
  {
    std::lock_guard<std::mutex> lock(mutex);
    holdRun = false;
  }
  changed.notify_all();
  handler.join();
  dispatcher.join();
  // Had the stop overtaken the start, "stop pending" would have been settled by the start's
  // completion and the stop code would never have reached the callback.
  EXPECT_EQ(Codes(), (std::vector<DWORD>{0, 3, 1}));
  std::vector<DWORD> states;
  for (const auto& r : reports) states.push_back(r.currentState);
  ASSERT_EQ(states, (std::vector<DWORD>{svc::kStartPending, svc::kStartPending, svc::kRunning, svc::kStopPending,
                                        svc::kStopped}));
  EXPECT_EQ(reports[3].waitHint, 2000u) << "the start's completion must not leave the stop without its hint";
}

TEST_F(ServiceLoopRun, SessionChangesAreAcceptedAndProgressShownWhileTheStartRuns) {
  holdRun = true;
  Start();
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return !calls.empty() && calls.back().code == svc::kControlRun; });
    // Still starting, the service manager already knows that session changes are welcome, and
    // each start-pending report carries a higher checkpoint than the one before.
    ASSERT_GE(reports.size(), 2u);
    EXPECT_EQ(reports.back().currentState, svc::kStartPending);
    EXPECT_TRUE(reports.back().controlsAccepted & svc::kAcceptSessionChange);
    for (size_t i = 1; i < reports.size(); ++i) EXPECT_GT(reports[i].checkPoint, reports[i - 1].checkPoint);
    holdRun = false;
  }
  changed.notify_all();
  WaitForReportedState(svc::kRunning);
  // Once running, the service is told so, to look again for sessions it could not hear of.
  WaitForCall(svc::kControlStarted);
  EXPECT_EQ(loop.HandleControl(svc::kControlStop, 0, nullptr), kControlHandled);
  dispatcher.join();
  EXPECT_EQ(Codes(true), (std::vector<DWORD>{0, 3, svc::kControlStarted, 1}));
}

// A queue that breaks on the first wait: the run must still end, reported as stopped.
class BrokenQueue final : public ControlCodeQueue {
 public:
  BOOL Post(DWORD) override { return kFalse; }
  BOOL Wait(DWORD&) override { return kFalse; }
};

TEST(ServiceLoopBrokenQueue, EndsTheRunAsStopped) {
  BrokenQueue queue;
  std::vector<DWORD> states;
  ServiceControlLoop loop([](DWORD, DWORD, void*, ServiceStatusRecord*) -> DWORD { return 0; }, queue,
                          [&](const ServiceStatusRecord& s) { states.push_back(s.currentState); });
  loop.Run();
  EXPECT_EQ(states, (std::vector<DWORD>{svc::kStartPending, svc::kStartPending, svc::kRunning, svc::kStopped}));
}

}  // namespace
}  // namespace tv
