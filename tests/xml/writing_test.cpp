// What is written, into strings and files.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/tempfolder.h"
#include "util/textsupport.h"
#include "xml/eventlog.h"

namespace {

// Writes <name attrs>text</name>, or what a test wants.
struct Scribe : DataConstr {
  bool StartWriting() const override { return write ? write() : Element(u"a", {}, u"z"); }
  bool StartWritingAlt() const override { return Element(u"alt", {}, u""); }
  bool Element(const std::u16string& name, const XMLAttrs& attrs,
               const std::u16string& text) const {
    return WriteStartElement(name, attrs) && WriteCharacters(text) && WriteEndElement(name);
  }
  std::function<bool()> write;
};

std::u16string Saved(XMLDoc& doc) {
  std::u16string text = u"untouched";
  doc.SaveString(text);
  return text;
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::u16string Wide(const std::string& path) { return u8_w(&*path.begin(), &*path.end()); }

TEST(Writing, EscapesWhatReadingUndoes) {
  const XMLAttrs attrs = {{u"x", u"\\\r\n<>&\"'\t\\n"}, {u"y", u""}, {u"z", u"\r\n\r\n"}};
  Scribe scribe;
  scribe.write = [&] { return scribe.Element(u"a", attrs, u"<&>\"'\\\r\n"); };
  XMLDoc doc;
  doc.SetCallback(&scribe, XMLDoc::DC_WRITE);
  EXPECT_EQ(Saved(doc),
            u"<a x=\"\\\\\\n&lt;&gt;&amp;&quot;'\t\\\\n\" y=\"\" "
            u"z=\"\\n\\n\">&lt;&amp;&gt;\"'\\\r\n</a>");
  EventLog events;
  doc.SetReadCallback(&events, false);
  doc.LoadFromString(u"<a x=\"\\\\\\n&lt;&quot;'\\\\n\" z=\"\\n\\n\"/>");
  EXPECT_EQ(events.log, u"^<a x=\\\r\n<\"'\\n z=\r\n\r\n></a>");
}

TEST(Writing, IndentsButForElementsWithText) {
  Scribe scribe;
  scribe.write = [&] {
    scribe.WriteStartElement(u"a");
    scribe.Element(u"b", {}, u"");
    scribe.WriteStartElement(u"c");
    scribe.Element(u"d", {}, u"text");
    scribe.WriteEndElement(u"c");
    scribe.WriteStartElement(u"e");
    scribe.WriteCharacters(u"text");
    scribe.WriteStartElement(u"f");
    scribe.Element(u"g", {}, u"");
    scribe.WriteEndElement(u"f");
    scribe.WriteEndElement(u"e");
    return scribe.WriteEndElement(u"a");
  };
  XMLDoc doc(XMLDoc::FORMAT);
  doc.SetCallback(&scribe, XMLDoc::DC_WRITE);
  EXPECT_EQ(Saved(doc),
            u"<a>\r\n\t<b/>\r\n\t<c>\r\n\t\t<d>text</d>\r\n\t</c>\r\n"
            u"\t<e>text<f><g/></f></e>\r\n</a>");
  doc.SetFeatures(XMLDoc::DEFAULT);
  EXPECT_EQ(Saved(doc), u"<a><b/><c><d>text</d></c><e>text<f><g/></f></e></a>");
}

TEST(Writing, FileHasMarkDeclarationAndNoOldTail) {
  TempFolder folder;
  const std::string path = folder.Path("файл.xml");
  Scribe scribe;
  scribe.write = [&] { return scribe.Element(u"я", {}, u"ё日"); };
  const auto file = [](const std::string& encoding, const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\" standalone=\"no\"?>\r\n" + body;
  };
  const std::u16string body = u"<я>ё日</я>";
  std::string wide = "\xFF\xFE";
  for (const char c : file("utf-16", "")) wide += {c, '\0'};
  for (const char16_t unit : body)
    wide += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  const std::pair<int, std::string> cases[] = {
      {65001, "\xEF\xBB\xBF" + file("utf-8", Encoded(65001, body))},
      {1251, file("windows-1251", "<\xFF>\xB8?</\xFF>")},
      {936, file("gb2312", Encoded(936, body))},
      {1200, wide}};
  for (const bool format : {false, true}) {
    XMLDoc doc(format ? XMLDoc::FORMAT : XMLDoc::DEFAULT);
    doc.SetCallback(&scribe, XMLDoc::DC_WRITE);
    for (const auto& [codePage, expected] : cases) {
      std::ofstream(path) << std::string(1000, '?');
      doc.SetCP(codePage);
      EXPECT_TRUE(doc.SaveFile(Wide(path)));
      EXPECT_EQ(Contents(path), expected);
      EventLog events;
      doc.SetReadCallback(&events, false);
      EXPECT_TRUE(doc.LoadFile(Wide(path)));
      EXPECT_EQ(events.log, codePage == 1251 ? u"^<я>[ё?]</я>" : u"^<я>[ё日]</я>");
      EXPECT_EQ(doc.GetCP(), codePage);
      doc.SetCallback(&scribe, XMLDoc::DC_WRITE);
    }
  }
}

TEST(Writing, ListenerIsOfferedStartTagsAndTakesTheRest) {
  Scribe scribe;
  EventLog listener;
  XMLDoc doc;
  doc.SetWriteCallback(&scribe, &listener);
  EXPECT_EQ(Saved(doc), u"<a>");
  EXPECT_EQ(listener.log, u"<a>[z]</a>");
  listener.onStart = [](const auto&) { return false; };
  EXPECT_EQ(Saved(doc), u"untouched");
  doc.SetWriteCallback(&scribe, &scribe);
  EXPECT_EQ(Saved(doc), u"<a>z</a>") << "an object is no listener of its own";
}

TEST(Writing, FailureSaysWhyAndLeavesTheString) {
  const std::u16string notWritten = u" Fatal error: XML document could not be written";
  Scribe scribe;
  DataConstr nothing;
  XMLDoc doc;
  EXPECT_FALSE(scribe.Element(u"a", {}, u"")) << "no document";
  for (DataConstr* const object : {&nothing, static_cast<DataConstr*>(nullptr)}) {
    doc.SetCallback(object, XMLDoc::DC_WRITE);
    EXPECT_EQ(Saved(doc), u"untouched");
    EXPECT_EQ(LastError(doc), notWritten);
  }
  doc.SetCallback(&scribe, XMLDoc::DC_WRITE);
  EXPECT_FALSE(doc.SaveFile(u"/none/file.xml"));
  EXPECT_EQ(LastError(doc), u" Fatal error: Could not open file");
  EXPECT_FALSE(doc.SaveFile(-1));
  EXPECT_THROW(doc.SaveFile(u"/dev/full"), std::runtime_error);
  doc.SetCP(12345);
  EXPECT_EQ(Words([&] { doc.SaveFile(u"/dev/null"); }), "Multianguage support error");

  scribe.write = [&] { return doc.SaveFile(u"/dev/null"); };
  EXPECT_THROW(Saved(doc), ErrData) << "a save within a save";
  doc.SetFeatures(XMLDoc::USER_DEFINED);
  EXPECT_EQ(Saved(doc), u"<alt/>");
  doc.Free();
  EXPECT_THROW(Saved(doc), ErrData);
  EXPECT_THROW(doc.SaveFile(u"/dev/null"), ErrData);
  EXPECT_FALSE(doc.SaveFile(1));
}

}  // namespace
