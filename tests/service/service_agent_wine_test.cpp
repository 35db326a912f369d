// The service's session thread with the real agent process under Wine: Wine lists no terminal
// sessions, so the test shows the service its own session (1) and passes every other call to
// the system. What only real processes show: a quit event left signalled by an earlier instance
// does not end new agents, an agent killed from outside is started again, and a stop ends it.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <memory>
#include <string>

#include "agent/agent_process.h"
#include "platform/win32/handles.h"
#include "foundation/service_log.h"
#include "service/threaded_service.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using namespace test;

// The system's sessions, but for the list: session 1 is an active console session of "tester",
// and log-offs and session message boxes are only counted (the test's own session must stay).
class OwnSessionOnly final : public Sessions {
 public:
  bool IsAvailable() const override { return true; }
  BOOL EnumerateSessions(std::vector<SessionEntry>& out) override {
    out = {SessionEntry{1, SessionState::kActive, L"Console"}};
    return kTrue;
  }
  BOOL QuerySessionInfo(SessionId id, SessionInfo& out) override {
    if (id != 1) return Fail(err::kFileNotFound);
    out = SessionInfo{};
    out.id = 1;
    out.state = SessionState::kActive;
    out.winStation = L"Console";
    out.user = L"tester";
    return kTrue;
  }
  BOOL QueryUserName(SessionId, std::wstring& out) override { return out = L"tester", kTrue; }
  BOOL QueryDomainName(SessionId, std::wstring& out) override { return out.clear(), kTrue; }
  BOOL QueryConnectState(SessionId, SessionState& out) override { return out = SessionState::kActive, kTrue; }
  BOOL QueryLockState(SessionId, bool& locked) override { return locked = false, kTrue; }
  SessionId GetActiveConsoleSessionId() override { return 1; }
  BOOL QueryUserToken(SessionId id, UserToken& out) override { return real_->QueryUserToken(id, out); }
  BOOL LogoffSession(SessionId) override { return ++logoffs, kTrue; }
  BOOL SendSessionMessage(SessionId, const std::wstring&, const std::wstring&, DWORD, DWORD, bool,
                          DWORD& response) override {
    response = kMessageAsync;
    return kTrue;
  }
  BOOL StartInSession(SessionId id, const std::wstring& line) override { return real_->StartInSession(id, line); }
  BOOL StartTrackedInSession(SessionId id, const std::wstring& line, std::unique_ptr<SessionProcess>& started) override {
    return real_->StartTrackedInSession(id, line, started);
  }
  BOOL QueryLogonSid(SessionId id, std::wstring& out) override { return real_->QueryLogonSid(id, out); }
  BOOL RegisterSessionNotification(void* w) override { return real_->RegisterSessionNotification(w); }
  BOOL UnregisterSessionNotification(void* w) override { return real_->UnregisterSessionNotification(w); }
  BOOL RegisterPolicyNotification(void*) override { return kTrue; }
  BOOL UnregisterPolicyNotification(void*) override { return kTrue; }

  int logoffs = 0;

 private:
  std::unique_ptr<Sessions> real_ = CreateSystemSessions();
};

TEST(ServiceWithRealAgent, ALeftoverQuitEventIsIgnoredAKilledAgentComesBackAndAStopEndsIt) {
  // An earlier instance's quit event, still held and signalled (or made by a user while the
  // service was stopped): it once made every new agent leave at once.
  Event leftover;
  ASSERT_TRUE(leftover.CreateOrOpen(L"TarnvaleEventQuit", kTrue, kTrue, kTrue));

  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.Timeout = 60; });
  OwnSessionOnly sessions;
  auto clock = CreateSystemClock();
  ServiceEnvironment env{.sessions = sessions, .accounts = w.accounts, .power = w.power, .eventLog = w.log,
                         .clock = *clock, .keys = w.keys};
  env.launcherPath = LauncherFolder() + L"TV64.EXE";
  {
    ThreadedService service(env);
    service.HandleEvent(svc::kControlInitialise, 0, nullptr, nullptr);
    service.HandleEvent(svc::kControlRun, 0, nullptr, nullptr);

    HWND first = WaitForAgent(0);
    ASSERT_NE(first, nullptr) << "the agent never came up";
    const ::DWORD firstPid = WindowPid(first);
    UniqueKernelHandle firstProcess(::OpenProcess(SYNCHRONIZE, FALSE, firstPid));
    ASSERT_TRUE(firstProcess.valid());
    EXPECT_EQ(::WaitForSingleObject(firstProcess.get(), 2000), static_cast<::DWORD>(WAIT_TIMEOUT))
        << "the agent left at once: it listened to the leftover quit event";

    // Killed from outside: the session thread notices and starts another.
    ChildProcess taskkill;
    ASSERT_TRUE(taskkill.Start(L"C:\\windows\\system32\\taskkill.exe", L"/F /PID " + std::to_wstring(firstPid)));
    ASSERT_EQ(::WaitForSingleObject(firstProcess.get(), kAgentLimitMs), static_cast<::DWORD>(WAIT_OBJECT_0));
    service.Registry().WakeAll();
    HWND second = WaitForAgent(firstPid);
    ASSERT_NE(second, nullptr) << "the killed agent was not started again";
    EXPECT_EQ(w.StringsOf(evt::kAgentRestarted), (std::vector<std::wstring>{L"tester", L"1"}));
    UniqueKernelHandle secondProcess(::OpenProcess(SYNCHRONIZE, FALSE, WindowPid(second)));
    ASSERT_TRUE(secondProcess.valid());

    // The stop tells the agent to leave through its own session's quit event.
    service.HandleEvent(svc::kControlStop, 0, nullptr, nullptr);
    EXPECT_EQ(::WaitForSingleObject(secondProcess.get(), kAgentLimitMs), static_cast<::DWORD>(WAIT_OBJECT_0));
  }
  EXPECT_EQ(sessions.logoffs, 0);
  EXPECT_EQ(w.Count(evt::kAgentGaveUp), 0u);
}

}  // namespace
}  // namespace tv
#endif  // _WIN32
