// One suite for every key store, so the in-memory registry and the real one cannot drift apart.
// The real registry is used only on Windows (Wine in the test run), below a throw-away key
// HKCU\Software\TarnvaleTest-<random> that each test creates and deletes.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/registry.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::wstring>;
constexpr ErrorCode kBadPathname = 161;

// The code a call left behind, or success when it did not fail.
ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

// UTF-16LE with terminator for the ASCII texts these tests use.
Bytes Sz(const std::wstring& text) {
  Bytes b;
  for (wchar_t c : text) b.insert(b.end(), {static_cast<std::uint8_t>(c), 0});
  b.insert(b.end(), {0, 0});
  return b;
}

struct Backend {
  const char* name;
  std::unique_ptr<KeyStore> (*make)();
  // Windows keeps values in creation order; Wine's registry keeps them sorted by name.
  bool (*valuesInCreationOrder)();
};

bool Always() { return true; }
#ifdef _WIN32
bool NotUnderWine() { return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr; }
#endif

const Backend kBackends[] = {
    {"Memory", [] { return std::unique_ptr<KeyStore>(new MemKeyStore); }, Always},
#ifdef _WIN32
    {"Win32", [] { return std::unique_ptr<KeyStore>(new Win32KeyStore); }, NotUnderWine},
#endif
};

class KeyStoreContract : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    store_ = GetParam().make();
    std::random_device rd;
    name_ = L"TarnvaleTest-" + std::to_wstring(rd()) + L"-" + std::to_wstring(rd());
    ASSERT_TRUE(S().CreateKey(S().Root(RegRoot::kCurrentUser), L"Software", reg::kKeyAllAccess, &software_, nullptr));
    ASSERT_TRUE(S().CreateKey(software_, name_, reg::kKeyAllAccess, &root_, nullptr));
  }
  void TearDown() override {
    S().CloseKey(root_);
    EXPECT_TRUE(S().DeleteTree(software_, name_));
    S().CloseKey(software_);
  }

  KeyStore& S() { return *store_; }
  RegHandle Create(const std::wstring& path) {
    RegHandle h{};
    EXPECT_TRUE(S().CreateKey(root_, path, reg::kKeyAllAccess, &h, nullptr));
    return h;
  }
  Names List(RegHandle key, bool values) {
    Names names;
    std::wstring n;
    for (DWORD i = 0; values ? S().EnumValue(key, i, &n, nullptr) : S().EnumKey(key, i, &n); ++i) names.push_back(n);
    EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
    return names;
  }
  Names Subkeys(RegHandle key) { return List(key, false); }
  Names Values(RegHandle key) { return List(key, true); }
  BOOL Set(RegHandle key, const std::wstring& name, DWORD type, const Bytes& data) {
    return S().SetValue(key, name, type, data.data(), static_cast<DWORD>(data.size()));
  }
  Bytes Get(RegHandle key, const std::wstring& name, DWORD* type) {
    Bytes data;
    EXPECT_TRUE(S().ReadValue(key, name, type, &data)) << "value " << name.size();
    return data;
  }

  std::unique_ptr<KeyStore> store_;
  std::wstring name_;
  RegHandle software_{}, root_{};
};

TEST_P(KeyStoreContract, KeysAndValuesIgnoreCaseAndKeepTheirFirstSpelling) {
  RegHandle deep{}, again{}, opened{}, loose{}, untouched = static_cast<RegHandle>(77);
  bool created = false;
  ASSERT_TRUE(S().CreateKey(root_, L"One\\Two\\Three", reg::kKeyAllAccess, &deep, &created));
  EXPECT_TRUE(created);
  ASSERT_TRUE(S().CreateKey(root_, L"one\\TWO\\three", reg::kKeyAllAccess, &again, &created));
  EXPECT_FALSE(created);
  EXPECT_EQ(Subkeys(root_), Names{L"One"});
  // Both handles name the same key, and so does an empty path below either.
  ASSERT_TRUE(Set(deep, L"Timeout", reg::kDword, {5, 0, 0, 0}));
  ASSERT_TRUE(Set(again, L"TIMEOUT", reg::kSz, Sz(L"15")));  // replaces, keeps the first spelling
  ASSERT_TRUE(S().OpenKey(again, L"", reg::kKeyRead, &opened));
  EXPECT_EQ(Values(opened), Names{L"Timeout"});
  DWORD type = 0;
  EXPECT_EQ(Get(opened, L"timeout", &type), Sz(L"15"));
  EXPECT_EQ(type, reg::kSz);
  EXPECT_TRUE(S().DeleteValue(deep, L"tImEoUt"));
  EXPECT_TRUE(Values(opened).empty());

  EXPECT_EQ(ErrorOf(S().OpenKey(root_, L"One\\Missing", reg::kKeyRead, &untouched)), err::kFileNotFound);
  EXPECT_EQ(untouched, static_cast<RegHandle>(77));
  EXPECT_EQ(ErrorOf(S().OpenKey(root_, L"\\One", reg::kKeyRead, &untouched)), kBadPathname);
  // Doubled and trailing separators are skipped.
  ASSERT_TRUE(S().OpenKey(root_, L"One\\\\Two\\", reg::kKeyRead, &loose));
  EXPECT_EQ(Subkeys(loose), Names{L"Three"});
  for (RegHandle h : {deep, again, opened, loose}) EXPECT_TRUE(S().CloseKey(h));
  EXPECT_TRUE(S().CloseKey(S().Root(RegRoot::kLocalMachine)));  // closing a root is harmless
}

TEST_P(KeyStoreContract, ValuesKeepTheirTypeAndExactBytes) {
  struct Case {
    const wchar_t* name;
    DWORD type;
    Bytes data;
  };
  const Case cases[] = {
      {L"sz", reg::kSz, Sz(L"Tarnvale")},
      {L"unterminated", reg::kSz, {'a', 0, 'b', 0}},  // kept as given: no terminator added
      {L"odd", reg::kSz, {'a', 0, 'b'}},
      {L"multi", reg::kMultiSz, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
      {L"bin", reg::kBinary, {0x00, 0xFF, 0x01, 0xAB, 0x00}},
      {L"emptybin", reg::kBinary, {}},
      {L"dword", reg::kDword, {0x78, 0x56, 0x34, 0x12}},
      {L"qword", reg::kQword, {1, 2, 3, 4, 5, 6, 7, 8}},
      {L"name\\with\\separators", reg::kNone, {9}},
  };
  for (const Case& c : cases) ASSERT_TRUE(Set(root_, c.name, c.type, c.data)) << c.type;
  for (const Case& c : cases) {
    DWORD type = 99;
    EXPECT_EQ(Get(root_, c.name, &type), c.data) << c.type;
    EXPECT_EQ(type, c.type);
  }
}

TEST_P(KeyStoreContract, SmallBufferGivesMoreDataWithTheSizeNeeded) {
  const Bytes data = Sz(L"twelve chars");  // 26 bytes
  ASSERT_TRUE(Set(root_, L"text", reg::kSz, data));
  DWORD type = 0, size = 0;
  ASSERT_TRUE(S().QueryValue(root_, L"text", &type, nullptr, &size));  // size only
  EXPECT_EQ(size, 26u);

  std::uint8_t buffer[26];
  type = 0;
  size = 25;
  EXPECT_EQ(ErrorOf(S().QueryValue(root_, L"text", &type, buffer, &size)), err::kMoreData);
  EXPECT_EQ(size, 26u);
  EXPECT_EQ(type, reg::kSz);
  ASSERT_TRUE(S().QueryValue(root_, L"text", &type, buffer, &size));
  EXPECT_EQ(Bytes(buffer, buffer + size), data);

  size = 5;
  type = 42;
  EXPECT_EQ(ErrorOf(S().QueryValue(root_, L"missing", &type, buffer, &size)), err::kFileNotFound);
  EXPECT_EQ(size, 5u);  // untouched on a failure other than more-data
  EXPECT_EQ(type, 42u);
}

TEST_P(KeyStoreContract, EnumerationOrderAndEnd) {
  for (const wchar_t* n : {L"zeta", L"Alpha", L"beta", L"a", L"Z", L"mid"}) S().CloseKey(Create(n));
  EXPECT_EQ(Subkeys(root_), (Names{L"a", L"Alpha", L"beta", L"mid", L"Z", L"zeta"}));
  std::wstring name = L"untouched";
  EXPECT_EQ(ErrorOf(S().EnumKey(root_, 6, &name)), err::kNoMoreItems);
  EXPECT_EQ(name, L"untouched");

  RegHandle v = Create(L"values");
  EXPECT_EQ(ErrorOf(S().EnumValue(v, 0, &name, nullptr)), err::kNoMoreItems);
  for (const wchar_t* n : {L"zeta", L"Alpha", L"mid", L"", L"beta"}) ASSERT_TRUE(Set(v, n, reg::kDword, {0, 0, 0, 0}));
  ASSERT_TRUE(S().DeleteValue(v, L"mid"));
  ASSERT_TRUE(Set(v, L"ALPHA", reg::kSz, Sz(L"x")));  // rewriting keeps the place
  EXPECT_EQ(Values(v), (GetParam().valuesInCreationOrder() ? Names{L"zeta", L"Alpha", L"", L"beta"}
                                                           : Names{L"", L"Alpha", L"beta", L"zeta"}));
  DWORD type = 0;
  ASSERT_TRUE(S().EnumValue(v, 1, &name, &type));
  EXPECT_EQ(type, reg::kSz);  // "Alpha", rewritten as text, is second in either order
  // The default value is the empty name, and can go like any other.
  EXPECT_EQ(Get(v, L"", &type), (Bytes{0, 0, 0, 0}));
  ASSERT_TRUE(S().DeleteValue(v, L""));
  DWORD size = 0;
  EXPECT_EQ(ErrorOf(S().QueryValue(v, L"", &type, nullptr, &size)), err::kFileNotFound);

  RegKeyInfo info;
  ASSERT_TRUE(S().QueryInfo(root_, &info));
  EXPECT_EQ(info.subkeys, 7u);
  EXPECT_EQ(info.maxSubkeyLen, 6u);  // "values"
  ASSERT_TRUE(S().QueryInfo(v, &info));
  EXPECT_EQ(info.values, 3u);
  EXPECT_EQ(info.maxValueNameLen, 5u);
  EXPECT_EQ(info.maxValueLen, 4u);
  S().CloseKey(v);
}

TEST_P(KeyStoreContract, DeletingValuesKeysAndTrees) {
  S().CloseKey(Create(L"Parent\\Child\\Grandchild"));
  RegHandle parent = Create(L"Parent");
  ASSERT_TRUE(Set(parent, L"keep", reg::kDword, {1, 0, 0, 0}));

  EXPECT_EQ(ErrorOf(S().DeleteValue(parent, L"missing")), err::kFileNotFound);
  EXPECT_EQ(ErrorOf(S().DeleteKey(root_, L"Missing")), err::kFileNotFound);
  // A key with subkeys stays, as RegDeleteKey leaves it.
  EXPECT_EQ(ErrorOf(S().DeleteKey(root_, L"Parent")), err::kAccessDenied);
  EXPECT_TRUE(S().DeleteKey(root_, L"Parent\\Child\\Grandchild"));
  EXPECT_EQ(Subkeys(parent), Names{L"Child"});

  S().CloseKey(Create(L"Parent\\Child\\Again\\Deeper"));
  RegHandle child = Create(L"Parent\\Child"), under{};
  EXPECT_TRUE(S().DeleteTree(root_, L"parent\\child"));
  EXPECT_TRUE(Subkeys(parent).empty());
  // The handle still open on the deleted key reports it.
  std::wstring name;
  EXPECT_EQ(ErrorOf(Set(child, L"x", reg::kDword, {0, 0, 0, 0})), err::kKeyDeleted);
  EXPECT_EQ(ErrorOf(S().EnumKey(child, 0, &name)), err::kKeyDeleted);
  EXPECT_EQ(ErrorOf(S().CreateKey(child, L"new", reg::kKeyAllAccess, &under, nullptr)), err::kKeyDeleted);
  S().CloseKey(child);

  EXPECT_EQ(ErrorOf(S().DeleteTree(root_, L"Missing")), err::kFileNotFound);
  S().CloseKey(Create(L"Parent\\Other"));
  EXPECT_TRUE(S().DeleteTree(parent, L""));  // empties the key, keeps it
  EXPECT_TRUE(Subkeys(parent).empty());
  EXPECT_TRUE(Values(parent).empty());
  EXPECT_EQ(Subkeys(root_), Names{L"Parent"});
  S().CloseKey(parent);
}

TEST_P(KeyStoreContract, HandlesOnlyDoWhatTheirAccessAllows) {
  S().CloseKey(Create(L"K\\Sub"));
  RegHandle read{}, write{};
  ASSERT_TRUE(S().OpenKey(root_, L"K", reg::kKeyRead, &read));
  ASSERT_TRUE(S().OpenKey(root_, L"K", reg::kKeyWrite, &write));
  EXPECT_TRUE(Set(write, L"v", reg::kDword, {3, 0, 0, 0}));
  EXPECT_EQ(ErrorOf(Set(read, L"v", reg::kDword, {4, 0, 0, 0})), err::kAccessDenied);
  EXPECT_EQ(ErrorOf(S().DeleteValue(read, L"v")), err::kAccessDenied);
  DWORD type = 0, size = 0;
  std::wstring name;
  EXPECT_EQ(ErrorOf(S().QueryValue(write, L"v", &type, nullptr, &size)), err::kAccessDenied);
  EXPECT_EQ(ErrorOf(S().EnumValue(write, 0, &name, nullptr)), err::kAccessDenied);
  EXPECT_EQ(Get(read, L"v", &type), (Bytes{3, 0, 0, 0}));
  // Emptying through a read handle removes the subkeys (each is opened on its own) but not the
  // values, which need the handle's right to change.
  EXPECT_EQ(ErrorOf(S().DeleteTree(read, L"")), err::kAccessDenied);
  EXPECT_EQ(Values(read), Names{L"v"});
  EXPECT_TRUE(Subkeys(read).empty());
  S().CloseKey(read);
  S().CloseKey(write);
}

INSTANTIATE_TEST_SUITE_P(Stores, KeyStoreContract, ::testing::ValuesIn(kBackends),
                         [](const ::testing::TestParamInfo<Backend>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tv
