// The service on real threads against the simulated seams. Time only moves on the simulated
// clock, which wakes the session threads' deadline waits; tests wait for rounds, never real time.
#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <future>
#include <optional>
#include <thread>

#include "foundation/event.h"
#include "foundation/object_names.h"
#include "foundation/service_log.h"
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
    // The tests open the sessions' events as their agents would; under Windows' access checks
    // that takes a logon SID the test's own token holds.
    for (SessionId id = 1; id <= 3; ++id) w.sessions.SetLogonSid(id, L"S-1-1-0");
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
  ASSERT_TRUE(idle.Open(IdleEventName(w.env.objectPrefix, 1, thread->Monitor().Tag()).c_str(), kTrue,
                        kEventModifyState, kFalse));
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

TEST_F(TVThreadTest, ASquattedEventNameIsReportedAndReplacedAndCancelEndsTheThread) {
  // Somebody created session 2's names before the service did: they are never used. The
  // thread says so and takes names of its own, which its agent is told.
  std::vector<std::wstring> tags = {L"aaaa", L"bbbb", L"cccc"};
  std::mutex tagsMutex;
  w.env.newObjectTag = [&] {
    std::lock_guard<std::mutex> hold(tagsMutex);
    std::wstring t = tags.front();
    tags.erase(tags.begin());
    return t;
  };
  Event squatter;
  ASSERT_TRUE(squatter.CreateOrOpen(CancelEventName(w.env.objectPrefix, 2, L"aaaa").c_str(), kTrue, kFalse, kFalse));
  w.sessions.AddSession(2, L"", L"bob");
  ThreadedService service(w.env);
  Run(service);
  ASSERT_TRUE(PollFor([&] { return w.Starts(2, L"/monitor:2 /tag:bbbb") == 1; }));
  EXPECT_EQ(w.Starts(2, L"/tag:aaaa"), 0u);
  EXPECT_EQ(w.StringsOf(evt::kObjectExisted),
            std::vector<std::wstring>{L"Global\\" + CancelEventName(w.env.objectPrefix, 2, L"aaaa")});
  // The squatter's event is not the thread's: setting it changes nothing...
  squatter.Set();
  // ...the thread's own cancel ends it, and its agent is told to leave.
  Event cancel, quit;
  ASSERT_TRUE(cancel.Open(CancelEventName(w.env.objectPrefix, 2, L"bbbb").c_str(), kTrue, kEventModifyState, kFalse));
  ASSERT_TRUE(quit.Open(QuitEventName(w.env.objectPrefix, L"bbbb").c_str(), kTrue, kSynchronize, kFalse));
  EXPECT_TRUE(Monitoring(service, 2));
  EXPECT_FALSE(quit.Wait(0));
  cancel.Set();
  ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 2); }));
  EXPECT_TRUE(quit.Wait(0));
  EXPECT_TRUE(w.LoggedOff().empty());
  service.HandleEvent(svc::kControlQuitWork, 0, nullptr, nullptr);
  EXPECT_FALSE(service.BackgroundRunning());
}

TEST_F(TVThreadTest, ALogoffEndsTheThreadAndTheNextLogonToTheNumberGetsAFreshOne) {
  // The agent could not say the session ended (it had gone): the log-off notification alone
  // ends the thread, and the next user of session 3 is examined and watched afresh.
  w.sessions.AddSession(3, L"", L"carol");
  ThreadedService service(w.env);
  Run(service);
  ASSERT_TRUE(PollFor([&] { return w.Starts(3, L"/monitor") == 1; }));
  TVThread* first = nullptr;
  ASSERT_TRUE(TVThread::FindThread(service.Registry(), 3, &first));
  const std::wstring firstTag = first->Monitor().Tag();
  w.sessions.EndSession(3);
  SessionNotification n;
  n.sessionId = 3;
  service.HandleEvent(svc::kControlSessionChange, svc::kSessionLogoff, &n, nullptr);
  service.WaitForWork();
  EXPECT_FALSE(Monitoring(service, 3)) << "the session is no longer the old thread's";
  ASSERT_TRUE(WaitFor([&] { return service.Registry().Count() == 0; }));

  w.sessions.AddSession(3, L"CORP", L"dave");
  n.sessionId = 3;
  service.HandleEvent(svc::kControlSessionChange, svc::kSessionLogon, &n, nullptr);
  ASSERT_TRUE(PollFor([&] { return w.Starts(3, L"/monitor") == 2; }));
  TVThread* second = nullptr;
  ASSERT_TRUE(TVThread::FindThread(service.Registry(), 3, &second));
  EXPECT_EQ(second->Monitor().Account(), L"CORP\\dave");
  EXPECT_NE(second->Monitor().Tag(), firstTag);
  EXPECT_EQ(w.Count(evt::kMonitoringStarted), 2u);
  service.HandleEvent(svc::kControlStop, 0, nullptr, nullptr);
}

TEST_F(TVThreadTest, DestroyingTheServiceWaitsForItsThreads) {
  Event quits[3];
  for (SessionId id = 1; id <= 3; ++id) w.sessions.AddSession(id, L"", L"u" + std::to_wstring(id));
  {
    ThreadedService service(w.env);
    Run(service);
    ASSERT_TRUE(PollFor([&] { return w.Starts(1, L"/monitor") + w.Starts(2, L"/monitor") + w.Starts(3, L"/monitor") == 3; }));
    for (SessionId id = 1; id <= 3; ++id) {
      TVThread* t = nullptr;
      ASSERT_TRUE(TVThread::FindThread(service.Registry(), id, &t));
      ASSERT_TRUE(quits[id - 1].Open(QuitEventName(w.env.objectPrefix, t->Monitor().Tag()).c_str(), kTrue,
                                     kSynchronize, kFalse));
    }
    // Asleep until a deadline a minute away, a thread still hears a stale log-off at once...
    TVThread* thread = nullptr;
    ASSERT_TRUE(TVThread::FindThread(service.Registry(), 3, &thread));
    thread->Monitor().RequestStaleLogoff();
    ASSERT_TRUE(WaitFor([&] { return !Monitoring(service, 3); }));
    EXPECT_EQ(w.StringsOf(evt::kStaleLoggedOff), std::vector<std::wstring>{L"u3"});
    EXPECT_EQ(Rounds(1), 0u) << "nobody else was due";
  }
  // ...and the service's quit: the destructor did not wait out anyone's deadline.
  // Every thread left (or the sanitizers would see them touch a dead service), and told its
  // agent to leave on the way.
  for (SessionId id = 1; id <= 3; ++id) EXPECT_TRUE(quits[id - 1].Wait(0)) << id;
}

// The computer's accounts, but a domain controller that answers only when the test lets it: a
// slow or unreachable one on a morning log-on storm.
class SlowController final : public Accounts {
 public:
  explicit SlowController(Accounts& inner) : inner_(inner) {}
  void Release() {
    std::lock_guard<std::mutex> hold(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  bool WaitForAsker() {
    std::unique_lock<std::mutex> hold(mutex_);
    return changed_.wait_for(hold, kPatience, [this] { return askers_ > 0; });
  }
  BOOL QueryComputerName(std::wstring& out) override { return inner_.QueryComputerName(out); }
  BOOL FindDomainController(const std::wstring& domain, std::wstring& out) override {
    {
      std::unique_lock<std::mutex> hold(mutex_);
      ++askers_;
      changed_.notify_all();
      changed_.wait(hold, [this] { return open_; });
    }
    return inner_.FindDomainController(domain, out);
  }
  BOOL GetUserGlobalGroups(const std::wstring& server, const std::wstring& user, std::vector<std::wstring>& out) override {
    return inner_.GetUserGlobalGroups(server, user, out);
  }
  BOOL GetUserLocalGroups(const std::wstring& account, std::vector<std::wstring>& out) override {
    return inner_.GetUserLocalGroups(account, out);
  }
  BOOL GetWellKnownGroupName(WellKnownGroup group, std::wstring& name, std::wstring* domain) override {
    return inner_.GetWellKnownGroupName(group, name, domain);
  }

 private:
  Accounts& inner_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
  int askers_ = 0;
};

class SlowControllerTest : public TVThreadTest {
 protected:
  SlowControllerTest() : slow(w.accounts), env(Env()) {
    w.Configure([](MyOpts& o) { o.Exclude = {L"Sales"}; });  // a group: the domain is asked
    w.accounts.AddDomainController(L"CORP", L"\\\\DC1");
    w.accounts.SetGlobalGroups(L"ann", {L"Domain Users"});
    w.sessions.AddSession(1, L"CORP", L"ann");
  }
  ServiceEnvironment Env() {
    ServiceEnvironment e{.sessions = w.sessions, .accounts = slow, .power = w.power, .eventLog = w.log,
                         .clock = w.clock, .keys = w.keys};
    e.zone = w.env.zone;
    e.objectPrefix = w.env.objectPrefix;
    e.roundMs = w.env.roundMs;
    e.drainSliceMs = w.env.drainSliceMs;
    return e;
  }
  // Calls the service as the service manager's handler thread does; whether it came back while
  // the controller still keeps the service's worker waiting.
  static bool Returns(ThreadedService& service, DWORD code, DWORD type = 0, void* data = nullptr) {
    auto call = std::async(std::launch::async, [&] { service.HandleEvent(code, type, data, nullptr); });
    return call.wait_for(kPatience) == std::future_status::ready;
  }

  SlowController slow;
  ServiceEnvironment env;
};

TEST_F(SlowControllerTest, NotificationsAndTheStopNeverWaitBehindASlowLookup) {
  std::optional<ThreadedService> service(std::in_place, env);
  ASSERT_TRUE(Returns(*service, svc::kControlInitialise));
  ASSERT_TRUE(Returns(*service, svc::kControlRun)) << "the start waited for the domain controller";
  ASSERT_TRUE(slow.WaitForAsker());
  // A storm of log-ons: each notification is taken at once and waits its turn on the worker.
  SessionNotification n;
  for (SessionId id = 2; id <= 4; ++id) {
    w.sessions.AddSession(id, L"", L"u" + std::to_wstring(id));
    n.sessionId = id;
    ASSERT_TRUE(Returns(*service, svc::kControlSessionChange, svc::kSessionLogon, &n)) << id;
  }
  EXPECT_EQ(w.Count(evt::kMonitoringStarted), 0u) << "in order: nothing overtakes the start's look-up";
  // The stop comes while the controller still has not answered, and does not wait for it.
  ASSERT_TRUE(Returns(*service, svc::kControlStop));
  EXPECT_EQ(w.Count(evt::kServiceStopped), 1u);
  slow.Release();
  service.reset();  // the item under way ends, and what waited behind it was dropped
  EXPECT_EQ(w.Count(evt::kMonitoringStarted), 0u);
  EXPECT_EQ(w.Starts(2, L"/monitor"), 0u);
}

TEST_F(SlowControllerTest, ASessionThatBecameActiveUnheardDuringTheStartIsFoundOnceRunning) {
  ThreadedService service(env);
  ASSERT_TRUE(Returns(service, svc::kControlInitialise));
  ASSERT_TRUE(Returns(service, svc::kControlRun));
  ASSERT_TRUE(slow.WaitForAsker());  // the start's enumeration is done and waits on ann's groups
  // Bob logs on before the service manager passes session changes on: nobody tells the service.
  w.sessions.AddSession(2, L"", L"bob");
  (void)w.sessions.TakeNotifications();
  ASSERT_TRUE(Returns(service, svc::kControlStarted));
  slow.Release();
  service.WaitForWork();
  EXPECT_TRUE(Monitoring(service, 1));
  EXPECT_TRUE(Monitoring(service, 2)) << "the log-on during the start was never seen";
  service.HandleEvent(svc::kControlStop, 0, nullptr, nullptr);
}

}  // namespace
}  // namespace tv
