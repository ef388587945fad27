// Boolean conditions, with letters for conditions.

#include "kvorlib/predicates.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "kvorlib/encoding.h"

namespace {

struct Items : LoadText<char16_t> {
  int GetItem(BASE_STRING<char16_t>& item) override {
    int code = 1;
    while (code == 1 || code == 6) code = LoadText::GetItem(item);
    return code;
  }
};

struct Letters : BASETREE {
  struct Letter : BasePred {
    Letter(BASETREE* owner, char name) : BasePred(owner), letter(1, name) {}
    bool Check() const override {
      static_cast<Letters*>(tree)->asked += letter[0];
      return static_cast<Letters*>(tree)->truths.find(letter[0]) != std::string::npos;
    }
    std::vector<char> letter;  // leaks when a condition is deleted as less than it is
  };

  BasePred* ReadPred(DefText<char16_t>& text) override {
    BASE_STRING<char16_t> item;
    if (text.GetItem(item) == 4) return nullptr;
    if (*item.ptr == '!') ThrowError(text, u"Bad condition");
    return new Letter(this, static_cast<char>(*item.ptr));
  }
  // The error, if there is one.
  std::string Read(const std::string& expression) {
    SimpleParser<char16_t> parser(nullptr, u"();+|^", nullptr, nullptr);
    Items text;
    text.SetTextParser(&parser);
    text.SetText(A2U(expression));
    std::u16string error;
    return ReadTreeBody(text, error) ? "" : U2A(error);
  }

  std::string truths, asked;  // the letters that hold, and those that were asked
};

}  // namespace

TEST(Predicates, AreAskedFromLeftToRightAndNoFurtherThanNeeded) {
  const std::tuple<const char*, const char*, bool, const char*> rows[] = {
      {"A + B;", "B", false, "A"},
      {"^A | B;", "AB", true, "AB"},
      {"A + B | C;", "AC", true, "ABC"},
      {"A | B + C | D;", "BD", true, "ABCD"},
      {"(A | B) + C;", "AB", false, "ACBC"},
      {"A + (B | C) + D | E;", "ACE", true, "ABCDE"},
      {"((A) + B | C) + D;", "CD", true, "ACD"},
      {"^(A | ^(B + C)) + D;", "BCD", true, "ABCD"},
      {"^^ + A;", "A", true, "^A"}};
  for (const auto& [expression, truths, answer, asked] : rows) {
    Letters tree;
    EXPECT_EQ(tree.Read(expression), "");
    Letters copy = tree;
    copy.truths = truths;
    EXPECT_EQ(copy.Check(), answer) << expression << truths;
    EXPECT_EQ(copy.asked, asked) << expression << truths;
  }
}

TEST(Predicates, ABadExpressionIsToldWithItsLineAndLeavesTheTreeAsItWas) {
  Letters tree;
  tree.Read("A;");
  const std::string deep(1001, '(');
  for (const std::string& expression : {std::string("A + B)"), std::string("(A + B;"), deep})
    EXPECT_EQ(tree.Read("B |\n" + expression), "Line 2: Wrong bracket level\r\n");
  for (const char* expression : {"A B;", "A", ""})
    EXPECT_EQ(tree.Read(expression), "Line 1: Wrong syntax\r\n");
  EXPECT_EQ(tree.Read("A + !"), "Line 1: Bad condition\r\n");
  tree.Check();
  EXPECT_EQ(tree.asked, "A");
}

TEST(Predicates, LongExpressionsWithManyWaysThroughThemAreReadAskedAndLetGo) {
  std::string expression = "A";
  for (int i = 0; i < 50000; ++i) expression += " + A";
  for (int i = 0; i < 50000; ++i) expression += i == 0 ? " + F" : " | F";
  expression += " | (";
  for (int i = 0; i < 40; ++i) expression += "(F | A) + ";
  Letters tree;
  tree.truths = "AC";
  EXPECT_EQ(tree.Read(expression + "A) + C;"), "");
  EXPECT_TRUE(tree.Check());

  std::string ways = "F";  // 2^60 ways to no, through each level of brackets
  for (int level = 0; level < 3; ++level) {
    ways = "^(" + ways + ")";
    for (int i = 0; i < 60; ++i) ways = "(A | C) + " + ways;
    ways += " + F";
  }
  EXPECT_EQ(tree.Read(ways + ";"), "");
  tree.asked.clear();
  EXPECT_FALSE(tree.Check());
  EXPECT_LT(tree.asked.size(), 5000U);
}
