// Boolean conditions, with letters for conditions.

#include <gtest/gtest.h>

#include <tuple>

#include "vocabulary/letters.h"

TEST(Predicates, AreAskedFromLeftToRightAndNoFurtherThanNeeded) {
  const std::tuple<const char*, const char*, bool, const char*> rows[] = {
      {"A + B;", "B", false, "A"},
      {"A + B | C;", "AC", true, "ABC"},
      {"(A | B) + C;", "AB", false, "ACBC"},
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
