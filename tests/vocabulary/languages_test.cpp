// Languages by name and by guess, lists of features, and keys.
#include "kvorlib/languages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kvorlib/terms.h"

namespace {

TEST(LanguagesTest, NamesMatchWholeAndInAnyCaseAndTheGuessOfSpanishHasNone) {
  EXPECT_TRUE(Name2Code(u"RUSSIAN") == 9986 && Name2Code("Unl", 1251) == 10000);
  EXPECT_TRUE(Name2Code(u"russ") == 0 && Name2Code(u"") == 0);
  EXPECT_EQ(Code2Name(Name2Code(u"spanish")), std::u16string(u"spanish"));
  EXPECT_TRUE(Code2Name(0x886) != nullptr && Code2Name(0x2708) == nullptr);
}

TEST(LanguagesTest, TheGuessAsksOneQuestionAfterAnother) {
  const std::pair<const char16_t*, int> cases[] = {
      {u"", 9987},           {u"Да ¿¿ {}", 9986}, {u"да ok", 9987},        {u"¿", 9992},
      {u"(café)", 9989},     {u"ñ é à", 9989},    {u"é ñ", 9987},          {u"(agt)(obj)", 10000},
      {u"a@b@c@d@", 9987},   {u"a.@b.@c", 10000}, {u"[[\\]]^_`()", 10000}, {u"aaaaaaaa()", 10000},
      {u"aaaaaaaaa(", 9987}, {u"Ёё.", 9987}};
  for (const auto& [text, code] : cases)
    EXPECT_EQ(AutoDetermineLanguage(text), code) << testing::PrintToString(text);
}

TEST(LanguagesTest, SeparatorsAreSoughtAsAStringAndSkippedAsASet) {
  const auto split = [](const char16_t* text, const char16_t* separator) {
    std::vector<std::u16string> features = {u"old"};
    GetFeatFromString(text, features, separator);
    std::u16string joined = u"old";
    SetFeatToString(features, joined, u"|");
    return std::to_string(features.size()) + std::string(joined.begin(), joined.end());
  };
  EXPECT_EQ(split(u"", u","), "0");
  EXPECT_EQ(split(u",a,,b,,", u","), "3|a|b");
  EXPECT_EQ(split(u"a, b,c, ,, d", u", "), "3a|b,c|d");
  EXPECT_EQ(split(u"a,b", u""), "1a,b");
}

TEST(RegKeyTest, KeepsWhatItReadBeforeItFailed) {
  ASSERT_TRUE(SetTermMap(nullptr) && LoadTerm(u"" KVORLIB_DATA "/Data/Config/term.xml"));
  RegKey key;
  EXPECT_TRUE(key.Set(u"russian.b1") && key.Code == 0x2702 && key.wGetName() == u"russian.b1");
  EXPECT_FALSE(key.Set(u".x2") || key.Set(u"englishx2") || key.Set(u"english.ж3"));
  EXPECT_EQ(key.wGetName(), u"russian.x3");
  EXPECT_TRUE(!key.Set(u"no-such-term.b1") && key.Code == 0);
  EXPECT_EQ((RegKey{0x2703, ""}).wGetName(), u"english");
  UnloadTerm();
}

}  // namespace
