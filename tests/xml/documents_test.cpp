// Encodings, and documents that are at fault.
#include <gtest/gtest.h>

#include "util/textsupport.h"
#include "xml/eventlog.h"

namespace {

using namespace std::string_literals;

std::string Utf16(const std::u16string& text, bool lowFirst) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += lowFirst ? low : high;
    bytes += lowFirst ? high : low;
  }
  return bytes;
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(Encodings, DocumentReadsAlikeAndItsCodePageIsReported) {
  struct Case {
    std::u16string declared;
    std::function<std::string(const std::u16string&)> encode;
    int codePage;
  };
  const auto narrow = [](int page) {
    return [page](const std::u16string& text) { return Encoded(page, text); };
  };
  const auto utf16 = [](bool lowFirst, const std::u16string& mark) {
    return [=](const std::u16string& text) { return Utf16(mark + text, lowFirst); };
  };
  const Case cases[] = {
      {u"", narrow(65001), 7},
      {u"", [=](const auto& text) { return "\xEF\xBB\xBF" + narrow(65001)(text); }, 7},
      {u"UTF-8", [=](const auto& text) { return "\xEF\xBB\xBF" + narrow(65001)(text); }, 65001},
      {u"utf8", narrow(65001), 65001},
      {u"", utf16(true, u"\uFEFF"), 7},
      {u"utf-16", utf16(true, u"\uFEFF"), 1200},
      {u"UTF-16", utf16(false, u"\uFEFF"), 1200},
      {u"UTF-16BE", utf16(false, u""), 1201},
      {u"", utf16(true, u""), 7},
      {u"windows-1251", narrow(1251), 1251},
      {u"CP1251", narrow(1251), 1251},
      {u"KOI8-R", narrow(20866), 20866},
      {u"cp866", narrow(866), 866},
      {u"iso8859-5", narrow(28595), 28595},
      {u"gb18030", narrow(54936), 54936},
      {u"csISO2022JP", narrow(50221), 50221},
      {u"euc-kr", narrow(51949), 51949}};
  for (const auto& [declared, encode, codePage] : cases) {
    const std::u16string declaration =
        declared.empty() ? u"" : u"<?xml version='1.0'\tencoding = \"" + declared + u"\" ?>";
    EventLog events;
    XMLDoc doc;
    doc.SetCP(7);
    doc.SetCallback(&events, XMLDoc::DC_READ);
    EXPECT_TRUE(LoadBytes(doc, encode(declaration + u"<а б='в'>Где\r\nя</а>")));
    EXPECT_EQ(events.log, u"^<а б=в>[Где][\n][я]</а>")
        << w_u8(&*declared.begin(), &*declared.end());
    EXPECT_EQ(doc.GetCP(), codePage);
    events.log.clear();
    EXPECT_TRUE(doc.LoadFromString(u"\uFEFF" + declaration + u"<я>\U0001F600</я>"));
    EXPECT_EQ(events.log, u"^<я>[\U0001F600]</я>") << "wide text is what it is";
  }
}

TEST(Encodings, UnknownNameGoesToTheCallerAndTheDocumentStaysUsable) {
  XMLDoc doc;
  const std::u16string document = u"<?xml version='1.0' encoding='klingon'?><a/>";
  const std::string words = "Multianguage support error";
  EXPECT_EQ(Words([&] { LoadBytes(doc, Encoded(65001, document)); }), words);
  EXPECT_EQ(Words([&] { LoadBytes(doc, Utf16(document, true)); }), words);
  EXPECT_EQ(Words([&] { doc.LoadFromString(document); }), words);
  EXPECT_TRUE(LoadBytes(doc, "<a/>"));
}

TEST(Faults, SayWhatAndWhere) {
  const auto declared = [](const std::string& encoding, const std::string& rest) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>\r\n" + rest;
  };
  const std::u16string badBytes = u"bytes that are no character in the document's encoding";
  const std::u16string wrong = u"document is not in the encoding of its XML declaration";
  const std::tuple<std::string, int, int, std::u16string> cases[] = {
      {"", 1, 1, u"no element found"},
      {"<a>\r\n<b>\r\r\n \xD0\xAF</c>", 4, 5, u"mismatched tag"},
      {Utf16(u"\uFEFF<a>\r\n\U0001F600ёж</c>", true), 2, 6, u"mismatched tag"},
      {declared("windows-1251", "<a>\xDF\xDF</c>"), 2, 8, u"mismatched tag"},
      {"<a>&x;</a>", 1, 4, u"undefined entity"},
      {"<!DOCTYPE a [<!ENTITY e '<b>'>]>\n<a>\n &e;</a>", 3, 2, u"asynchronous entity"},
      {"<a>\0</a>"s, 1, 4, u"zero character"},
      {Utf16(u"<a>\0"s, true), 1, 4, u"zero character"},
      {"<a>\n\xD0\xAF\xFF</a>", 2, 2, badBytes},
      {"<a>\xED\xA0\x80</a>", 1, 4, badBytes},
      {"<a>\xD0", 1, 4, badBytes},
      {Utf16(u"<a>я\xD800</a>", false), 1, 5, badBytes},
      {Utf16(u"<a/>", true) + "\n", 1, 5, badBytes},
      {declared("us-ascii", "<a>\xDF</a>"), 2, 4, badBytes},
      {declared("windows-1253", "<a>\xE1\xD2</a>"), 2, 5, badBytes},
      {declared("gb2312", "<a>\xD6\xD0\x81\x20</a>"), 2, 5, badBytes},
      {declared("euc-jp", "<a>\xA4\xA2\xA4 </a>"), 2, 5, badBytes},
      {declared("utf-16", "<a/>"), 1, 31, wrong},
      {Utf16(u"<?xml version='1.0'\nencoding='utf-8'?><a/>", true), 2, 11, wrong},
      {"\xEF\xBB\xBF" + declared("koi8-r", "<a/>"), 1, 31, wrong},
      {declared("x-mac-japanese", "<a/>"), 1, 31,
       u"encoding of the XML declaration is not supported"},
      {"<?xml version='1.0' encoding='klin gon'?><a/>", 1, 35, u"XML declaration not well-formed"}};
  for (const auto& [document, line, column, message] : cases) {
    XMLDoc doc;
    EXPECT_FALSE(LoadBytes(doc, document));
    EXPECT_EQ(doc.GetLastError(),
              ErrDescr({ErrData::ERR_FATAL, message}, {line, column, -1, u"doc"}))
        << Encoded(65001, LastError(doc));
  }
  XMLDoc doc;
  EXPECT_FALSE(doc.LoadFromString(u"<a>\n\xDC00</a>"));
  EXPECT_EQ(LastError(doc), u"<string>(2,1) Fatal error: " + badBytes);
  EXPECT_EQ(EventsOf(declared("gb2312", "<a>b<c/>\xFF")),
            u"^<a>[b]<c></c>doc(2,9) Fatal error: " + badBytes)
      << "the events before the fault have come";
}

TEST(Limits, ElementsNestToTheLimitAndNoDeeper) {
  XMLDoc doc;
  const std::string most = Repeated("<a>", XMLDoc::MAX_DEPTH);
  EXPECT_TRUE(LoadBytes(doc, most + Repeated("</a>", XMLDoc::MAX_DEPTH)));
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

TEST(Limits, GrowthByEntitiesIsBounded) {
  for (const std::string& document :
       {Entities('&', 12, 10) + "]><a>&e12;</a>", Entities('&', 12, 10) + "]><a b='&e12;'/>",
        Entities('%', 12, 10) + "%e12;]><a/>",
        "<!DOCTYPE a [<!ENTITY e '" + std::string(100000, 'x') + "'>]><a>" +
            Repeated("&e;", 20000) + "</a>"}) {
    XMLDoc doc;
    EXPECT_FALSE(LoadBytes(doc, document));
    EXPECT_TRUE(doc.GetLastError().message == u"Entities make the document grow too much");
  }
}

}  // namespace
