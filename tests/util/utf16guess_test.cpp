// Which buffers count as UTF-16.

#include <gtest/gtest.h>

#include <numeric>

#include "util/textsupport.h"

namespace {

using namespace std::string_literals;

const std::u16string kRussian = u"Съешь же ещё этих мягких французских булок, да выпей чаю.\r\n";
const std::u16string kEnglish = u"The quick brown fox jumps over the lazy dog.\r\n";
const std::u16string kChinese = u"人人生而自由在尊严和权利上一律平等他们赋有理性和良心";
const std::u16string kXml = u"<?xml version=\"1.0\"?>\r\n<слово>дом</слово>";

std::string Bytes(const std::u16string& text, int lowAt = 0) {
  std::string bytes;
  for (char16_t unit : text)
    for (int i : {0, 1}) bytes += static_cast<char>(i == lowAt ? unit & 0xFF : unit >> 8);
  return bytes;
}

bool Looks(const std::string& bytes) {
  return CheckUnicode(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(CheckUnicode, SaysYesToLittleEndianText) {
  for (const std::u16string& text :
       {kRussian, kEnglish, kXml, kChinese, u"12345"s, u"\r\n"s, u"П"s, u"a"s, u"\uFEFF"s,
        u"\uFEFFa"s, u"\uFEFF" + kChinese, kRussian.substr(0, 25)})
    EXPECT_TRUE(Looks(Bytes(text))) << testing::PrintToString(text);
  EXPECT_TRUE(Looks(Bytes(u"текст 😀").substr(0, 14))) << "cut inside the pair";
  EXPECT_TRUE(Looks(Encoded(1251, u"яюшка идет"))) << "begins as the mark does";
}

TEST(CheckUnicode, SaysNoToNarrowText) {
  for (const char* text : {"", "a", "ab", "abc", "Bush hid the facts", "this app can break",
                           "aaaa aaa aaa aaaaa", "  ", "\r\n", "line\r\nline\r\n"})
    EXPECT_FALSE(Looks(text)) << text;
  for (int codePage : {65001, 1251, 866, 20866})
    for (const auto& text : {kRussian, kXml, kRussian.substr(0, 5), kRussian.substr(0, 6)})
      EXPECT_FALSE(Looks(Encoded(codePage, text))) << codePage;
  EXPECT_FALSE(Looks(Encoded(65001, kRussian).substr(0, 32))) << "cut";
  EXPECT_FALSE(Looks(Encoded(936, kChinese)));
  EXPECT_FALSE(Looks(Encoded(932, u"日本語の文章はこう書きます。")));
  for (const auto* text : {u"\uFEFF", u"\uFEFF1"}) EXPECT_FALSE(Looks(Encoded(65001, text)));
}

TEST(CheckUnicode, SaysNoToBigEndianOddSizesAndBytesOfNoText) {
  for (const std::u16string& text : {kRussian, kEnglish, u"\uFEFF" + kRussian, u"\uFEFF"s}) {
    EXPECT_FALSE(Looks(Bytes(text, 1))) << testing::PrintToString(text);
    EXPECT_FALSE(Looks(Bytes(text) + "x"));
  }
  std::string everyByte(256, '\0');
  std::iota(everyByte.begin(), everyByte.end(), '\0');
  EXPECT_FALSE(Looks(everyByte));
  EXPECT_FALSE(Looks(std::string(2, '\0')));
  EXPECT_FALSE(Looks("narrow text\0"s)) << "a narrow text and its terminator";
  EXPECT_FALSE(Looks(Bytes(u"текст\0текст"s)));
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", -2));
}

}  // namespace
