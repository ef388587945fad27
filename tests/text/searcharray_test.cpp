// Searches and tables of patterns: beside a naive model for all small texts and tables, and what
// lies beyond its alphabet.
#include "kvorlib/searcharray.h"

#include <algorithm>
#include <optional>

#include "support/allwords.h"
#include "text/bothwidths.h"

namespace {

using Words = std::vector<std::string>;

Words WordsOver(std::string_view alphabet, std::size_t longest) {
  Words words;
  ForEachWord(alphabet, longest, [&](const std::string& word) { words.push_back(word); });
  return words;
}

std::string Folded(std::string text, bool ignoreCase) {
  if (ignoreCase) std::replace(text.begin(), text.end(), 'A', 'a');
  return text;
}

// Where the first of the patterns stands and which it is: at one place the longest, of equals the
// first. An empty one begins every text, but is found at a zero character only.
std::pair<std::size_t, std::optional<std::size_t>> FirstHitIn(const std::string& text,
                                                              const Words& patterns,
                                                              bool anywhere) {
  for (std::size_t at = 0; at < (anywhere ? text.size() : 1); ++at) {
    std::optional<std::size_t> best;
    for (std::size_t i = 0; i < patterns.size(); ++i)
      if (text.substr(at).starts_with(patterns[i]) &&
          (!patterns[i].empty() || !anywhere || text[at] == 0) &&
          (!best || patterns[i].size() > patterns[*best].size()))
        best = i;
    if (best) return {at, best};
  }
  return {text.size(), std::nullopt};
}

template <class T>
struct SearchArrayTest : testing::Test {
  static TransArray<T> Table(const std::vector<std::pair<std::string, std::string>>& rows) {
    std::vector<STRINGPAIR<T>> pairs;
    for (const auto& [first, second] : rows) pairs.push_back({W<T>(first), W<T>(second)});
    TransArray<T> table(pairs.data(), static_cast<int>(pairs.size()));
    table.SetCaseMode(true);
    return table;
  }

  // Each pattern stands for its number among the others.
  static void Compare(const TransArray<T>& table, const std::string& word, const Words& patterns) {
    const auto text = W<T>(word);
    const auto number = [](const std::optional<std::size_t>& found) {
      return found ? std::to_string(*found) : "none";
    };
    STRINGPAIR<T> begins{{}, W<T>("none")}, first = begins;
    const auto begin = FirstHitIn(Folded(word, true), patterns, false).second;
    ASSERT_EQ(table.CheckFirstPos(Slice(text), begins), begin.has_value());
    ASSERT_EQ(U8(Slice(begins.second)), number(begin)) << word;
    const auto [at, found] = FirstHitIn(Folded(word, true), patterns, true);
    ASSERT_EQ(table.GetFirstElement(Slice(text), first), found ? text.data() + at : nullptr);
    ASSERT_EQ(U8(Slice(first.second)), number(found)) << word;

    std::string expected, rest = word;
    for (auto [place, hit] = std::pair(at, found); hit;
         std::tie(place, hit) = FirstHitIn(Folded(rest, true), patterns, true)) {
      const std::size_t used = patterns[*hit].size();
      expected += rest.substr(0, place) + std::to_string(*hit);
      if (used == 0) expected += rest[place];
      rest.erase(0, place + std::max<std::size_t>(used, 1));
    }
    auto result = text;
    ASSERT_EQ(table.Translate(Slice(result), result), found.has_value());
    ASSERT_EQ(U8(Slice(result)), expected + rest) << word;
  }
};
TYPED_TEST_SUITE(SearchArrayTest, Widths);

TYPED_TEST(SearchArrayTest, PrefixesAndPlacesAreThoseOfAllShortTextsAndPatterns) {
  for (const bool ignoreCase : {false, true}) {
    for (const std::string& word : WordsOver(std::string_view("aA[\0", 4), 4)) {
      for (const std::string& pattern : WordsOver("aA{", 3)) {
        const auto text = W<TypeParam>(word), sought = W<TypeParam>(pattern);
        const std::string key = Folded(word, ignoreCase), wanted = Folded(pattern, ignoreCase);
        ASSERT_EQ(StrEQU(Slice(text), sought.c_str(), ignoreCase), key.starts_with(wanted));
        const std::size_t at = wanted.empty() ? key.find('\0') : key.find(wanted);
        ASSERT_EQ(MyMemStr(Slice(text), sought.c_str(), ignoreCase),
                  at == key.npos ? nullptr : text.data() + at)
            << word << ' ' << pattern << ' ' << ignoreCase;
      }
    }
  }
}

TEST(WideText, BeyondEightBitsFoldsCaseInAllCharactersButTheFirstOneOfASearch) {
  const std::u16string text = u"Привет";
  EXPECT_EQ(MyMemStr(Slice(text), u"ПРИВЕТ", true), text.data());
  EXPECT_EQ(MyMemStr(Slice(text), u"приВЕТ", true), nullptr);
  EXPECT_TRUE(StrEQU(Slice(text), u"приВЕТ", true));
}

TYPED_TEST(SearchArrayTest, TheFirstPlaceThenTheLongestPatternWinsInAllTablesOfThree) {
  const Words all = WordsOver("ab", 3), texts = WordsOver(std::string_view("aAb\0", 4), 4);
  for (const std::string& one : all) {
    for (const std::string& two : all) {
      for (const std::string& three : {std::string("ab"), std::string("bba"), std::string()}) {
        const auto table = this->Table({{one, "0"}, {two, "1"}, {three, "2"}});
        for (const std::string& word : texts) this->Compare(table, word, {one, two, three});
        if (this->HasFatalFailure()) FAIL() << one << ' ' << two << ' ' << three;
      }
    }
  }
}

TYPED_TEST(SearchArrayTest, WhatWasAddedLastIsSoughtLastAndAZeroEndsAPattern) {
  auto table = this->Table({{"abc", "1"}, {std::string("b\0c", 3), "2"}, {"x", "1"}});
  table.GetArray().push_back({W<TypeParam>("_abcd"), {}});
  STRINGPAIR<TypeParam> found;
  const auto text = W<TypeParam>("_abcd");
  EXPECT_EQ(table.GetFirstElement(Slice(text), found), text.data() + 1)
      << "what reaches behind a hit is not seen";
  auto zero = W<TypeParam>("abd!");
  EXPECT_TRUE(table.Translate(Slice(zero), zero));
  EXPECT_EQ(U8(Slice(zero)), "a2") << "but its length counts";
  EXPECT_EQ(U8(Slice(table.ReverseSubst(W<TypeParam>("1")))), "abc");
  EXPECT_EQ(U8(Slice(table.ReverseSubst(W<TypeParam>("b")))), "b");
}

TEST(Translation, WhatIsRareIsNotSoughtAgainAfterEachHitOfWhatIsNot) {
  struct Counting : TransArray<char> {
    const char* FindPattern(const BASE_STRING<char>& text, const char* pattern) const override {
      ++asked;
      return TransArray::FindPattern(text, pattern);
    }
    mutable int asked = 0;
  } table;
  const STRINGPAIR<char> pairs[] = {{"rule", ""}, {"a", ""}, {"none", ""}};
  table.SetArray(pairs, 3);
  std::string text = std::string(500, 'a') + "rule" + std::string(500, 'a');
  EXPECT_TRUE(table.Translate(Slice(text), text) && text.empty());
  EXPECT_EQ(table.asked, 1001 + 2 + 1) << "each is asked for once more than it is there";
}

}  // namespace
