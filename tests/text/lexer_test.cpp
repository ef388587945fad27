// The items that a lexer reads.

#include "kvorlib/lexer.h"

#include "text/bothwidths.h"

template <class T>
class LexerTest : public testing::Test {
 public:
  LexerTest() {
    const auto quote = W<T>("\"");
    const TAGSDEF<T> tags[] = {
        {7, quote, quote, '\\'}, {8, W<T>("/*"), W<T>("*/"), 0}, {9, W<T>("/"), {}, 0}};
    parser.SetParsTags(tags, 3);
  }

  // Each item as "code:text", with "+n" where it takes n characters more of the text.
  std::string Items(std::string_view content) {
    const auto text = W<T>(content);
    BASE_STRING<T> input = Slice(text), item;
    std::string items;
    int length = 0;
    for (int code; (code = parser.GetItem(input, item, length)) != 4; input += length) {
      items += (items.empty() ? "" : " ") + std::to_string(code) + ':' + U8(item);
      if (length != item.len) items += '+' + std::to_string(length - item.len);
    }
    return items;
  }
  void SetClass(int kind, const char* symbols) { parser.SetParsParam(W<T>(symbols).c_str(), kind); }
  std::string Class(int kind) { return U8({parser.GetParsParam(kind), -1}); }

  SimpleParser<T> parser;
};
TYPED_TEST_SUITE(LexerTest, Widths);

TYPED_TEST(LexerTest, TextsAreCutIntoTheseItems) {
  const std::tuple<std::string_view, std::string_view> rows[] = {
      {"a=b1 x", "3:a 2:= 5:b1 1:  3:x"},
      {" \t\r\n\n;;", "1: \t\r 6:\n 6:\n 2:; 2:;"},
      {"a\0b \0"sv, "3:a 1:\0 3:b 1: \0"sv},
      {R"("a\"b"c)", R"(7:a\"b+2 3:c)"},
      {R"("\"" "a\\"b)", R"(7:\"+2 1:  7:a\\+2 3:b)"},
      {R"("\\\""")", R"(7:\\\+2 7:+2)"},
      {R"("\"\" "x)", R"(7:\"\" +2 3:x)"},
      {R"("a)", "7:+2"},
      {"/*a/*/ / x", "8:a/+4 1:  9:/ 1:  3:x"}};
  for (const auto& [text, items] : rows) EXPECT_EQ(this->Items(text), items) << text;
}

TYPED_TEST(LexerTest, WhiteGoesBeforeSeparatorsAndThoseBeforeLineEnds) {
  this->SetClass(1, "=!");
  this->SetClass(6, ";=");
  EXPECT_EQ(this->Items("a!=b;=c"), "3:a 1:!= 3:b 2:; 1:= 3:c");
  this->SetClass(2, ".");
  EXPECT_EQ(this->Items("a!=b;=c"), "3:a 1:!= 3:b 6:;= 3:c");
}

TYPED_TEST(LexerTest, WhatEndsAWordFollowsTheClassesAndComesBackWithThem) {
  this->parser.PopPar();
  this->parser.PushPar();
  this->parser.SetParsParam(this->parser.GetParsParam(0) + 6, 2);
  EXPECT_EQ(this->Class(2) + this->Class(0), "} \t\r\n} \t\r\n \t\r\n")
      << "set from its own string";
  this->SetClass(99, "-");
  this->SetClass(3, "xyz");
  EXPECT_EQ(this->Class(0), "-");
  this->parser.GetParsTags().Clear();
  this->parser.PopPar();
  EXPECT_EQ(this->Items("a;\"b\""), "3:a 2:; 7:b+2");
}
