// Conversions of texts in one piece and in several, the current code page and the functions with
// static results; which buffers count as UTF-16; case, unit by unit.

#include "kvorlib/encoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utf8.h>

#include <cerrno>
#include <numeric>

#include "support/allwords.h"
#include "util/textsupport.h"
#include "util/utf8.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::PrintToString;
using testing::StartsWith;

TEST(Utf8, EachBadByteAndLoneSurrogateGivesOneReplacement) {
  const auto wide = [](std::string_view text) {
    return u8_w(text.data(), text.data() + text.size());
  };
  // Stray, overlong, cut, a surrogate, above 10FFFF.
  for (const std::string bad : {"\xFF", "\x80", "\xC0\x80", "\xF0\x82\x82\xAC", "\xE2\x82",
                                "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    const std::u16string marks(bad.size(), u'\uFFFD');
    EXPECT_EQ(wide(bad + 'z' + bad), marks + u'z' + marks) << testing::PrintToString(bad);
  }
  EXPECT_EQ(wide("\xF4\x8F\xBF\xBF\xEF\xBF\xBE"), u"\xDBFF\xDFFF\uFFFE");
  EXPECT_EQ(wide("a\0b ёж 日 😀"sv), u"a\0b ёж 日 😀"sv);
  const std::u16string lone{u'a', 0xD800, u'b', 0xDC00, 0xDC00, 0xD83D, 0xD83D, 0xDE00, 0xD800};
  EXPECT_EQ(w_u8(lone.data(), lone.data() + lone.size()),
            "a\uFFFDb\uFFFD\uFFFD\uFFFD\U0001F600\uFFFD");
}

std::u16string LetterByLetter(const std::string& text) {
  std::u16string wide;
  for (auto at = text.begin(); at != text.end();) {
    const auto bad = utf8::find_invalid(at, text.end());
    utf8::utf8to16(at, bad, std::back_inserter(wide));
    if (bad != text.end()) wide += u'\uFFFD';
    at = bad != text.end() ? bad + 1 : bad;
  }
  return wide;
}

// Many bytes are looked at in one go: what they are must not hang on where they stand.
TEST(Utf8, ByteIsTheSameAtEveryPlaceOfAText) {
  const std::string bytes =
      "\tz\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4\xF5";
  ForEachWord(bytes, 4, [](const std::string& word) {
    const bool isValid = utf8::is_valid(word.begin(), word.end());
    const std::u16string wide = LetterByLetter(word);
    for (std::size_t around : {0, 14, 31}) {
      const std::string text = std::string(around, 'a') + word + std::string(around, 'z');
      const std::u16string before(around, u'a'), behind(around, u'z');
      ASSERT_EQ(util::IsUtf8(text), isValid) << PrintToString(text);
      ASSERT_EQ(util::WideText(text).View(), before + wide + behind) << PrintToString(text);
    }
  });
}

TEST(Conversion, TakesTheCodePageFromTheArgumentOrTheProcess) {
  const KeepCodePage keep;
  SetCP(1251);
  for (int utf8 : {-1, 65001}) {
    EXPECT_EQ(A2U("ёж", utf8), u"ёж");
    EXPECT_EQ(U2A(u"ёж", utf8), "ёж");
  }
  EXPECT_EQ(A2U("\xB8\xE6"), u"ёж");
  EXPECT_EQ(U2A(u"ёж", 866), "\xF1\xA6");
  EXPECT_EQ(GetLocal(), 1251);
  SetCP(-1);
  EXPECT_EQ(U2A(u"ёж", 0), "ёж");
  EXPECT_EQ(SetCP(0), 65001);
  EXPECT_EQ(A2U("abc"), u"abc");
}

TEST(Conversion, FailureNamesTheDirectionAndRestoresTheCodePage) {
  const KeepCodePage keep;
  SetCP(1251);
  EXPECT_EQ(Words([] { A2U("text", 12345); }),
            "ANSI to UTF16 conversion error\nWin32 Error: " + std::to_string(EINVAL));
  const std::string words = "UTF16 to ANSI conversion error\n";
  EXPECT_THAT(Words([] { U2A(u"", 1200); }), StartsWith(words));
  EXPECT_THAT(Words([] { U2A(u"日本", 932); }), StartsWith(words));
  EXPECT_EQ(GetLocal(), 1251);
}

TEST(Conversion, FixesLineEndsOnlyWhereTheyAreNotYetRight) {
  const std::string text = "\nодин\n\nдва\r\nтри\r\r\n\n\rчетыре\r";
  const std::u16string wide = u"\r\nодин\r\n\r\nдва\r\nтри\r\r\n\r\n\rчетыре\r";
  EXPECT_EQ(A2U(text, 65001, true), wide);
  EXPECT_EQ(U2A(wide, 65001, true), "\nодин\n\nдва\nтри\r\n\n\rчетыре\r");
  EXPECT_EQ(U2A(A2U(text, -1, false), -1, false), text);
}

// What shows at the end of 64,000 bytes or units.
constexpr std::size_t kPiece = 64000;

std::string Letters(std::size_t n) { return std::string(n, 'a'); }
std::u16string Wide(std::size_t n) { return std::u16string(n, u'a'); }

TEST(Pieces, JoinToTheWholeText) {
  const std::string text = Letters(kPiece - 1) + '\n' + std::string(2 * kPiece, '\xB8') + 'z';
  const std::u16string wide = Wide(kPiece - 1) + u"\r\n" + std::u16string(2 * kPiece, u'ё') + u'z';
  EXPECT_TRUE(A2U(text, 1251, true) == wide && U2A(wide, 1251, true) == text);
}

TEST(Pieces, OnlyTheArgumentOfUtf8KeepsACharacterWhole) {
  const KeepCodePage keep;
  SetCP(65001);
  for (std::size_t before : {kPiece - 1, kPiece - 2, kPiece - 3}) {
    const std::string text = Letters(before) + "日日b";
    for (int utf8 : {65001, -1}) EXPECT_EQ(A2U(text, utf8), Wide(before) + u"日日b");
    const std::u16string first = before == kPiece - 3 ? u"日" : u"\uFFFD\uFFFD\uFFFD";
    EXPECT_EQ(A2U(text, 0), Wide(before) + first + u"日b");
  }
  // D0 7A is a pair of its own.
  EXPECT_EQ(A2U(Letters(kPiece - 1) + "\xD6\xD0z", 936), Wide(kPiece - 1) + u"?衵");
  EXPECT_EQ(U2A(Wide(kPiece - 1) + u"😀z", -1), Letters(kPiece - 1) + "\uFFFD\uFFFDz");
}

TEST(Pieces, ZeroEndsTheLastPieceAlone) {
  for (int codePage : {1251, -1}) {
    std::string text = Letters(kPiece + 5);
    text[10] = text[kPiece + 2] = '\0';
    const std::u16string wide(text.begin(), text.end());
    EXPECT_EQ(A2U(text, codePage), wide.substr(0, kPiece + 2));
    EXPECT_EQ(U2A(wide, codePage), text.substr(0, kPiece + 2));
    // The last piece, though a full one.
    EXPECT_EQ(A2U(text.substr(0, kPiece), codePage), Wide(10));
    EXPECT_EQ(U2A(wide.substr(0, kPiece), codePage), Letters(10));
  }
}

TEST(Pieces, DoubleByteRoomIsCountedPieceByPiece) {
  EXPECT_THROW(U2A(Wide(kPiece) + u"語", 932), Except);
  EXPECT_THROW(U2A(u"語" + Wide(kPiece), 932), Except);
  EXPECT_EQ(U2A(Wide(kPiece + 1), 932), Letters(kPiece + 1));
}

TEST(StaticResults, LiveUntilTheNextCallOfTheSameFunction) {
  const KeepCodePage keep;
  SetCP(866);
  const char* fromUtf8 = MBSTR2STR("ёж");
  const char* fromWide = TSTR2STR(u"дом");
  EXPECT_EQ(STR2TSTR("\xF1\xA6"), std::u16string(u"ёж"));
  EXPECT_STREQ(fromUtf8, "\xF1\xA6");
  SetCP(12345);
  EXPECT_THAT(Words([] { TSTR2STR(u"a"); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_THAT(Words([] { STR2TSTR("a"); }), StartsWith("ANSI to UTF16 conversion error\n"));
  EXPECT_STREQ(fromWide, "\xA4\xAE\xAC");
}

const std::u16string kRussian = u"Съешь же ещё этих мягких французских булок, да выпей чаю.\r\n";
const std::u16string kEnglish = u"The quick brown fox jumps over the lazy dog.\r\n";
const std::u16string kChinese = u"人人生而自由在尊严和权利上一律平等他们赋有理性和良心";
const std::u16string kXml = u"<?xml version=\"1.0\"?>\r\n<слово>дом</слово>";

bool LooksWide(const std::string& bytes) {
  return CheckUnicode(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(CheckUnicode, SaysYesToLittleEndianText) {
  for (const std::u16string& text :
       {kRussian, kEnglish, kXml, kChinese, u"12345"s, u"\r\n"s, u"П"s, u"a"s, u"\uFEFF"s,
        u"\uFEFF" + kChinese, kRussian.substr(0, 25)})
    EXPECT_TRUE(LooksWide(Encoded(1200, text))) << PrintToString(text);
  EXPECT_TRUE(LooksWide(Encoded(1200, u"текст 😀").substr(0, 14))) << "cut inside the pair";
  EXPECT_TRUE(LooksWide(Encoded(1251, u"яюшка идет"))) << "begins as the mark does";
}

TEST(CheckUnicode, SaysNoToNarrowAndBigEndianTextAndBytesOfNone) {
  for (const char* text : {"", "a", "ab", "abc", "Bush hid the facts", "this app can break",
                           "aaaa aaa aaa aaaaa", "  ", "\r\n", "line\r\nline\r\n"})
    EXPECT_FALSE(LooksWide(text)) << text;
  for (int codePage : {65001, 1251, 866, 20866})
    for (const auto& text : {kRussian, kXml, kRussian.substr(0, 5), kRussian.substr(0, 6)})
      EXPECT_FALSE(LooksWide(Encoded(codePage, text))) << codePage;
  for (const auto& text : {kRussian, kEnglish, u"\uFEFF" + kRussian, u"\uFEFF"s})
    EXPECT_FALSE(LooksWide(Encoded(1201, text)) || LooksWide(Encoded(1200, text) + "x"));
  std::string everyByte(256, '\0');
  std::iota(everyByte.begin(), everyByte.end(), '\0');
  for (const std::string& bytes :
       {Encoded(65001, kRussian).substr(0, 32), Encoded(65001, u"\uFEFF1"), Encoded(936, kChinese),
        Encoded(932, u"日本語の文章はこう書きます。"), Encoded(1200, u"текст\0текст"s), everyByte,
        std::string(2, '\0'), "narrow text\0"s})
    EXPECT_FALSE(LooksWide(bytes)) << PrintToString(bytes);
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", -2));
}

TEST(LetterCase, MapsUnitByUnit) {
  const std::u16string cases[][4] = {
      // text, lower, upper, title
      {u"привет МИР, Ёж", u"привет мир, ёж", u"ПРИВЕТ МИР, ЁЖ", u"Привет мир, ёж"},
      {u"straße", u"straße", u"STRAßE", u"Straße"},  // never two units for one
      {u"ÿ ΣΑΣ", u"ÿ σασ", u"Ÿ ΣΑΣ", u"Ÿ σασ"},
      {u"İIi", u"iii", u"İII", u"İii"},
      {u"𐐀𐐨 日", u"𐐀𐐨 日", u"𐐀𐐨 日", u"𐐀𐐨 日"}};  // pairs stay as they are
  for (const auto& [text, lower, upper, title] : cases) {
    EXPECT_EQ(to_lower(text), lower);
    EXPECT_EQ(to_upper(text), upper);
    EXPECT_EQ(to_title(text), title);
  }
}

}  // namespace
