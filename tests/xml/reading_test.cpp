// What events come, and how objects steer them.
#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "support/tempfolder.h"
#include "util/textsupport.h"
#include "xml/eventlog.h"

namespace {

constexpr ErrData::ERRTYPE Warning = ErrData::ERR_WARNING;
constexpr ErrData::ERRTYPE Error = ErrData::ERR_ERROR;

TEST(Reading, TextComesByLinesWhateverItIsMadeOf) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"<a>one\ntwo\r\nthree</a>", u"^<a>[one][\n][two][\n][three]</a>"},
      {"<a>\n\n<b/>\r</a>\n", u"^<a>[\n][\n]<b></b>[\n]</a>"},
      {"<!DOCTYPE a [<!ENTITY e 'x&#10;y'>]><a>1&amp;2&e;3<![CDATA[<4\n]]>5<!--c-->6<?p?>&#65;</a>",
       u"^<a>[1&2x][\n][y3<4][\n][56A]</a>"},
      {"<a>" + std::string(200000, 'z') + "&lt;</a>",
       u"^<a>[" + std::u16string(200000, u'z') + u"<]</a>"}};
  for (const auto& [document, events] : cases) EXPECT_EQ(EventsOf(document), events);
}

TEST(Reading, NamesAreQualifiedAndAttributesDecoded) {
  EXPECT_EQ(EventsOf("<p:a xmlns='u' xmlns:p='v' p:x='1' xmlnsy='2'/>"),
            u"^<p:a p:x=1 xmlnsy=2></p:a>");
  EXPECT_EQ(EventsOf(R"(<a x="\\n" y="\" z="1\n2\\\n\t" w="\n\\"/>)"),
            u"^<a w=\r\n\\ x=\\n y=\\ z=1\r\n2\\\r\n\\t></a>");
}

TEST(Reading, EntitiesOfTheDocumentExpandAndNothingElseIsLoaded) {
  TempFolder folder;
  std::ofstream(folder.Path("e.txt")) << "LOADED";
  std::ofstream(folder.Path("e.dtd")) << "<!ENTITY f 'LOADED'>";
  const std::string url = "'file://" + folder.Path("e.");
  EXPECT_EQ(EventsOf("<!DOCTYPE a SYSTEM " + url + "dtd' [<!ENTITY % q SYSTEM " + url +
                     "dtd'><!ENTITY e SYSTEM " + url + "txt'>%q;]><a b='&f;'>1&e;&f;2</a>"),
            u"^<a b=>[12]</a>");
  EXPECT_EQ(EventsOf("<!DOCTYPE a [<!ENTITY % p '<!ENTITY e \"E\"><!ATTLIST a d CDATA \"D\">'>"
                     "%p;<!ENTITY f '<b>&e;</b>'>]><a>&f;</a>"),
            u"^<a d=D><b>[E]</b></a>");
}

TEST(Reading, FalseAnswerEndsItAndIsASuccess) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  const std::string document = "<?xml version='1.0' encoding='cp1251'?><a>x<b/>y<c/></a><broken";
  for (const bool atStart : {true, false}) {
    events.log.clear();
    doc.SetCP(0);
    (atStart ? events.onStart : events.onEnd) = [](const auto& name) { return name != u"b"; };
    EXPECT_TRUE(LoadBytes(doc, document));
    EXPECT_EQ(events.log, atStart ? u"^<a>[x]<b>" : u"^<a>[x]<b></b>");
    EXPECT_EQ(doc.GetLastError(), ErrDescr());
    EXPECT_EQ(doc.GetCP(), 1251);
    events.onStart = nullptr;
  }
}

TEST(Reading, ThrownDiagnosticGetsThePlaceOfTheTagAndItsLevelDecides) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  const std::string document = "<a>\r\n\t\xD0\xAF<b\nx='1'>\n\xF0\x9F\x98\x80</b></a>";
  for (const auto& [level, loads, words] :
       {std::tuple(Warning, true, u"Warning: "), {Error, false, u"Error: "}}) {
    events.onStart = [level = level](const auto& name) {
      if (name == u"b") throw XMLErrData(level, u"stop");
      return true;
    };
    EXPECT_EQ(LoadBytes(doc, document), loads);
    EXPECT_EQ(LastError(doc), u"doc(2,3) " + std::u16string(words) + u"stop");
  }
  events.onStart = nullptr;
  events.onEnd = [](const auto&) -> bool { throw XMLErrData(Error, u"end"); };
  EXPECT_FALSE(doc.LoadFromString(u"<a>\n\U0001F600<b>\n\U0001F600</b></a>"));
  EXPECT_EQ(LastError(doc), u"<string>(3,2) Error: end");
  events.onEnd = nullptr;
  EXPECT_TRUE(LoadBytes(doc, document));
  EXPECT_EQ(doc.GetLastError(), ErrDescr()) << "the next load forgets";
}

TEST(Reading, OtherExceptionsGoToTheCallerAndTheDocumentStaysUsable) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  events.onText = [](const auto&) { throw XMLErrData(Error, u"text"); };
  EXPECT_THROW(LoadBytes(doc, "<a>x<b/></a>"), XMLErrData);
  events.onText = nullptr;
  events.onEnd = [](const auto&) -> bool { throw std::runtime_error("own"); };
  EXPECT_THROW(LoadBytes(doc, "<a><b/></a>"), std::runtime_error);
  events.onEnd = nullptr;
  events.log.clear();
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  EXPECT_EQ(events.log, u"^<a></a>");
}

TEST(Reading, StackChangesHandsInTheMiddleAndMayRunEmpty) {
  EventLog outer;
  EventLog inner;
  XMLDoc doc;
  doc.SetCallback(&outer, XMLDoc::DC_READ);
  outer.onStart = [&](const auto& name) {
    if (name == u"b") outer.PutToXMLDoc(&inner);
    return true;
  };
  inner.onEnd = [&](const auto& name) {
    if (name == u"b") inner.PushFromXMLDoc();
    return true;
  };
  inner.onText = outer.onText = [&](const auto& text) {
    if (text == u"pop") doc.GetCallback(XMLDoc::DC_READ)->PushFromXMLDoc();
  };
  EXPECT_TRUE(LoadBytes(doc, "<a>1<b>2<c/>3</b>4</a>"));
  EXPECT_EQ(outer.log, u"^<a>[1]<b>[4]</a>");
  EXPECT_EQ(inner.log, u"[2]<c></c>[3]</b>");
  EXPECT_EQ(inner.GetXMLDoc(), &doc);

  outer.log.clear();
  EXPECT_TRUE(LoadBytes(doc, "<a>pop\nnobody<x/></a>"));
  EXPECT_EQ(outer.log, u"^<a>[pop]");
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_READ), nullptr);
  outer.PushFromXMLDoc();
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  EXPECT_FALSE(LoadBytes(doc, "<a>")) << "without an object a document is still checked";
}

TEST(Reading, DocumentRefusesToBeLoadedOrFreedWithinItsOwnLoad) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  const std::function<void()> acts[] = {[&] { LoadBytes(doc, "<b/>"); }, [&] { doc.Free(); }};
  for (const auto& act : acts) {
    events.onStart = [&](const auto&) { return act(), true; };
    EXPECT_THROW(LoadBytes(doc, "<a/>"), ErrData);
  }
  events.onStart = nullptr;
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  doc.Free();
  EXPECT_FALSE(doc.IsValid());
  EXPECT_THROW(doc.LoadFromString(u"<a/>"), ErrData);
  EXPECT_EQ(doc.GetLastError(), ErrDescr());
}

TEST(Reading, SettingCallbacksAndCopyingKeepNoMoreThanTheyShould) {
  DataConstr reader;
  DataConstr writer;
  XMLDoc doc(XMLDoc::FORMAT);
  doc.SetCP(1251);
  doc.PushReadCallback(&reader);
  doc.PushReadCallback(&reader);
  doc.SetWriteCallback(&writer, &writer);
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_READ), &writer);
  writer.PushFromXMLDoc();
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_READ), nullptr) << "the former stack is gone";
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_WRITE), &writer);
  const XMLDoc copy = doc;  // NOLINT: the copy is what is tested
  EXPECT_EQ(copy.GetCallback(XMLDoc::DC_WRITE), nullptr);
  EXPECT_EQ(std::pair(copy.GetCP(), copy.GetFeatures()), std::pair(1251, XMLDoc::FORMAT));
  doc.SetCallback(&reader, XMLDoc::DC_READ);
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_WRITE), nullptr);
}

TEST(Reading, MissingFileAndFolderAreToldApart) {
  TempFolder folder;
  const auto wide = [](const std::string& path) { return u8_w(&*path.begin(), &*path.end()); };
  XMLDoc doc;
  EXPECT_FALSE(doc.LoadFile(wide(folder.Path("none.xml"))));
  EXPECT_EQ(LastError(doc), u" Fatal error: Couldnot found file");
  EXPECT_FALSE(doc.LoadFile(wide(folder.Path())));
  EXPECT_EQ(LastError(doc), wide(folder.Path()) + u" Fatal error: Could not read file");

  const std::string path = folder.Path("словарь \U0001F600.xml");
  std::ofstream(path) << "<a></b>";
  EXPECT_FALSE(doc.LoadFile(wide(path)));
  EXPECT_EQ(LastError(doc), wide(path) + u"(1,6) Fatal error: mismatched tag");
}

}  // namespace
