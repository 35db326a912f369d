// What only the in-memory registry has: failures on command, handle accounting, Clear, and the
// Windows ordering details that Wine does not share.
#include <gtest/gtest.h>

#include "platform/registry.h"

namespace tv {
namespace {

const std::uint8_t kOne[4] = {1, 0, 0, 0};

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

class MemRegistry : public ::testing::Test {
 protected:
  RegHandle Key(const wchar_t* path, RegHandle parent = RegHandle{}) {
    RegHandle h{};
    if (parent == RegHandle{}) parent = store_.Root(RegRoot::kLocalMachine);
    EXPECT_TRUE(store_.CreateKey(parent, path, reg::kKeyAllAccess, &h, nullptr));
    return h;
  }
  BOOL Write(RegHandle key, const wchar_t* name) { return store_.SetValue(key, name, reg::kDword, kOne, 4); }

  MemKeyStore store_;
};

TEST_F(MemRegistry, FailsTheNthOperationOfOneKindOnceOrFromThenOn) {
  RegHandle k = Key(L"K"), sub{};
  store_.FailOperation(RegOp::kWrite, 2, err::kAccessDenied);
  EXPECT_TRUE(Write(k, L"a"));
  EXPECT_TRUE(store_.DeleteValue(k, L"a"));  // other kinds do not count towards the write fault
  EXPECT_EQ(ErrorOf(Write(k, L"b")), err::kAccessDenied);
  DWORD size = 0;
  EXPECT_FALSE(store_.QueryValue(k, L"b", nullptr, nullptr, &size));  // the failed write left nothing
  EXPECT_TRUE(Write(k, L"c"));  // once only

  store_.FailOperation(RegOp::kDelete, 1, err::kCantWrite, /*persist=*/true);
  EXPECT_FALSE(store_.DeleteValue(k, L"c"));
  EXPECT_FALSE(store_.DeleteTree(k, L""));
  EXPECT_EQ(ErrorOf(store_.DeleteKey(store_.Root(RegRoot::kLocalMachine), L"K")), err::kCantWrite);
  store_.ClearFaults();
  EXPECT_TRUE(store_.DeleteValue(k, L"c"));

  store_.FailOperation(RegOp::kCreate, 0, err::kNotEnoughMemory);  // 0 means the next one
  EXPECT_FALSE(store_.CreateKey(k, L"Sub", reg::kKeyAllAccess, &sub, nullptr));
  EXPECT_EQ(sub, RegHandle{});
  EXPECT_EQ(store_.OperationCount(RegOp::kWrite), 3u);  // the failed write counts as well
  store_.CloseKey(k);
}

TEST_F(MemRegistry, OrdersSubkeysByUpperCaseAsWindowsDoes) {
  // Windows compares names in upper case, so "[" and "_" sort after the letters; Wine compares
  // in lower case and puts them first.
  RegHandle k = Key(L"Order");
  for (const wchar_t* n : {L"_under", L"zeta", L"[x", L"Alpha", L"\u00e9t\u00e9", L"\u0436"}) store_.CloseKey(Key(n, k));
  std::vector<std::wstring> names;
  std::wstring n;
  for (DWORD i = 0; store_.EnumKey(k, i, &n); ++i) names.push_back(n);
  EXPECT_EQ(names, (std::vector<std::wstring>{L"Alpha", L"zeta", L"[x", L"_under", L"\u00e9t\u00e9", L"\u0436"}));
  for (const wchar_t* folded : {L"\u00c9T\u00c9", L"\u0416"}) {  // é/É and ж/Ж
    RegHandle h{};
    EXPECT_TRUE(store_.OpenKey(k, folded, reg::kKeyRead, &h));
    store_.CloseKey(h);
  }
  EXPECT_LT(CompareRegNames(L"a", L"AB"), 0);
  EXPECT_EQ(CompareRegNames(L"\u013a", L"\u0139"), 0);  // ĺ/Ĺ, a pair that starts on an odd code point
  EXPECT_NE(CompareRegNames(L"\u0131", L"i"), 0);       // dotless i is not i
  EXPECT_TRUE(RegNameStartsWith(L"**DEL.Timeout", L"**del."));
  EXPECT_FALSE(RegNameStartsWith(L"**de", L"**del."));
  store_.CloseKey(k);
}

TEST_F(MemRegistry, RefusesOverlongNamesAndTracksHandles) {
  RegHandle h{};
  const std::wstring longName(reg::kMaxKeyNameChars + 1, L'k');
  EXPECT_EQ(ErrorOf(store_.CreateKey(store_.Root(RegRoot::kUsers), longName, reg::kKeyAllAccess, &h, nullptr)),
            err::kInvalidParameter);
  RegHandle a = Key(L"A"), b = Key(L"A\\B");
  EXPECT_EQ(store_.OpenHandleCount(), 2u);
  EXPECT_TRUE(store_.CloseKey(a));
  EXPECT_EQ(ErrorOf(store_.CloseKey(a)), err::kInvalidHandle);  // closing twice, as on Windows
  {
    UniqueKey owner(store_, b);
    UniqueKey moved(std::move(owner));
    EXPECT_FALSE(owner.valid());
    SetLastErrorCode(err::kMoreData);
  }
  EXPECT_EQ(store_.OpenHandleCount(), 0u);
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);  // the close kept the caller's error

  RegHandle c = Key(L"A\\C");
  store_.Clear();
  EXPECT_EQ(ErrorOf(Write(c, L"v")), err::kKeyDeleted);
  EXPECT_FALSE(store_.OpenKey(store_.Root(RegRoot::kLocalMachine), L"A", reg::kKeyRead, &h));
  store_.CloseKey(c);
}

}  // namespace
}  // namespace tv
