// The flat lexer beside a naive model, on all short texts.
#include "kvorlib/flatparser.h"
#include "support/allwords.h"
#include "text/bothwidths.h"

namespace {

struct Classes {
  std::string ident, separ, white, eol;
};

struct Item {
  int code, begin, size, used;
  bool operator==(const Item&) const = default;
};

void PrintTo(const Item& i, std::ostream* out) {
  *out << i.code << " at " << i.begin << '+' << i.size << " used " << i.used;
}

bool In(const std::string& set, char c) { return c != 0 && set.find(c) != set.npos; }

// Which pattern stands first in the text, and where: at one place the longest, of equals the last.
std::pair<int, std::size_t> FirstOf(const std::string& text,
                                    const std::vector<std::string>& patterns) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    int best = -1;
    for (int i = 0; i < static_cast<int>(patterns.size()); ++i)
      if (text.substr(at).starts_with(patterns[i]) &&
          (best < 0 || patterns[i].size() >= patterns[best].size()))
        best = i;
    if (best >= 0) return {best, at};
  }
  return {-1, text.size()};
}

Item Measured(const Classes& classes, const std::string& text) {
  const char c = text[0];
  const auto run = [&](auto member) {
    int n = 0;
    while (n < static_cast<int>(text.size()) && member(text[n])) ++n;
    return n;
  };
  const auto item = [](int code, int size) { return Item{code, 0, size, size}; };
  if (c == 0) return item(4, 0);
  if (In(classes.eol, c)) return item(6, 1);
  if (In(classes.separ, c)) return item(2, 1);
  if (In(classes.white, c)) return item(1, run([&](char w) { return In(classes.white, w); }));
  const int word =
      run([&](char w) { return w != 0 && !In(classes.white + classes.eol + classes.separ, w); });
  const int letters = run([&](char w) { return In(classes.ident, w); });
  return item(letters < word ? 5 : 3, word);
}

Item Commanded(const tagCommand& command, const std::string& text) {
  const std::string open = command.open;
  const int opening = static_cast<int>(open.size());
  if (command.close == nullptr) return {command.code, 0, opening, opening};
  const std::string close = command.close;
  const std::string body = text.substr(open.size());
  for (std::size_t hit, from = 0; (hit = body.find(close, from)) != body.npos;
       from = hit + close.size()) {
    const bool escaped = hit > 0 && body[hit - 1] == '\\' && (hit == 1 || body[hit - 2] != '\\');
    const int size = static_cast<int>(hit);
    if (!escaped)
      return {command.code, opening, size, opening + size + static_cast<int>(close.size())};
  }
  return {-1, 0, opening, opening};
}

struct FlatParserModel : testing::Test {
  FlatParserModel() { ParsStrInit(&parser); }
  PARSSTR parser;
};

}  // namespace

TEST_F(FlatParserModel, ItemsAreCutAsTheRulesSayFromAllShortTexts) {
  const tagCommand commands[] = {
      {"\"", "\"", 7}, {"[", "]]", 8}, {"[a", nullptr, 9}, {"[a", "a", 10}, {"a[", nullptr, 11}};
  const Classes classes[] = {{"abc", ".", " \t", "\n"}, {"a[", "b ", " 1", "1\n"}};
  ASSERT_TRUE(SetParsCommand(&parser, commands, 5));
  const std::vector<std::string> opens = {"\"", "[", "[a", "[a", "a["};
  for (const Classes& set : classes) {
    SetParsParams(&parser, set.ident.c_str(), set.separ.c_str(), set.white.c_str(),
                  set.eol.c_str());
    ForEachWord(std::string_view("a1. \n\"\\[]\0", 10), 5, [&](const std::string& text) {
      SetParsText(&parser, text.c_str(), static_cast<int>(text.size()));
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

TEST_F(FlatParserModel, LinesAreFoundAsTheRulesSayFromEachPlaceOfAllShortTexts) {
  SetParsParams(&parser, nullptr, nullptr, nullptr, "\n;");
  ForEachWord(std::string_view("a\n;\0", 4), 6, [&](const std::string& text) {
    const int size = static_cast<int>(text.size());
    SetParsText(&parser, text.c_str(), size);
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

TEST_F(FlatParserModel, TranslationIsThatOfTheFirstAndLongestPatternIntoJustEnoughRoom) {
  const std::vector<tagTransGroup> groups = {{"a", "bb"}, {"ab", ""}, {"bab", "c"}, {"ab", "aab"}};
  const std::vector<std::string> patterns = {"a", "ab", "bab", "ab"};
  ForEachWord("abc", 8, [&](const std::string& word) {
    std::string expected, rest = word;
    for (;;) {
      const auto [found, at] = FirstOf(rest, patterns);
      expected += rest.substr(0, at);
      if (found < 0) break;
      expected += groups[found].to;
      rest.erase(0, at + patterns[found].size());
    }
    std::string buffer(expected.size() + 1, '?');
    BASE_STRING<char> text = Slice(word);
    const int size = static_cast<int>(expected.size());
    ASSERT_FALSE(TranslateStr(&text, buffer.data(), size, groups.data(), 4));
    ASSERT_EQ(buffer.find_first_not_of('?'), buffer.npos);
    ASSERT_TRUE(TranslateStr(&text, buffer.data(), size + 1, groups.data(), 4));
    ASSERT_EQ(buffer, expected + '\0') << word;
  });
}
