// The numbered code pages: against the tables of the C library where these agree with Windows, and
// against a list of what Windows has where they do not.

#include <gtest/gtest.h>
#include <iconv.h>

#include <cerrno>
#include <cstddef>
#include <map>

#include "platform/posix/codepage_rows.h"
#include "util/textsupport.h"

namespace {

// What the C library calls the page; empty when it has none.
std::string IconvName(int codePage) {
  if (codePage > 28590 && codePage < 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  switch (codePage) {
    case 950:
      return "BIG5";
    case 10000:
      return "MACINTOSH";
    case 10017:
      return "MAC-UK";
    case 10029:
      return "MAC-CENTRALEUROPE";
    case 20866:
      return "KOI8-R";
    case 21866:
      return "KOI8-U";
    case 10006:
    case 10010:
      return {};
    default:
      return "CP" + std::to_string(codePage);
  }
}

// The bytes for which the C library has something else than Windows.
const std::map<int, std::string> kDepartures = {
    {864, "%"},          {10000, "\xBD\xC6\xF0"},         {10007, "\xB6"},
    {21866, "\xAE\xBE"}, {28597, "\xA1\xA2\xA4\xA5\xAA"}, {28598, "\xAF\xFD\xFE"}};

// What the C library makes of the bytes; empty when they are nothing to it.
std::u16string ByIconv(iconv_t peer, std::string text) {
  char16_t units[8];
  char* in = text.data();
  char* out = reinterpret_cast<char*>(units);
  std::size_t inLeft = text.size();
  std::size_t outLeft = sizeof units;
  iconv(peer, nullptr, nullptr, nullptr, nullptr);
  if (iconv(peer, &in, &inLeft, &out, &outLeft) != 0) return {};
  if (iconv(peer, nullptr, nullptr, &out, &outLeft) != 0) return {};
  return {units, (sizeof units - outLeft) / sizeof(char16_t)};
}

TEST(CodePage, DecodesAsTheCLibraryDoesButForKnownDepartures) {
  int pages = 0;
  for (int number = 0; number < 30'000; ++number) {
    const platform::PageRow* row = platform::FindPageRow(number);
    const std::string name = IconvName(number);
    if (row == nullptr || name.empty()) continue;
    SCOPED_TRACE(name);
    iconv_t peer = iconv_open("UTF-16LE", name.c_str());
    const auto none = reinterpret_cast<iconv_t>(-1);  // NOLINT: that is how iconv says it
    if (peer == none) GTEST_SKIP() << "no tables in this C library";
    std::string departures;
    int compared = 0;
    const auto compare = [&](const std::string& text) {
      const std::u16string expected = ByIconv(peer, text);
      compared += !expected.empty();
      if (!expected.empty() && Decoded(number, text) != expected) departures += text;
    };
    const bool pairs = row->kind == platform::PageKind::DoubleByte;
    for (int byte = 0; byte < 256; ++byte) compare(std::string(1, static_cast<char>(byte)));
    for (int pair = 0x8140; pairs && pair < 0xFF00; ++pair)
      compare({static_cast<char>(pair >> 8), static_cast<char>(pair)});
    iconv_close(peer);
    EXPECT_GT(compared, pairs ? 13'000 : 200);
    EXPECT_EQ(departures, kDepartures.contains(number) ? kDepartures.at(number) : "");
    ++pages;
  }
  EXPECT_EQ(pages, 49);
}

TEST(CodePage, EveryByteOfEverySingleBytePageComesBack) {
  int pages = 0;
  for (int number = 0; number < 30'000; ++number) {
    const platform::PageRow* row = platform::FindPageRow(number);
    if (row == nullptr || row->kind != platform::PageKind::SingleByte) continue;
    ++pages;
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    std::u16string wide = Decoded(number, all);
    ASSERT_EQ(wide.size(), 256U) << number;
    if (number == 28601)  // the one page that has bytes without any meaning
      for (unsigned char byte : {0xDB, 0xDC, 0xDD, 0xDE, 0xFC, 0xFD, 0xFE, 0xFF}) all[byte] = '?';
    EXPECT_EQ(Encoded(number, wide), all) << number;
  }
  EXPECT_EQ(pages, 47);
}

struct Fact {
  int codePage;
  std::string_view bytes;
  std::u16string_view text;
};

TEST(CodePage, HasWhatWindowsHas) {
  using namespace std::string_view_literals;
  const Fact facts[] = {
      {437, "\x1A\x1C\x7F\xE6"sv, u"\u001A\u001C\u007F\u00B5"sv},
      {857, "\xD5\xE7\xF2", u"\uF8BB\uF8BC\uF8BD"},
      {864, "\x9B\x9C\x9F\xA6\xA7\xD7\xD8\xF1\xFF", u"\x9B\x9C\x9F\uF8BE\uF8BF\uFEC1\uFEC5ّ\uF8C0"},
      {869, "\x80\x85\x87\x88\x93\x94\xEF", u"\x80\x85\x87\u00B7\x93\x94\u0384"},
      {932, "\x80\xA0\xFD\xFF\xB1", u"\x80\uF8F0\uF8F1\uF8F3\uFF71"},
      {1255, "\xCA\xD9\xFF", u"\u05BA\uF88D\uF896"},
      {10007, "\xA2\xB6\xFF", u"\u00A2\u2202\u00A4"},
      {20127, "a\xE1", u"aa"},
      {936, "\x80\xFF", u"\u20AC\uF8F5"},
      {54936, "\x81\x30\x81\x30", u"\u0080"},
      {65000, "+BB8EQA-", u"Пр"},
      {50220, "\x1B$B$\"\x1B(B", u"あ"},
  };
  for (const Fact& fact : facts) {
    EXPECT_EQ(Decoded(fact.codePage, fact.bytes), fact.text) << fact.codePage;
    if (fact.codePage != 20127 && fact.codePage < 50000) {
      EXPECT_EQ(Encoded(fact.codePage, fact.text), fact.bytes) << fact.codePage;
    }
  }
}

TEST(CodePage, CarriesTextsOfItsLanguage) {
  const Fact texts[] = {
      {932, "\x93\xFA\x96{\x8C\xEA \xB6\xC5", u"日本語 ｶﾅ"},
      {51932, "\xC6\xFC\xCB\xDC\xB8\xEC", u"日本語"},
      {936, "\xD6\xD0\xCE\xC4", u"中文"},
      {950, "\xA4\xA4\xA4\xE5", u"中文"},
      {949, "\xC7\xD1\xB1\xDB", u"한글"},
      {54936, "\xD6\xD0\x90\x30\x81\x30", u"中\U00010000"},
      {65001, "Привет, 日本 😀", u"Привет, 日本 😀"},
  };
  for (const Fact& fact : texts) {
    EXPECT_EQ(Decoded(fact.codePage, fact.bytes), fact.text) << fact.codePage;
    EXPECT_EQ(Encoded(fact.codePage, fact.text), fact.bytes) << fact.codePage;
  }
}

TEST(CodePage, PutsTheNearestForWhatItLacks) {
  const Fact fits[] = {
      {1251, "OeAaDs|?", u"ÖéĀǟĐś｜ー"},
      {1251, "\xA6-+L\xAC>0<^v\x95\xE3Od!=\xA1", u"║─├└┐→○←↑↓◘╓☺♪‼═▼"},
      {866, "cRT<><>--'\":%+\x15\x14\x07\xB3\xBF\xE7\xC5\xD8", u"©®™«»‹›–—’“…‰±§¶•¦¬µ†‡"},
      {866,
       "\x01\x08\x13\x16\x1F\x7F"
       "AA",
       u"☺◘‼▬▼⌂ÀＡ"},
      {20866, "\xBFR\x81\x83\xDE\x8A\xBC?", u"©®¦¬µ†‡Ａ"},
      {936, "a\xA1\xA4", u"ª·"},
      {949, "A|", u"À¦"},
      {1251, "??a??", u"日\u200Ba\U0001F600"},
      {932, "???", u"\U0001F600\u200B"},
      {437, "\xE6?", u"\u00B5\u03BC"},  // the byte is the one sign, not the other
  };
  for (const Fact& fact : fits)
    EXPECT_EQ(Encoded(fact.codePage, fact.text), fact.bytes) << fact.codePage;

  const std::pair<int, int> counts[] = {{1251, 383}, {866, 359}, {20866, 265}};
  for (const auto& [page, expected] : counts) {
    int found = 0;
    for (unsigned unit = 1; unit < 0xD800 + 0x2800U; ++unit) {
      const char16_t text[] = {static_cast<char16_t>(unit)};
      const std::string byte = Encoded(page, {text, 1});
      found += byte != "?" && Decoded(page, byte) != std::u16string_view(text, 1);
    }
    EXPECT_EQ(found, expected) << page;
  }
}

TEST(CodePage, BadPairTakesItsTrailUnlessThatIsZero) {
  using namespace std::string_view_literals;
  const Fact facts[] = {
      {932, "a\x81\x20z"sv, u"a・z"sv}, {932, "\x81\0z"sv, u"・\0z"sv},
      {932, "\xFC\xFC"sv, u"・"sv},     {936, "a\x81\x20z\x81"sv, u"a?z?"sv},
      {949, "\xFE\x20\xFE"sv, u"??"sv},
  };
  for (const Fact& fact : facts)
    EXPECT_EQ(Decoded(fact.codePage, fact.bytes), fact.text) << fact.codePage;
}

TEST(CodePage, RefusesUnknownNumbersAndLackOfRoomWithoutTouchingTheResult) {
  for (int number : {-5, 1, 42, 1200, 1201, 10001, 28602, 28606, 50221, 99999}) {
    std::u16string wide = u"kept";
    errno = 0;
    EXPECT_FALSE(platform::DecodeCodePage(number, "text", wide)) << number;
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(wide, u"kept");
    std::string narrow = "kept";
    EXPECT_FALSE(platform::EncodeCodePage(number, u"", 0, narrow)) << number;
    EXPECT_EQ(narrow, "kept");
  }
  std::string narrow = "kept";
  EXPECT_FALSE(platform::EncodeCodePage(932, u"日本", 3, narrow));
  EXPECT_EQ(errno, ENOBUFS);
  EXPECT_EQ(narrow, "kept");
  EXPECT_TRUE(platform::EncodeCodePage(932, u"日本", 4, narrow));
}

}  // namespace
