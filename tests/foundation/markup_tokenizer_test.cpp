// Recognising tags and entities, stripping tags, and escaping plain text.
#include "foundation/markup_tokenizer.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace tv {
namespace {

MarkupTagMatch Match(const std::wstring& s, std::size_t pos = 0) {
  MarkupTagMatch m;
  if (!MatchMarkupTag(s.c_str(), s.size(), pos, &m)) m = MarkupTagMatch{};
  return m;
}

TEST(MarkupTokenizer, TagsMatchOnTheirFullTextWithoutRegardToCase) {
  EXPECT_EQ(Match(L"<br>x").tag->kind, MarkupTagKind::kBreak);
  EXPECT_EQ(Match(L"<br>x").length, 4u);
  EXPECT_EQ(Match(L"<BIG>").tag->kind, MarkupTagKind::kBig) << "not <B> or <BR>";
  const MarkupTagMatch a7 = Match(L"x</a7>", 1);
  ASSERT_NE(a7.tag, nullptr);
  EXPECT_TRUE(a7.closing);
  EXPECT_EQ(a7.tag->value, 7u);
  EXPECT_EQ(Match(L"<DkGreen>").tag->value, MakeMarkupColor(0, 64, 0));

  // Neither prefixes, nor longer names, nor cut-off tags, nor tags with attributes.
  for (const wchar_t* s : {L"<B", L"<", L"</", L"<A10>", L"<B >", L"<Bold>", L"<ICON", L"<A href=x>", L"< B>"})
    EXPECT_EQ(Match(s).tag, nullptr) << std::wstring(s).size();
  EXPECT_FALSE(MatchMarkupTag(nullptr, 5, 0, nullptr));
  EXPECT_FALSE(MatchMarkupTag(L"<B>", 3, 3, nullptr)) << "past the end";
  EXPECT_FALSE(MatchMarkupTag(L"<B>", 2, 0, nullptr)) << "the length bounds the match";
}

// The four entities and their lengths are the layout's test; here only what it cannot see.
TEST(MarkupTokenizer, EntitiesAndCaseInsensitiveSearch) {
  wchar_t c = 0;
  const std::wstring s = L"&amp;&LT;&gt;&nbsp;&nbsp&bogus;&";
  EXPECT_EQ(MatchMarkupEntity(s.c_str(), s.size(), 19, &c), 0u) << "no semicolon";
  EXPECT_EQ(MatchMarkupEntity(s.c_str(), s.size(), 24, &c), 0u);
  EXPECT_EQ(MatchMarkupEntity(s.c_str(), s.size(), s.size() - 1, &c), 0u) << "a lone '&' at the end";

  const std::wstring t = L"ab</b>cd</B>";
  EXPECT_EQ(FindMarkupText(t.c_str(), t.size(), 0, L"</B>"), 2u);
  EXPECT_EQ(FindMarkupText(t.c_str(), t.size(), 3, L"</B>"), 8u);
  EXPECT_EQ(FindMarkupText(t.c_str(), t.size(), 9, L"</B>"), t.size());
  EXPECT_EQ(FindMarkupText(t.c_str(), 11, 3, L"</B>"), 11u) << "a tag cut by the length is not found";
}

TEST(MarkupTokenizer, StripAndEscapeAreInverse) {
  const std::wstring marked = L"<B>a</B>&amp;<br>b<ICON>5</ICON><DKBLUE>c</DKBLUE><X>d</T>&nbsp;<";
  EXPECT_EQ(StripMarkupTags(marked.c_str(), marked.size()), L"a&\r\nb<DKBLUE>c<X>d\u00A0<");
  EXPECT_EQ(StripMarkupTags(L"<ICON>5", 7), L"") << "an unterminated icon swallows its number";
  EXPECT_EQ(StripMarkupTags(nullptr, 3), L"");

  const std::wstring plain = L"if a<b && c>d\r\nthen\nok\r";
  const std::wstring escaped = MarkupFromPlainText(plain.c_str(), plain.size());
  EXPECT_EQ(escaped, L"if a&lt;b &amp;&amp; c&gt;d<BR>then<BR>ok<BR>");
  EXPECT_EQ(StripMarkupTags(escaped.c_str(), escaped.size()), L"if a<b && c>d\r\nthen\r\nok\r\n");
}

}  // namespace
}  // namespace tv
