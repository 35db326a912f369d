#include "settings/reg_key.h"

#include <gtest/gtest.h>

#include <cstring>

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
  void Raw(const wchar_t* name, DWORD type, std::vector<std::uint8_t> data, const wchar_t* path = kApp) {
    RegKey key(path, true, store_);
    ASSERT_TRUE(key.PutBin(name, data.data(), static_cast<DWORD>(data.size()), type));
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
  EXPECT_EQ(RegKey::OpenKey(L"HKLM", false, 0, store_), store_.Root(RegRoot::kLocalMachine));
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
  EXPECT_EQ(SubkeysOf(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale").size(), 0u);
  EXPECT_TRUE(parent.OpenParent(L"HKLM\\SOFTWARE\\Brellick\\Tarnvale", false, 2));
  std::wstring sub;
  ASSERT_TRUE(parent.GetSubKeyByIndex(0, &sub));
  EXPECT_EQ(sub, L"Brellick");

  RegKey child(app, L"ApplyTo", true);
  RegKey byRoot(RegRoot::kLocalMachine, L"SOFTWARE\\Brellick\\Tarnvale\\ApplyTo", false, store_);
  EXPECT_TRUE(child.IsOpen() && byRoot.IsOpen());
  EXPECT_FALSE(byRoot.Open(RegHandle{}, L"x", false));
  EXPECT_FALSE(byRoot.IsOpen());
  ASSERT_TRUE(byRoot.Open(app, L"ApplyTo", false));
  ASSERT_TRUE(byRoot.Open(byRoot, L"", false));  // reopening itself from itself
  RegKey moved(std::move(byRoot));
  EXPECT_FALSE(byRoot.IsOpen());
  EXPECT_TRUE(moved.IsOpen());
}

TEST_F(RegKeyTest, GetIntReadsNumbersOfEveryStoredForm) {
  Raw(L"dword", reg::kDword, {0x78, 0x56, 0x34, 0x12});
  Raw(L"bin2", reg::kBinary, {0x34, 0x12});
  Raw(L"bin5", reg::kBinary, {1, 2, 3, 4, 5});
  Raw(L"text", reg::kSz, ToUtf16Le(L"15", true));
  Raw(L"signed", reg::kSz, ToUtf16Le(L"  -7 minutes", true));
  Raw(L"junk", reg::kSz, ToUtf16Le(L"abc", true));
  Raw(L"huge", reg::kSz, ToUtf16Le(L"99999999999", true));
  Raw(L"expand", reg::kExpandSz, ToUtf16Le(L"42", true));
  Raw(L"long", reg::kSz, ToUtf16Le(L"7" + std::wstring(70, L' '), true));  // 144 bytes
  RegKey key(kApp, false, store_);
  EXPECT_EQ(key.GetInt(L"dword", 9), 0x12345678u);
  EXPECT_EQ(key.GetInt(L"bin2", 9), 0x1234u);
  EXPECT_EQ(key.GetInt(L"bin5", 9), 9u);  // more than 4 bytes: the default stands
  EXPECT_EQ(key.GetInt(L"text", 9), 15u);
  EXPECT_EQ(key.GetInt(L"signed", 9), static_cast<DWORD>(-7));
  EXPECT_EQ(key.GetInt(L"junk", 9), 0u);
  EXPECT_EQ(key.GetInt(L"huge", 9), 0x7FFFFFFFu);
  EXPECT_EQ(key.GetInt(L"expand", 9), 42u);
  EXPECT_EQ(key.GetInt(L"long", 9), 0u);  // text over 128 bytes reads as nothing
  EXPECT_EQ(key.GetInt(L"missing", 9), 9u);
  EXPECT_EQ(key.GetIntPrefix(L"dw", L"ord", 0), 0x12345678u);
  RegKey closed(store_);
  EXPECT_EQ(closed.GetInt(L"dword", 3), 3u);
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
  EXPECT_EQ(key.GetStrSize(L"s"), 10u);
  EXPECT_EQ(key.GetStrSize(L"n"), 0u);
  EXPECT_EQ(key.GetBinSize(L"n"), 4u);
  EXPECT_EQ(key.GetValueType(L"n"), reg::kDword);
  EXPECT_EQ(key.GetValueType(L"missing"), reg::kNone);
  EXPECT_FALSE(key.FindValue(L"missing"));

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
  EXPECT_TRUE(key.PutDword(L"Timeout", 11, true));
  EXPECT_EQ(key.GetInt(L"Timeout", 0), 11u);

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
  std::vector<std::uint8_t> bytes;
  DWORD type = 0;
  ASSERT_TRUE(key.GetValue(L"Msg", &type, &bytes));
  EXPECT_EQ(bytes, ToUtf16Le(L"bye", true));

  EXPECT_TRUE(key.PutDwordOrDeleteIfZero(L"Timeout", 0));
  EXPECT_TRUE(key.PutStrOrDelEmpty(L"Msg", L""));
  EXPECT_TRUE(key.PutStrOrDelEmpty(L"Schedule", L"x"));
  EXPECT_FALSE(key.FindValue(L"Timeout") || key.FindValue(L"Msg"));
  EXPECT_TRUE(key.DelValue(L"Timeout"));  // already gone: still success
  EXPECT_TRUE(key.PutIntPrefix(L"**del.", L"Timeout", -1));
  EXPECT_EQ(key.GetInt(L"**DEL.timeout", 0), 0xFFFFFFFFu);
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
  RegKey other(app, L"Other", true);
  ASSERT_TRUE(other.DelAll());
  EXPECT_TRUE(other.IsKeyEmpty());
  other.Close();
  EXPECT_TRUE(app.DelSubKeyIfEmpty(L"Other"));
  EXPECT_TRUE(app.DelSubKeyIfEmpty(L"Other"));
  EXPECT_TRUE(SubkeysOf(kApp).empty());

  for (const wchar_t* n : {L"**del.Timeout", L"**DEL.Enable", L"**delvals.", L"Timeout"}) app.PutDword(n, 1);
  EXPECT_TRUE(app.DelValuesStartingWith(L"**del."));
  std::wstring left;
  ASSERT_TRUE(app.GetValueByIndex(0, &left));
  EXPECT_EQ(left, L"**delvals.");  // "**delv..." is not "**del." followed by a name
  EXPECT_TRUE(app.DelValuePrefix(L"**delvals", L"."));
  EXPECT_FALSE(app.IsKeyEmpty());
}

TEST_F(RegKeyTest, EnumeratesWithBoundedNamesAndEditsPathText) {
  RegKey app(kApp, true, store_);
  RegKey{app, L"LongerName", true};
  RegKey{app, L"B", true};
  app.PutDword(L"Second", 2);
  app.PutDword(L"First", 1);
  wchar_t name[6];
  ASSERT_TRUE(app.GetFirstSubKey(name, 6));
  EXPECT_STREQ(name, L"B");
  EXPECT_FALSE(app.GetNextSubKey(name, 6));  // "LongerName" needs 11 characters
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);
  EXPECT_FALSE(app.GetNextSubKey(name, 6));
  EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
  DWORD type = 0;
  EXPECT_FALSE(app.GetFirstValue(name, 6, &type));  // "Second" needs 7
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);
  wchar_t wide[16];
  ASSERT_TRUE(app.GetFirstValue(wide, 16, &type));
  EXPECT_STREQ(wide, L"Second");  // creation order
  ASSERT_TRUE(app.GetNextValue(wide, 16));
  EXPECT_STREQ(wide, L"First");
  EXPECT_FALSE(app.GetNextValue(wide, 16));

  EXPECT_EQ(RegKey::GetParentSubkeyName(L"SOFTWARE\\Brellick\\Tarnvale"), L"SOFTWARE\\Brellick");
  EXPECT_EQ(RegKey::GetParentSubkeyName(L"Tarnvale"), L"");
  EXPECT_STREQ(RegKey::FindLastSubkeyName(L"SOFTWARE\\Brellick\\Tarnvale"), L"Tarnvale");
  EXPECT_STREQ(RegKey::FindLastSubkeyName(L"Tarnvale"), L"Tarnvale");
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
  RegKey source(L"HKLM\\A\\Src", false, store_);
  RegKey target(L"HKCU\\Copy", true, other);
  ASSERT_TRUE(source.CopyTo(target));
  RegKey inner(target, L"Inner", false);
  std::wstring text;
  EXPECT_TRUE(inner.GetStr(L"s", &text));
  EXPECT_EQ(text, L"text");
  EXPECT_EQ(target.GetBinSize(L"b"), 2u);
  inner.Close();
  target.Close();
  source.Close();

  RegKey a(L"HKLM\\A", true, store_);
  RegKey{a, L"Taken", true};
  EXPECT_FALSE(a.RenameSubkey(L"Src", L"taken"));
  EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
  store_.FailOperation(RegOp::kWrite, 2, err::kCantWrite);  // the copy fails half-way
  EXPECT_FALSE(a.RenameSubkey(L"Src", L"Dst"));
  EXPECT_EQ(SubkeysOf(L"HKLM\\A"), (std::vector<std::wstring>{L"Src", L"Taken"}));
  ASSERT_TRUE(a.RenameSubkey(L"Src", L"Dst"));
  EXPECT_EQ(SubkeysOf(L"HKLM\\A"), (std::vector<std::wstring>{L"Dst", L"Taken"}));
  EXPECT_EQ(SubkeysOf(L"HKLM\\A\\Dst"), std::vector<std::wstring>{L"Inner"});
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
  EXPECT_TRUE(RegKey::IsLogging());
  record();
  const std::size_t count = RegKey::EndLog();
  EXPECT_EQ(count, expected.size() + 1);
  EXPECT_FALSE(RegKey::IsLogging());

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
