// The parts of the tool that turn bytes into text and back.
#include "../../cli/textform.h"

#include <gtest/gtest.h>

#include "../../cli/json.h"

namespace kvor {
namespace {

using namespace std::string_literals;

struct Sample {
  KEYDESCR layout;
  std::string line;
  std::string record;
};

TEST(TextForm, LineAndRecordStandForEachOther) {
  const std::vector<Sample> samples = {
      {{4, 32, 0}, "cat кот", "cat кот\0"s},
      {{4, 32, 6}, "front cat x\ty", "front cat x\ty\0"s},
      {{2, 0, 2}, "key\ttext", "\0\0key\0text\0"s},
      {{2, 0, 2}, "key", "\0\0key\0"s},
      {{0, 4, 2}, "258\t", "\0\0\2\1\0\0\0"s},
      {{2, 0, 0}, "a key\t", "a key\0\0"s},
      {{0, 4, 0}, "-2\tminus two", "\xFE\xFF\xFF\xFFminus two\0"s},
      {{4, 10, 0}, "a key\ttext\tmore", "a key\ntext\tmore\0"s},
      {{1, 4, 0}, "abcdrest", "abcdrest\0"s},
      {{4, ';', 0}, "a key;text", "a key;text\0"s},
  };
  for (const Sample& sample : samples) {
    const TextForm form(sample.layout);
    std::string record;
    std::string reason;
    ASSERT_TRUE(form.ToRecord(sample.line, record, reason)) << sample.line << ": " << reason;
    EXPECT_EQ(record, sample.record) << sample.line;
    EXPECT_EQ(form.ToLine(record), sample.line);
  }
}

TEST(TextForm, RecordsThatWereNoLinesGiveSomeText) {
  const TextForm number(KEYDESCR(0, 4, 2));
  for (std::size_t size = 0; size < 8; ++size) number.ToLine(std::string(size, '\xFF'));
  EXPECT_EQ(number.ToLine("\1\2\3"s), "\3");
  EXPECT_EQ(number.ToLine("\1\2\3\0\0\0ab"s), "3\tab");
  EXPECT_EQ(TextForm(KEYDESCR(2, 0, 0)).ToLine(""), "");
  EXPECT_EQ(TextForm(KEYDESCR(4, 10, 0)).ToLine("no line feed"), "no line feed");
}

TEST(TextForm, LinesThatAreNoRecordsAreRefused) {
  std::string record;
  std::string reason;
  for (const auto& [layout, line] :
       std::vector<std::pair<KEYDESCR, std::string>>{{{0, 4, 0}, "x\ty"},
                                                     {{0, 4, 0}, "5"},
                                                     {{0, 4, 0}, "2147483648\tx"},
                                                     {{0, 4, 0}, "5x\ty"},
                                                     {{4, 10, 0}, "no tab"},
                                                     {{4, 32, 0}, ""},
                                                     {{4, 32, 0}, "a\0 b"s},
                                                     {{4, 32, 0}, "\xC0\x80 x"}}) {
    EXPECT_FALSE(TextForm(layout).ToRecord(line, record, reason)) << line;
    EXPECT_FALSE(reason.empty());
  }
}

TEST(TextForm, ShortFixedKeyIsFilledWithBlanks) {
  std::string key;
  std::string reason;
  ASSERT_TRUE(TextForm(KEYDESCR(1, 4, 0)).ToKey("ab", key, reason));
  EXPECT_EQ(key, "ab  ");
}

TEST(Json, OnlySoundUtf8CountsAsText) {
  for (const auto* sound : {"", "a", "\x7F", "\xC2\x80", "\xE0\xA0\x80", "\xED\x9F\xBF",
                            "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(IsUtf8(sound)) << sound;
  }
  for (const auto* broken :
       {"\x80", "\xC1\xBF", "\xC2", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "a\xFFz"}) {
    EXPECT_FALSE(IsUtf8(broken)) << ToHex(broken);
  }
}

TEST(Json, ValuesAreEscaped) {
  EXPECT_EQ(Json("a\"b", "\\\n\x01")("n", -5)("b", true)("x", "\xFF").Text(),
            R"({"a\"b":"\\\n\u0001","n":-5,"b":true,"xHex":"ff"})");
}

}  // namespace
}  // namespace kvor
