#include "settings/reg_key.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/utf16.h"

namespace tv {
namespace {

constexpr const wchar_t* kApp = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale";

class RegKeyTest : public ::testing::Test {
 protected:
  void TearDown() override {
    RegKey::EndLog();
    EXPECT_EQ(store_.OpenHandleCount(), 0u) << "a handle was left open";
  }
  // Writes a raw value below the application key.
  void Raw(const wchar_t* name, DWORD type, const std::vector<std::uint8_t>& data) {
    ASSERT_TRUE(RegKey(kApp, true, store_).PutBin(name, data.data(), static_cast<DWORD>(data.size()), type));
  }
  std::vector<std::wstring> SubkeysOf(const wchar_t* path) {
    RegKey key(path, false, store_);
    std::vector<std::wstring> names;
    std::wstring n;
    for (DWORD i = 0; key.GetSubKeyByIndex(i, &n); ++i) names.push_back(n);
    return names;
  }

  MemKeyStore store_;
};

TEST_F(RegKeyTest, OpenKeyWalksFromAnExactRootName) {
  EXPECT_EQ(RegKey::OpenKey(L"HKEY_USERS", true, 0, store_), store_.Root(RegRoot::kUsers));
  for (const wchar_t* bad : {L"", L"Software\\Example", L"hklm\\Software", L"HKLMX\\A", L"HKCR\\A"}) {
    EXPECT_EQ(RegKey::OpenKey(bad, true, 0, store_), RegHandle{}) << bad;
  }
  EXPECT_EQ(RegKey::OpenKey(nullptr, true, 0, store_), RegHandle{});
  EXPECT_EQ(RegKey::OpenKey(L"HKCU\\Missing", false, 0, store_), RegHandle{});
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);

  // Creating walks every level and closes every intermediate handle.
  RegKey app(kApp, true, store_);
  ASSERT_TRUE(app.IsOpen());
  EXPECT_EQ(store_.OpenHandleCount(), 1u);
  ASSERT_TRUE(app.PutDword(L"Enable", 1));
  RegKey same(L"HKEY_LOCAL_MACHINE\\software\\\\BRELLICK\\Tarnvale\\", false, store_);
  EXPECT_EQ(same.GetInt(L"Enable", 0), 1u);

  RegKey parent(store_);
  ASSERT_TRUE(parent.OpenParent(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\Temp", false));
  EXPECT_EQ(parent.GetInt(L"Enable", 0), 1u);  // opened "...\Tarnvale" without creating Temp
  EXPECT_TRUE(SubkeysOf(kApp).empty());

  RegKey child(app, L"ApplyTo", true);
  RegKey byRoot(RegRoot::kLocalMachine, L"SOFTWARE\\Brellick\\Tarnvale\\ApplyTo", false, store_);
  EXPECT_TRUE(child.IsOpen() && byRoot.IsOpen());
  EXPECT_FALSE(byRoot.Open(RegHandle{}, L"x", false));
  EXPECT_FALSE(byRoot.IsOpen());
  ASSERT_TRUE(child.Open(child, L"", false));  // reopening itself from itself
}

TEST_F(RegKeyTest, GetStrFitsTheBufferOrGivesTheDefault) {
  Raw(L"s", reg::kSz, ToUtf16Le(L"abcd", true));
  Raw(L"bare", reg::kSz, ToUtf16Le(L"abcd"));  // no terminator
  Raw(L"n", reg::kDword, {1, 0, 0, 0});
  Raw(nullptr, reg::kSz, ToUtf16Le(L"default", true));
  RegKey key(kApp, false, store_);
  wchar_t buf[5];
  EXPECT_TRUE(key.GetStr(L"s", buf, 5, L"def"));
  EXPECT_STREQ(buf, L"abcd");
  EXPECT_FALSE(key.GetStr(L"s", buf, 4, L"def"));
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);
  EXPECT_STREQ(buf, L"def");
  EXPECT_FALSE(key.GetStr(L"bare", buf, 4, L"def"));  // fits in bytes, but not with its terminator
  EXPECT_TRUE(key.GetStr(L"bare", buf, 5, L"def"));
  EXPECT_STREQ(buf, L"abcd");
  EXPECT_FALSE(key.GetStr(L"n", buf, 5, L"toolongdefault"));
  EXPECT_STREQ(buf, L"tool");  // the default is cut to the buffer
  EXPECT_FALSE(key.GetStr(L"missing", buf, 5, nullptr));
  EXPECT_STREQ(buf, L"");
  std::wstring whole;
  EXPECT_TRUE(key.GetStr(nullptr, &whole));
  EXPECT_EQ(whole, L"default");
  EXPECT_FALSE(key.GetStr(L"n", &whole));
  EXPECT_EQ(whole, L"default");  // untouched on failure
  EXPECT_EQ(key.GetStrSize(L"n"), 0u);
  EXPECT_EQ(key.GetValueType(L"missing"), reg::kNone);

  std::uint8_t small[3] = {7, 7, 7};
  DWORD type = 99;
  EXPECT_FALSE(key.GetBin(L"n", small, 3, &type));
  EXPECT_EQ(type, 99u);
  EXPECT_EQ(small[0], 7);
  EXPECT_FALSE(key.GetBin(L"n", nullptr, 0));  // a zero-size buffer cannot take 4 bytes
}

TEST_F(RegKeyTest, WritesSkipUnchangedValuesOnlyWhenAsked) {
  RegKey key(kApp, true, store_);
  ASSERT_TRUE(key.PutDword(L"Timeout", 10));
  const unsigned writes = store_.OperationCount(RegOp::kWrite);
  EXPECT_TRUE(key.PutDword(L"Timeout", 10, true));
  EXPECT_EQ(store_.OperationCount(RegOp::kWrite), writes);
  EXPECT_TRUE(key.PutDword(L"Timeout", 10));
  EXPECT_EQ(store_.OperationCount(RegOp::kWrite), writes + 1);

  const std::uint8_t five[4] = {5, 0, 0, 0};
  ASSERT_TRUE(key.PutBin(L"Stale", five, 4));  // the same bytes, but binary: a DWORD must replace it
  EXPECT_TRUE(key.PutDword(L"Stale", 5, true));
  EXPECT_EQ(key.GetValueType(L"Stale"), reg::kDword);

  ASSERT_TRUE(key.PutStr(L"Msg", L"Bye"));
  const unsigned before = store_.OperationCount(RegOp::kWrite);
  EXPECT_TRUE(key.PutStr(L"Msg", L"Bye", true));
  EXPECT_TRUE(key.PutBin(L"Msg", ToUtf16Le(L"Bye", true).data(), 8, reg::kSz, true));
  EXPECT_EQ(store_.OperationCount(RegOp::kWrite), before);
  EXPECT_TRUE(key.PutStr(L"Msg", L"bye", true));  // text compares with case
  EXPECT_EQ(store_.OperationCount(RegOp::kWrite), before + 1);

  EXPECT_TRUE(key.PutDwordOrDeleteIfZero(L"Timeout", 0));
  EXPECT_TRUE(key.PutStrOrDelEmpty(L"Msg", L""));
  EXPECT_FALSE(key.FindValue(L"Timeout") || key.FindValue(L"Msg"));
  EXPECT_TRUE(key.DelValue(L"Timeout"));  // already gone: still success
  store_.FailOperation(RegOp::kWrite, 1, err::kAccessDenied);
  EXPECT_FALSE(key.PutDword(L"Enable", 1));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
}

TEST_F(RegKeyTest, DeletesTreesSkippingWhatCannotGo) {
  for (const wchar_t* p : {L"\\Temp\\ApplyTo", L"\\Temp\\Exclude\\Deep", L"\\Other"}) {
    RegKey k((std::wstring(kApp) + p).c_str(), true, store_);
    ASSERT_TRUE(k.PutDword(L"1", 1) && k.PutStr(L"", L"x"));
  }
  RegKey app(kApp, true, store_);
  EXPECT_TRUE(app.DelSubKey(L"Missing"));
  EXPECT_FALSE(app.DelSubKey(L""));

  // Deleting Temp takes 8 deletes: ApplyTo's two values and the key, Deep's two values and the
  // key, Exclude, Temp. When ApplyTo refuses to go, its sibling after it still goes.
  store_.FailOperation(RegOp::kDelete, 3, err::kAccessDenied);
  EXPECT_FALSE(app.DelSubKey(L"Temp"));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(SubkeysOf(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\Temp"), std::vector<std::wstring>{L"ApplyTo"});
  EXPECT_EQ(store_.OperationCount(RegOp::kDelete), 8u);
  EXPECT_TRUE(app.DelSubKey(L"temp"));
  EXPECT_EQ(SubkeysOf(kApp), std::vector<std::wstring>{L"Other"});

  EXPECT_FALSE(app.DelSubKeyIfEmpty(L"Other"));

  for (const wchar_t* n : {L"**del.Timeout", L"**DEL.Enable", L"**delvals.", L"Timeout"}) app.PutDword(n, 1);
  EXPECT_TRUE(app.DelValuesStartingWith(L"**del."));
  std::wstring left;
  ASSERT_TRUE(app.GetValueByIndex(0, &left));
  EXPECT_EQ(left, L"**delvals.");  // "**delv..." is not "**del." followed by a name
}

TEST_F(RegKeyTest, EnumeratesWithBoundedNamesAndEditsPathText) {
  RegKey app(kApp, true, store_);
  RegKey{app, L"LongerName", true};
  RegKey{app, L"B", true};
  wchar_t name[6];
  ASSERT_TRUE(app.GetFirstSubKey(name, 6));
  EXPECT_STREQ(name, L"B");
  EXPECT_FALSE(app.GetNextSubKey(name, 6));  // "LongerName" needs 11 characters
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);
  EXPECT_FALSE(app.GetNextSubKey(name, 6));
  EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);

  EXPECT_EQ(RegKey::GetParentSubkeyName(L"SOFTWARE\\Brellick\\Tarnvale"), L"SOFTWARE\\Brellick");
  EXPECT_EQ(RegKey::GetParentSubkeyName(L"Tarnvale"), L"");
  EXPECT_STREQ(RegKey::FindLastSubkeyName(nullptr), L"");
}

TEST_F(RegKeyTest, CopiesAcrossStoresAndRenames) {
  {
    RegKey src(L"HKLM\\A\\Src\\Inner", true, store_);
    src.PutStr(L"s", L"text");
    RegKey outer(L"HKLM\\A\\Src", true, store_);
    outer.PutBin(L"b", "\x01\x02", 2);
  }
  MemKeyStore other;
  {
    RegKey target(L"HKCU\\Copy", true, other);
    ASSERT_TRUE(RegKey(L"HKLM\\A\\Src", false, store_).CopyTo(target));
    EXPECT_EQ(RegKey(target, L"Inner", false).GetStrSize(L"s"), 10u);
    EXPECT_EQ(target.GetBinSize(L"b"), 2u);
  }

  RegKey a(L"HKLM\\A", true, store_);
  RegKey{a, L"Taken", true};
  EXPECT_FALSE(a.RenameSubkey(L"Src", L"taken"));
  EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
  store_.FailOperation(RegOp::kWrite, 2, err::kCantWrite);  // the copy fails half-way
  EXPECT_FALSE(a.RenameSubkey(L"Src", L"Dst"));
  EXPECT_EQ(SubkeysOf(L"HKLM\\A"), (std::vector<std::wstring>{L"Src", L"Taken"}));
  ASSERT_TRUE(a.RenameSubkey(L"Src", L"Dst"));
  EXPECT_EQ(SubkeysOf(L"HKLM\\A"), (std::vector<std::wstring>{L"Dst", L"Taken"}));
  // Copying a key into its own subtree ends instead of recursing for ever.
  RegKey dst(a, L"Dst", true);
  RegKey nested(dst, L"Inner\\Nested", true);
  EXPECT_FALSE(dst.CopyTo(nested));
}

TEST_F(RegKeyTest, RecordingWritesLinesInsteadOfTheRegistry) {
  auto record = [&] {
    RegKey key(kApp, true, store_);
    EXPECT_TRUE(key.IsOpen());
    EXPECT_TRUE(key.PutDword(L"Options", 0x1A, true));
    EXPECT_TRUE(key.PutStr(L"MessageText", L"Bye in %d"));
    EXPECT_TRUE(key.DelValue(L"Schedule"));
    EXPECT_TRUE(key.PutDwordOrDeleteIfZero(L"Enable", 0));
    EXPECT_TRUE(key.PutBin(L"DlgMain", "x", 1));  // no line, and nothing written
    EXPECT_TRUE(key.DelSubKey(L"Temp"));
    EXPECT_TRUE(key.Flush());
    EXPECT_FALSE(RegKey(key, L"ApplyTo", true).IsOpen());  // nothing may be created
  };
  const std::wstring expected =
      L"[HKLM\\SOFTWARE\\Brellick\\Tarnvale]\r\nOptions=dword:0000001A\r\nMessageText=Bye in %d\r\n"
      L"Schedule=@\r\nEnable=@\r\n";

  EXPECT_EQ(RegKey::EndLog(), 0u);  // nothing produced
  RegKey::StartLog(nullptr);
  record();
  const std::size_t count = RegKey::EndLog();
  EXPECT_EQ(count, expected.size() + 1);

  std::vector<wchar_t> out(count + 1, L'#');
  RegKey::StartLog(out.data());
  record();
  EXPECT_EQ(RegKey::EndLog(), count);
  EXPECT_EQ(std::wstring(out.data()), expected);
  EXPECT_EQ(out[count], L'#');  // the terminator is the last character written

  for (RegOp op : {RegOp::kOpen, RegOp::kCreate, RegOp::kRead, RegOp::kWrite, RegOp::kDelete}) {
    EXPECT_EQ(store_.OperationCount(op), 0u);
  }
  EXPECT_EQ(RegKey::OpenKey(kApp, false, 0, store_), RegHandle{});  // the store never saw it
}

}  // namespace
}  // namespace tv
