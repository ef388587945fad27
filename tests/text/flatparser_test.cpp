// The flat lexer.

#include "kvorlib/flatparser.h"

#include "text/bothwidths.h"

class FlatParserTest : public testing::Test {
 public:
  FlatParserTest() { ParsStrInit(&parser); }

  void SetText(std::string_view given) {
    text = given;
    SetParsText(&parser, text.c_str(), static_cast<int>(text.size()));
  }
  // Each item as "code:text", and where reading ended if that is not the end of the text.
  std::string Items(std::string_view given) {
    SetText(given);
    std::string items;
    for (int code; (code = GetItem(&parser, &item)) != 4;)
      items += (items.empty() ? "" : " ") + std::to_string(code) + ':' + U8(item);
    return parser.position == parser.length ? items : items + '@' + std::to_string(parser.position);
  }

  PARSSTR parser;
  std::string text;
  BASE_STRING<char> item;
};

TEST_F(FlatParserTest, TextsAreCutIntoTheseItems) {
  tagCommand commands[101] = {{"\"", "\"", 7}, {"[", nullptr, 8},   {"[[", "]]", 9},
                              {"", "", 10},    {"ll", nullptr, 11}, {"ll", nullptr, 12},
                              {"<\\", ">", 13}};
  EXPECT_TRUE(SetParsCommand(&parser, commands, 7));
  EXPECT_FALSE(SetParsCommand(&parser, commands, 101));
  const std::tuple<std::string_view, std::string_view> rows[] = {
      {"ab1 ab_c,d", "5:ab1 1:  5:ab_c 2:, 3:d"},
      {" \t\v\r\n\n", "1: \t\v\r 6:\n 6:\n"},
      {"ab\0c"sv, "3:ab@2"},
      {"ab1[x[[y]]callx", "5:ab1 8:[ 3:x 9:y 3:ca 12:ll 3:x"},
      {R"("\"a\\"b"a)", R"(7:\"a\\ 3:b -1:" 3:a)"},
      {R"("\\"b"\\\""x")", R"(7:\\ 3:b 7:\\\ 7:x)"},
      {R"("\"""x"<\\>x>)", R"(7:\" 7:x 13:\>x)"}};
  for (const auto& [given, items] : rows) EXPECT_EQ(Items(given), items) << given;
  SetParsParams(&parser, "xyz", "x!", "xy!", "x");
  EXPECT_EQ(Items("xx!yyz"), "6:x 6:x 2:! 1:yy 3:z") << "the order of the classes";
}

TEST_F(FlatParserTest, ThePositionIsSetWithinTheTextAndAtItsEnd) {
  SetText("ab\n");
  EXPECT_TRUE(SetParsPos(&parser, text.c_str() + 3) && parser.position == 3);
  EXPECT_FALSE(SetParsPos(&parser, text.c_str() + 4) || SetParsPos(&parser, text.c_str() - 1));
  EXPECT_EQ(parser.position, 3);
}

TEST_F(FlatParserTest, TranslationMayOverlapItsTextAndMustBeShorterThanTheBuffer) {
  const tagTransGroup groups[] = {{"a", "aa"}, {"ab", "X"}, {"ab", "Y"}, {"", "-"}};
  EXPECT_TRUE(SetParsTrans(&parser, groups, 4));
  char buffer[] = "..ab\0ac";
  BASE_STRING<char> given(buffer + 2, 5);
  EXPECT_FALSE(TranslateStrPars(&given, buffer, 5, &parser));
  EXPECT_STREQ(buffer, "..ab");
  EXPECT_TRUE(TranslateStrPars(&given, buffer, 6, &parser));
  EXPECT_EQ(std::string(buffer, 6), "Y\0aac\0"sv);
}
