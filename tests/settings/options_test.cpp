#include "settings/options.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "foundation/utf16.h"
#include "settings/my_config.h"
#include "settings/record_fixture.h"

namespace tv {
namespace {

using test::kAppKey;
using test::kTempKey;

// A set with one value of its own, to see the hooks run around the flag word.
class CountOpts : public BoolOpts {
 public:
  explicit CountOpts(KeyStore& store) : BoolOpts(L"Flags", store) {}
  void Reset() override {
    BoolOpts::Reset();
    count = 7;
  }
  BOOL OnLoad(RegKey& key) override {
    count = key.GetInt(L"Count", count);
    return kTrue;
  }
  BOOL OnStore(RegKey& key) override { return key.PutDword(L"Count", count); }
  DWORD count = 0;
};

class OptionSetTest : public test::RecordTest {};

TEST(CSOpts, MasksTouchOnlyTheirBitsAndLoadersForward) {
  CSOpts a;
  a.SetAll(0xF0F0);
  a.Set(0x1100, false);
  a.SetBits(0x00FF, 0xAB0C);  // bits outside the mask are not taken
  EXPECT_EQ(a.GetAll(), 0xE00Cu);
  int on = -1;
  a.Get(0x0003, on);
  EXPECT_EQ(on, 0);

  // A loader that points nowhere answers 0 and ignores writes instead of crashing.
  CSOpts b = a;
  CSOptsLoader la(&a), lb(&b), none;
  none.SetAll(5);
  EXPECT_EQ(none.GetAll(), 0u);
  EXPECT_EQ(none.IsDifferent(la), 1);
  lb.CopyFrom(none);
  EXPECT_EQ(b.GetAll(), 0u);
}

TEST_F(OptionSetTest, LoadStartsFromTheDefaultsAndKeepsThemForMissingValues) {
  CountOpts opts(store_);
  opts.SetAll(0x55);
  opts.count = 1;
  EXPECT_FALSE(opts.Load());  // no key: the defaults stay
  EXPECT_EQ(opts.GetAll(), 0u);
  EXPECT_EQ(opts.count, 7u);

  Dword(kAppKey, L"Other", 1);  // the key exists, its values do not
  opts.SetAll(0x55);
  EXPECT_TRUE(opts.Load());
  EXPECT_EQ(opts.GetAll(), 0u);
  EXPECT_EQ(opts.count, 7u);

  Text(kAppKey, L"Flags", L"15");  // any form ReadRegNumber takes
  Dword(kAppKey, L"Count", 3);
  EXPECT_TRUE(opts.Load());
  EXPECT_EQ(opts.GetAll(), 15u);
  EXPECT_EQ(opts.count, 3u);
}

TEST_F(OptionSetTest, StoreWritesHooksAndWordAndTempFormStaysApart) {
  CountOpts opts(store_);
  opts.SetAll(0xA5);
  opts.count = 42;
  ASSERT_TRUE(opts.Store());
  RegKey app(kAppKey, false, store_);
  EXPECT_EQ(app.GetInt(L"Flags", 0), 0xA5u);

  EXPECT_FALSE(opts.LoadTemp());  // no "Temp" yet
  opts.SetAll(0x3C);
  opts.count = 9;
  ASSERT_TRUE(opts.StoreTemp());
  RegKey temp(kTempKey, false, store_);
  EXPECT_EQ(temp.GetInt(L"Flags", 0), 0x3Cu);
  EXPECT_EQ(app.GetInt(L"Flags", 0), 0xA5u) << "StoreTemp must not reach the key itself";

  CountOpts other(store_);
  ASSERT_TRUE(other.LoadTemp());
  EXPECT_EQ(other.GetAll(), 0x3Cu);
  EXPECT_EQ(other.count, 9u);
  ASSERT_TRUE(other.Load());
  EXPECT_EQ(other.count, 42u);

  temp.Close();
  EXPECT_TRUE(opts.DelTemp());
  EXPECT_FALSE(HasKey(kTempKey));
  EXPECT_TRUE(opts.DelTemp()) << "deleting what is gone is not a failure";
}

TEST_F(OptionSetTest, StoreFailsWhenTheKeyCannotBeMadeOrTheWordNotWritten) {
  CountOpts opts(store_);
  store_.FailOperation(RegOp::kCreate, 1, err::kAccessDenied, true);
  EXPECT_FALSE(opts.Store());
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_FALSE(opts.StoreTemp());
  store_.ClearFaults();

  store_.FailOperation(RegOp::kWrite, 2, err::kCantWrite);  // the hook's value passes, the word fails
  EXPECT_FALSE(opts.Store());
  EXPECT_EQ(GetLastErrorCode(), err::kCantWrite);
}

TEST_F(OptionSetTest, LoadReportsARegistryThatStopsAnsweringButReadsWhatItCan) {
  Dword(kAppKey, L"Flags", 6);
  Dword(kAppKey, L"Count", 2);
  CountOpts opts(store_);
  store_.FailOperation(RegOp::kRead, 1, err::kCantRead);  // the flag word's read
  EXPECT_FALSE(opts.Load());
  EXPECT_EQ(GetLastErrorCode(), err::kCantRead);
  EXPECT_EQ(opts.GetAll(), 0u);
  EXPECT_EQ(opts.count, 2u) << "the set's own values are still read";
}

// The record's reader and RegKey::GetInt are two readers of one rule: every form a hand-edited
// value can have, and both must read it alike.
TEST_F(OptionSetTest, BothNumberReadersTakeEveryFormAHandEditedValueCanHave) {
  RegKey app(kAppKey, true, store_);
  const auto sz = [](const std::wstring& t) { return ToUtf16Le(t, true); };
  const struct {
    DWORD type;
    std::vector<std::uint8_t> data;
    DWORD expected;  // 99: left as it was
  } rows[] = {
      {reg::kDword, {0x78, 0x56, 0x34, 0x12}, 0x12345678u},
      {reg::kBinary, {0x34, 0x12}, 0x1234u},
      {reg::kBinary, {1, 0, 0, 0, 0}, 99u},  // more than 4 bytes
      {reg::kExpandSz, sz(L"-3"), static_cast<DWORD>(-3)},
      {reg::kSz, sz(L"  7 minutes"), 7u},
      {reg::kSz, sz(L"abc"), 0u},
      {reg::kSz, sz(L"99999999999"), 0x7FFFFFFFu},
      {reg::kSz, sz(L"7" + std::wstring(62, L' ')), 7u},  // 128 bytes with the terminator
      {reg::kSz, sz(L"7" + std::wstring(63, L' ')), 0u},  // 130: reads as nothing
  };
  for (const auto& r : rows) {
    ASSERT_TRUE(app.PutBin(L"v", r.data.data(), static_cast<DWORD>(r.data.size()), r.type));
    DWORD value = 99;
    EXPECT_TRUE(ReadRegNumber(app, L"v", value));
    EXPECT_EQ(value, r.expected) << r.type << " " << r.data.size();
    EXPECT_EQ(app.GetInt(L"v", 99), r.expected) << r.type << " " << r.data.size();
  }
  DWORD value = 99;
  EXPECT_TRUE(ReadRegNumber(app, L"Missing", value));
  EXPECT_EQ(app.GetInt(L"Missing", 9), 9u);
  EXPECT_EQ(RegKey(store_).GetInt(L"v", 3), 3u) << "a closed key gives the default";
  store_.FailOperation(RegOp::kRead, 2, err::kCantRead);  // the data, after its size
  EXPECT_FALSE(ReadRegNumber(app, L"v", value));
  EXPECT_EQ(value, 99u);
}

class ConfigTest : public test::RecordTest {};

TEST_F(ConfigTest, PathsFitOrAreEmptiedAndThePlacementIsKeptWhenTooLarge) {
  MyConfig config(store_);
  config.SetAll(kConfigDataLossAccepted | kConfigHideSavedMsg | kConfigHideCloseMsg);
  std::wcscpy(config.ImpExpPath, L"C:\\Users\\me\\Tarnvale.cfg");
  for (std::size_t i = 0; i < kDlgPlacementBytes; ++i) config.DlgMain[i] = static_cast<std::uint8_t>(i + 1);
  ASSERT_TRUE(config.Store());
  RegKey app(kAppKey, false, store_);
  EXPECT_EQ(app.GetInt(L"Config", 0), 0xDu);
  EXPECT_FALSE(app.FindValue(L"GPOPath")) << "an empty path is not written";
  EXPECT_EQ(app.GetBinSize(L"DlgMain"), kDlgPlacementBytes);

  MyConfig loaded(store_);
  ASSERT_TRUE(loaded.Load());
  EXPECT_STREQ(loaded.ImpExpPath, config.ImpExpPath);
  EXPECT_FALSE(loaded.IsGPO());
  EXPECT_EQ(std::memcmp(loaded.DlgMain, config.DlgMain, kDlgPlacementBytes), 0);
  loaded.RestoreHiddenMsg();
  EXPECT_EQ(loaded.GetAll(), kConfigHideCloseMsg);

  // 259 characters fit (520 bytes with the terminator); 260 do not and read as empty.
  Text(kAppKey, L"GPOPath", std::wstring(259, L'g'));
  Text(kAppKey, L"ImpExpPath", std::wstring(260, L'p'));
  test::RecordTest::Raw(kAppKey, L"DlgMain", reg::kBinary, std::vector<std::uint8_t>(45, 0xEE));
  ASSERT_TRUE(loaded.Load());
  EXPECT_EQ(std::wcslen(loaded.GPOPath), 259u);
  EXPECT_TRUE(loaded.IsGPO());
  EXPECT_STREQ(loaded.ImpExpPath, L"");
  EXPECT_EQ(loaded.DlgMain[0], 1) << "an oversized placement is not read";

  // Emptied paths delete their values on the next store.
  loaded.Reset();
  ASSERT_TRUE(loaded.Store());
  EXPECT_FALSE(app.FindValue(L"GPOPath"));
  EXPECT_FALSE(app.FindValue(L"ImpExpPath"));
}

}  // namespace
}  // namespace tv
