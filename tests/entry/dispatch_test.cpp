#include "entry/dispatch.h"

#include <gtest/gtest.h>

#include <string>

#include "entry/product_info.h"
#include "entry/service_install.h"
#include "platform/portable/event_log.h"
#include "platform/portable/service_manager.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

TEST(RunModeDispatch, SwitchTableMatchesWholeLinesAndPrefixes) {
  struct Case {
    const wchar_t* line;
    RunMode mode;
    DWORD session;  // kNone: no valid number
  };
  constexpr DWORD kNone = 0xFFFFFFFF;
  const Case cases[] = {
      {L"/LOAD", RunMode::kLoad, kNone},
      {L"/load ", RunMode::kNone, kNone},  // whole-line match: the blank counts
      {L"/load-silent", RunMode::kLoadSilent, kNone},
      {L"/Unload-Silent", RunMode::kUnloadSilent, kNone},
      {L"/uninstall-msi", RunMode::kUninstallMsi, kNone},
      {L"/services", RunMode::kNone, kNone},
      {L"/user-unload", RunMode::kUserUnload, kNone},
      {L"-monitor:5", RunMode::kMonitor, 5},
      {L"//MONITOR=7", RunMode::kMonitor, 7},
      {L"/monitor", RunMode::kMonitor, kNone},
      {L"/monitor:abc", RunMode::kMonitor, kNone},
      {L"/msg:3 /load", RunMode::kMessage, 3},
      {L"", RunMode::kNone, kNone},
      {L"load", RunMode::kNone, kNone},
      // The launcher's whole line: the program path is skipped, quoted or not.
      {L"\"C:\\Program Files\\Tarnvale\\TV64.EXE\" /service", RunMode::kService, kNone},
      {L"C:\\Tarnvale\\TV64.EXE -monitor:5", RunMode::kMonitor, 5},
      {L"\"C:\\Program Files\\Tarnvale\\TV64.EXE\"", RunMode::kNone, kNone},
  };
  for (const Case& c : cases) {
    const RunRequest r = ParseRunMode(c.line);
    const std::string line = testing::PrintToString(std::wstring(c.line));
    EXPECT_EQ(r.mode, c.mode) << line;
    EXPECT_EQ(r.hasSession ? r.session : kNone, c.session) << line;
  }
  EXPECT_EQ(ParseRunMode(nullptr).mode, RunMode::kNone);
}

TEST(RunModeDispatch, SessionNumbersAreWholeDecimalsOf32Bits) {
  DWORD session = 77;
  EXPECT_TRUE(ParseSessionNumber(L"/monitor:4294967295", session));
  EXPECT_EQ(session, 4294967295u);
  EXPECT_TRUE(ParseSessionNumber(L"/msg=0012\tx", session));
  EXPECT_EQ(session, 12u);
  session = 77;
  // The first separator counts, whichever it is; anything but digits up to the blank is refused.
  for (const wchar_t* line : {L"/msg=9:8", L"/monitor:", L"/monitor: 5", L"/monitor:5x", L"/monitor:-1",
                              L"/monitor:4294967296", L"/msg:\"3\"", L"/msg"}) {
    EXPECT_FALSE(ParseSessionNumber(line, session)) << testing::PrintToString(std::wstring(line));
  }
  EXPECT_FALSE(ParseSessionNumber(nullptr, session));
  EXPECT_EQ(session, 77u) << "left untouched on failure";
}

TEST(RunModeDispatch, ModesWithoutEffectExitZeroAndLeaveTheBookkeepingBalanced) {
  test::MessageRecorder messages;
  const int before = GetMyProductInfo()->GetAppCount();
  int marker = 0;
  for (const wchar_t* line : {L"/CHECK4UPDATES", L"/user-load", L"/monitor", L"/msg", L"/msg:x", L"", L"/load ", L"x y"}) {
    EXPECT_EQ(DoWinMain(&marker, line, 1), 0) << testing::PrintToString(std::wstring(line));
    EXPECT_EQ(GetMyProductInfo()->GetAppCount(), before);
  }
  EXPECT_EQ(GetAppInstance(), &marker);
  EXPECT_STREQ(GetRunRootKeyPath(), L"") << "the key path copy is dropped on the way out";
  EXPECT_TRUE(messages.shown.empty());
}

TEST(RunModeDispatch, InstallerModesMapResultsToExitCodes) {
  test::MessageRecorder messages;
  SimulatedServiceManager sm;
  SimulatedEventLog log;
  ServiceInstaller installer(sm, log, L"C:\\Tarnvale\\", L"C:\\Tarnvale\\TV64.EXE", [](DWORD) {});
  auto run = [&](const wchar_t* line) { return DispatchRunMode(ParseRunMode(line), &installer); };

  // "/uninstall-msi" answers 1 only when the service heard the quit request.
  EXPECT_EQ(run(L"/uninstall-msi"), 0);
  EXPECT_EQ(run(L"/load-silent"), 0);
  EXPECT_EQ(run(L"/uninstall-msi"), 1);
  EXPECT_EQ(sm.ControlsReceived(kServiceName), std::vector<DWORD>{129});
  EXPECT_EQ(run(L"/unload-silent"), 0);
  EXPECT_EQ(run(L"/unload-silent"), 0);
  EXPECT_FALSE(sm.HasService(kServiceName));

  sm.FailOp(SimulatedServiceManager::Op::kCreate, err::kAccessDenied);
  EXPECT_EQ(run(L"/load-silent"), 1);
  sm.AddService({kServiceName, kServiceName, L"x"}, svc::kRunning);
  sm.FailOp(SimulatedServiceManager::Op::kOpen, err::kAccessDenied);
  EXPECT_EQ(run(L"/unload-silent"), 1);
  EXPECT_TRUE(messages.shown.empty()) << "the silent forms never show a box";
}

}  // namespace
}  // namespace tv
