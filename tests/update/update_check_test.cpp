#include "update/update_check.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "platform/portable/event_log.h"
#include "foundation/service_log.h"
#include "settings/my_opts.h"
#include "settings/policy.h"
#include "support/message_recorder.h"
#include "update/update_command.h"

namespace tv {
namespace {

TEST(UpdateLocation, TakesHttpsAndFullPathsAndRefusesWhatCannotVouchForAPackage) {
  struct Case {
    const wchar_t* text;
    LocationKind kind;  // kNone with `ok` false: refused
    bool ok;
    const wchar_t* host;
    unsigned port;
    const wchar_t* path;
  };
  const Case cases[] = {
      {L"", LocationKind::kNone, true, L"", 0, L""},
      {L"  \t", LocationKind::kNone, true, L"", 0, L""},
      {L"https://updates.corp.example/tv/Tarnvale-update.xml", LocationKind::kHttps, true, L"updates.corp.example", 443,
       L"/tv/Tarnvale-update.xml"},
      {L" HTTPS://Host:8443 ", LocationKind::kHttps, true, L"Host", 8443, L"/"},
      {L"http://127.0.0.1:8000/m.xml?x=1#frag", LocationKind::kLocalHttp, true, L"127.0.0.1", 8000, L"/m.xml?x=1"},
      {L"http://localhost/m.xml", LocationKind::kLocalHttp, true, L"localhost", 80, L"/m.xml"},
      {L"http://[::1]:81/m.xml", LocationKind::kLocalHttp, true, L"::1", 81, L"/m.xml"},
      {L"\\\\server\\share\\Tarnvale\\Tarnvale-update.xml", LocationKind::kFile, true, L"", 0, L""},
      {L"C:\\Updates\\Tarnvale-update.xml", LocationKind::kFile, true, L"", 0, L""},
      {L"http://updates.corp.example/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"http://127.0.0.1.evil.example/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"http://127.0.0.256/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https://user:pw@host/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https:///m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https://host:0/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https://host:65536/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https://[::1/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"https://ho st/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"ftp://host/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"file://host/m.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"updates\\Tarnvale-update.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"\\\\?\\C:\\x.xml", LocationKind::kNone, false, L"", 0, L""},
      {L"C:\\a\nb.xml", LocationKind::kNone, false, L"", 0, L""},
  };
  for (const Case& c : cases) {
    UpdateLocation out;
    out.text = L"kept";
    std::wstring why;
    const bool ok = ParseUpdateLocation(c.text, out, &why);
    EXPECT_EQ(ok, c.ok) << testing::PrintToString(std::wstring(c.text)) << " " << testing::PrintToString(why);
    if (!ok) {
      EXPECT_FALSE(why.empty());
      EXPECT_EQ(out.text, L"kept");
      continue;
    }
    EXPECT_EQ(out.kind, c.kind) << testing::PrintToString(std::wstring(c.text));
    EXPECT_EQ(out.host, c.host);
    EXPECT_EQ(out.port, c.port);
    EXPECT_EQ(out.path, c.path);
  }
}

TEST(UpdateLocation, APackageStaysBesideItsManifestOrIsAnAddressOfItsOwn) {
  UpdateLocation share, web;
  ASSERT_TRUE(ParseUpdateLocation(L"\\\\srv\\share\\tv\\Tarnvale-update.xml", share));
  ASSERT_TRUE(ParseUpdateLocation(L"https://h:8443/tv/Tarnvale-update.xml?v=2", web));
  UpdateLocation out;
  ASSERT_TRUE(ResolvePackageLocation(share, L"Tarnvale-24.6.0-x64.msi", out));
  EXPECT_EQ(out.text, L"\\\\srv\\share\\tv\\Tarnvale-24.6.0-x64.msi");
  ASSERT_TRUE(ResolvePackageLocation(web, L"Tarnvale-24.6.0-x64.msi", out));
  EXPECT_EQ(out.text, L"https://h:8443/tv/Tarnvale-24.6.0-x64.msi");
  EXPECT_EQ(out.path, L"/tv/Tarnvale-24.6.0-x64.msi");
  EXPECT_EQ(out.port, 8443u);
  ASSERT_TRUE(ResolvePackageLocation(share, L"https://cdn.example/p/T.msi", out));
  EXPECT_EQ(out.kind, LocationKind::kHttps);
  for (const wchar_t* bad : {L"..\\..\\Windows\\evil.msi", L"../evil.msi", L"sub/T.msi", L"C:T.msi", L"T..msi",
                             L"\\\\other\\share\\T.msi", L"T.exe", L"T.msi ", L"", L"http://cdn.example/T.msi",
                             L"https://cdn.example/setup.exe"}) {
    out.text = L"kept";
    std::wstring why;
    EXPECT_FALSE(ResolvePackageLocation(share, bad, out, &why)) << testing::PrintToString(std::wstring(bad));
    EXPECT_EQ(out.text, L"kept");
    EXPECT_FALSE(why.empty());
  }
}

// A network and a file system that answer from a table, and note what was asked.
class TableTransport final : public UpdateTransport {
 public:
  bool Fetch(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
             std::wstring& why) override {
    asked.push_back({where.text, limit});
    const auto found = files.find(where.text);
    if (found == files.end()) {
      why = L"not there";
      return false;
    }
    if (found->second.size() > limit) {
      why = L"too big";
      return false;
    }
    bytes = found->second;
    return true;
  }
  std::map<std::wstring, std::vector<std::uint8_t>> files;
  std::vector<std::pair<std::wstring, std::uint64_t>> asked;
};

class RecordingInstaller final : public PackageInstaller {
 public:
  bool Start(const std::vector<std::uint8_t>& verified, const UpdateManifest&, std::wstring& logFile,
             std::wstring& why) override {
    started.push_back(verified);
    if (refuse) {
      why = L"no installer";
      return false;
    }
    logFile = L"C:\\log.txt";
    return true;
  }
  std::vector<std::vector<std::uint8_t>> started;
  bool refuse = false;
};

constexpr const wchar_t* kSource = L"\\\\srv\\tv\\Tarnvale-update.xml";
constexpr const wchar_t* kPackage = L"\\\\srv\\tv\\Tarnvale-24.6.0-x64.msi";

std::vector<std::uint8_t> ManifestFor(const std::string& version, const std::vector<std::uint8_t>& package) {
  UpdateManifest m;
  EXPECT_TRUE(ParsePackageVersion(std::wstring(version.begin(), version.end()), m.version));
  m.package = L"Tarnvale-24.6.0-x64.msi";
  m.size = package.size();
  m.sha256 = Sha256Of(package.data(), package.size());
  m.released = L"2024-06-03";
  m.notes = L"Notes <a>with</a> & mark-up";
  const std::wstring text = WriteManifest(m);
  return {text.begin(), text.end()};
}

class UpdateCommand : public testing::Test {
 protected:
  void SetUp() override {
#ifdef _WIN32
    // The product's box is a real dialog there; the message recorder stands in for it elsewhere.
    GTEST_SKIP() << "boxes are recorded only in the portable build";
#endif
    ASSERT_TRUE(ParsePackageVersion(L"24.5.0", env.current));
    env.source = kSource;
    env.transport = &transport;
    env.installer = &installer;
    env.log = &log;
  }
  std::vector<DWORD> LoggedIds() const {
    std::vector<DWORD> ids;
    for (const auto& e : log.Entries()) ids.push_back(e.eventId);
    return ids;
  }
  const std::vector<std::uint8_t> package{'M', 'S', 'I', '!', 0, 1, 2};
  TableTransport transport;
  RecordingInstaller installer;
  SimulatedEventLog log;
  UpdateCommandEnv env;
};

// Every way a check can end: what is logged, what the quiet run answers, what the box offers,
// and what the unattended run (which shows nothing) does.
TEST_F(UpdateCommand, EachOutcomeIsLoggedAnsweredAndShown) {
  struct Case {
    const wchar_t* source;
    std::string manifestVersion;  // empty: no manifest there
    int quietExit;
    DWORD logged;
    const wchar_t* boxSays;
    int unattendedExit;
  };
  const Case cases[] = {
      {L"", "", update_exit::kNoSource, evt::kUpdateCheckFailed, L"No update source", update_exit::kNoSource},
      {L"http://updates.example/x.xml", "", update_exit::kFailed, evt::kUpdateCheckFailed, L"plain http",
       update_exit::kFailed},
      {kSource, "", update_exit::kFailed, evt::kUpdateCheckFailed, L"not there", update_exit::kFailed},
      {kSource, "24.4.9", update_exit::kUpToDate, evt::kUpdateUpToDate, L"is up to date", update_exit::kUpToDate},
      {kSource, "24.5.0", update_exit::kUpToDate, evt::kUpdateUpToDate, L"is up to date", update_exit::kUpToDate},
      {kSource, "24.10.0", update_exit::kNewerAvailable, evt::kUpdateAvailable, L"Download and install",
       update_exit::kInstalling},
  };
  for (const Case& c : cases) {
    transport.files.clear();
    if (!c.manifestVersion.empty()) transport.files[kSource] = ManifestFor(c.manifestVersion, package);
    transport.files[kPackage] = package;
    env.source = c.source;
    log.Clear();
    installer.started.clear();
    test::MessageRecorder quietBoxes;
    EXPECT_EQ(RunUpdateCommand(env, UpdateAction::kCheckOnly, nullptr), c.quietExit) << c.manifestVersion;
    EXPECT_TRUE(quietBoxes.shown.empty()) << "a quiet check only logs";
    EXPECT_EQ(LoggedIds(), std::vector<DWORD>{c.logged});

    test::MessageRecorder boxes(kAnswerNo);
    EXPECT_EQ(RunUpdateCommand(env, UpdateAction::kOffer, nullptr), c.quietExit);
    ASSERT_EQ(boxes.shown.size(), 1u);
    EXPECT_NE(boxes.shown[0].text.find(c.boxSays), std::wstring::npos) << testing::PrintToString(boxes.shown[0].text);
    EXPECT_TRUE(installer.started.empty()) << "checked only or declined: nothing runs";

    log.Clear();
    test::MessageRecorder unattendedBoxes(kAnswerNo);
    EXPECT_EQ(RunUpdateCommand(env, UpdateAction::kInstall, nullptr), c.unattendedExit) << c.manifestVersion;
    EXPECT_TRUE(unattendedBoxes.shown.empty()) << "nobody is there to answer a box";
    const bool installs = c.unattendedExit == update_exit::kInstalling;
    EXPECT_EQ(installer.started, installs ? std::vector<std::vector<std::uint8_t>>{package}
                                          : std::vector<std::vector<std::uint8_t>>{});
    EXPECT_EQ(LoggedIds().front(), c.logged);
    EXPECT_EQ(LoggedIds().back(), installs ? evt::kUpdateInstalling : c.logged);
  }
  EXPECT_EQ(transport.asked.front().second, kMaxManifestBytes + 1) << "a manifest is read with its size limit";
}

TEST_F(UpdateCommand, NotesAreShownAsTextNotAsMarkUp) {
  transport.files[kSource] = ManifestFor("24.6.0", package);
  const CheckResult r = CheckForUpdate(kSource, env.current, transport);
  ASSERT_EQ(r.outcome, CheckOutcome::kNewer);
  const std::wstring text = UpdateResultText(r);
  EXPECT_NE(text.find(L"Notes &lt;a&gt;with&lt;/a&gt; &amp; mark-up"), std::wstring::npos) << testing::PrintToString(text);
}

// Accepting the offer, or installing unattended: only the announced bytes are fetched, and only a
// package of the announced size and SHA-256 reaches the installer.
TEST_F(UpdateCommand, OnlyAVerifiedPackageIsHandedToTheInstaller) {
  struct Case {
    std::vector<std::uint8_t> served;  // what the share holds under the package's name
    bool installerRefuses;
    int exit;
    DWORD lastLogged;
  };
  std::vector<std::uint8_t> flipped = package;
  flipped[3] ^= 1;
  std::vector<std::uint8_t> longer = package;
  longer.push_back(0);
  const Case cases[] = {
      {package, false, update_exit::kInstalling, evt::kUpdateInstalling},
      {flipped, false, update_exit::kFailed, evt::kUpdatePackageRefused},
      {{package.begin(), package.end() - 1}, false, update_exit::kFailed, evt::kUpdatePackageRefused},
      {longer, false, update_exit::kFailed, evt::kUpdatePackageRefused},
      {{}, false, update_exit::kFailed, evt::kUpdatePackageRefused},
      {package, true, update_exit::kFailed, evt::kUpdateInstallFailed},
  };
  for (const UpdateAction action : {UpdateAction::kOffer, UpdateAction::kInstall}) {
    for (const Case& c : cases) {
      transport.files.clear();
      transport.asked.clear();
      transport.files[kSource] = ManifestFor("24.6.0", package);
      if (!c.served.empty()) transport.files[kPackage] = c.served;
      installer.started.clear();
      installer.refuse = c.installerRefuses;
      log.Clear();
      test::MessageRecorder boxes(kAnswerYes);
      EXPECT_EQ(RunUpdateCommand(env, action, nullptr), c.exit) << c.served.size();
      EXPECT_EQ(LoggedIds().back(), c.lastLogged);
      ASSERT_EQ(transport.asked.size(), 2u);
      EXPECT_EQ(transport.asked[1].second, package.size()) << "never more than announced is read";
      if (c.exit == update_exit::kInstalling || c.installerRefuses) {
        ASSERT_EQ(installer.started.size(), 1u);
        EXPECT_EQ(installer.started[0], package);
      } else {
        EXPECT_TRUE(installer.started.empty()) << "a mismatch runs nothing";
      }
      if (action == UpdateAction::kInstall) {
        EXPECT_TRUE(boxes.shown.empty()) << "an unattended run shows nothing";
      } else if (c.exit == update_exit::kFailed && !c.installerRefuses) {
        EXPECT_NE(boxes.shown.back().text.find(L"ran nothing"), std::wstring::npos);
      }
    }
  }
}

// The policy key's source wins even while the rest of the settings are the computer's own.
TEST(UpdateSourceSetting, PolicyWinsThenTheProductKeyAndItTravelsWithTheRecord) {
  MemKeyStore store;
  {
    RegKey key(kAppRootKey, true, store);
    ASSERT_TRUE(key.PutStr(kUpdateSourceValue, L"\\\\local\\tv\\Tarnvale-update.xml"));
  }
  MyOpts settings(store);
  ASSERT_TRUE(settings.Load());
  EXPECT_EQ(EffectiveUpdateSource(settings), L"\\\\local\\tv\\Tarnvale-update.xml");
  MyOpts copy(store);
  copy.CopyFrom(settings);
  EXPECT_EQ(copy.UpdateSource, settings.UpdateSource);
  copy.UpdateSource = L"https://other/x.xml";
  EXPECT_TRUE(copy.IsDifferent(settings));
  {
    RegKey policy(kComputerPolicyKey, true, store);
    ASSERT_TRUE(policy.PutStr(kUpdateSourceValue, L"https://gpo.example/Tarnvale-update.xml"));
  }
  ASSERT_TRUE(settings.Load());
  EXPECT_EQ(settings.policyInForce, 0) << "a policy key without Enable leaves the local settings in force";
  EXPECT_EQ(EffectiveUpdateSource(settings), L"https://gpo.example/Tarnvale-update.xml");
}

}  // namespace
}  // namespace tv
