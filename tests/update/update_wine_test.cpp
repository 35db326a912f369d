// The update check against a real web server (Python's http.server on 127.0.0.1, started by the
// test's fixture) through WinHTTP, and against files through the file API, under Wine.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <fstream>
#include <string>
#include <vector>

#include "update/update_check.h"

namespace tv {
namespace {

std::string g_port;

// The server's folder as this Windows process reaches it: the Unix root is drive Z:.
std::wstring WinPath(const std::string& unixPath) {
  std::wstring out = L"Z:";
  for (char c : unixPath) out.push_back(c == '/' ? L'\\' : static_cast<wchar_t>(c));
  return out;
}

void Put(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(WinPath(std::string(TV_UPDATE_WWW) + "/" + name).c_str(), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint8_t> ManifestFor(const wchar_t* version, const std::vector<std::uint8_t>& package,
                                      const Sha256::Digest& digest) {
  UpdateManifest m;
  EXPECT_TRUE(ParsePackageVersion(version, m.version));
  m.package = L"Tarnvale-9.9.9-x64.msi";
  m.size = package.size();
  m.sha256 = digest;
  m.released = L"2024-06-03";
  const std::wstring text = WriteManifest(m);
  return {text.begin(), text.end()};
}

class UpdateOverHttp : public testing::Test {
 protected:
  void SetUp() override {
    std::ifstream state(WinPath(TV_UPDATE_STATE).c_str());
    state >> g_port;
    ASSERT_FALSE(g_port.empty()) << "the fixture's server is not running";
    ASSERT_TRUE(ParsePackageVersion(L"24.5.0", current));
  }
  std::wstring Url(const std::string& path) const {
    const std::string url = "http://127.0.0.1:" + g_port + "/" + path;
    return {url.begin(), url.end()};
  }
  PackageVersion current;
  const std::vector<std::uint8_t> package = std::vector<std::uint8_t>(70000, 0x5A);
};

TEST_F(UpdateOverHttp, OlderEqualAndNewerManifestsByAddressAndByPath) {
  const auto transport = CreateSystemTransport(5000);
  struct Case {
    const wchar_t* version;
    CheckOutcome outcome;
  };
  for (const Case& c : {Case{L"24.4.0", CheckOutcome::kUpToDate}, Case{L"24.5.0", CheckOutcome::kUpToDate},
                        Case{L"24.10.0", CheckOutcome::kNewer}}) {
    Put("Tarnvale-update.xml", ManifestFor(c.version, package, Sha256Of(package.data(), package.size())));
    for (const std::wstring& source :
         {Url("Tarnvale-update.xml"), WinPath(std::string(TV_UPDATE_WWW) + "/Tarnvale-update.xml")}) {
      const CheckResult r = CheckForUpdate(source, current, *transport);
      EXPECT_EQ(r.outcome, c.outcome) << testing::PrintToString(source) << " " << testing::PrintToString(r.why);
    }
  }
  EXPECT_EQ(CheckForUpdate(Url("missing.xml"), current, *transport).outcome, CheckOutcome::kFailed);
}

TEST_F(UpdateOverHttp, APackageThatIsNotTheAnnouncedOneNeverLeavesTheFetch) {
  const auto transport = CreateSystemTransport(5000);
  std::vector<std::uint8_t> served = package;
  served[40000] ^= 1;
  Put("Tarnvale-9.9.9-x64.msi", served);
  Put("Tarnvale-update.xml", ManifestFor(L"24.10.0", package, Sha256Of(package.data(), package.size())));
  const CheckResult r = CheckForUpdate(Url("Tarnvale-update.xml"), current, *transport);
  ASSERT_EQ(r.outcome, CheckOutcome::kNewer) << testing::PrintToString(r.why);
  std::vector<std::uint8_t> bytes;
  std::wstring why;
  EXPECT_FALSE(FetchVerifiedPackage(r, *transport, bytes, why));
  EXPECT_NE(why.find(L"SHA-256"), std::wstring::npos) << testing::PrintToString(why);
  EXPECT_TRUE(bytes.empty());
  Put("Tarnvale-9.9.9-x64.msi", package);
  EXPECT_TRUE(FetchVerifiedPackage(r, *transport, bytes, why)) << testing::PrintToString(why);
  EXPECT_EQ(bytes, package);
}

// WinHTTP under Wine waits for a server that never answers until it closes the connection,
// whatever its own time-outs say; the check's deadline is what ends the wait.
TEST_F(UpdateOverHttp, AServerThatNeverAnswersFailsAtTheDeadlineWithAClearMessage) {
  const auto transport = CreateSystemTransport(2000);
  const CheckResult r = CheckForUpdate(Url("stall/Tarnvale-update.xml"), current, *transport);
  EXPECT_EQ(r.outcome, CheckOutcome::kFailed);
  EXPECT_NE(r.why.find(L"did not answer within 2 seconds"), std::wstring::npos) << testing::PrintToString(r.why);
}

}  // namespace
}  // namespace tv

#else

TEST(UpdateOverHttp, OnlyOnWindows) { GTEST_SKIP() << "needs Wine, WinHTTP and the fixture's server"; }

#endif
