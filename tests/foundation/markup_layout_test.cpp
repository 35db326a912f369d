// Layout of mark-up text with a measurer of fixed advances: a font of height 16 is 16 tall and
// 8 wide per character (9 when bold), so every position below can be worked out by hand.
#include "foundation/markup_layout.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/markup_fixed_measurer.h"

namespace tv {
namespace {

struct Laid {
  MarkupLayoutResult r;
  long long measurements = 0;
  const MarkupPiece& operator[](std::size_t i) const { return r.pieces.at(i); }
  std::size_t size() const { return r.pieces.size(); }
};

Laid Layout(const std::wstring& text, int width = 1000, MarkupStyle style = {}, int left = 0, int top = 0) {
  if (style.font.height == 0) style.font.height = 16;
  MarkupFixedMeasurer m;
  Laid out;
  LayoutMarkup(text.c_str(), text.size(), MarkupRect{left, top, left + width, top + 1000}, style, m, &out.r);
  out.measurements = m.calls;
  return out;
}

MarkupRect Rect(int l, int t, int r, int b) { return MarkupRect{l, t, r, b}; }
void ExpectRect(const MarkupRect& a, const MarkupRect& b) {
  EXPECT_EQ(a.left, b.left);
  EXPECT_EQ(a.top, b.top);
  EXPECT_EQ(a.right, b.right);
  EXPECT_EQ(a.bottom, b.bottom);
}

TEST(MarkupLayout, FontTagsInAnyCaseChangeOnlyWhatTheyEnclose) {
  const Laid l = Layout(L"<b>b</b><I>i</i><u>u</U><D>d</D><aa>a</AA><ct>c</ct><b><i>bi</i></b>n");
  ASSERT_EQ(l.size(), 8u);
  EXPECT_EQ(l[0].font.weight, 700);
  EXPECT_TRUE(l[1].font.italic);
  EXPECT_TRUE(l[2].font.underline);
  EXPECT_TRUE(l[3].font.strikeOut);
  EXPECT_EQ(l[4].font.quality, 4);
  EXPECT_EQ(l[5].font.quality, 5);
  EXPECT_TRUE(l[6].font.italic && l[6].font.weight == 700) << "tags nest";
  EXPECT_EQ(l[7].text, L"n");
  MarkupFont base;
  base.height = 16;
  EXPECT_TRUE(l[7].font == base) << "all restored";
  EXPECT_EQ(l[1].rect.left, 9) << "x advances by the bold piece";
}

TEST(MarkupLayout, SizeTagsChangeTheMagnitudeAndKeepTheSign) {
  for (int base : {-16, 16}) {
    MarkupStyle style;
    style.font.height = base;
    const int sign = base < 0 ? -1 : 1;
    const Laid l = Layout(L"<H>h<SMALL>s</SMALL></H><BIG>g</BIG><SMALL><SMALL><SMALL><SMALL><SMALL><SMALL><SMALL>"
                          L"<SMALL>t",
                          1000, style);
    ASSERT_EQ(l.size(), 4u);
    EXPECT_EQ(l[0].font.height, sign * 20);
    EXPECT_EQ(l[0].font.weight, 900);
    EXPECT_EQ(l[1].font.height, sign * 18);
    EXPECT_EQ(l[2].font.height, sign * 18);
    EXPECT_EQ(l[3].font.height, sign * 1) << "never shrinks to nothing or flips sign";
  }
}

TEST(MarkupLayout, ColoursFollowTheTableAndDarkBlueNeverOpens) {
  MarkupStyle style;
  style.textColor = MakeMarkupColor(1, 2, 3);
  const Laid l = Layout(L"<RED>a</RED><ltgreen>b</ltgreen><DKGREY>c</DKGREY><GREY>d</GREY>e<DKBLUE>f</DKBLUE>g", 1000,
                        style);
  ASSERT_EQ(l.size(), 6u);
  EXPECT_EQ(l[0].color, MakeMarkupColor(128, 0, 0));
  EXPECT_EQ(l[1].color, MakeMarkupColor(0, 192, 0));
  EXPECT_EQ(l[2].color, MakeMarkupColor(64, 64, 64));
  EXPECT_EQ(l[3].color, MakeMarkupColor(128, 128, 128));
  EXPECT_EQ(l[4].text, L"e<DKBLUE>f") << "drawn as text in the text colour";
  EXPECT_EQ(l[4].color, style.textColor);
  EXPECT_EQ(l[5].text, L"g") << "the closing tag is consumed";

  const Laid open = Layout(L"x<RED>red <B>bold");
  ASSERT_EQ(open.size(), 3u);
  EXPECT_EQ(open[1].color, MakeMarkupColor(128, 0, 0));
  EXPECT_EQ(open[2].color, MakeMarkupColor(128, 0, 0)) << "an unterminated colour runs to the end";
  EXPECT_EQ(open[2].font.weight, 700);
}

TEST(MarkupLayout, LinksTakeTheBaseIdPlusTheirNumberAndOneRectanglePerLine) {
  MarkupStyle style;
  style.linkCmdId = 200;
  style.linkColor = MakeMarkupColor(0, 0, 255);
  style.hotLinkColor = MakeMarkupColor(9, 9, 9);
  style.hotLink = 1;
  // Width 100 leaves 98 pixels: 12 characters of 8.
  const Laid l = Layout(L"<A3>aaaa bbbb cccc</A3> <a>x<RED>y</RED></a>", 100, style, 10, 5);
  ASSERT_EQ(l.r.links.GetCount(), 2u);
  const DrawHTMLLinkArea& a3 = l.r.links.GetAt(0);
  EXPECT_EQ(a3.GetID(), 203);
  EXPECT_EQ(a3.GetText(), L"aaaa bbbbcccc") << "the blank at the wrap is not drawn";
  ASSERT_EQ(a3.GetRects().size(), 2u);
  ExpectRect(a3.GetRects()[0], Rect(10, 5, 82, 21));
  ExpectRect(a3.GetRects()[1], Rect(10, 21, 42, 37));
  EXPECT_TRUE(a3.IsPointOverLink(10, 5)) << "left and top inclusive";
  EXPECT_TRUE(a3.IsPointOverLink(81, 20));
  EXPECT_FALSE(a3.IsPointOverLink(82, 5)) << "right exclusive";
  EXPECT_TRUE(a3.IsPointOverLink(41, 21));
  EXPECT_FALSE(a3.IsPointOverLink(42, 21));
  EXPECT_FALSE(a3.IsPointOverLink(10, 37)) << "bottom exclusive";
  EXPECT_FALSE(a3.IsPointOverLink(9, 5));

  const DrawHTMLLinkArea& a = l.r.links.GetAt(1);
  EXPECT_EQ(a.GetID(), 200);
  EXPECT_EQ(a.GetText(), L"xy");
  ASSERT_EQ(a.GetRects().size(), 1u);
  ExpectRect(a.GetRects()[0], Rect(50, 21, 66, 37));  // one rectangle across the nested colour
  EXPECT_EQ(l.r.links.GetID(50, 30), 200);
  EXPECT_EQ(l.r.links.GetID(45, 30), 0) << "the blank between the links";
  EXPECT_EQ(l.r.links.Find(12, 6), &a3);

  ASSERT_EQ(l.size(), 5u);
  EXPECT_EQ(l[0].color, style.linkColor);
  EXPECT_TRUE(l[0].font.underline);
  EXPECT_EQ(l[0].link, 0);
  EXPECT_EQ(l[3].color, style.hotLinkColor) << "the link under the mouse";
  EXPECT_EQ(l[4].color, MakeMarkupColor(128, 0, 0)) << "a colour inside a link wins";
  EXPECT_EQ(l[4].link, 1);
}

TEST(MarkupLayout, RunsWrapAtTheLastBlankThatFitsAndCutWordsOnlyWhenAlone) {
  const Laid l = Layout(L"aaaa bbbb cccc dddd ab cdefghijklmn abcdefghijklmnopqrst", 100);
  ASSERT_EQ(l.size(), 5u);
  EXPECT_EQ(l[0].text, L"aaaa bbbb");
  EXPECT_EQ(l[1].text, L"cccc dddd ab") << "exactly 96 of 98 pixels";
  EXPECT_EQ(l[2].text, L"cdefghijklmn") << "a word that fits a line of its own moves there";
  EXPECT_EQ(l[3].text, L"abcdefghijkl") << "a word wider than a line is cut";
  EXPECT_EQ(l[4].text, L"mnopqrst");
  for (std::size_t i = 0; i < l.size(); ++i) {
    EXPECT_EQ(l[i].rect.left, 0);
    EXPECT_EQ(l[i].rect.top, static_cast<int>(16 * i));
  }
  EXPECT_EQ(l.r.height, 80);
  EXPECT_EQ(l.r.width, 96);

  // A nbsp is no blank; a blank across a tag boundary still is.
  EXPECT_EQ(Layout(L"aaaaa&nbsp;bbbbbbbbb", 100)[0].text, L"aaaaa\u00A0bbbbbb");
  const Laid across = Layout(L"aaaa <B>bbbbbbbbbb</B>", 100);
  ASSERT_EQ(across.size(), 2u);
  EXPECT_EQ(across[1].rect.top, 16);

  // No room at all still ends, one character a line.
  const Laid narrow = Layout(L"abc", 0);
  ASSERT_EQ(narrow.size(), 3u);
  EXPECT_EQ(narrow.r.height, 48);
}

TEST(MarkupLayout, NoBreakCentreAndBreaksPlaceLinesAsAsked) {
  const Laid nobr = Layout(L"<NOBR>aaaa bbbb cccc dddd</NOBR> eeee", 100);
  ASSERT_EQ(nobr.size(), 2u);
  EXPECT_EQ(nobr[0].rect.right, 152) << "never cut, even past the edge";
  EXPECT_EQ(nobr[1].rect.top, 16) << "wrapping is back on after </NOBR>";

  const Laid centre = Layout(L"<CENTER>abcd<BR>ab</CENTER><BR>x", 100);
  ASSERT_EQ(centre.size(), 3u);
  EXPECT_EQ(centre[0].rect.left, 34);
  EXPECT_EQ(centre[1].rect.left, 42);
  EXPECT_EQ(centre[2].rect.left, 0);

  const Laid breaks = Layout(L"a<BR>b<BRHALF><brhalf>c<BR><BR>d");
  ASSERT_EQ(breaks.size(), 4u);
  EXPECT_EQ(breaks[1].rect.top, 16);
  EXPECT_EQ(breaks[2].rect.top, 40) << "a half break on a line with text never overlaps it";
  EXPECT_EQ(breaks[3].rect.top, 72) << "an empty line is a whole line";
  EXPECT_EQ(breaks.r.height, 88);

  // Leading blanks are dropped after a wrap, kept after a break.
  const Laid lead = Layout(L"aaaaaaaaaaaa   b<BR>  c", 100);
  ASSERT_EQ(lead.size(), 3u);
  EXPECT_EQ(lead[1].text, L"b");
  EXPECT_EQ(lead[2].text, L"  c");
}

TEST(MarkupLayout, LineHeightIsTheTallestPieceAndTextSharesTheBottom) {
  const Laid l = Layout(L"a<H>b</H><BR>c<ICON>5</ICON>d<ICON>-5</ICON><ICON>777</ICON><ICON>x</ICON>e");
  ASSERT_EQ(l.size(), 7u);
  ExpectRect(l[0].rect, Rect(0, 4, 8, 20));
  ExpectRect(l[1].rect, Rect(8, 0, 19, 20));
  EXPECT_EQ(l[2].rect.top, 20);
  EXPECT_EQ(l[3].kind, MarkupPiece::Kind::kIcon);
  EXPECT_EQ(l[3].iconId, 5);
  ExpectRect(l[3].rect, Rect(10, 20, 26, 36));  // 2 pixels before an icon
  EXPECT_EQ(l[4].rect.left, 28) << "and 2 after";
  EXPECT_EQ(l[5].iconId, -5);
  EXPECT_EQ(l[5].rect.left, 38);
  EXPECT_EQ(l[6].text, L"e");
  EXPECT_EQ(l[6].rect.left, 56) << "missing icons draw nothing and take no room";
  EXPECT_EQ(l.r.height, 36);
}

TEST(MarkupLayout, EntitiesUnknownTagsAndStrayMarksAreText) {
  const Laid l = Layout(L"&amp;&LT;&gt;&nbsp;&bogus; a < b & <X>c</X>\tz");
  ASSERT_EQ(l.size(), 1u);
  EXPECT_EQ(l[0].text, L"&<>\u00A0&bogus; a < b & <X>c</X> z");

  for (const wchar_t* s : {L"<", L"&", L"a<", L"a&", L"</", L"<B", L"</B>", L"</B></A1></ICON></NOBR>x", L"<ICON>",
                           L"<ICON>5", L"<A1>", L"<CENTER>", L"<B><I>"}) {
    const Laid odd = Layout(s);
    for (std::size_t i = 0; i < odd.size(); ++i)
      EXPECT_TRUE(odd[i].kind == MarkupPiece::Kind::kIcon || !odd[i].text.empty()) << i;
  }
  EXPECT_EQ(Layout(L"</B></A1></ICON></NOBR>x")[0].text, L"x") << "closing tags that close nothing vanish";
  EXPECT_EQ(Layout(L"a<")[0].text, L"a<");

  // Crossed tags: the inner one ends where the outer closes; the stray closing tag vanishes.
  const Laid crossed = Layout(L"<B><I>x</B>y</I>z");
  ASSERT_EQ(crossed.size(), 3u);
  EXPECT_TRUE(crossed[0].font.italic && crossed[0].font.weight == 700);
  EXPECT_EQ(crossed[1].text, L"y");
  EXPECT_FALSE(crossed[1].font.italic);
  EXPECT_EQ(crossed[2].text, L"z");
}

TEST(MarkupLayout, HugeAndDeeplyNestedTextsEndInLinearWork) {
  std::wstring deep;
  for (int i = 0; i < 30000; ++i) deep += L"<B>";
  deep += L"x";
  const Laid d = Layout(deep);
  ASSERT_EQ(d.size(), 1u);
  EXPECT_EQ(d[0].font.weight, 700);

  std::wstring big;
  const wchar_t* parts[] = {L"word ", L"<B>", L"</B>", L"<A1>", L"</A1>", L"<", L"&amp;", L"&", L"<BR>",
                            L"<RED>", L"<ICON>5</ICON>", L"<NOBR>", L"</NOBR>", L"<CENTER>", L"<H>", L"</I>"};
  for (unsigned i = 0; big.size() < 100000; i = i * 1103515245u + 12345u) big += parts[(i >> 16) % 16];
  const Laid b = Layout(big, 300);
  EXPECT_GT(b.r.height, 1000);
  EXPECT_LT(b.measurements, static_cast<long long>(big.size()) * 4) << "measuring grows with the text, not its square";
}

}  // namespace
}  // namespace tv
