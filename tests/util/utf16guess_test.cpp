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

std::string Little(const std::u16string& text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::string Big(const std::u16string& text) {
  std::string bytes = Little(text);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  return bytes;
}

bool Looks(const std::string& bytes) {
  return CheckUnicode(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(CheckUnicode, SaysYesToLittleEndianText) {
  for (const std::u16string& text :
       {kRussian, kEnglish, kXml, kChinese, u"12345"s, u"\r\n"s, u"Привет"s, u"П"s, u"a"s,
        u"\uFEFF"s, u"\uFEFFa"s, u"\uFEFF" + kChinese, kRussian.substr(0, 25)})
    EXPECT_TRUE(Looks(Little(text))) << testing::PrintToString(text);
  EXPECT_TRUE(Looks(Little(u"текст 😀").substr(0, 14))) << "cut inside the pair";
  EXPECT_TRUE(Looks(Encoded(1251, u"яюшка идет"))) << "begins as the mark does";
  EXPECT_TRUE(Looks("\xFF\xFE\xFF\xFF\0\0"s));
}

TEST(CheckUnicode, SaysNoToNarrowText) {
  for (const char* text : {"", "a", "ab", "abc", "Bush hid the facts", "this app can break",
                           "aaaa aaa aaa aaaaa", "  ", "\r\n", "line\r\nline\r\n"})
    EXPECT_FALSE(Looks(text)) << text;
  for (int codePage : {65001, 1251, 866, 20866})
    for (const std::u16string& text :
         {kRussian, kXml, kRussian.substr(0, 5), kRussian.substr(0, 6)})
      EXPECT_FALSE(Looks(Encoded(codePage, text))) << codePage;
  const std::string russian = Encoded(65001, kRussian);
  const std::string mark = "\xEF\xBB\xBF";
  EXPECT_FALSE(Looks(russian.substr(0, 32)));  // cut
  EXPECT_FALSE(Looks(mark + russian));
  EXPECT_FALSE(Looks(mark));
  EXPECT_FALSE(Looks(mark + "1"));
  EXPECT_FALSE(Looks(Encoded(936, kChinese)));
  EXPECT_FALSE(Looks(Encoded(932, u"日本語の文章はこう書きます。")));
}

TEST(CheckUnicode, SaysNoToBigEndianOddSizesAndBytesOfNoText) {
  for (const std::u16string& text : {kRussian, kEnglish, u"\uFEFF" + kRussian, u"\uFEFF"s})
    EXPECT_FALSE(Looks(Big(text))) << testing::PrintToString(text);
  EXPECT_FALSE(Looks(Little(kRussian) + "x"));
  EXPECT_FALSE(Looks(Little(u"\uFEFF" + kRussian) + "x"));
  EXPECT_FALSE(Looks(std::string(2, '\0')));
  EXPECT_FALSE(Looks(std::string(512, '\0')));
  EXPECT_FALSE(Looks(Little(u"текст\0текст"s)));
  std::string everyByte(256, '\0');
  std::iota(everyByte.begin(), everyByte.end(), '\0');
  EXPECT_FALSE(Looks(everyByte));
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", 0));
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", -2));
}

}  // namespace
