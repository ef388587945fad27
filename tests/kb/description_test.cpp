// Descriptions of knowledge bases: which lines are read, and what is said of the others.
#include "kb/description.h"

#include <gtest/gtest.h>

namespace {

struct Row {
  const char16_t* text;
  const char16_t* settings;  // name, "=", value and ";" for each
  const char16_t* errors;
};

constexpr const char16_t* BadLine = u"Wrong option string";
constexpr const char16_t* BadSetting = u"Wrong string in cfg file";

const Row Rows[] = {
    {u"", u"", u""},
    {u"\r\n# Root = \"a\"\r\n\tRoot = \"C:\\data\"\r\nrules.txt=\"r\"",
     u"Root=C:\\data;rules.txt=r;", u""},
    {u"a=\"1\"\nb=\"2\"\nA=\"3\"", u"a=3;b=2;", u""},
    {u"a=\"x\\\"y\"", u"a=x\\\"y;", u""},
    {u"Key1=\"x\" b=\"y\"\nc=\"z\"", u"c=z;", BadLine},
    {u"a=\"\" b=\"y\"\nc=\"z\"", u"c=z;", BadSetting},
    {u"a\nb=\nc=\"z\"", u"c=z;", u"Wrong string in cfg file\r\nWrong string in cfg file"},
    {u"a=b\nc", u"", u"Wrong string in cfg file\r\nWrong string in cfg file"},
    {u"a=\"x\" word = \"w\"\nb=\"y\"", u"a=x;b=y;", u""},
    // A comment takes its line end with it, and what is skipped behind it is the next line.
    {u"a=\"x\" # c\nb=\"y\"\nc=\"z\"", u"a=x;c=z;", u""},
    {u"a # c\nb=\"y\"\nc=\"z\"", u"c=z;", BadSetting},
    {u"a= # c\nb=\"y\"\nc=\"z\"", u"c=z;", BadSetting},
    {u"# c", u"", BadSetting},  // nothing closes it
    {u"a=\"x", u"", BadSetting},
};

TEST(Description, EachLineIsReadOrSkippedToWhereItsSkipEnds) {
  KBEnv::dmProc reader;
  KBEnv::Settings settings;
  EXPECT_FALSE(reader.LoadFromFile(u"/no/such.kb", settings));
  EXPECT_EQ(reader.GetErrors(), u"Cannot open file /no/such.kb for read");
  for (const Row& row : Rows) {
    settings.clear();
    EXPECT_TRUE(reader.LoadFromText(row.text, settings));
    std::u16string told;
    for (const auto& [name, value] : settings) told += name + u"=" + value + u";";
    EXPECT_EQ(told, row.settings) << testing::PrintToString(row.text);
    EXPECT_EQ(reader.GetErrors(), row.errors) << testing::PrintToString(row.text);
  }
}

}  // namespace
