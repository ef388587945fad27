// The flat lexer: beside a naive model on all short texts, and what a model does not tell.
#include "kvorlib/flatparser.h"

#include <array>

#include "support/allwords.h"
#include "text/bothwidths.h"

namespace {

struct FlatParserTest : testing::Test {
  FlatParserTest() { ParsStrInit(&parser); }
  void SetText(const std::string& text) {
    SetParsText(&parser, text.c_str(), static_cast<int>(text.size()));
  }
  PARSSTR parser;
};

struct Classes {
  std::string ident, separ, white, eol;
};

using Item = std::array<int, 4>;  // the code, where it begins, its length, how far it reaches

bool In(const std::string& set, char c) { return c != 0 && set.find(c) != set.npos; }

// Which pattern stands first in the text, and where: at one place the longest, of equals the last.
std::pair<int, std::size_t> FirstOf(const std::string& text,
                                    const std::vector<std::string>& patterns) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    int best = -1;
    for (int i = 0; i < static_cast<int>(patterns.size()); ++i)
      if (!patterns[i].empty() && text.substr(at).starts_with(patterns[i]) &&
          (best < 0 || patterns[i].size() >= patterns[best].size()))
        best = i;
    if (best >= 0) return {best, at};
  }
  return {-1, text.size()};
}

Item Measured(const Classes& classes, const std::string& text) {
  const auto item = [&](int code, std::size_t size) {
    const int length = static_cast<int>(std::min(size, text.size()));
    return Item{code, 0, length, length};
  };
  if (text[0] == 0) return item(4, 0);
  if (In(classes.eol, text[0])) return item(6, 1);
  if (In(classes.separ, text[0])) return item(2, 1);
  if (In(classes.white, text[0])) return item(1, text.find_first_not_of(classes.white));
  const auto end = text.find_first_of(classes.white + classes.eol + classes.separ + '\0');
  return item(text.find_first_not_of(classes.ident) < end ? 5 : 3, end);
}

Item Commanded(const tagCommand& command, const std::string& text) {
  const int opening = static_cast<int>(std::string(command.open).size());
  if (command.close == nullptr) return {command.code, 0, opening, opening};
  const std::string close = command.close, body = text.substr(opening);
  for (std::size_t hit, from = 0; (hit = body.find(close, from)) != body.npos;
       from = hit + close.size()) {
    const bool escaped = hit > 0 && body[hit - 1] == '\\' && (hit == 1 || body[hit - 2] != '\\');
    const int size = static_cast<int>(hit), closed = size + static_cast<int>(close.size());
    if (!escaped) return {command.code, opening, size, opening + closed};
  }
  return {-1, 0, opening, opening};
}

TEST_F(FlatParserTest, ItemsAreCutAsTheRulesSayFromAllShortTexts) {
  tagCommand commands[101] = {{"\"", "\"", 7},   {"[", "]]", 8},      {"[a", nullptr, 9},
                              {"[a", "a", 10},   {"a[", nullptr, 11}, {"", "", 12},
                              {"c", nullptr, 13}};
  const std::vector<std::string> opens = {"\"", "[", "[a", "[a", "a[", ""};
  ASSERT_TRUE(SetParsCommand(&parser, commands, 6));
  ASSERT_FALSE(SetParsCommand(&parser, commands, 101)) << "too many, and the old ones stay";
  for (const Classes& set : {Classes{"abc", ".", " \t", "\n"}, {"a[", "b ", " 1", "1\n"}}) {
    SetParsParams(&parser, set.ident.c_str(), set.separ.c_str(), set.white.c_str(),
                  set.eol.c_str());
    ForEachWord(std::string_view("a1. \n\"\\[]\0", 10), 5, [&](const std::string& text) {
      SetText(text);
      BASE_STRING<char> item(text.c_str(), 0);
      const int code = GetItem(&parser, &item);
      const Item told{code, static_cast<int>(item.ptr - text.c_str()), item.len, parser.position};
      const auto [command, at] = FirstOf(text, opens);
      const Item expected = text.empty()              ? Item{4, 0, 0, 0}
                            : command >= 0 && at == 0 ? Commanded(commands[command], text)
                                                      : Measured(set, text.substr(0, at));
      ASSERT_EQ(told, expected) << text;
    });
  }
}

TEST_F(FlatParserTest, ClassesThatAreNotGivenAreTheUsualOnes) {
  const std::string text = "Az1 \t\v\rz.,()?/\"';:\n";
  SetText(text);
  std::string codes;
  for (BASE_STRING<char> item; parser.position < parser.length;)
    codes += std::to_string(GetItem(&parser, &item));
  EXPECT_EQ(codes, "513" + std::string(10, '2') + "6");
  EXPECT_TRUE(SetParsPos(&parser, text.c_str() + text.size()));
  EXPECT_FALSE(SetParsPos(&parser, text.c_str() - 1));
  EXPECT_FALSE(SetParsPos(&parser, text.c_str() + text.size() + 1));
  EXPECT_EQ(parser.position, 19);
}

TEST_F(FlatParserTest, LinesAreFoundAsTheRulesSayFromEachPlaceOfAllShortTexts) {
  SetParsParams(&parser, nullptr, nullptr, nullptr, "\n;");
  ForEachWord(std::string_view("a\n;\0", 4), 6, [&](const std::string& text) {
    const int size = static_cast<int>(text.size());
    SetText(text);
    const auto ends = [&](int at) { return at < size && In("\n;", text[at]); };
    for (int from = 0; from <= size; ++from) {
      int skipped = from, begin = from, lines = 0;
      while (skipped < size && text[skipped] != 0 && !ends(skipped)) ++skipped;
      if (ends(from) || from == size || text[from] == 0) ++skipped;
      if (ends(begin) && begin > 0) --begin;
      while (begin > 0 && !ends(begin)) --begin;
      if (ends(begin) && begin > 0) ++begin;
      const std::string seen = text.substr(0, text.find('\0'));
      for (std::size_t hit = seen.find("\n;"); hit <= std::size_t(from);
           hit = seen.find("\n;", hit + 2))
        ++lines;
      parser.position = from;
      BASE_STRING<char> line;
      GetCurrLine(&parser, &line);
      ASSERT_EQ(U8(line), text.substr(begin, from - begin)) << text << from;
      ASSERT_EQ(GetNumParsStro(&parser), lines) << text << from;
      SkipLine(&parser);
      ASSERT_EQ(parser.position, std::min(skipped, size)) << text << from;
    }
  });
}

TEST_F(FlatParserTest, TranslationIsThatOfTheFirstAndLongestPatternIntoJustEnoughRoom) {
  const tagTransGroup groups[] = {{"a", "bb"}, {"ab", ""}, {"bab", "c"}, {"ab", "aab"}, {"", "-"}};
  const std::vector<std::string> patterns = {"a", "ab", "bab", "ab", ""};
  ASSERT_TRUE(SetParsTrans(&parser, groups, 5));
  ForEachWord(std::string_view("abc\0", 4), 6, [&](const std::string& word) {
    std::string expected, rest = word;
    for (;;) {
      const auto [found, at] = FirstOf(rest, patterns);
      int index = -1;
      const char* first =
          GetFirstTrans(rest.data(), static_cast<int>(rest.size()), groups, 5, &index);
      ASSERT_EQ(index, found) << rest;
      ASSERT_EQ(first, found < 0 ? nullptr : rest.data() + at) << rest;
      expected += rest.substr(0, at);
      if (found < 0) break;
      expected += groups[found].to;
      rest.erase(0, at + patterns[found].size());
    }
    std::string buffer = word + std::string(expected.size() + 1, '?');  // it may lie in the text
    BASE_STRING<char> text(buffer.data(), static_cast<int>(word.size()));
    const int size = static_cast<int>(expected.size());
    ASSERT_FALSE(TranslateStrPars(&text, buffer.data(), size, &parser));
    ASSERT_TRUE(buffer.starts_with(word + '?'));
    ASSERT_TRUE(TranslateStrPars(&text, buffer.data(), size + 1, &parser));
    ASSERT_TRUE(buffer.starts_with(expected + '\0')) << word;
    ASSERT_EQ(buffer.find_first_not_of('?', std::max(expected.size() + 1, word.size())),
              buffer.npos);
  });
}

}  // namespace
