// Which buffers count as UTF-16.

#include <gtest/gtest.h>

#include <numeric>

#include "util/textsupport.h"

namespace {

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
  const std::string yes[] = {
      Little(u"\uFEFF" + kRussian),
      Little(u"\uFEFF" + kChinese),
      Little(u"\uFEFF"),
      Little(u"\uFEFFa"),
      Little(kRussian),
      Little(kEnglish),
      Little(kRussian + kEnglish),
      Little(kXml),
      Little(u"слово\tдом\t12\r\nимя\tсад\t7\r\n"),
      Little(kRussian).substr(0, 50),
      Little(kChinese),
      Little(u"12345"),
      Little(u"\r\n"),
      Little(u"Привет"),
      Little(u"П"),
      Little(u"a"),
      Little(u"текст 😀").substr(0, 14),  // cut inside the pair
      "\xFF\xFE\xFF\xFF\xFF\xFF",
      Encoded(1251, u"яюшка идет"),  // begins as the mark does
  };
  for (const std::string& bytes : yes) EXPECT_TRUE(Looks(bytes)) << testing::PrintToString(bytes);
}

TEST(CheckUnicode, SaysNoToAllElse) {
  const std::string russian = w_u8(kRussian.data(), kRussian.data() + kRussian.size());
  std::string everyByte(256, '\0');
  std::iota(everyByte.begin(), everyByte.end(), '\0');
  const std::string no[] = {
      "",
      "a",
      "ab",
      "abc",
      "Bush hid the facts",
      "this app can break",
      "aaaa aaa aaa aaaaa",
      "  ",
      "\r\n",
      "line\r\nline\r\n",
      russian,
      russian.substr(0, 31),
      russian.substr(0, 32),
      "\xEF\xBB\xBF" + russian,
      "\xEF\xBB\xBF",
      "\xEF\xBB\xBF"
      "1",
      Encoded(1251, kRussian),
      Encoded(1251, u"слово"),
      Encoded(1251, u"слов"),
      Encoded(866, kRussian),
      Encoded(20866, kRussian),
      Encoded(1251, kXml),
      Encoded(936, kChinese),
      Encoded(932, u"日本語の文章はこう書きます。"),
      Big(u"\uFEFF" + kRussian),
      Big(kRussian),
      Big(kEnglish),
      Big(u"\uFEFF"),
      Little(kRussian) + "x",
      Little(u"\uFEFF" + kRussian) + "x",
      std::string(2, '\0'),
      std::string(512, '\0'),
      Little(std::u16string(u"текст\0текст", 11)),
      everyByte,
  };
  for (const std::string& bytes : no) EXPECT_FALSE(Looks(bytes)) << testing::PrintToString(bytes);
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", 0));
  EXPECT_FALSE(CheckUnicode("\xFF\xFE", -2));
}

}  // namespace
