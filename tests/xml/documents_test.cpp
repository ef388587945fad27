// Encodings, and documents that are at fault.
#include <gtest/gtest.h>

#include "xml/eventlog.h"

namespace {

using namespace std::string_view_literals;

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(Encodings, DocumentReadsAlikeAndItsCodePageIsReported) {
  const std::tuple<int, std::u16string, std::u16string, int> cases[] = {
      {65001, u"\uFEFF", u"", 7},
      {65001, u"\uFEFF", u"utf8", 65001},
      {1200, u"", u"", 7},
      {1200, u"\uFEFF", u"utf-16", 1200},
      {1201, u"", u"utf-16be", 1201},
      {1251, u"", u"Windows-1251", 1251},
      {20866, u"", u"KOI8-R", 20866},
      {50221, u"", u"csISO2022JP", 50221},
      {51949, u"", u"euc-kr", 51949}};
  for (const auto& [encodedIn, mark, declared, codePage] : cases) {
    const std::u16string declaration =
        declared.empty() ? u"" : u"<?xml version='1.0'\tencoding = \"" + declared + u"\" ?>";
    EventLog events;
    XMLDoc doc;
    doc.SetCP(7);
    doc.SetCallback(&events, XMLDoc::DC_READ);
    const std::u16string document = mark + declaration + u"<а б='в'>Где\r\nя</а>";
    EXPECT_TRUE(LoadBytes(doc, Encoded(encodedIn, document)));
    EXPECT_TRUE(doc.LoadFromString(document)) << "wide text is what it is";
    const std::u16string log = u"^<а б=в>[Где][\n][я]</а>";
    EXPECT_EQ(events.log, log + log) << encodedIn;
    EXPECT_EQ(doc.GetCP(), codePage);
  }
  XMLDoc doc;
  const std::u16string unknown = u"<?xml version='1.0' encoding='klingon'?><a/>";
  for (const int encodedIn : {65001, 1200})
    EXPECT_THROW(LoadBytes(doc, Encoded(encodedIn, unknown)), Except);
  EXPECT_THROW(doc.LoadFromString(unknown), Except);
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
}

TEST(Faults, SayWhatAndWhereBehindTheEventsBefore) {
  const auto declared = [](const std::string& encoding, const std::string& rest) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>\r\n" + rest;
  };
  const std::u16string badBytes = u"bytes that are no character in the document's encoding";
  const std::u16string wrong = u"document is not in the encoding of its XML declaration";
  const std::tuple<std::string, std::u16string, std::u16string> cases[] = {
      {"", u"^doc(1,1)", u"no element found"},
      {"<a>\r\n<b>\r\r\n \xD0\xAF</c>", u"^<a>[\n]<b>[\n][\n]doc(4,5)", u"mismatched tag"},
      {Encoded(1200, u"\uFEFF<a>\r\n\U0001F600ёж</c>"), u"^<a>[\n]doc(2,6)", u"mismatched tag"},
      {"<!DOCTYPE a [<!ENTITY e '<b>'>]>\n<a>\n &e;</a>", u"^<a>[\n][ ]<b>doc(3,2)",
       u"asynchronous entity"},
      {Encoded(1200, u"<a>\0"sv), u"^<a>doc(1,4)", u"zero character"},
      {Encoded(1200, u"\uFEFF<\0a\0/\0>\0"sv), u"^doc(1,2)", u"zero character"},
      {"\xEF\xBB\xBF" + Encoded(1201, u"\uFEFF<a/>"), u"^doc(1,1)", badBytes},
      {"<a>\n\xD0\xAF\xFF</a>", u"^<a>[\n]doc(2,2)", badBytes},
      {"<a><b c='\xD0", u"^<a>doc(1,4)", badBytes},
      {Encoded(1201, u"<a>я\xD800</a>"), u"^<a>doc(1,5)", badBytes},
      {Encoded(1200, u"<a/>") + "\n", u"^<a></a>doc(1,5)", badBytes},
      {declared("us-ascii", "<a>\xDF</a>"), u"^<a>doc(2,4)", badBytes},
      {declared("windows-1253", "<a>\xE1\xD2</a>"), u"^<a>doc(2,5)", badBytes},
      {declared("gb2312", "<a>\xD6\xD0<c/>\x81\x20</a>"), u"^<a>[中]<c></c>doc(2,9)", badBytes},
      {declared("euc-jp", "<a>\xA4\xA2\xA4 </a>"), u"^<a>doc(2,5)", badBytes},
      {declared("utf-16", "<a/>"), u"doc(1,31)", wrong},
      {Encoded(1200, u"<?xml version='1.0'\nencoding='utf-8'?><a/>"), u"doc(2,11)", wrong},
      {"\xEF\xBB\xBF" + declared("koi8-r", "<a/>"), u"doc(1,31)", wrong},
      {declared("x-mac-japanese", "<a/>"), u"doc(1,31)",
       u"encoding of the XML declaration is not supported"}};
  for (const auto& [document, before, message] : cases)
    EXPECT_EQ(EventsOf(document), std::u16string(before).append(u" Fatal error: ").append(message));
}

TEST(Limits, ElementsNestToTheLimitAndNoDeeper) {
  XMLDoc doc;
  EXPECT_TRUE(LoadBytes(doc, "<r>" + Repeated("<a/>", 2 * XMLDoc::MAX_DEPTH) + "</r>"));
  EXPECT_FALSE(LoadBytes(doc, Repeated("<a>\n", 100000)));
  EXPECT_EQ(LastError(doc), u"doc(4097,1) Fatal error: Elements nested deeper than 4096 levels");
}

// A DTD with entities e1 to eN, each naming the one before it so many times. `kind` is '&' or, for
// parameter entities, '%'.
std::string Entities(char kind, int levels, int times, bool innermostFirst = true) {
  std::string dtd = "<!DOCTYPE a [";
  for (int i = 1; i <= levels; ++i) {
    const int own = innermostFirst ? i : levels + 1 - i;
    const std::string named = (kind == '%' ? "&#37;e" : "&e") + std::to_string(own - 1) + ';';
    dtd.append("<!ENTITY ").append(kind == '%' ? "% e" : "e").append(std::to_string(own));
    dtd.append(" '").append(own == 1 ? "  " : Repeated(named, times)).append("'>");
  }
  return dtd;
}

TEST(Limits, EntitiesNestToTheLimitAndNoDeeperUsedOrNot) {
  for (const bool innermostFirst : {true, false}) {
    for (const char kind : {'&', '%'}) {
      XMLDoc doc;
      const std::string use = kind == '&' ? "]><a b='&e100;'>&e100;</a>" : "%e100;]><a/>";
      EXPECT_TRUE(LoadBytes(doc, Entities(kind, 100, 1, innermostFirst) + use));
      EXPECT_FALSE(LoadBytes(doc, Entities(kind, 100000, 1, innermostFirst) + "]><a/>"));
      EXPECT_TRUE(doc.GetLastError().message == u"Entities nested deeper than 100 levels");
    }
  }
  // Groups may stand in groups: they cost no more than their signs.
  EXPECT_EQ(EventsOf("<!DOCTYPE a [<!ELEMENT a " + Repeated("(", 100000) + "b" +
                     Repeated(")", 100000) + ">]><a/>"),
            u"^<a></a>");
}

TEST(Limits, GrowthByTheDtdIsBounded) {
  for (const std::string& document :
       {Entities('&', 12, 10) + "]><a>&e12;</a>", Entities('&', 12, 10) + "]><a b='&e12;'/>",
        Entities('%', 12, 10) + "%e12;]><a/>",
        "<!DOCTYPE a [<!ENTITY e '" + std::string(100000, 'x') + "'>]><a>" +
            Repeated("&e;", 20000) + "</a>",
        "<!DOCTYPE a [<!ATTLIST b c CDATA '" + std::string(100000, 'x') + "'>]><a>" +
            Repeated("<b/>", 20000) + "</a>"}) {
    XMLDoc doc;
    EXPECT_FALSE(LoadBytes(doc, document));
    EXPECT_TRUE(doc.GetLastError().message == u"The DTD makes the document grow too much");
  }
}

}  // namespace
