#include "foundation/reg_xml_tree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/last_error.h"

namespace tv {
namespace {

using T = RegXmlTreeItemType;

TEST(RegXmlTypes, TypeTextMatchesExactlyAndFallsBackToDword) {
  EXPECT_EQ(RegXmlTypeFromText(L"UINT64"), T::kUInt64);
  for (int code = 1; code <= 11; ++code) {
    EXPECT_EQ(RegXmlTypeFromText(RegXmlTypeText(static_cast<T>(code))), static_cast<T>(code));
  }
  for (const wchar_t* text : {L"reg_sz", L"REG_SZ ", L"REG_EXPAND_SZ", static_cast<const wchar_t*>(nullptr)}) {
    EXPECT_EQ(RegXmlTypeFromText(text), T::kRegDword);
  }
  EXPECT_STREQ(RegXmlTypeText(static_cast<T>(12)), L"REG_DWORD");
}

TEST(RegXmlTypes, NumbersReadLikeWcstoulOnTheFirstNineteenCharacters) {
  EXPECT_EQ(ParseRegXmlNumber(L"4294967296"), 4294967295u);  // saturates
  EXPECT_EQ(ParseRegXmlNumber(L"-1"), 4294967295u);          // wraps, as wcstoul does
  EXPECT_EQ(ParseRegXmlNumber(L"  12abc"), 12u);
  EXPECT_EQ(ParseRegXmlNumber(L"abc"), 0u);
  EXPECT_EQ(ParseRegXmlNumber(nullptr), 0u);
  EXPECT_EQ(ParseRegXmlNumber(L"0000000000000000009"), 9u);   // 19 characters: all read
  EXPECT_EQ(ParseRegXmlNumber(L"00000000000000000009"), 0u);  // the 20th is never read
  EXPECT_EQ(ParseRegXmlNumber(L"0000000000000000001999999999"), 1u);
}

TEST(RegXmlTypes, HexPairsDropAnUnpairedDigitAndRefuseOtherCharacters) {
  std::vector<std::uint8_t> bytes{9};
  ASSERT_TRUE(DecodeRegXmlHex(L"01aBC", &bytes));
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0x01, 0xAB}));
  ASSERT_TRUE(DecodeRegXmlHex(L"", &bytes));
  EXPECT_TRUE(bytes.empty());
  bytes = {7};
  EXPECT_FALSE(DecodeRegXmlHex(L"0G", &bytes));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  EXPECT_FALSE(DecodeRegXmlHex(L"01 2", &bytes));
  EXPECT_EQ(bytes, std::vector<std::uint8_t>{7});
}

TEST(RegXmlTreeItem, TypedAccessorsAnswerOnlyForTheirOwnType) {
  RegXmlTree tree;
  RegXmlTreeItem* item = tree.AddDataItem(L"V");
  item->PutStr(L"hello");
  EXPECT_EQ(item->GetDWORD(), 0u);
  wchar_t buffer[6];
  EXPECT_TRUE(item->GetStr(buffer, 6));
  EXPECT_STREQ(buffer, L"hello");
  EXPECT_FALSE(item->GetStr(buffer, 5));  // length must be below the size
  EXPECT_STREQ(buffer, L"");

  item->PutDWORD(4000000000u);
  EXPECT_EQ(item->GetDWORD(), 4000000000u);
  EXPECT_EQ(item->GetStrLen(), 0u);
  EXPECT_FALSE(item->GetStr(buffer, 6));
  // Type and Value were replaced, not appended again.
  EXPECT_EQ(item->GetListAttr().size(), 3u);

  const std::uint8_t data[] = {0x01, 0xAB, 0x00};
  item->PutBin(data, sizeof(data));
  EXPECT_STREQ(item->GetAttribValue(L"Value"), L"01AB00");
  EXPECT_EQ(item->GetBinSize(), 3u);
  std::uint8_t out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_FALSE(item->GetBin(out, 2));  // encodes more bytes than fit
  ASSERT_TRUE(item->GetBin(out, 4));
  EXPECT_EQ(out[1], 0xAB);
  EXPECT_EQ(out[3], 0xEE);  // past the data: left alone
  EXPECT_FALSE(item->GetBin(out, 4, T::kInt32));

  wchar_t name[2];
  EXPECT_TRUE(item->GetItemName(name, 2));
  EXPECT_FALSE(item->GetItemName(name, 1));
}

TEST(RegXmlTreeItem, SizedIntegersAreLittleEndianHexAndCheckTheirType) {
  RegXmlTree tree;
  tree.PutINT16(L"a", -2);
  EXPECT_STREQ(tree.FindDataItem(L"a")->GetAttribValue(L"Value"), L"FEFF");
  EXPECT_STREQ(tree.FindDataItem(L"a")->GetAttribValue(L"Type"), L"INT16");
  EXPECT_EQ(tree.GetINT16(L"a", 5), -2);
  EXPECT_EQ(tree.GetUINT16(L"a", 5), 0u);  // exists with another type: 0, not the default
  EXPECT_EQ(tree.GetUINT16(L"missing", 5), 5u);
  tree.PutUINT64(L"b", 0x0102030405060708ull);
  EXPECT_STREQ(tree.FindDataItem(L"b")->GetAttribValue(L"Value"), L"0807060504030201");
  EXPECT_EQ(tree.GetUINT64(L"b", 0), 0x0102030405060708ull);
  tree.PutINT64(L"c", INT64_MIN);
  EXPECT_EQ(tree.GetINT64(L"c", 0), INT64_MIN);
  tree.PutINT8(L"c", -128);  // same element, now with its new type
  EXPECT_EQ(tree.GetINT8(L"c", 0), -128);
  EXPECT_EQ(tree.GetINT64(L"c", 7), 0);
  EXPECT_EQ(tree.GetCount(), 3u);
  // A short value fills the low bytes only.
  tree.FindDataItem(L"b")->PutValue(T::kUInt32, L"2A");
  EXPECT_EQ(tree.GetUINT32(L"b", 0), 42u);
  // Too many bytes for the type: 0.
  tree.FindDataItem(L"b")->PutValue(T::kUInt8, L"2A2A");
  EXPECT_EQ(tree.GetUINT8(L"b", 9), 0u);
}

TEST(RegXmlTree, ReaderBuildsTheMirrorClassesAndLookupsMatchNameExactly) {
  RegXmlTree tree(kTrue);
  const wchar_t* text =
      L"<?xml version=\"1.0\"?>\r\n<KEY Name=\"Sub\">\r\n\t<KEY Name=\"Deep\"><DATA Name=\"d\" Value=\"3\"/></KEY>\r\n"
      L"</KEY>\r\n<KEY Name=\"sub\"/>\r\n<DATA Name=\"\" Type=\"REG_SZ\" Value=\"x\"/>\r\n<DATA name=\"n\" Value=\"7\"/>\r\n";
  ASSERT_TRUE(tree.Get(nullptr, text));
  RegXmlTree* sub = tree.FindSubTree(L"Sub");
  RegXmlTree* deep = sub ? sub->FindSubTree(L"Deep") : nullptr;
  ASSERT_NE(deep, nullptr);
  EXPECT_EQ(deep->GetDWORD(L"d", 0), 3u);
  EXPECT_NE(dynamic_cast<RegXmlTreeItem*>(deep->GetHead()->GetItem()), nullptr);
  EXPECT_TRUE(tree.FindSubTreeItem(L"sub")->IsSubKey());
  EXPECT_EQ(tree.FindSubTree(L"sub"), nullptr);  // the lower-case one has no children
  EXPECT_EQ(tree.FindSubTreeItem(L"SUB"), nullptr);
  EXPECT_EQ(tree.FindSubTreeItem(nullptr), tree.GetHead()->GetItem());
  wchar_t buffer[8];
  EXPECT_TRUE(tree.GetStr(L"", buffer, 8, L"def"));
  EXPECT_STREQ(buffer, L"x");
  tree.GetStr(L"none", buffer, 8, L"def");
  EXPECT_STREQ(buffer, L"def");
  EXPECT_EQ(tree.GetDWORD(L"n", 0), 7u);  // attribute names compare without case

  EXPECT_TRUE(tree.DeleteSubTreeItem(L"Sub"));
  EXPECT_FALSE(tree.DeleteSubTreeItem(L"Sub"));
  EXPECT_TRUE(tree.DeleteDataItem(L""));
  EXPECT_EQ(tree.GetCount(), 2u);

  RegXmlTree* added = tree.AddSubTreeItem(L"New");
  ASSERT_NE(added, nullptr);
  added->PutStr(L"v", L"w");
  EXPECT_EQ(tree.FindSubTree(L"New"), added);
}

}  // namespace
}  // namespace tv
