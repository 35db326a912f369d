#include "foundation/xml_tree.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/last_error.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

using test::MessageRecorder;

// Writes the tree the way callers do: measure, allocate, write; both passes must agree.
std::wstring Write(const XmlTree& tree) {
  wchar_t* none = nullptr;
  std::size_t count = tree.Put(none);
  EXPECT_EQ(none, nullptr);
  std::wstring text(count, L'#');
  wchar_t* out = text.data();
  EXPECT_EQ(tree.Put(out), count);
  EXPECT_EQ(out, text.data() + count);
  EXPECT_EQ(text.back(), L'\0');
  text.pop_back();
  return text;
}

// Reads quietly; answers whether it parsed.
bool Read(XmlTree& tree, const std::wstring& text) {
  tree.SetQuiet(kTrue);
  const wchar_t* p = text.c_str();
  return tree.Get(nullptr, p) != 0;
}

const XmlAttrib& AttribAt(const XmlTreeItem& item, std::size_t index) {
  auto it = item.GetListAttr().begin();
  for (std::size_t i = 0; i < index; ++i) ++it;
  return *it;
}

TEST(XmlTreeWriteTest, LayoutIndentationAndEscaping) {
  XmlTree empty;
  EXPECT_EQ(Write(empty), L"<?xml version=\"1.0\"?>\r\n");

  XmlTree tree;
  XmlTreeItem* key = tree.AddItem(L"KEY", nullptr);
  key->AddAttrib(L"Name", L"a\"b'c<d>e&f");
  XmlTree* sub = tree.AddSubTree(key);
  sub->AddItem(L"DATA", nullptr)->AddAttrib(L"Name", L"");
  XmlTreeItem* inner = sub->AddItem(L"KEY", nullptr);
  sub->AddSubTree(inner)->AddItem(L"v", L" x & y ");
  sub->AddItem(L"empty", L"");
  tree.AddItem(L"last", nullptr);
  EXPECT_EQ(Write(tree),
            L"<?xml version=\"1.0\"?>\r\n"
            L"<KEY Name=\"a&quot;b&apos;c&lt;d&gt;e&amp;f\">\r\n"
            L"\t<DATA Name=\"\"/>\r\n"
            L"\t<KEY>\r\n"
            L"\t\t<v> x &amp; y </v>\r\n"
            L"\t</KEY>\r\n"
            L"\t<empty></empty>\r\n"
            L"</KEY>\r\n"
            L"<last/>\r\n");

  // An empty stored prolog writes only the line end; another prolog is written verbatim.
  tree.SetProlog(L"");
  EXPECT_EQ(Write(tree).substr(0, 6), L"\r\n<KEY");
  const std::wstring prolog = L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>";
  tree.SetProlog(prolog.c_str());
  EXPECT_EQ(Write(tree).substr(0, prolog.size() + 3), prolog + L"\r\n<");
  // Writing leaves the depth where it found it, so the next write starts at the margin again.
  EXPECT_EQ(Write(tree), Write(tree));
}

TEST(XmlTreeReadTest, ElementsAttributesBodiesAndEntities) {
  XmlTree tree;
  ASSERT_TRUE(Read(tree, L"<a b='x&amp;y'>1 &lt; 2</a>"));
  EXPECT_EQ(Write(tree), L"\r\n<a b=\"x&amp;y\">1 &lt; 2</a>\r\n");

  // Entities match in any case; anything else that looks like one stays as it stands.
  XmlTree entities;
  ASSERT_TRUE(Read(entities, L"<e v=\"&QUOT;&Apos;&GT;&foo;&#65;& &amp\">&amp;amp;&</e>"));
  EXPECT_STREQ(entities.GetHead()->GetItem()->GetAttribValue(L"v"), L"\"'>&foo;&#65;& &amp");
  EXPECT_STREQ(entities.GetHead()->GetItem()->GetBody(), L"&amp;&");

  // Leading white space of a body goes, trailing stays; only white space means no body at all.
  XmlTree bodies;
  ASSERT_TRUE(Read(bodies, L"<a>  \r\n text \t</a><b>   </b><c></c><d/><e x=\"1\"\n y = \"2\" x='3' />"));
  XmlTreeItem* e = bodies.GetTail()->GetItem();
  EXPECT_STREQ(e->GetAttribValue(L"X"), L"1");
  EXPECT_STREQ(AttribAt(*e, 2).GetValue(), L"3");
  EXPECT_EQ(Write(bodies), L"\r\n<a>text \t</a>\r\n<b/>\r\n<c/>\r\n<d/>\r\n<e x=\"1\" y=\"2\" x=\"3\"/>\r\n");

  // Comments count as white space anywhere it may stand; names take '_', '-', '.', digits.
  XmlTree nested;
  const std::wstring text =
      L"\xFEFF<!-- top --><_r-1.x><!--c--><k\n name=\"n\"><!---->v</k>"
      L"< k/><!-- between --></_r-1.x ><s/> <!-- end -->\n";
  const wchar_t* p = text.c_str();
  nested.SetQuiet(kTrue);
  ASSERT_TRUE(nested.Get(nullptr, p));
  EXPECT_EQ(p, text.c_str() + text.size());
  EXPECT_EQ(Write(nested), L"\r\n<_r-1.x>\r\n\t<k name=\"n\">v</k>\r\n\t<k/>\r\n</_r-1.x>\r\n<s/>\r\n");
  EXPECT_EQ(nested.FindSubTree(L"_r-1.x")->GetParent(), nested.GetHead());

  // What follows a '<' is judged past comments the same way it is then read: an end tag behind
  // a comment closes an element without leaving it an empty list of children.
  XmlTree tricky;
  ASSERT_TRUE(Read(tricky, L"<a>< <!--c-->/a><r>< <!--c--> b/></r>"));
  EXPECT_EQ(tricky.GetHead()->GetSubTree(), nullptr);
  EXPECT_EQ(Write(tricky), L"\r\n<a/>\r\n<r>\r\n\t<b/>\r\n</r>\r\n");
}

TEST(XmlTreeReadTest, PrologIsMeasuredFromTheLinesBeforeTheRoot) {
  XmlTree tree;
  ASSERT_TRUE(Read(tree, L"<?xml version=\"1.0\"?>\r\n<!DOCTYPE x>\r\n\r\n  <a/>"));
  EXPECT_STREQ(tree.GetProlog(), L"<?xml version=\"1.0\"?>\r\n<!DOCTYPE x>");
  // Lines skipped as white space or comments are not counted, yet the prolog is copied from the
  // very start: a document with leading blank lines keeps a shortened prolog.
  ASSERT_TRUE(Read(tree, L"\r\n<?xml?>\r\n<a/>"));
  EXPECT_STREQ(tree.GetProlog(), L"\r\n<?xml");
  ASSERT_TRUE(Read(tree, L"<!--c-->\n<?p?>\n<a/>"));
  EXPECT_STREQ(tree.GetProlog(), L"<!--c");
  // No prolog at all is an empty one, which writes no declaration; reading drops the old one.
  ASSERT_TRUE(Read(tree, L"<a/>"));
  EXPECT_STREQ(tree.GetProlog(), L"");
  ASSERT_TRUE(Read(tree, L"<?x?>\n< a/>"));
  EXPECT_STREQ(tree.GetProlog(), L"<?x?>");

  // A declaration followed by the root on the same line is all prolog.
  MessageRecorder recorder;
  XmlTree same_line;
  const wchar_t* p = L"<?xml version=\"1.0\"?><a/>";
  EXPECT_FALSE(same_line.Get(nullptr, p));
  ASSERT_EQ(recorder.shown.size(), 1u);
  EXPECT_EQ(recorder.shown[0].text, L"No XML data found.");
  EXPECT_EQ(recorder.shown[0].icon, MsgIcon::kError);
  EXPECT_EQ(same_line.GetParseError(), 21910);
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  XmlTree nothing;
  EXPECT_FALSE(Read(nothing, L"\xFEFF  <!-- only a comment -->\r\n"));
  EXPECT_EQ(nothing.GetParseError(), 21910);
}

TEST(XmlTreeReadTest, FailuresNameTheMessageTheLineAndTheText) {
  const struct {
    const wchar_t* text;
    int message, line;
    const wchar_t *what, *where;
  } cases[] = {
      {L"<a>text<b/></a>", 21904, 1, L"Unexpected", L"<b/></a>"},
      {L"<a>text<!-- no comment after text --></a>", 21904, 1, L"Unexpected", L"<!-- no comment afte"},
      {L"<a></A>", 21904, 1, L"Unexpected", L"</A>"},
      {L"<a></ab>", 21904, 1, L"Unexpected", L"</ab>"},
      {L"<a b=''>\n</a\n x>", 21904, 2, L"Unexpected", L"</a\n x>"},
      {L"<a>\n<b/>\n", 21904, 3, L"Unexpected", L""},
      {L"<a x=1/>", 21907, 1, L"Unquoted attribute value", L"1/>"},
      {L"<a x '1'/>", 21906, 1, L"Missing '='", L"'1'/>"},
      {L"<r>\n<a x=\"1\n\n/>\n</r>", 21908, 2, L"Missing closing quote", L"\"1\n\n/>\n</r>"},
      {L"<r>\r\n <b>some text\r\nand more", 21909, 2, L"Missing closing tag", L"some text\r\nand more"},
      {L"<a/>\n<!-- never closed", 21902, 2, L"Unclosed comment", L"<!-- never closed"},
      {L"<a>< <!-- open </a>", 21902, 1, L"Unclosed comment", L"<!-- open </a>"},
      {L"<a/>\n\nstray text that goes on and on", 21903, 3, L"Syntax error", L"stray text that goes"},
      {L"<?xml?>\r\n<!-- a\r\n b -->\r\n<r>\r\n <c x=\"1\r\n2\"/>\r\n <d>t<e/></d>\r\n</r>", 21904, 7,
       L"Unexpected", L"<e/></d>\r\n</r>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "input #" << (&c - cases));
    MessageRecorder recorder;
    XmlTree tree;
    const wchar_t* p = c.text;
    EXPECT_FALSE(tree.Get(nullptr, p));
    EXPECT_EQ(tree.GetParseError(), c.message);
    EXPECT_EQ(tree.GetParseErrorLine(), c.line);
    const std::wstring expected = L"Error parsing XML document in line " + std::to_wstring(c.line) + L":\n\n" +
                                  c.what + L": " + c.where;
    EXPECT_EQ(tree.GetParseErrorText(), expected);
    ASSERT_EQ(recorder.shown.size(), 1u);
    EXPECT_EQ(recorder.shown[0].text, expected);
  }

  // Quiet shows nothing but keeps the failure; a later success clears it.
  MessageRecorder recorder;
  XmlTree tree(kTrue);
  const wchar_t* p = L"<a><b></a>";
  EXPECT_FALSE(tree.Get(nullptr, p));
  EXPECT_TRUE(recorder.shown.empty());
  EXPECT_EQ(tree.GetParseError(), 21904);
  EXPECT_TRUE(Read(tree, L"<a/>"));
  EXPECT_EQ(tree.GetParseError(), 0);
  EXPECT_TRUE(tree.GetParseErrorText().empty());

  // Nesting is followed as deep as a registry can go, and refused beyond.
  auto nest = [](std::size_t depth) {
    std::wstring open, close;
    for (std::size_t i = 0; i < depth; ++i) open += L"<k>", close += L"</k>";
    return open + L"v" + close;
  };
  XmlTree deep, too_deep;
  EXPECT_TRUE(Read(deep, nest(513)));
  EXPECT_FALSE(Read(too_deep, nest(514)));
  EXPECT_EQ(too_deep.GetParseError(), 21903);
}

TEST(XmlTreeItemTest, AttributesByNameWithoutCaseAndCopiesThatFit) {
  XmlTreeItem item(L"DATA", nullptr);
  item.AddAttrib(L"Name", L"first");
  item.AddAttrib(L"NAME", L"second");
  item.SetAttrib(L"nAmE", L"changed");
  ASSERT_EQ(item.GetListAttr().size(), 2u);
  EXPECT_STREQ(AttribAt(item, 0).GetValue(), L"changed");
  EXPECT_TRUE(item.DeleteAttrib(L"name"));
  EXPECT_STREQ(item.GetAttribValue(L"Name"), L"second");
  EXPECT_TRUE(item.DeleteAttrib(L"name"));
  EXPECT_FALSE(item.DeleteAttrib(L"name"));
  item.SetAttrib(L"Type", L"REG_SZ");
  EXPECT_EQ(item.FindAttrib(L"Typ"), nullptr);
  EXPECT_EQ(item.FindAttrib(nullptr), nullptr);

  wchar_t buffer[7] = L"xxxxxx";
  EXPECT_EQ(item.GetAttrib(L"type"), 6u);
  EXPECT_EQ(item.GetAttrib(L"type", buffer, 7), 6u);  // just fits
  EXPECT_STREQ(buffer, L"REG_SZ");
  EXPECT_EQ(item.GetAttrib(L"type", buffer, 6), 6u);  // one short: left empty
  EXPECT_STREQ(buffer, L"");
  buffer[0] = L'x';
  EXPECT_EQ(item.GetAttrib(L"Value", buffer, 7), 0u);
  EXPECT_STREQ(buffer, L"");
}

TEST(XmlTreeItemTest, NumbersConvertLikeA32BitLong) {
  XmlTreeItem item;
  item.SetAttribInt(L"i", INT_MIN);
  EXPECT_STREQ(item.GetAttribValue(L"i"), L"-2147483648");
  item.SetAttribUInt(L"u", UINT_MAX);
  EXPECT_STREQ(item.GetAttribValue(L"u"), L"4294967295");
  EXPECT_EQ(item.GetAttribInt(L"missing"), 0);

  const struct {
    const wchar_t* text;
    int as_int;
    unsigned int as_uint;
  } cases[] = {
      {L"12abc", 12, 12u},
      {L" -5", -5, 4294967291u},
      {L"2147483648", INT_MAX, 2147483648u},
      {L"-2147483649", INT_MIN, 2147483647u},
      {L"999999999999999", INT_MAX, UINT_MAX},  // 15 characters: still read
      {L"1000000000000000", 0, 0u},            // 16 characters: not read at all
      {L"              12", 0, 0u},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "value #" << (&c - cases));
    item.SetAttrib(L"n", c.text);
    EXPECT_EQ(item.GetAttribInt(L"N"), c.as_int);
    EXPECT_EQ(item.GetAttribUInt(L"N"), c.as_uint);
  }
}

TEST(XmlTreeTest, FindAddAndDeleteOnOneLevel) {
  XmlTree tree;
  XmlTreeItem* a = tree.AddItem(L"DATA", nullptr);
  a->AddAttrib(L"Name", L"Alpha");
  XmlTreeItem* b = tree.AddItem(L"KEY", nullptr);
  b->AddAttrib(L"Name", L"alpha");
  XmlTreeItem* c = tree.AddItem(L"DATA", nullptr);
  c->AddAttrib(L"Name", L"alpha");
  XmlTree* sub = tree.AddSubTree(b);
  sub->AddItem(L"DATA", L"deep");

  EXPECT_EQ(tree.FindItem(L"data"), nullptr);
  EXPECT_EQ(tree.FindItem(L"DATA", L"NAME", L"alpha"), c);
  EXPECT_EQ(tree.FindItem(L"DATA", L"NAME", L"alpha", kTrue), a);
  EXPECT_EQ(tree.FindItemReverse(L"DATA"), c);
  EXPECT_EQ(tree.FindItem(L"DATA", L"Name", nullptr), a);  // half a condition is none
  EXPECT_EQ(tree.FindItem(nullptr, L"Name", L"alpha"), b);
  EXPECT_EQ(tree.FindItem(L"deep"), nullptr);  // one level only
  EXPECT_EQ(tree.FindSubTree(L"KEY"), sub);
  EXPECT_EQ(tree.AddSubTree(b), sub);  // an existing subtree is kept
  EXPECT_EQ(tree.GetSubTree(L"nope"), nullptr);

  tree.SetQuiet(kTrue);
  XmlTree* made = tree.GetSubTree(L"DATA");
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(made->GetParent() == tree.GetHead() && made->GetQuiet());
  XmlTree* last = tree.AddSubTree(nullptr);
  EXPECT_TRUE(last && last == tree.GetTail()->GetSubTree());
  XmlTreeItem stranger;
  EXPECT_EQ(tree.AddSubTree(&stranger), nullptr);
  EXPECT_FALSE(tree.DeleteItem(&stranger));

  // Deleting keeps the links in both directions right, at the middle and at both ends.
  EXPECT_TRUE(tree.DeleteItem(b));
  EXPECT_EQ(tree.GetHead()->GetNext()->GetItem(), c);
  EXPECT_EQ(tree.GetTail()->GetPrev()->GetItem(), a);
  EXPECT_TRUE(tree.DeleteItem(c));
  EXPECT_EQ(tree.GetTail(), tree.GetHead());
  EXPECT_TRUE(tree.DeleteItem(a));
  EXPECT_TRUE(tree.GetHead() == nullptr && tree.GetTail() == nullptr && tree.GetCount() == 0);
  EXPECT_EQ(tree.AddSubTree(nullptr), nullptr);
}

TEST(XmlTreeTest, ReadTreesStayEditableAndReadable) {
  XmlTree tree(kTrue);
  ASSERT_TRUE(Read(tree, L"<a n=\"1\" m=\"2\"><b>x</b><c/></a>"));
  // Each field is set from its own (or a sibling's) characters.
  XmlTreeItem* a = tree.FindItem(L"a");
  a->SetName(a->GetName());
  a->SetAttrib(L"n", AttribAt(*a, 1).GetValue());
  EXPECT_TRUE(a->DeleteAttrib(L"m"));
  a->AddAttrib(L"z", L"3");
  XmlTree* sub = tree.FindSubTree(L"a");
  XmlTreeItem* b = sub->FindItem(L"b");
  b->SetBody(b->GetBody());
  EXPECT_TRUE(sub->DeleteItem(sub->FindItem(L"c")));
  sub->AddSubTree(sub->AddItem(L"d", nullptr))->AddItem(L"e", L"y");

  // A second read appends to what is there; one into an emptied tree starts afresh.
  ASSERT_TRUE(Read(tree, L"<f/>"));
  EXPECT_EQ(Write(tree),
            L"\r\n<a n=\"2\" z=\"3\">\r\n\t<b>x</b>\r\n\t<d>\r\n\t\t<e>y</e>\r\n\t</d>\r\n</a>\r\n<f/>\r\n");
  tree.Clear();
  ASSERT_TRUE(Read(tree, L"<g/>"));
  EXPECT_EQ(tree.GetCount(), 1u);
  // A subtree can read on its own as well.
  XmlTree* g = tree.AddSubTree(nullptr);
  ASSERT_TRUE(Read(*g, L"<h><i/></h>"));
  EXPECT_EQ(Write(tree), L"\r\n<g>\r\n\t<h>\r\n\t\t<i/>\r\n\t</h>\r\n</g>\r\n");
}

}  // namespace
}  // namespace tv
