// The service on real threads against the simulated seams. Time only moves on the simulated
// clock, which wakes the session threads' deadline waits; tests wait for rounds, never real time.
#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "foundation/event.h"
#include "service/service_log.h"
#include "service/threaded_service.h"
#include "service/tv_thread.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;

// A bound for waits that must succeed; only a broken implementation comes near it.
constexpr auto kPatience = std::chrono::seconds(20);

bool Monitoring(ServiceCore& s, SessionId session) { return s.Registry().Contains(session); }

class TVThreadTest : public testing::Test {
 protected:
  TVThreadTest() {
    w.env.roundMs = 2;
    w.env.drainSliceMs = 200;
    w.env.onRound = [this](SessionId session) {
      std::lock_guard<std::mutex> hold(mutex_);
      ++rounds_[session];
      changed_.notify_all();
    };
    w.Configure([](MyOpts& o) {
      o.Timeout = 1;
      o.MessageTimeout = 1;
    });
  }
  // Moves the simulated clock on, and with it every session thread's wait.
  void Advance(ThreadedService& service, std::uint32_t seconds) {
    w.clock.AdvanceSeconds(seconds);
    service.Registry().WakeAll();
  }
  // Waits for a state another thread reaches outside its rounds (its agent started, say).
  static bool PollFor(const std::function<bool()>& done) {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (!done()) {
      if (std::chrono::steady_clock::now() > until) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }
  static void Run(ThreadedService& service, ServiceStatusRecord* status = nullptr) {
    service.HandleEvent(svc::kControlInitialise, 0, nullptr, status);
    service.HandleEvent(svc::kControlRun, 0, nullptr, status);
  }
  // The rounds `session`'s thread has finished.
  std::uint64_t Rounds(SessionId session) {
    std::lock_guard<std::mutex> hold(mutex_);
    return rounds_[session];
  }
  // Waits until `done` holds, looking again after every round of any thread.
  bool WaitFor(const std::function<bool()>& done) {
    std::unique_lock<std::mutex> hold(mutex_);
    return changed_.wait_for(hold, kPatience, [&] {
      hold.unlock();
      const bool held = done();
      hold.lock();
      return held;
    });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<SessionId, std::uint64_t> rounds_;
  ServiceWorld w;
};

TEST_F(TVThreadTest, WarnsAndLogsOffOnItsOwnThreadAndTakesTheAgentsActivity) {
  w.sessions.AddSession(1, L"", L"alice");
  ThreadedService service(w.env);
  ServiceStatusRecord status;
  Run(service, &status);
  ASSERT_TRUE(service.BackgroundRunning());
  ASSERT_TRUE(PollFor([&] { return w.Starts(1, L"/monitor") == 1; }));
  TVThread* thread = nullptr;
  ASSERT_TRUE(TVThread::FindThread(service.Registry(), 1, &thread));
  EXPECT_EQ(TVThread::GetThreadCount(service.Registry()), 1u);

  const std::uint64_t from = Rounds(1);
  Advance(service, 59);
  ASSERT_TRUE(WaitFor([&] { return Rounds(1) > from; }));
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  Advance(service, 1);
  ASSERT_TRUE(WaitFor([&] { return w.Starts(1, L"/msg") == 1; }));

  Event idle;  // the agent reports activity through the session's named event
  ASSERT_TRUE(idle.Open(SessionSignals::IdleName(w.env.objectPrefix, 1).c_str(), kTrue, kEventModifyState, kFalse));
  idle.Set();
  ASSERT_TRUE(WaitFor([&] { return !thread->Monitor().InWarning(); }));
  Advance(service, 60);
  ASSERT_TRUE(WaitFor([&] { return w.Starts(1, L"/msg") == 2; }));
  EXPECT_TRUE(w.LoggedOff().empty());
  Advance(service, 60);
  ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 1); }));
  EXPECT_EQ(w.StringsOf(evt::kLoggedOff), std::vector<std::wstring>{L"alice"});

  service.HandleEvent(svc::kControlStop, 0, nullptr, &status);
  EXPECT_FALSE(service.BackgroundRunning());
  EXPECT_TRUE(w.sessions.PolicyEvents().empty());
}

TEST_F(TVThreadTest, CancelEndsTheThreadAndASecondWatcherOfASessionGivesWay) {
  // Somebody already holds session 2's events: its thread must leave the session alone.
  Event squatter;
  ASSERT_TRUE(squatter.CreateOrOpen(SessionSignals::IdleName(w.env.objectPrefix, 2).c_str(), kTrue, kFalse, kFalse));
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  ThreadedService service(w.env);
  Run(service);
  EXPECT_EQ(w.Count(evt::kMonitoringStarted), 2u);
  ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 2); }));
  EXPECT_EQ(Rounds(2), 0u);
  EXPECT_EQ(w.Starts(2, L"/monitor"), 0u);

  // The thread makes its events before it starts the agent: then they are there to open.
  ASSERT_TRUE(PollFor([&] { return w.Starts(1, L"/monitor") == 1; }));
  Event cancel;
  ASSERT_TRUE(cancel.Open(SessionSignals::CancelName(w.env.objectPrefix, 1).c_str(), kTrue, kEventModifyState, kFalse));
  cancel.Set();
  ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 1); }));
  EXPECT_TRUE(w.LoggedOff().empty());
  service.HandleEvent(svc::kControlQuitWork, 0, nullptr, nullptr);
  EXPECT_FALSE(service.BackgroundRunning());
}

TEST_F(TVThreadTest, DestroyingTheServiceWaitsForItsThreads) {
  for (SessionId id = 1; id <= 3; ++id) w.sessions.AddSession(id, L"", L"u" + std::to_wstring(id));
  {
    ThreadedService service(w.env);
    Run(service);
    ASSERT_TRUE(PollFor([&] { return w.Starts(1, L"/monitor") + w.Starts(2, L"/monitor") + w.Starts(3, L"/monitor") == 3; }));
    // Asleep until a deadline a minute away, a thread still hears a stale log-off at once...
    TVThread* thread = nullptr;
    ASSERT_TRUE(TVThread::FindThread(service.Registry(), 3, &thread));
    thread->Monitor().RequestStaleLogoff();
    ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 3); }));
    EXPECT_EQ(w.StringsOf(evt::kStaleLoggedOff), std::vector<std::wstring>{L"u3"});
    EXPECT_EQ(Rounds(1), 0u) << "nobody else was due";
  }
  // ...and the service's quit: the destructor did not wait out anyone's deadline.
  // Every thread left (or the sanitizers would see them touch a dead service); their events went
  // with them, so a new watcher may take the sessions.
  SessionSignals again;
  EXPECT_TRUE(again.Create(w.env.objectPrefix, 1));
}

}  // namespace
}  // namespace tv
