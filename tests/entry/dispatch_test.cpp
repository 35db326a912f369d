#include "entry/dispatch.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/product_info.h"
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

TEST(RunModeDispatch, ObjectTagsAreReadAfterTheModeSwitchAndRefusedUnlessTheService) {
  struct Case {
    const wchar_t* line;
    bool bad;
    const wchar_t* tag;
  };
  const Case cases[] = {
      {L"/monitor:3", false, L""},
      {L"/monitor:3 /tag:0123456789abcdef", false, L"0123456789abcdef"},
      {L"/msg:3\t-TAG=ab", false, L"ab"},
      {L"\"C:\\Program Files\\Tarnvale\\TV64.EXE\" /msg:12 /tag:ffffffffffffffffffffffffffffffff", false,
       L"ffffffffffffffffffffffffffffffff"},
      // Words that only look like the switch are someone else's.
      {L"/monitor:3 /tags:zz", false, L""},
      {L"/monitor:3 tag:zz", false, L""},
      // The mode's own data is the session, never a tag.
      {L"/monitor:tag:ab", false, L""},
      // Values the service never writes: upper case, too long, empty, quoted, none, twice.
      {L"/monitor:3 /tag:ABCD", true, L""},
      {L"/monitor:3 /tag:fffffffffffffffffffffffffffffffff", true, L""},
      {L"/monitor:3 /tag:", true, L""},
      {L"/monitor:3 /tag:\"ab\"", true, L""},
      {L"/msg:3 /tag", true, L""},
      {L"/msg:3 /tag:ab /tag:ab", true, L""},
      {L"/msg:3 /tag:..\\x", true, L""},
  };
  for (const Case& c : cases) {
    const RunRequest r = ParseRunMode(c.line);
    const std::string line = testing::PrintToString(std::wstring(c.line));
    EXPECT_EQ(r.badTag, c.bad) << line;
    EXPECT_EQ(r.tag, c.tag) << line;
  }
  std::wstring tag = L"kept";
  EXPECT_FALSE(ParseObjectTag(L"/msg:1 /tag:XY", tag));
  EXPECT_EQ(tag, L"kept") << "left untouched on failure";
  EXPECT_FALSE(ParseObjectTag(nullptr, tag));

  // A refused tag ends either mode with the code of an unreadable session, before any agent or
  // box could use the name.
  test::MessageRecorder messages;
  for (const wchar_t* line : {L"/monitor:3 /tag:XYZ", L"/monitor /tag:", L"/msg:3 /tag:g", L"/msg:x /tag:1 /tag:2"}) {
    EXPECT_EQ(DoWinMain(nullptr, line, 1), 87) << testing::PrintToString(std::wstring(line));
  }
  EXPECT_TRUE(messages.shown.empty());
}

TEST(RunModeDispatch, ModesWithoutEffectExitZeroAndLeaveTheBookkeepingBalanced) {
  test::MessageRecorder messages;
  const int before = GetMyProductInfo()->GetAppCount();
  int marker = 0;
  for (const wchar_t* line : {L"/user-load", L"/monitor", L"/msg", L"/msg:x", L"", L"/load ", L"x y"}) {
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
