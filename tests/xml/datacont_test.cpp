// The generic node: what it reads, prints, writes and exchanges.
#include "kvorlib/datacont.h"

#include <gtest/gtest.h>

#include "xml/eventlog.h"

namespace {

datacont Read(const std::string& document) {
  datacont root;
  XMLDoc doc;
  doc.SetCallback(&root, XMLDoc::DC_READ);
  EXPECT_TRUE(LoadBytes(doc, document));
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_READ), nullptr) << "the root leaves the stack, too";
  return root;
}

std::u16string Dumped(const datacont& node) {
  std::basic_ostringstream<char16_t> stream;
  node.Dump(stream);
  return stream.str();
}

// Through a document; "no" when there was nothing to write.
std::u16string Written(datacont& node) {
  XMLDoc doc;
  std::u16string text = u"no";
  doc.SetCallback(&node, XMLDoc::DC_WRITE);
  doc.SaveString(text);
  return text;
}

TEST(DataCont, KeepsMixedContentInOrderThroughReadingPrintingAndWriting) {
  datacont a =
      Read("<a z='1' b='&#9;&apos;'>x\n&lt;<b/>y<c d='&amp;\\n&lt;>&quot;'>&gt;</c>&amp;</a>");
  ASSERT_EQ(a.GetNodes().size(), 4U);
  EXPECT_EQ(a.GetNodes().front().GetType(), CT_TEXT);
  EXPECT_EQ(a.GetText(), u"&") << "the text behind the last child is the element's";
  EXPECT_EQ(Dumped(a),
            u"<a b=\"&#x09;&apos;\" z=\"1\">x\n&lt;<b/>y<c "
            u"d=\"&amp;&#x0d;&#x0a;&lt;&gt;&quot;\">></c>&amp;</a>");
  EXPECT_EQ(Written(a),
            u"<a b=\"\t'\" z=\"1\">x\n&lt;<b/>y<c d=\"&amp;\\n&lt;&gt;&quot;\">&gt;</c>&amp;</a>");
}

TEST(DataCont, TypesDecideWhatIsPrintedAndWritten) {
  datacont parent(u"p");
  EXPECT_FALSE(parent.StartWriting()) << "no document";
  for (const int type : {0, 1, 2, 3}) {
    datacont& node = parent.GetNodes().emplace_back(u"e");
    node.SetText(u"<");
    node.SetType(static_cast<cont_type>(type));
    EXPECT_EQ(Written(node) == u"no", type > CT_TEXT);
  }
  EXPECT_EQ(Dumped(parent), u"<p><e>&lt;</e>&lt;<e>&lt;</e>&lt;</p>");
  EXPECT_EQ(Written(parent), u"<p><e>&lt;</e>&lt;</p>");
}

TEST(DataCont, IsAValueButForItsDocumentAndSwapsTheTypeOneWay) {
  datacont tree = Read("<a b='c'><d>e</d></a>");
  datacont copy = tree;
  EXPECT_TRUE(copy == tree);
  EXPECT_EQ(copy.GetXMLDoc(), nullptr);
  copy.GetNodes().front().SetText(u"f");
  EXPECT_FALSE(copy == tree) << "equality is deep, and copies share nothing";
  copy = copy.GetNodes().front();
  EXPECT_EQ(Dumped(copy), u"<d>f</d>");
  for (const bool inner : {false, true}) {
    datacont ring = Read("<a>x<b><c d='e'>f</c></b></a>");
    datacont& node = ring.GetNodes().back().GetNodes().front();
    inner ? node.swap(ring) : ring.swap(node);
    EXPECT_EQ(Dumped(ring), u"<c d=\"e\">f</c>") << "and what held itself does not leak";
  }

  datacont text(CT_TEXT);
  text.swap(tree);
  EXPECT_TRUE(tree == datacont()) << "it keeps its type";
  text.clear();
  EXPECT_TRUE(text.is_empty());
  EXPECT_EQ(Dumped(text), u"<a/>");
}

TEST(DataCont, TreeAsDeepAsADocumentMayBeDoesNotExhaustTheStack) {
  std::string document = "<a/>";
  for (int i = 1; i < XMLDoc::MAX_DEPTH; ++i) document.insert(0, "<a>").append("</a>");
  datacont deep = Read(document);
  const datacont copy = deep;
  EXPECT_TRUE(copy == deep);
  EXPECT_EQ(Dumped(copy), Written(deep));
}

}  // namespace
