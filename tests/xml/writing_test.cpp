// What is written, into strings and files.
#include <gtest/gtest.h>

#include <stdexcept>

#include "kvorlib/datacont.h"
#include "support/tempfolder.h"
#include "xml/eventlog.h"

namespace {

// Writes what a test wants, <a>z</a> by itself.
struct Scribe : DataConstr {
  bool StartWriting() const override { return write ? write() : Element(u"a", {}, u"z"); }
  bool StartWritingAlt() const override { return Element(u"alt", {}, u""); }
  bool Element(const std::u16string& name, const XMLAttrs& attrs,
               const std::u16string& text) const {
    return WriteStartElement(name, attrs) && WriteCharacters(text) && WriteEndElement(name);
  }
  std::function<bool()> write;
};

struct Writing : testing::Test {
  Writing() { doc.SetCallback(&scribe, XMLDoc::DC_WRITE); }
  std::u16string Saved() {
    std::u16string text = u"untouched";
    doc.SaveString(text);
    return text;
  }
  Scribe scribe;
  XMLDoc doc;
};

TEST_F(Writing, EscapesWhatReadingUndoes) {
  const XMLAttrs attrs = {{u"x", u"\\\r\n<>&\"'\\n"}, {u"y", u""}, {u"z", u"\r\n\r\n"}};
  scribe.write = [&] { return scribe.Element(u"a", attrs, u"<&>\"'\\"); };
  const std::u16string written = Saved();
  EXPECT_EQ(
      written,
      u"<a x=\"\\\\\\n&lt;&gt;&amp;&quot;'\\\\n\" y=\"\" z=\"\\n\\n\">&lt;&amp;&gt;\"'\\</a>");
  EXPECT_EQ(EventsOf(Encoded(65001, written)),
            u"^<a x=\\\r\n<>&\"'\\n y= z=\r\n\r\n>[<&>\"'\\]</a>");
}

TEST_F(Writing, IndentsButForElementsWithText) {
  const std::u16string flat = u"<a><b/><c><d>text</d></c><e>text<f><g/></f></e></a>";
  datacont tree;
  doc.SetCallback(&tree, XMLDoc::DC_READ);
  doc.LoadFromString(flat);
  doc.SetCallback(&tree, XMLDoc::DC_WRITE);
  EXPECT_EQ(Saved(), flat);
  doc.SetFeatures(XMLDoc::FORMAT);
  EXPECT_EQ(Saved(),
            u"<a>\r\n\t<b/>\r\n\t<c>\r\n\t\t<d>text</d>\r\n\t</c>\r\n"
            u"\t<e>text<f><g/></f></e>\r\n</a>");
}

TEST_F(Writing, FileHasMarkDeclarationAndNoOldTail) {
  const TempFolder folder;
  scribe.write = [&] { return scribe.Element(u"я", {}, u"ё日"); };
  const std::tuple<int, std::string, std::u16string, std::u16string> cases[] = {
      {65001, "\xEF\xBB\xBF", u"utf-8", u"ё日"},
      {1251, "", u"windows-1251", u"ё?"},
      {936, "", u"gb2312", u"ё日"},
      {1200, "\xFF\xFE", u"utf-16", u"ё日"}};
  for (const auto& [codePage, mark, encoding, text] : cases) {
    folder.Write("файл", std::string(1000, '?'));
    doc.SetCP(codePage);
    doc.SetFeatures(codePage == 936 ? XMLDoc::FORMAT : XMLDoc::DEFAULT);
    EXPECT_TRUE(doc.SaveFile(folder.Wide("файл")));
    EXPECT_EQ(folder.Read("файл"),
              mark + Encoded(codePage, u"<?xml version=\"1.0\" encoding=\"" + encoding +
                                           u"\" standalone=\"no\"?>\r\n<я>" + text + u"</я>"));
  }

  const std::string whole = folder.Read("файл");
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> log(
      std::fopen(folder.Path("файл").c_str(), "ab"), std::fclose);
  EXPECT_TRUE(doc.SaveFile(fileno(log.get())));
  EXPECT_EQ(folder.Read("файл"), whole + whole) << "what is only added to loses nothing";
}

TEST_F(Writing, WhatIsNearestInACodePageIsEscapedAndNeverAControlCharacter) {
  const TempFolder folder;
  scribe.write = [&] { return scribe.Element(u"a", {{u"x", u"«“＼n”＞§"}}, u"«b»＆“§😀"); };
  doc.SetCP(866);
  EXPECT_TRUE(doc.SaveFile(folder.Wide("f")));
  EXPECT_EQ(EventsOf(folder.Read("f")), u"^<a x=<\"\\n\">?>[<b>&\"???]</a>");
}

TEST_F(Writing, ListenerIsOfferedStartTagsAndTakesTheRest) {
  EventLog listener;
  doc.SetWriteCallback(&scribe, &listener);
  EXPECT_EQ(Saved(), u"<a>");
  EXPECT_EQ(listener.log, u"<a>[z]</a>");
  listener.hook = [](const auto& event) { return event != u"<a>"; };
  EXPECT_EQ(Saved(), u"untouched");
  doc.SetWriteCallback(&scribe, &scribe);
  EXPECT_EQ(Saved(), u"<a>z</a>") << "an object is no listener of its own";
}

TEST_F(Writing, FailureSaysWhyAndLeavesTheString) {
  EXPECT_FALSE(doc.SaveFile(u"/none/file.xml"));
  EXPECT_EQ(LastError(doc), u" Fatal error: Could not open file");
  EXPECT_FALSE(doc.SaveFile(-1));
  EXPECT_THROW(doc.SaveFile(u"/dev/full"), std::runtime_error);
  doc.SetCP(12345);
  EXPECT_EQ(Words([&] { doc.SaveFile(u"/dev/null"); }), "Multianguage support error");
  scribe.write = [&] { return doc.SaveFile(u"/dev/null"); };
  EXPECT_THROW(Saved(), ErrData) << "a save within a save";
  doc.SetFeatures(XMLDoc::USER_DEFINED);
  EXPECT_EQ(Saved(), u"<alt/>");

  DataConstr nothing;
  for (DataConstr* const object : {&nothing, static_cast<DataConstr*>(nullptr)}) {
    doc.SetCallback(object, XMLDoc::DC_WRITE);
    EXPECT_EQ(Saved(), u"untouched");
    EXPECT_EQ(LastError(doc), u" Fatal error: XML document could not be written");
  }
  doc.Free();
  EXPECT_THROW(Saved(), ErrData);
  EXPECT_THROW(doc.SaveFile(u"/dev/null"), ErrData);
  EXPECT_FALSE(doc.SaveFile(1));
}

}  // namespace
