// The numbered code pages: against the tables of the C library where these agree with Windows, and
// against a list of what Windows has where they do not; and the pages' names.

#include <gtest/gtest.h>
#include <iconv.h>

#include <cerrno>
#include <map>

#include "platform/posix/codepage_rows.h"
#include "util/textsupport.h"

namespace {

using namespace std::string_view_literals;

// Where the C library's name is no rule; empty when it has no such page.
const std::map<int, std::string> kIconvNames = {
    {950, "BIG5"},     {10000, "MACINTOSH"},         {10006, ""},       {10010, ""},
    {10017, "MAC-UK"}, {10029, "MAC-CENTRALEUROPE"}, {20866, "KOI8-R"}, {21866, "KOI8-U"}};

std::string IconvName(int codePage) {
  if (kIconvNames.contains(codePage)) return kIconvNames.at(codePage);
  if (codePage > 28590 && codePage < 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
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

TEST(CodePage, DecodesAsTheCLibraryDoesButForKnownDeparturesAndSingleBytesComeBack) {
  const auto none = reinterpret_cast<iconv_t>(-1);  // NOLINT: that is how iconv says it
  int singles = 0, peers = 0;
  for (int number = 0; number < 30'000; ++number) {
    const platform::PageRow* row = platform::FindPageRow(number);
    if (row == nullptr) continue;
    const std::string name = IconvName(number);
    SCOPED_TRACE(std::to_string(number) + name);
    const bool single = row->kind == platform::PageKind::SingleByte;
    const bool pairs = row->kind == platform::PageKind::DoubleByte;
    const iconv_t peer = name.empty() ? none : iconv_open("UTF-16LE", name.c_str());
    if (peer == none && !name.empty()) GTEST_SKIP() << "no tables in this C library";
    std::string departures, lost;
    int compared = 0;
    const auto compare = [&](const std::string& text) {
      const std::u16string ours = Decoded(number, text);
      if (single && Encoded(number, ours) != text) lost += text;
      const std::u16string theirs = peer != none ? ByIconv(peer, text) : u"";
      compared += !theirs.empty();
      if (!theirs.empty() && ours != theirs) departures += text;
    };
    for (int byte = 0; byte < 256; ++byte) compare(std::string(1, static_cast<char>(byte)));
    for (int pair = 0x8140; pairs && pair < 0xFF00; ++pair)
      compare({static_cast<char>(pair >> 8), static_cast<char>(pair)});
    EXPECT_EQ(lost, number == 28601 ? "\xDB\xDC\xDD\xDE\xFC\xFD\xFE\xFF" : "") << "no meaning";
    singles += single;
    if (peer == none) continue;
    iconv_close(peer);
    EXPECT_GT(compared, pairs ? 13'000 : 200);
    EXPECT_EQ(departures, kDepartures.contains(number) ? kDepartures.at(number) : "");
    ++peers;
  }
  EXPECT_EQ(singles, 47);
  EXPECT_EQ(peers, 49);
}

TEST(CodePage, HasWhatWindowsHasAndPutsTheNearestForWhatItLacks) {
  const struct {
    int page;
    char ways;  // 'd': decoded, 'e': encoded, '=': both
    std::string_view bytes;
    std::u16string_view text;
  } facts[] = {
      {437, '=', "\x1A\x1C\x7F\xE6"sv, u"\u001A\u001C\u007F\u00B5"sv},
      {857, '=', "\xD5\xE7\xF2", u"\uF8BB\uF8BC\uF8BD"},
      {864, '=', "\x9B\x9F\xA6\xA7\xD7\xD8\xF1\xFF", u"\x9B\x9F\uF8BE\uF8BF\uFEC1\uFEC5ّ\uF8C0"},
      {869, '=', "\x80\x85\x87\x88\x93\x94\xEF", u"\x80\x85\x87\u00B7\x93\x94\u0384"},
      {932, '=', "\x80\xA0\xFD\xFF\xB1\x93\xFA\x96{", u"\x80\uF8F0\uF8F1\uF8F3\uFF71日本"},
      {936, '=', "\x80\xFF\xD6\xD0\xCE\xC4", u"\u20AC\uF8F5中文"},
      {1255, '=', "\xCA\xD9\xFF", u"\u05BA\uF88D\uF896"},
      {10007, '=', "\xA2\xB6\xFF", u"\u00A2\u2202\u00A4"},
      {54936, '=', "\xD6\xD0\x90\x30\x81\x30\x81\x30\x81\x30", u"中\U00010000\u0080"},
      {20127, 'd', "a\xE1", u"aa"},
      {50220, 'd', "\x1B$B$\"\x1B(B", u"あ"},
      {50221, 'd', "\x1B(I1\x1B(B", u"ｱ"},
      {65000, 'd', "+BB8EQA-", u"Пр"},
      // A bad pair takes its trail, unless that is a zero.
      {932, 'd', "a\x81\x20z\x81\0z\xFC\xFC"sv, u"a・z・\0z・"sv},
      {936, 'd', "a\x81\x20z\x81"sv, u"a?z?"sv},
      // The nearest.
      {437, 'e', "\xE6?", u"\u00B5\u03BC"},
      {866, 'e', "cRT<><>--'\":%+\x15\x14\x07\xB3\xBF\xE7\xC5\xD8", u"©®™«»‹›–—’“…‰±§¶•¦¬µ†‡"},
      {866, 'e', "AA\x01\x08\x13\x16\x1F\x7F", u"ÀＡ☺◘‼▬▼⌂"},
      {932, 'e', "???", u"\U0001F600\u200B"},
      {936, 'e', "a\xA1\xA4", u"ª·"},
      {1251, 'e', "OeAaDs|???a??", u"ÖéĀǟĐś｜ー日\u200Ba\U0001F600"},
      {1251, 'e', "\xA6-+L\xAC>0<^v\x95\xE3Od!=\xA1", u"║─├└┐→○←↑↓◘╓☺♪‼═▼"},
      {20866, 'e', "\xBFR\x81\x83\xDE\x8A\xBC?", u"©®¦¬µ†‡Ａ"}};
  for (const auto& [page, ways, bytes, text] : facts) {
    EXPECT_EQ(ways == 'e' ? text : Decoded(page, bytes), text) << page;
    EXPECT_EQ(ways == 'd' ? bytes : Encoded(page, text), bytes) << page;
  }
  for (const auto& [page, expected] : {std::pair(1251, 383), {866, 359}, {20866, 265}}) {
    int found = 0;
    for (unsigned unit = 1; unit < 0xD800 + 0x2800U; ++unit) {
      const std::u16string text(1, static_cast<char16_t>(unit));
      const std::string byte = Encoded(page, text);
      found += byte != "?" && Decoded(page, byte) != text;
    }
    EXPECT_EQ(found, expected) << page;
  }
}

TEST(CodePage, RefusesUnknownNumbersAndLackOfRoomWithoutTouchingTheResult) {
  std::string narrow = "kept";
  std::u16string wide = u"kept";
  for (int number : {-5, 1, 1200, 1201, 10001, 28602, 28606, 99999}) {
    errno = 0;
    EXPECT_FALSE(platform::DecodeCodePage(number, "text", wide)) << number;
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(platform::EncodeCodePage(number, u"", 0, narrow)) << number;
  }
  EXPECT_FALSE(platform::EncodeCodePage(932, u"日本", 3, narrow));
  EXPECT_EQ(errno, ENOBUFS);
  EXPECT_TRUE(wide == u"kept" && narrow == "kept");
  EXPECT_TRUE(platform::EncodeCodePage(932, u"日本", 4, narrow));
}

TEST(CodePage, NamesGoBothWaysAndUnknownOnesThrow) {
  EXPECT_EQ(CP2chset(1251) + u' ' + CP2name(1251), u"windows-1251 Cyrillic (Windows)");
  const std::pair<const char16_t*, int> labels[] = {{u"UTF-16", 1200},     {u"cp1251", 1251},
                                                    {u"Latin1", 28591},    {u"UniCode", 1200},
                                                    {u"ISO8859_5", 28595}, {u"WINDOWS-1251", 1251}};
  for (const auto& [label, codePage] : labels) EXPECT_EQ(chset2CP(label), codePage);

  const std::string words = "Multianguage support error";
  for (int codePage : {0, 1201}) {
    EXPECT_EQ(Words([=] { CP2chset(codePage); }), words);
    EXPECT_EQ(Words([=] { CP2name(codePage); }), words);
  }
  for (const char16_t* charset : {u"", u"utf-88", u"utf", u"кои8-р"})
    EXPECT_EQ(Words([=] { chset2CP(charset); }), words);
}

}  // namespace
