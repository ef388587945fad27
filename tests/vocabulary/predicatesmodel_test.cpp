// Conditions beside naive models: a reader that follows the grammar, and an evaluation that goes on
// from each success and comes back from each failure.
#include <gtest/gtest.h>

#include <functional>

#include "support/allwords.h"
#include "vocabulary/letters.h"

namespace {

struct Expression {
  enum Kind { Letter, Not, And, Or } kind;
  char letter = 0;
  std::vector<Expression> parts;
};

// Throws the error.
class Reader {
 public:
  explicit Reader(const std::string& tokens) : rest(tokens) {}

  Expression Body(int level) {
    Expression body = Atom(level);
    char item = Next();
    for (; item == '+'; item = Next()) body = {Expression::And, 0, {body, Atom(level)}};
    if (item == '|') return {Expression::Or, 0, {body, Body(level)}};
    if (item == ')' && level == 0) throw "Wrong bracket level";
    if (item == ';' && level > 0) throw "Wrong bracket level";
    if (item != ')' && item != ';') throw "Wrong syntax";
    return body;
  }

 private:
  Expression Atom(int level) {
    char item = Next();
    const bool negated = item == '^';
    if (negated) item = Next();
    if (item == 0) throw "Wrong syntax";
    const Expression atom =
        item == '(' ? Body(level + 1) : Expression{Expression::Letter, item, {}};
    return negated ? Expression{Expression::Not, 0, {atom}} : atom;
  }
  char Next() { return at < rest.size() ? rest[at++] : '\0'; }

  std::string rest;
  std::size_t at = 0;
};

// Whether the expression holds and `then` does; all ways are tried, from left to right.
bool Holds(const Expression& e, const std::string& truths, std::string& asked,
           const std::function<bool()>& then) {
  const auto part = [&](std::size_t i, const std::function<bool()>& next) {
    return Holds(e.parts[i], truths, asked, next);
  };
  switch (e.kind) {
    case Expression::Letter:
      asked += e.letter;
      return truths.find(e.letter) != truths.npos && then();
    case Expression::Not:
      return !part(0, [] { return true; }) && then();
    case Expression::And:
      return part(0, [&] { return part(1, then); });
    default:
      return part(0, then) || part(1, then);
  }
}

// Reads with both; the error, or "" for what both have read and asked alike for these values.
void Compare(const std::string& tokens, const std::vector<std::string>& values) {
  Letters tree;
  std::string spaced;
  for (const char token : tokens) spaced.append({token, ' '});
  const std::string told = tree.Read(spaced);
  std::string error;
  Expression model{};
  try {
    model = Reader(tokens).Body(0);
  } catch (const char* words) {
    error = "Line 1: " + std::string(words) + "\r\n";
  }
  ASSERT_EQ(told, error) << tokens;
  if (!error.empty()) return;
  for (const std::string& truths : values) {
    std::string asked;
    const bool holds = Holds(model, truths, asked, [] { return true; });
    tree.truths = truths;
    tree.asked.clear();
    ASSERT_EQ(tree.Check(), holds) << tokens << " with " << truths;
    ASSERT_EQ(tree.asked, asked) << tokens << " with " << truths;
  }
}

// All expressions of `count` letters, A first, with and without negations and brackets.
std::vector<std::string> ExpressionsOf(int count, char first = 'A', bool bracketed = true) {
  if (count == 1) return {{first}, {'^', first}};
  std::vector<std::string> all;
  for (int left = 1; left < count; ++left)
    for (const std::string& a : ExpressionsOf(left, first))
      for (const std::string& b : ExpressionsOf(count - left, static_cast<char>(first + left)))
        for (const char sign : {'+', '|'}) all.push_back(a + sign + b);
  if (!bracketed) return all;
  const std::size_t plain = all.size();
  for (std::size_t i = 0; i < plain; ++i) {
    all.push_back('(' + all[i] + ')');
    all.push_back("^(" + all[i] + ')');
  }
  return all;
}

TEST(PredicatesModel, AllShortRowsOfSignsAreReadOrRefusedAndEvaluatedAsTheGrammarSays) {
  ForEachWord("AB+|^();", 5, [](const std::string& tokens) {
    Compare(tokens, {"", "A", "B", "AB", "+|^", "A+;"});
  });
}

TEST(PredicatesModel, AllExpressionsOfFourLettersAskInTheSameOrderForAllValues) {
  std::vector<std::string> values;
  for (int bits = 0; bits < 16; ++bits)
    for (values.emplace_back(); const char c : {'A', 'B', 'C', 'D'})
      if ((bits >> (c - 'A') & 1) != 0) values.back() += c;
  for (int count = 1; count <= 4; ++count)
    for (const std::string& e : ExpressionsOf(count, 'A', false)) Compare(e + ';', values);
}

}  // namespace
