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
constexpr ErrorCode kBadPathname = 161;

// UTF-16LE with terminator for the ASCII texts these tests use.
Bytes Sz(const std::wstring& text) {
  Bytes b;
  for (wchar_t c : text) {
    b.push_back(static_cast<std::uint8_t>(c));
    b.push_back(0);
  }
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
bool NotUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
}
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
    ASSERT_TRUE(store_->CreateKey(store_->Root(RegRoot::kCurrentUser), L"Software", reg::kKeyAllAccess, &software_, nullptr));
    ASSERT_TRUE(store_->CreateKey(software_, name_, reg::kKeyAllAccess, &root_, nullptr));
  }
  void TearDown() override {
    store_->CloseKey(root_);
    EXPECT_TRUE(store_->DeleteTree(software_, name_));
    store_->CloseKey(software_);
  }

  KeyStore& S() { return *store_; }

  RegHandle Create(const std::wstring& path, RegHandle parent = RegHandle{}) {
    RegHandle h{};
    EXPECT_TRUE(S().CreateKey(parent == RegHandle{} ? root_ : parent, path, reg::kKeyAllAccess, &h, nullptr));
    return h;
  }
  std::vector<std::wstring> Subkeys(RegHandle key) {
    std::vector<std::wstring> names;
    std::wstring n;
    for (DWORD i = 0; S().EnumKey(key, i, &n); ++i) names.push_back(n);
    EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
    return names;
  }
  std::vector<std::wstring> Values(RegHandle key) {
    std::vector<std::wstring> names;
    std::wstring n;
    for (DWORD i = 0; S().EnumValue(key, i, &n, nullptr); ++i) names.push_back(n);
    EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
    return names;
  }
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

TEST_P(KeyStoreContract, CreateOpenAndMissingKeys) {
  RegHandle deep{}, again{}, opened{}, untouched = static_cast<RegHandle>(77);
  bool created = false;
  ASSERT_TRUE(S().CreateKey(root_, L"One\\Two\\Three", reg::kKeyAllAccess, &deep, &created));
  EXPECT_TRUE(created);
  ASSERT_TRUE(S().CreateKey(root_, L"one\\TWO\\three", reg::kKeyAllAccess, &again, &created));
  EXPECT_FALSE(created);
  // Both handles name the same key, and so does an empty path below either.
  ASSERT_TRUE(Set(deep, L"v", reg::kDword, {1, 0, 0, 0}));
  ASSERT_TRUE(S().OpenKey(again, L"", reg::kKeyRead, &opened));
  DWORD type = 0;
  EXPECT_EQ(Get(opened, L"v", &type), (Bytes{1, 0, 0, 0}));
  EXPECT_EQ(Subkeys(root_), std::vector<std::wstring>{L"One"});

  EXPECT_FALSE(S().OpenKey(root_, L"One\\Missing", reg::kKeyRead, &untouched));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  EXPECT_EQ(untouched, static_cast<RegHandle>(77));
  EXPECT_FALSE(S().OpenKey(root_, L"\\One", reg::kKeyRead, &untouched));
  EXPECT_EQ(GetLastErrorCode(), kBadPathname);
  // Doubled and trailing separators are skipped.
  RegHandle loose{};
  ASSERT_TRUE(S().OpenKey(root_, L"One\\\\Two\\", reg::kKeyRead, &loose));
  EXPECT_EQ(Subkeys(loose), std::vector<std::wstring>{L"Three"});
  for (RegHandle h : {deep, again, opened, loose}) EXPECT_TRUE(S().CloseKey(h));
  EXPECT_TRUE(S().CloseKey(S().Root(RegRoot::kLocalMachine)));  // closing a root is harmless
}

TEST_P(KeyStoreContract, NamesIgnoreCaseAndKeepTheirFirstSpelling) {
  RegHandle a = Create(L"MiXed");
  bool created = true;
  RegHandle b{};
  ASSERT_TRUE(S().CreateKey(root_, L"MIXED", reg::kKeyAllAccess, &b, &created));
  EXPECT_FALSE(created);
  EXPECT_EQ(Subkeys(root_), std::vector<std::wstring>{L"MiXed"});

  ASSERT_TRUE(Set(a, L"Timeout", reg::kDword, {5, 0, 0, 0}));
  ASSERT_TRUE(Set(a, L"TIMEOUT", reg::kSz, Sz(L"15")));  // replaces, keeps the first spelling
  EXPECT_EQ(Values(b), std::vector<std::wstring>{L"Timeout"});
  DWORD type = 0;
  EXPECT_EQ(Get(b, L"timeout", &type), Sz(L"15"));
  EXPECT_EQ(type, reg::kSz);
  EXPECT_TRUE(S().DeleteValue(b, L"tImEoUt"));
  EXPECT_TRUE(Values(a).empty());
  S().CloseKey(a);
  S().CloseKey(b);
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
      {L"expand", reg::kExpandSz, Sz(L"%TEMP%\\x")},
      {L"multi", reg::kMultiSz, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
      {L"bin", reg::kBinary, {0x00, 0xFF, 0x01, 0xAB, 0x00}},
      {L"emptybin", reg::kBinary, {}},
      {L"dword", reg::kDword, {0x78, 0x56, 0x34, 0x12}},
      {L"qword", reg::kQword, {1, 2, 3, 4, 5, 6, 7, 8}},
      {L"none", reg::kNone, {}},
      {L"name\\with\\separators", reg::kBinary, {9}},
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
  EXPECT_EQ(type, reg::kSz);

  std::uint8_t small[25];
  type = 0;
  size = sizeof(small);
  EXPECT_FALSE(S().QueryValue(root_, L"text", &type, small, &size));
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);
  EXPECT_EQ(size, 26u);
  EXPECT_EQ(type, reg::kSz);

  std::uint8_t exact[26];
  size = sizeof(exact);
  ASSERT_TRUE(S().QueryValue(root_, L"text", &type, exact, &size));
  EXPECT_EQ(Bytes(exact, exact + size), data);

  size = 5;
  type = 42;
  EXPECT_FALSE(S().QueryValue(root_, L"missing", &type, exact, &size));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  EXPECT_EQ(size, 5u);  // untouched on a failure other than more-data
  EXPECT_EQ(type, 42u);
}

TEST_P(KeyStoreContract, EnumerationOrderAndEnd) {
  for (const wchar_t* n : {L"zeta", L"Alpha", L"beta", L"a", L"Z", L"mid"}) S().CloseKey(Create(n));
  EXPECT_EQ(Subkeys(root_), (std::vector<std::wstring>{L"a", L"Alpha", L"beta", L"mid", L"Z", L"zeta"}));
  std::wstring name = L"untouched";
  EXPECT_FALSE(S().EnumKey(root_, 6, &name));
  EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
  EXPECT_EQ(name, L"untouched");

  RegHandle v = Create(L"values");
  EXPECT_FALSE(S().EnumValue(v, 0, &name, nullptr));
  EXPECT_EQ(GetLastErrorCode(), err::kNoMoreItems);
  for (const wchar_t* n : {L"zeta", L"Alpha", L"mid", L"", L"beta"}) ASSERT_TRUE(Set(v, n, reg::kDword, {0, 0, 0, 0}));
  ASSERT_TRUE(S().DeleteValue(v, L"mid"));
  ASSERT_TRUE(Set(v, L"ALPHA", reg::kSz, Sz(L"x")));  // rewriting keeps the place
  const std::vector<std::wstring> expected =
      GetParam().valuesInCreationOrder() ? std::vector<std::wstring>{L"zeta", L"Alpha", L"", L"beta"}
                                         : std::vector<std::wstring>{L"", L"Alpha", L"beta", L"zeta"};
  EXPECT_EQ(Values(v), expected);
  DWORD type = 0;
  ASSERT_TRUE(S().EnumValue(v, 1, &name, &type));
  EXPECT_EQ(type, reg::kSz);  // "Alpha", rewritten as text, is second in either order

  RegKeyInfo info;
  ASSERT_TRUE(S().QueryInfo(root_, &info));
  EXPECT_EQ(info.subkeys, 7u);
  EXPECT_EQ(info.maxSubkeyLen, 6u);  // "values"
  ASSERT_TRUE(S().QueryInfo(v, &info));
  EXPECT_EQ(info.values, 4u);
  EXPECT_EQ(info.maxValueNameLen, 5u);
  EXPECT_EQ(info.maxValueLen, 4u);
  S().CloseKey(v);
}

TEST_P(KeyStoreContract, DefaultValueIsTheEmptyName) {
  DWORD type = 0, size = 0;
  EXPECT_FALSE(S().QueryValue(root_, L"", &type, nullptr, &size));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  ASSERT_TRUE(Set(root_, L"", reg::kSz, Sz(L"x")));
  ASSERT_TRUE(Set(root_, L"N", reg::kDword, {7, 0, 0, 0}));
  EXPECT_EQ(Get(root_, L"", &type), Sz(L"x"));
  EXPECT_EQ(Values(root_), (std::vector<std::wstring>{L"", L"N"}));
  ASSERT_TRUE(S().DeleteValue(root_, L""));
  EXPECT_EQ(Values(root_), std::vector<std::wstring>{L"N"});
}

TEST_P(KeyStoreContract, DeletingValuesKeysAndTrees) {
  S().CloseKey(Create(L"Parent\\Child\\Grandchild"));
  RegHandle parent = Create(L"Parent");
  ASSERT_TRUE(Set(parent, L"keep", reg::kDword, {1, 0, 0, 0}));

  EXPECT_FALSE(S().DeleteValue(parent, L"missing"));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  EXPECT_FALSE(S().DeleteKey(root_, L"Missing"));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  // A key with subkeys stays, as RegDeleteKey leaves it.
  EXPECT_FALSE(S().DeleteKey(root_, L"Parent"));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_TRUE(S().DeleteKey(root_, L"Parent\\Child\\Grandchild"));
  EXPECT_EQ(Subkeys(parent), std::vector<std::wstring>{L"Child"});

  S().CloseKey(Create(L"Parent\\Child\\Again\\Deeper"));
  RegHandle child = Create(L"Parent\\Child");
  EXPECT_TRUE(S().DeleteTree(root_, L"parent\\child"));
  EXPECT_TRUE(Subkeys(parent).empty());
  // The handle still open on the deleted key reports it.
  EXPECT_FALSE(Set(child, L"x", reg::kDword, {0, 0, 0, 0}));
  EXPECT_EQ(GetLastErrorCode(), err::kKeyDeleted);
  std::wstring name;
  EXPECT_FALSE(S().EnumKey(child, 0, &name));
  EXPECT_EQ(GetLastErrorCode(), err::kKeyDeleted);
  RegHandle under{};
  EXPECT_FALSE(S().CreateKey(child, L"new", reg::kKeyAllAccess, &under, nullptr));
  EXPECT_EQ(GetLastErrorCode(), err::kKeyDeleted);
  S().CloseKey(child);

  EXPECT_FALSE(S().DeleteTree(root_, L"Missing"));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);
  S().CloseKey(Create(L"Parent\\Other"));
  EXPECT_TRUE(S().DeleteTree(parent, L""));  // empties the key, keeps it
  EXPECT_TRUE(Subkeys(parent).empty());
  EXPECT_TRUE(Values(parent).empty());
  EXPECT_EQ(Subkeys(root_), std::vector<std::wstring>{L"Parent"});
  S().CloseKey(parent);
}

TEST_P(KeyStoreContract, HandlesOnlyDoWhatTheirAccessAllows) {
  S().CloseKey(Create(L"K\\Sub"));
  RegHandle read{}, write{};
  ASSERT_TRUE(S().OpenKey(root_, L"K", reg::kKeyRead, &read));
  ASSERT_TRUE(S().OpenKey(root_, L"K", reg::kKeyWrite, &write));
  EXPECT_TRUE(Set(write, L"v", reg::kDword, {3, 0, 0, 0}));
  EXPECT_FALSE(Set(read, L"v", reg::kDword, {4, 0, 0, 0}));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_FALSE(S().DeleteValue(read, L"v"));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);

  DWORD type = 0, size = 0;
  EXPECT_FALSE(S().QueryValue(write, L"v", &type, nullptr, &size));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  std::wstring name;
  EXPECT_FALSE(S().EnumValue(write, 0, &name, nullptr));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(Get(read, L"v", &type), (Bytes{3, 0, 0, 0}));
  EXPECT_EQ(Subkeys(read), std::vector<std::wstring>{L"Sub"});
  // Emptying through a read handle removes the subkeys (each is opened on its own) but not the
  // values, which need the handle's right to change.
  EXPECT_FALSE(S().DeleteTree(read, L""));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(Values(read), std::vector<std::wstring>{L"v"});
  EXPECT_TRUE(Subkeys(read).empty());
  S().CloseKey(read);
  S().CloseKey(write);
}

INSTANTIATE_TEST_SUITE_P(Stores, KeyStoreContract, ::testing::ValuesIn(kBackends),
                         [](const ::testing::TestParamInfo<Backend>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tv
