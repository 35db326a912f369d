#include "settings/my_opts.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

#include "foundation/string_table.h"
#include "foundation/text_file.h"
#include "platform/portable/power.h"
#include "settings/record_fixture.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

using test::kAppKey;
using test::kTempKey;

const StrList kDefaultApplyTo = {L"Users", L"Guests", L"Remote Desktop Users"};
const StrList kDefaultExclude = {L"Administrators"};

class MyOptsTest : public test::RecordTest {};
using test::FillAll;

TEST_F(MyOptsTest, AFreshComputerLoadsTheDefaults) {
  // The values themselves are pinned against the policy templates, which show them as defaults.
  MyOpts o(Services()), defaults(Services());
  FillAll(o);
  EXPECT_FALSE(o.Load());
  defaults.Reset();
  EXPECT_EQ(o.IsDifferent(defaults), 0);
  EXPECT_EQ(o.policyState, kPolicyNotConfigured);
  EXPECT_EQ(o.ApplyTo, kDefaultApplyTo);
  EXPECT_EQ(o.Exclude, kDefaultExclude);

  // The group names are the computer's own; one that cannot be looked up is left out.
  accounts_.SetWellKnownGroupName(WellKnownGroup::kUsers, L"Benutzer");
  accounts_.FailOp(SimulatedAccounts::Op::kWellKnown, err::kNoneMapped, 1, 1);
  o.Reset();
  EXPECT_EQ(o.ApplyTo, (StrList{L"Benutzer", L"Remote Desktop Users"}));
  EXPECT_EQ(o.Exclude, kDefaultExclude);
}

TEST_F(MyOptsTest, AnExistingKeyKeepsDefaultsForMissingValuesButNotForMissingLists) {
  Dword(kAppKey, L"Timeout", 0);  // taken as found on the local path
  Dword(kAppKey, L"MessageTimeout", 20000);
  Dword(kAppKey, L"LogoffStaleCount", 0);
  Dword(kAppKey, L"ShutdownTimeout", 0);
  Dword(kAppKey, L"ShutdownAction", 0);
  MyOpts o(Services());
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.Timeout, 0u);
  EXPECT_EQ(o.MessageTimeout, 20000u);
  EXPECT_EQ(o.LogoffStaleCount, 0u);
  EXPECT_EQ(o.ShutdownTimeout, 0u);
  EXPECT_EQ(o.ShutdownAction, kActionSleep) << "0 is corrected";
  EXPECT_EQ(o.PercentCPU, 25u);
  EXPECT_TRUE(o.ApplyTo.empty()) << "a key without the subkey means an empty list";
  EXPECT_TRUE(o.Exclude.empty());

  Dword(kAppKey, L"ShutdownAction", 4);
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.ShutdownAction, kActionSleep);
  Dword(kAppKey, L"ShutdownAction", 3);
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.ShutdownAction, kActionShutdown);

  // An empty subkey is an empty list too, not a missing one.
  RegKey(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\ApplyTo", true, store_).Close();
  ASSERT_TRUE(o.Load());
  EXPECT_TRUE(o.ApplyTo.empty());
}

TEST_F(MyOptsTest, HandWrittenTextOfTheWrongTypeOrSize) {
  // Numbers in any stored form are ReadRegNumber's, tested with the option sets.
  Raw(kAppKey, L"Schedule", reg::kDword, {1, 0, 0, 0});  // not text: no schedule
  MyOpts o(Services());
  ASSERT_TRUE(o.Load());
  EXPECT_STREQ(o.GetSchedule(), L"");

  // A message that does not fit its 512 characters reads as empty, one that fits is kept.
  Text(kAppKey, L"MessageText", std::wstring(512, L'x'));
  Text(kAppKey, L"MessageTextIfLocked", std::wstring(511, L'y'));
  ASSERT_TRUE(o.Load());
  EXPECT_STREQ(o.MessageText, L"");
  EXPECT_EQ(std::wcslen(o.MessageTextIfLocked), 511u);
}

TEST_F(MyOptsTest, ListsStopAtTheFirstGapEmptyOversizeOrNonTextEntry) {
  const wchar_t* list = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\ApplyTo";
  const wchar_t* excl = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\Exclude";
  Text(list, L"1", L"a");
  Text(list, L"2", L"b");
  Text(list, L"4", L"after a gap");
  Text(excl, L"1", std::wstring(255, L'e'));  // 512 bytes with the terminator: fits
  Text(excl, L"2", L"c");
  Text(excl, L"3", L"");
  Text(excl, L"4", L"after an empty one");
  MyOpts o(Services());
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.ApplyTo, (StrList{L"a", L"b"}));
  ASSERT_EQ(o.Exclude.size(), 2u);
  EXPECT_EQ(o.Exclude[1], L"c");

  Text(excl, L"1", std::wstring(256, L'e'));  // 514 bytes
  Dword(list, L"2", 2);
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.ApplyTo, (StrList{L"a"}));
  EXPECT_TRUE(o.Exclude.empty());

  // With skipAccountLists neither the load nor its reset touches the lists.
  o.skipAccountLists = 1;
  o.ApplyTo = {L"mine"};
  o.Exclude = {};
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.ApplyTo, (StrList{L"mine"}));
  EXPECT_TRUE(o.Exclude.empty());
}

TEST_F(MyOptsTest, TheComputerPolicyKeyWinsOnlyWhenItHoldsEnable) {
  Dword(kAppKey, L"Timeout", 11);
  Dword(kComputerPolicyKey, L"Timeout", 22);
  Dword(kUserPolicyKey, L"Enable", 1);  // the user scope is never consulted
  Dword(kUserPolicyKey, L"Timeout", 44);
  MyOpts o(Services());
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.Timeout, 11u);
  EXPECT_EQ(o.policyInForce, 0);

  Text(kComputerPolicyKey, L"Enable", L"1");  // any readable form counts
  ASSERT_TRUE(o.Load());
  EXPECT_EQ(o.Timeout, 22u);
  EXPECT_EQ(o.Enable, 1);
  EXPECT_EQ(o.policyInForce, 1);
  EXPECT_TRUE(o.ApplyTo.empty()) << "the policy key's own (missing) lists count";

  // Storing never writes the policy key.
  o.Timeout = 55;
  ASSERT_TRUE(o.Store());
  EXPECT_EQ(RegKey(kComputerPolicyKey, false, store_).GetInt(L"Timeout", 0), 22u);
  EXPECT_EQ(RegKey(kAppKey, false, store_).GetInt(L"Timeout", 0), 55u);
}

TEST_F(MyOptsTest, StoreThenLoadKeepsEveryFieldAndRewritesListsWhole) {
  MyOpts o(Services());
  FillAll(o);
  o.ApplyTo = {L"one", L"two", L"three"};
  ASSERT_TRUE(o.Store());
  o.ApplyTo = {L"only"};
  ASSERT_TRUE(o.Store());

  MyOpts back(Services());
  ASSERT_TRUE(back.Load());
  EXPECT_EQ(back.ApplyTo, (StrList{L"only"})) << "entries past the new end must go";
  back.policyState = o.policyState;  // the local key has no policy state
  EXPECT_EQ(back.IsDifferent(o), 0);
  RegKey app(kAppKey, false, store_);
  EXPECT_FALSE(app.FindValue(L"NotConfigured")) << "only the Temp form holds it";
  EXPECT_EQ(app.GetValueType(L"Schedule"), reg::kSz);

  // An empty schedule is still written, and reads back as none.
  back.SetSchedule(nullptr);
  ASSERT_TRUE(back.Store());
  EXPECT_TRUE(app.FindValue(L"Schedule"));
  ASSERT_TRUE(o.Load());
  EXPECT_STREQ(o.GetSchedule(), L"");
}

TEST_F(MyOptsTest, IsDifferentSeesEachSettingButNotListOrderOrTheBinding) {
  MyOpts a(Services()), b(Services());
  a.Reset();
  FillAll(b);
  b.SetSchedule(nullptr);
  std::wcscpy(b.gpoPath, L"LDAP://cn={X}");
  b.policyInForce = 1;
  b.gpoResult = 5;
  a.CopyFrom(b);
  EXPECT_EQ(a.IsDifferent(b), 0);
  EXPECT_TRUE(a.gpoPath[0] == 0 && a.policyInForce == 0 && a.gpoResult == 0) << "CopyFrom leaves the binding";
  a.CopyGPOFrom(b);
  EXPECT_STREQ(a.gpoPath, L"LDAP://cn={X}");
  EXPECT_TRUE(a.policyInForce == 1 && a.gpoResult == 0) << "CopyGPOFrom takes the binding, not the result";

  b.ApplyTo = {L"Staff", L"DOM\\alice"};
  EXPECT_EQ(a.IsDifferent(b), 0) << "lists are sets";
  a.SetSchedule(L"");
  EXPECT_EQ(a.IsDifferent(b), 0) << "absent equals empty";

  const std::vector<std::function<void(MyOpts&)>> changes = {
      [](MyOpts& o) { o.SetAll(o.GetAll() ^ 4); }, [](MyOpts& o) { o.policyState = kPolicyNotConfigured; },
      [](MyOpts& o) { o.Enable = 0; },             [](MyOpts& o) { o.Timeout++; },
      [](MyOpts& o) { o.MessageTimeout++; },       [](MyOpts& o) { o.KeepLastActiveUser = 0; },
      [](MyOpts& o) { o.LogoffStale = 0; },        [](MyOpts& o) { o.LogoffStaleCount++; },
      [](MyOpts& o) { o.FullScreen = 0; },         [](MyOpts& o) { o.MonitorKB = 1; },
      [](MyOpts& o) { o.MonitorMouse = 1; },       [](MyOpts& o) { o.MonitorCPU = 0; },
      [](MyOpts& o) { o.PercentCPU++; },           [](MyOpts& o) { o.Shutdown = 0; },
      [](MyOpts& o) { o.ShutdownTimeout++; },      [](MyOpts& o) { o.ShutdownAction = 3; },
      [](MyOpts& o) { o.UseSchedule = 0; },        [](MyOpts& o) { o.SetSchedule(L"*"); },
      [](MyOpts& o) { o.MessageText[0] = L'b'; },  // case counts: "Bye" vs "bye"
      [](MyOpts& o) { std::wcscat(o.MessageTextIfLocked, L" "); },
      [](MyOpts& o) { o.ApplyTo.push_back(L"Staff"); },  // #20: a duplicate leaves the same set
      [](MyOpts& o) { o.ApplyTo.pop_back(); },     [](MyOpts& o) { o.Exclude.push_back(L"x"); },
      [](MyOpts& o) { o.KeepAliveAudio = 0; },     [](MyOpts& o) { o.KeepAlivePresentation = 0; },
      [](MyOpts& o) { o.IdleFromFirstInput = 0; }, [](MyOpts& o) { o.KeepAliveProcesses.pop_back(); },
  };
  ASSERT_EQ(changes.size(), 27u);
  for (std::size_t i = 0; i < changes.size(); ++i) {
    MyOpts c(Services());
    c.CopyFrom(b);
    changes[i](c);
    EXPECT_EQ(c.IsDifferent(b), i == 20 ? 0 : 1) << "change " << i;
    EXPECT_EQ(b.IsDifferent(c), i == 20 ? 0 : 1) << "change " << i;
  }
}

TEST_F(MyOptsTest, WarningTextCountsDownAsMinutesAndSecondsAndIsCut) {
  MyOpts o(Services());
  o.Reset();
  wchar_t out[kUserMsgChars];
  o.FormatUserMsg(out, std::size(out), 0, 4, 59);
  std::wstring expected = LoadStr(100);
  expected.replace(expected.find(L"%d"), 2, L"4:59");
  EXPECT_EQ(std::wstring(out), expected);
  EXPECT_NE(std::wstring(out).find(L"less than 4:59 minute(s)"), std::wstring::npos);

  // Locked with no locked text: the built-in one, even beside a custom unlocked text.
  std::wcscpy(o.MessageText, L"%d left, %d! 100%% sure %s");
  o.FormatUserMsg(out, std::size(out), 1, 5, 0);
  EXPECT_EQ(std::wstring(out).rfind(L"Unlock the screen", 0), 0u);
  EXPECT_NE(std::wstring(out).find(L"less than 5:00 minute(s)"), std::wstring::npos);
  o.FormatUserMsg(out, std::size(out), 0, 0, 7);
  EXPECT_STREQ(out, L"0:07 left, 0:07! 100%% sure %s") << "text replacement, not printf";

  o.FormatUserMsg(out, 5, 0, 10, 30);
  EXPECT_STREQ(out, L"10:3");

  // The longest custom text grows with every placeholder and is cut at the 512-character buffer.
  std::wstring longest;
  while (longest.size() + 2 <= kMessageTextChars - 1) longest += L"%d";
  std::wcscpy(o.MessageText, longest.c_str());
  std::fill(std::begin(out), std::end(out), L'#');
  o.FormatUserMsg(out, std::size(out), 0, 9999, 0);
  EXPECT_EQ(std::wcslen(out), kUserMsgChars - 1);
  EXPECT_EQ(std::wstring(out, 14), L"9999:009999:00");
}

TEST(StrReplace, ReplacesEveryMatchIndentsContinuationLinesAndMeasures) {
  EXPECT_EQ(StrReplace(nullptr, 0, L"a-b-c", L"-", L"--"), 8u);
  wchar_t out[64];
  EXPECT_EQ(StrReplace(out, 4, L"a-b-c", L"-", L"--"), 8u);
  EXPECT_STREQ(out, L"a--");
  StrReplace(out, std::size(out), L"abc", L"", L"x");  // nothing to find: copied as it is
  EXPECT_STREQ(out, L"abc");
  StrReplace(out, std::size(out), L"%d%d", L"%d", L"%d%d");  // replacements are not searched again
  EXPECT_STREQ(out, L"%d%d%d%d");

  // A multi-line replacement lines up under where it started, on the match's own line.
  StrReplace(out, std::size(out), L"top\r\n  Name: %s.", L"%s", L"one\r\ntwo\nthree");
  EXPECT_STREQ(out, L"top\r\n  Name: one\r\n        two\n        three.");
  StrReplace(out, std::size(out), L"x%s", L"%s", L"end\n");
  EXPECT_STREQ(out, L"xend\n") << "nothing follows the last break, so nothing is indented";
}

TEST(ShutdownAction, WhatThisComputerCanDo) {
  SimulatedPower power;
  power.SetCapabilities({false, false, false});
  EXPECT_FALSE(MyOpts::CanDoShutdownAction(kActionSleep, &power));
  EXPECT_TRUE(MyOpts::CanDoShutdownAction(kActionShutdown, &power)) << "always possible";
  EXPECT_FALSE(MyOpts::CanDoShutdownAction(4, &power));
  power.SetCapabilities({false, true, true});
  power.FailOp(SimulatedPower::Op::kCapabilities, err::kGenFailure);
  EXPECT_FALSE(MyOpts::CanDoShutdownAction(kActionHibernate, &power)) << "unknown means not possible";
  EXPECT_TRUE(MyOpts::CanDoShutdownAction(kActionHibernate, &power));
}

TEST_F(MyOptsTest, ARecordRoundTripsThroughAFileAndTheLiveKeyStaysAlone) {
  Dword(kAppKey, L"Timeout", 77);
  MyOpts o(Services());
  FillAll(o);
  const std::wstring file = File("all.cfg");
  ASSERT_TRUE(o.Export(nullptr, file.c_str(), 1));
  EXPECT_EQ(o.useTempKey, 0);
  EXPECT_FALSE(HasKey(kTempKey)) << "Temp is gone afterwards";
  EXPECT_EQ(RegKey(kAppKey, false, store_).GetInt(L"Timeout", 0), 77u);

  MyOpts back(Services());
  back.Reset();
  back.policyInForce = 1;
  ASSERT_TRUE(back.Import(nullptr, file.c_str(), 1));
  EXPECT_EQ(back.IsDifferent(o), 0);
  EXPECT_EQ(back.policyState, kPolicyEnabled);
  EXPECT_EQ(back.policyInForce, 1) << "an import is not a load: the source stays";
  EXPECT_EQ(back.useTempKey, 0);
  EXPECT_FALSE(HasKey(kTempKey));
  EXPECT_EQ(RegKey(kAppKey, false, store_).GetInt(L"Timeout", 0), 77u);

  // policyState survives apart from Enable: not configured though enabled, and disabled.
  for (DWORD state : {kPolicyNotConfigured, kPolicyDisabled}) {
    o.policyState = state;
    o.Enable = state == kPolicyNotConfigured ? 1 : 0;
    ASSERT_TRUE(o.Export(nullptr, file.c_str(), 1));
    ASSERT_TRUE(back.Import(nullptr, file.c_str(), 1));
    EXPECT_EQ(back.IsDifferent(o), 0) << state;
  }
}

TEST_F(MyOptsTest, AFailedImportLeavesRecordAndLiveKeyAsTheyWere) {
  Dword(kAppKey, L"Timeout", 77);
  MyOpts source(Services());
  FillAll(source);
  const std::wstring good = File("good.cfg");
  ASSERT_TRUE(source.Export(nullptr, good.c_str(), 1));

  MyOpts o(Services()), before(Services());
  o.Reset();
  before.CopyFrom(o);

  const std::wstring bad = File("bad.cfg");
  ASSERT_TRUE(WriteTextFile(bad.c_str(), L"<?xml version=\"1.0\"?>\r\n<DATA Name=\"Timeout\" Value=\"3\""));
  test::MessageRecorder messages;
  EXPECT_FALSE(o.Import(nullptr, bad.c_str(), 0));
  EXPECT_FALSE(messages.shown.empty()) << "a parse error is shown when not quiet";
  EXPECT_EQ(o.IsDifferent(before), 0);
  EXPECT_FALSE(o.Import(nullptr, File("missing.cfg").c_str(), 1));
  EXPECT_EQ(o.IsDifferent(before), 0);

  // Whichever registry operation gives up, the import is all or nothing.
  int failed = 0;
  for (RegOp op : {RegOp::kCreate, RegOp::kWrite, RegOp::kRead, RegOp::kOpen}) {
    for (unsigned nth = 1; nth <= 40; ++nth) {
      o.CopyFrom(before);
      store_.FailOperation(op, nth, err::kCantWrite);
      const BOOL ok = o.Import(nullptr, good.c_str(), 1);
      store_.ClearFaults();
      failed += ok ? 0 : 1;
      EXPECT_EQ(o.IsDifferent(ok ? static_cast<MyOpts&>(source) : before), 0)
          << "op " << static_cast<int>(op) << " #" << nth << (ok ? " succeeded" : " failed");
    }
  }
  EXPECT_GT(failed, 10);
  o.CopyFrom(before);

  EXPECT_EQ(o.useTempKey, 0);
  EXPECT_FALSE(HasKey(kTempKey));
  RegKey app(kAppKey, false, store_);
  EXPECT_EQ(app.GetInt(L"Timeout", 0), 77u);
  EXPECT_FALSE(app.FindValue(L"Enable"));

  ASSERT_TRUE(o.Import(nullptr, good.c_str(), 1)) << "and the same file works once the registry does";
  EXPECT_EQ(o.IsDifferent(source), 0);

  // An export fails as cleanly: Temp cannot be written, or the file cannot be made.
  store_.FailOperation(RegOp::kCreate, 1, err::kAccessDenied, true);
  EXPECT_FALSE(o.Export(nullptr, File("x.cfg").c_str(), 1));
  store_.ClearFaults();
  EXPECT_FALSE(o.Export(nullptr, File("no-such-folder/x.cfg").c_str(), 1));
  EXPECT_EQ(o.useTempKey, 0);
  EXPECT_FALSE(HasKey(kTempKey));
}

}  // namespace
}  // namespace tv
