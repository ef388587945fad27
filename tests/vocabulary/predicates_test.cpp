// Boolean conditions, with letters for conditions: beside a naive model that follows the grammar,
// goes on from each success and comes back from each failure.
#include "kvorlib/predicates.h"

#include <gtest/gtest.h>

#include <functional>

#include "kvorlib/encoding.h"
#include "support/allwords.h"

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

// A part of the model: whether it and `then` hold, tried in all ways from left to right.
using Then = std::function<bool()>;
using Part = std::function<bool(const Then& then)>;

struct Model {
  // Throws the error.
  Part Body(int level) {
    Part body = Atom(level);
    char item = Next();
    for (; item == '+'; item = Next())
      body = [a = body, b = Atom(level)](const Then& then) { return a([&] { return b(then); }); };
    if (item == '|')
      return [a = body, b = Body(level)](const Then& then) { return a(then) || b(then); };
    if (item != ')' && item != ';') throw "Line 1: Wrong syntax\r\n";
    if ((item == ')') != (level > 0)) throw "Line 1: Wrong bracket level\r\n";
    return body;
  }
  Part Atom(int level) {
    char item = Next();
    const bool negated = item == '^';
    if (negated) item = Next();
    if (item == 0) throw "Line 1: Wrong syntax\r\n";
    const Part atom = item == '(' ? Body(level + 1) : Letter(item);
    if (!negated) return atom;
    return [atom](const Then& then) { return !atom([] { return true; }) && then(); };
  }
  Part Letter(char letter) {
    return [this, letter](const Then& then) {
      asked += letter;
      return truths.find(letter) != truths.npos && then();
    };
  }
  char Next() { return at < tokens.size() ? tokens[at++] : '\0'; }

  std::string tokens, truths = {}, asked = {};
  std::size_t at = 0;
};

// Reads with both, and asks both with these values.
void Compare(const std::string& tokens, const std::vector<std::string>& values) {
  Letters tree;
  std::string spaced, error;
  for (const char token : tokens) spaced.append({token, ' '});
  const std::string told = tree.Read(spaced);
  Model model{tokens};
  Part whole;
  try {
    whole = model.Body(0);
  } catch (const char* words) {
    error = words;
  }
  ASSERT_EQ(told, error) << tokens;
  if (!error.empty()) return;
  Letters copy = tree;
  for (const std::string& truths : values) {
    model.truths = copy.truths = truths;
    model.asked = copy.asked = "";
    ASSERT_EQ(copy.Check(), whole([] { return true; })) << tokens << " with " << truths;
    ASSERT_EQ(copy.asked, model.asked) << tokens << " with " << truths;
  }
}

// All expressions of `count` letters, A first, with and without negations and brackets.
std::vector<std::string> ExpressionsOf(int count, char first = 'A') {
  if (count == 1) return {{first}, {'^', first}};
  std::vector<std::string> all;
  for (int left = 1; left < count; ++left)
    for (const std::string& a : ExpressionsOf(left, first))
      for (const std::string& b : ExpressionsOf(count - left, static_cast<char>(first + left)))
        for (const std::string& both : {a + '+' + b, a + '|' + b})
          all.insert(all.end(), {both, '(' + both + ')', "^(" + both + ')'});
  return all;
}

TEST(Predicates, AllShortRowsOfSignsAreReadOrRefusedAndEvaluatedAsTheGrammarSays) {
  ForEachWord("AB+|^();", 5, [](const std::string& tokens) {
    Compare(tokens, {"", "A", "B", "AB", "+|^", "A+;"});
  });
}

TEST(Predicates, AllExpressionsOfFourLettersAskInTheSameOrderForAllValues) {
  std::vector<std::string> values;
  ForEachWord("ABCD", 4, [&](const std::string& letters) {
    if (std::is_sorted(letters.begin(), letters.end(), std::less_equal<>()))
      values.push_back(letters);
  });
  for (int count = 1; count <= 4; ++count)
    for (const std::string& e : ExpressionsOf(count)) Compare(e + ';', values);
}

TEST(Predicates, ABadExpressionIsToldWithItsLineAndLeavesTheTreeAsItWas) {
  Letters tree;
  tree.Read("A;");
  for (const std::string& bad : {std::string("A + B)"), std::string(1001, '(')})
    EXPECT_EQ(tree.Read("B |\n" + bad), "Line 2: Wrong bracket level\r\n");
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

}  // namespace
