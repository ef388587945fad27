// Searches and tables of patterns beside a naive model, for all small texts and tables.
#include <algorithm>
#include <optional>

#include "kvorlib/searcharray.h"
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

// The longest of the patterns that begin the text, the first one of equals.
std::optional<std::size_t> BeginOf(const std::string& text, const Words& patterns) {
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < patterns.size(); ++i)
    if (text.starts_with(patterns[i]) && (!best || patterns[i].size() > patterns[*best].size()))
      best = i;
  return best;
}

// An empty pattern begins every text, but is found at a zero character only.
std::pair<std::size_t, std::optional<std::size_t>> FirstHitIn(const std::string& text,
                                                              const Words& patterns) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto found = BeginOf(text.substr(at), patterns);
    if (found && (!patterns[*found].empty() || text[at] == 0)) return {at, found};
  }
  return {text.size(), std::nullopt};
}

template <class T>
class SearchModel : public testing::Test {
 public:
  // Each pattern stands for its number among the others.
  static TransArray<T> Table(const Words& patterns, bool ignoreCase) {
    std::vector<STRINGPAIR<T>> pairs;
    for (const std::string& pattern : patterns)
      pairs.push_back({W<T>(pattern), W<T>(std::to_string(pairs.size()))});
    TransArray<T> table(pairs.data(), static_cast<int>(pairs.size()));
    table.SetCaseMode(ignoreCase);
    return table;
  }

  static void Compare(const TransArray<T>& table, const std::string& word, const Words& patterns) {
    const auto text = W<T>(word);
    const std::string key = Folded(word, true);
    const auto number = [](const std::optional<std::size_t>& found) {
      return found ? std::to_string(*found) : "none";
    };
    STRINGPAIR<T> begins{{}, W<T>("none")}, first = begins;
    ASSERT_EQ(table.CheckFirstPos(Slice(text), begins), BeginOf(key, patterns).has_value());
    ASSERT_EQ(U8(Slice(begins.second)), number(BeginOf(key, patterns))) << word;
    const auto [at, found] = FirstHitIn(key, patterns);
    ASSERT_EQ(table.GetFirstElement(Slice(text), first), found ? text.data() + at : nullptr);
    ASSERT_EQ(U8(Slice(first.second)), number(found)) << word;

    std::string expected, rest = word;
    for (auto [place, hit] = FirstHitIn(key, patterns); hit;
         std::tie(place, hit) = FirstHitIn(Folded(rest, true), patterns)) {
      const std::size_t used = patterns[*hit].size();
      expected += rest.substr(0, place) + std::to_string(*hit);
      if (used == 0) expected += rest[place];
      rest.erase(0, place + std::max<std::size_t>(used, 1));
    }
    std::basic_string<T> result;
    ASSERT_EQ(table.Translate(Slice(text), result), found.has_value());
    ASSERT_EQ(U8(Slice(result)), expected + rest) << word;
  }
};
TYPED_TEST_SUITE(SearchModel, Widths);

TYPED_TEST(SearchModel, PrefixesAndPlacesAreThoseOfAllShortTextsAndPatterns) {
  for (const bool ignoreCase : {false, true}) {
    for (const std::string& word : WordsOver(std::string_view("aAb\0", 4), 4)) {
      for (const std::string& pattern : WordsOver("aAb", 3)) {
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

TYPED_TEST(SearchModel, TheFirstPlaceThenTheLongestPatternWinsInAllTablesOfThree) {
  const Words all = WordsOver("ab", 3), texts = WordsOver(std::string_view("aAb\0", 4), 4);
  for (const std::string& one : all) {
    for (const std::string& two : all) {
      for (const std::string& three : {std::string("ab"), std::string("bba"), std::string()}) {
        const Words patterns = {one, two, three};
        const auto table = this->Table(patterns, true);
        for (const std::string& word : texts) this->Compare(table, word, patterns);
        if (this->HasFatalFailure()) FAIL() << one << ' ' << two << ' ' << three;
      }
    }
  }
}

}  // namespace
