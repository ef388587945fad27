// What events come, and how objects steer them.
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/tempfolder.h"
#include "xml/eventlog.h"

namespace {

struct Reading : testing::Test {
  Reading() { doc.SetCallback(&events, XMLDoc::DC_READ); }
  EventLog events;
  XMLDoc doc;
};

TEST_F(Reading, TextComesByLinesNamesAreQualifiedAttributesDecoded) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"<a>one\ntwo\r\nthree</a>", u"^<a>[one][\n][two][\n][three]</a>"},
      {"<a>\n\n<b/>\r</a>\n", u"^<a>[\n][\n]<b></b>[\n]</a>"},
      {"<!DOCTYPE a [<!ENTITY e 'x&#10;y'>]><a>1&amp;2&e;3<![CDATA[<4\n]]>5<!--c-->6<?p?>&#65;</a>",
       u"^<a>[1&2x][\n][y3<4][\n][56A]</a>"},
      {"<a>" + std::string(200000, 'z') + "&lt;</a>",
       u"^<a>[" + std::u16string(200000, u'z') + u"<]</a>"},
      {"<p:a xmlns='u' xmlns:p='v' p:x='1' xmlnsy='2'/>", u"^<p:a p:x=1 xmlnsy=2></p:a>"},
      {R"(<a x="\\n" y="\" z="1\n2\\\n\t" w="\n\\"/>)",
       u"^<a w=\r\n\\ x=\\n y=\\ z=1\r\n2\\\r\n\\t></a>"}};
  for (const auto& [document, log] : cases) EXPECT_EQ(EventsOf(document), log);
}

TEST_F(Reading, EntitiesOfTheDocumentExpandAndNothingElseIsLoaded) {
  TempFolder folder;
  folder.Write("e.txt", "LOADED");
  folder.Write("e.dtd", "<!ENTITY f 'LOADED'>");
  const std::string url = "'file://" + folder.Path("e.");
  EXPECT_EQ(EventsOf("<!DOCTYPE a SYSTEM " + url + "dtd' [<!ENTITY % q SYSTEM " + url +
                     "dtd'><!ENTITY e SYSTEM " + url +
                     "txt'>%q;<!ENTITY g '!'>]><a b='&f;'>1&e;&f;&g;2</a>"),
            u"^<a b=>[1!2]</a>");
  EXPECT_EQ(EventsOf("<!DOCTYPE a [<!ENTITY % p '<!ENTITY e \"E\"><!ATTLIST a d CDATA \"D\">'>"
                     "%p;<!ENTITY f '<b>&e;</b>'>]><a>&f;</a>"),
            u"^<a d=D><b>[E]</b></a>");
}

TEST_F(Reading, ObjectStopsItAtATagAndTheLevelDecidesWhetherItFailed) {
  constexpr auto none = static_cast<ErrData::ERRTYPE>(-1);  // the answer false, nothing thrown
  const std::tuple<const char16_t*, ErrData::ERRTYPE, bool, std::u16string> cases[] = {
      {u"<b x=1>", none, true, u""},
      {u"</b>", none, true, u""},
      {u"<b x=1>", ErrData::ERR_WARNING, true, u"doc(2,3) Warning: stop"},
      {u"<b x=1>", ErrData::ERR_ERROR, false, u"doc(2,3) Error: stop"},
      {u"</b>", ErrData::ERR_FATAL, false, u"doc(4,2) Fatal error: stop"}};
  for (const auto& [where, level, loads, error] : cases) {
    events.log.clear();
    doc.SetCP(7);
    events.hook = [&, where = where, level = level](const auto& event) {
      if (event == where && level != none) throw XMLErrData(level, u"stop");
      return event != where;
    };
    EXPECT_EQ(LoadBytes(doc,
                        "<?xml version='1.0' encoding='utf-8'?><a>\r\n\t\xD0\xAF<b\nx='1'>\n"
                        "\xF0\x9F\x98\x80</b>more</a><broken"),
              loads);
    EXPECT_EQ(LastError(doc), error);
    EXPECT_TRUE(events.log.ends_with(where));
    EXPECT_EQ(doc.GetCP(), loads ? 65001 : 7);
  }
  events.hook = [&](const auto&) { return events.ProcessError(u"own", ErrData::ERR_ERROR), false; };
  EXPECT_FALSE(LoadBytes(doc, "<a/>"));
  EXPECT_EQ(LastError(doc), u" Error: own");
  events.hook = nullptr;
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  EXPECT_EQ(LastError(doc), u"") << "the next load forgets";
}

TEST_F(Reading, OtherExceptionsGoToTheCallerAndTheDocumentStaysUsable) {
  std::u16string where;
  events.hook = [&](const auto& event) {
    if (event == u"[y]") throw XMLErrData(ErrData::ERR_ERROR, u"reported at tags alone");
    if (event == where) throw std::runtime_error("own");
    return true;
  };
  for (const char16_t* const place : {u"^", u"<a>", u"</b>", u"[x]"}) {
    where = place;
    EXPECT_THROW(LoadBytes(doc, "<a><b/>x</a>"), std::runtime_error);
  }
  EXPECT_THROW(LoadBytes(doc, "<a>y</a>"), XMLErrData);
  events.log.clear();
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  EXPECT_EQ(events.log, u"^<a></a>");
}

TEST_F(Reading, StackChangesHandsInTheMiddleAndMayRunEmpty) {
  EventLog inner;
  events.hook = inner.hook = [&](const auto& event) {
    if (event == u"<b>") events.PutToXMLDoc(&inner);
    if (event == u"</b>" || event == u"[pop]") doc.GetCallback(XMLDoc::DC_READ)->PushFromXMLDoc();
    return true;
  };
  EXPECT_TRUE(LoadBytes(doc, "<a>1<b>2<c/>3</b>4</a>"));
  EXPECT_EQ(events.log, u"^<a>[1]<b>[4]</a>");
  EXPECT_EQ(inner.log, u"[2]<c></c>[3]</b>");

  events.log.clear();
  EXPECT_TRUE(LoadBytes(doc, "<a>pop\nnobody<x/></a>"));
  EXPECT_EQ(events.log, u"^<a>[pop]");
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_READ), nullptr);
  events.PushFromXMLDoc();
  doc.SetCallback(&inner, XMLDoc::DC_WRITE);
  EXPECT_EQ(XMLDoc(doc).GetCallback(XMLDoc::DC_WRITE), nullptr) << "copies have none";
  doc.SetCallback(nullptr, XMLDoc::DC_READ);
  EXPECT_EQ(doc.GetCallback(XMLDoc::DC_WRITE), nullptr);
  EXPECT_FALSE(doc.LoadFromString(u"<a>")) << "without an object a document is still checked";
  EXPECT_EQ(LastError(doc), u"<string>(1,4) Fatal error: no element found");
}

TEST_F(Reading, DocumentRefusesToBeLoadedOrFreedWithinItsOwnLoad) {
  for (const bool load : {true, false}) {
    events.hook = [&](const auto&) { return load ? LoadBytes(doc, "<b/>") : (doc.Free(), true); };
    EXPECT_THROW(LoadBytes(doc, "<a/>"), ErrData);
  }
  events.hook = nullptr;
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
  doc.Free();
  EXPECT_FALSE(doc.IsValid());
  EXPECT_THROW(doc.LoadFromString(u"<a/>"), ErrData);
  EXPECT_EQ(LastError(doc), u"");
}

TEST_F(Reading, MissingFileAndFolderAreToldApart) {
  TempFolder folder;
  const std::u16string path = folder.Wide("файл \U0001F600");
  EXPECT_FALSE(doc.LoadFile(path));
  EXPECT_EQ(LastError(doc), u" Fatal error: Couldnot found file");
  folder.Write("файл \U0001F600", "<a></b>");
  EXPECT_FALSE(doc.LoadFile(path));
  EXPECT_EQ(LastError(doc), path + u"(1,6) Fatal error: mismatched tag");
  EXPECT_FALSE(doc.LoadFile(folder.Wide("")));
  EXPECT_EQ(LastError(doc), folder.Wide("") + u" Fatal error: Could not read file");
}

}  // namespace
