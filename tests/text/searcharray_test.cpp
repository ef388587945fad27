// The comparisons of slices, and tables of patterns.

#include "kvorlib/searcharray.h"

#include "text/bothwidths.h"

template <class T>
class SearchArrayTest : public testing::Test {
 public:
  static TransArray<T> Table(const std::vector<std::pair<std::string_view, const char*>>& rows) {
    std::vector<STRINGPAIR<T>> pairs;
    for (const auto& [first, second] : rows) pairs.push_back({W<T>(first), W<T>(second)});
    return TransArray<T>(pairs.data(), static_cast<int>(pairs.size()));
  }
};
TYPED_TEST_SUITE(SearchArrayTest, Widths);

TYPED_TEST(SearchArrayTest, APrefixIsComparedAndAPatternFoundWithAndWithoutCase) {
  const std::tuple<std::string_view, const char*, bool, bool, int> rows[] = {
      {"abc", "abcd", false, false, -1}, {"", "", false, true, -1},
      {"abc", "", false, true, -1},      {"a\0b"sv, "", false, true, 1},
      {"aabab", "ab", false, false, 1},  {"abcab", "abd", false, false, -1},
      {"aBcb", "AbC", true, true, 0},    {"xAb", "aB", false, false, -1},
      {"xAb", "aB", true, false, 1},     {"xab", "AB", true, false, 1},
      {"ab[", "{", true, false, -1}};
  for (const auto& [content, sought, ignoreCase, begins, place] : rows) {
    const auto text = W<TypeParam>(content), pattern = W<TypeParam>(sought);
    EXPECT_EQ(StrEQU(Slice(text), pattern.c_str(), ignoreCase), begins) << content << sought;
    EXPECT_EQ(MyMemStr(Slice(text), pattern.c_str(), ignoreCase),
              place < 0 ? nullptr : text.data() + place)
        << content << sought;
  }
}

TEST(WideText, BeyondEightBitsFoldsCaseInAllCharactersButTheFirstOneOfASearch) {
  const std::u16string text = u"Привет";
  EXPECT_EQ(MyMemStr(Slice(text), u"ПРИВЕТ", true), text.data());
  EXPECT_EQ(MyMemStr(Slice(text), u"приВЕТ", true), nullptr);
  EXPECT_TRUE(StrEQU(Slice(text), u"приВЕТ", true));
}

TYPED_TEST(SearchArrayTest, TheFirstPlaceWinsThenTheLongestPatternAndNothingReachesBehindAHit) {
  auto table = this->Table({{"a", ""}, {"abc", ""}, {"bcd", ""}, {"ab", ""}, {"x", ""}});
  table.GetArray().push_back({W<TypeParam>("yabcd"), {}});
  const std::tuple<const char*, const char*, int> rows[] = {
      {"_abcd", "abc", 1}, {"_xbcd", "x", 1}, {"_abd", "ab", 1}, {"_yabcd", "abc", 2}};
  for (const auto& [content, pattern, place] : rows) {
    const auto text = W<TypeParam>(content);
    STRINGPAIR<TypeParam> first, anywhere;
    EXPECT_TRUE(table.CheckFirstPos(Slice(text) += place, first));
    EXPECT_EQ(table.GetFirstElement(Slice(text), anywhere), text.data() + place) << content;
    EXPECT_EQ(U8(Slice(first.first)) + U8(Slice(anywhere.first)), pattern + std::string(pattern));
  }
  STRINGPAIR<TypeParam> none;
  EXPECT_EQ(table.GetFirstElement(Slice(W<TypeParam>("_bd")), none), nullptr);
}

TYPED_TEST(SearchArrayTest, TranslationReplacesEveryPatternAndNeverWhatItPutIn) {
  auto table = this->Table({{"a", "aa"}, {"LT", "<"}, {"", "!"}, {"b\0c"sv, "B"}, {"bd", "<"}});
  table.SetCaseMode(true);
  const std::tuple<std::string_view, std::string_view, bool> rows[] = {
      {"", "", false},       {"xyz", "xyz", false},       {"aa", "aaaa", true},
      {"xlty", "x<y", true}, {"x\0y"sv, "x!\0y"sv, true}, {"ab", "aaB", true}};
  for (const auto& [before, after, replaced] : rows) {
    auto text = W<TypeParam>(before);
    EXPECT_EQ(table.Translate(Slice(text), text), replaced) << before;
    EXPECT_EQ(U8(Slice(text)), after);
  }
  for (const auto& [second, first] : {std::pair{"<", "LT"}, {"b", "b"}, {"a", "a"}, {"<<", "<<"}})
    EXPECT_EQ(U8(Slice(table.ReverseSubst(W<TypeParam>(second)))), first);
}
