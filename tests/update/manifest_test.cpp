#include "update/manifest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/utf16.h"
#include "update/location.h"

namespace tv {
namespace {

std::vector<std::uint8_t> Bytes(const std::string& text) { return {text.begin(), text.end()}; }

const std::string kHash = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";

std::string Manifest(const std::string& version, const std::string& packageLine,
                     const std::string& rest = "<Released>2024-06-03</Released>") {
  return "<?xml version=\"1.0\"?>\n<TarnvaleUpdate>\n<Version>" + version + "</Version>\n" + packageLine + "\n" +
         rest + "\n</TarnvaleUpdate>\n";
}

std::string Package(const std::string& size = "4", const std::string& hash = kHash,
                    const std::string& name = "Tarnvale-24.6.0-x64.msi") {
  return "<Package Size=\"" + size + "\" SHA256=\"" + hash + "\">" + name + "</Package>";
}

TEST(UpdateVersion, ComparesFieldsAsNumbersAndRefusesWhatInstallerCannotHold) {
  PackageVersion a, b;
  ASSERT_TRUE(ParsePackageVersion(L"24.10.0", a));
  ASSERT_TRUE(ParsePackageVersion(L"24.9.3", b));
  EXPECT_GT(a, b);
  ASSERT_TRUE(ParsePackageVersion(L"24.5.0", b));
  ASSERT_TRUE(ParsePackageVersion(L"24.5.00", a));
  EXPECT_EQ(a, b);
  ASSERT_TRUE(ParsePackageVersion(L"65535.0.1", a));
  EXPECT_EQ(a.ToString(), L"65535.0.1");
  for (const wchar_t* bad : {L"99999999999.0.0", L"65536.0.0", L"1.2", L"1.2.3.4", L"1..3", L" 1.2.3", L"1.2.3 ",
                             L"-1.2.3", L"1.2.x", L"", L"000001.0.0"}) {
    std::wstring why;
    PackageVersion kept = b;
    EXPECT_FALSE(ParsePackageVersion(bad, kept, &why)) << testing::PrintToString(std::wstring(bad));
    EXPECT_EQ(kept, b);
    EXPECT_NE(why.find(L"version"), std::wstring::npos);
  }
}

TEST(UpdateManifest, WhatThePackagingWritesReadsBackInEveryEncoding) {
  UpdateManifest m;
  ASSERT_TRUE(ParsePackageVersion(L"24.6.0", m.version));
  m.package = L"Tarnvale-24.6.0-x64.msi";
  m.size = 123456789;
  m.sha256 = Sha256Of("x", 1);
  m.released = L"2024-06-03";
  m.notes = L"Fixes <b>this</b> & that.\r\nSecond line.";
  const std::wstring text = WriteManifest(m);
  for (const std::vector<std::uint8_t>& bytes :
       {ToUtf16Le(L"\uFEFF" + text), std::vector<std::uint8_t>(text.begin(), text.end())}) {
    UpdateManifest read;
    std::wstring why;
    ASSERT_TRUE(ReadManifest(bytes, read, &why)) << testing::PrintToString(why);
    EXPECT_EQ(read.version, m.version);
    EXPECT_EQ(read.package, m.package);
    EXPECT_EQ(read.size, m.size);
    EXPECT_EQ(read.sha256, m.sha256);
    EXPECT_EQ(read.released, m.released);
    EXPECT_EQ(read.notes, m.notes);
  }
}

TEST(UpdateManifest, RefusesEveryManifestItCannotFullyUnderstandAndSaysWhy) {
  struct Case {
    std::string text;
    const wchar_t* says;
  };
  const Case cases[] = {
      {"", L"empty"},
      {std::string(kMaxManifestBytes + 1, ' '), L"64 KB"},
      {"<TarnvaleUpdate><Version>1.0.0</Version>", L"XML"},  // truncated
      {"<html><body>Not found</body></html>", L"root"},
      {"<TarnvaleUpdate/><TarnvaleUpdate/>", L"root"},
      {"<TarnvaleUpdate>text</TarnvaleUpdate>", L"root"},
      {Manifest("99999999999.0.0", Package()), L"above 65535"},
      {Manifest("24.6", Package()), L"three numbers"},
      {Manifest("24.6.0", ""), L"<Package>"},
      {Manifest("24.6.0", Package() + Package()), L"more than one <Package>"},
      {Manifest("24.6.0", "<Version>25.0.0</Version>" + Package()), L"more than one <Version>"},
      {Manifest("24.6.0", Package("")), L"Size"},
      {Manifest("24.6.0", Package("0")), L"outside"},
      {Manifest("24.6.0", Package("99999999999")), L"Size"},
      {Manifest("24.6.0", Package("-4")), L"Size"},
      {Manifest("24.6.0", Package("4", kHash.substr(2))), L"64 hexadecimal"},
      {Manifest("24.6.0", Package("4", kHash + "00")), L"64 hexadecimal"},
      {Manifest("24.6.0", Package("4", "g" + kHash.substr(1))), L"64 hexadecimal"},
      {Manifest("24.6.0", Package("4", kHash, "")), L"names no file"},
      {Manifest("24.6.0", Package(), ""), L"<Released>"},
      {Manifest("24.6.0", Package(), "<Released>June</Released>"), L"date"},
      {Manifest("24.6.0", Package(), "<Released>2024-13-01</Released>"), L"date"},
      {Manifest("24.6.0", Package(), "<Released>2024-06-03</Released><Notes>" + std::string(1001, 'n') + "</Notes>"),
       L"1000"},
      {Manifest("24.6.0", Package(), "<Released>2024-06-03</Released><Notes><b/></Notes>"), L"elements"},
  };
  for (const Case& c : cases) {
    UpdateManifest out;
    out.package = L"kept";
    std::wstring why;
    EXPECT_FALSE(ReadManifest(Bytes(c.text), out, &why)) << c.text.substr(0, 120);
    EXPECT_NE(why.find(c.says), std::wstring::npos) << testing::PrintToString(why) << " for " << c.text.substr(0, 120);
    EXPECT_EQ(out.package, L"kept");
  }
}

}  // namespace
}  // namespace tv
