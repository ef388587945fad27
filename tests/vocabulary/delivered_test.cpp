// The delivered knowledge base: what may not slip in when terms and letters are added.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "kvorlib/encoding.h"
#include "kvorlib/symbols.h"
#include "kvorlib/terms.h"
#include "vocabulary/capturedlog.h"
#include "vocabulary/termheader.h"

namespace {

struct DeliveredTest : testing::Test {
  DeliveredTest() {
    EXPECT_TRUE(SetTermMap(nullptr) && LoadTerm(u"" KVORLIB_DATA "/Data/Config/term.xml"));
  }
  ~DeliveredTest() override { UnloadTerm(); }
};

TEST_F(DeliveredTest, NoCodeNameOrIdentifierOfTheVocabularyStandsTwice) {
  std::set<std::string> identifiers;
  for (unsigned code = 1; code <= 0xFFFF; ++code) {
    const std::string name = TermName(static_cast<std::uint16_t>(code));
    const Term* const entry = GetTerm(A2U(name, 65001));
    if (entry == nullptr || entry->code != code) continue;
    EXPECT_TRUE(code <= 0x100 || code >= 0x1FF) << name;
    const std::string identifier = vocabulary::MangledName(entry->name);
    EXPECT_THAT(identifier, testing::MatchesRegex("[A-Za-z0-9_]+|1\\.1"));
    identifiers.insert(identifier);
  }
  std::ifstream file(KVORLIB_DATA "/Data/Config/term.xml");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const std::regex code(" code=\"(0x)?[0-9A-Fa-f]{1,4}\"");
  const std::sregex_iterator first(text.begin(), text.end(), code);
  EXPECT_EQ(identifiers.size(), std::distance(first, std::sregex_iterator()));
  EXPECT_GT(identifiers.size(), 500U);
}

TEST_F(DeliveredTest, EachLanguageHasItsLettersAndWrittenOutLettersCanBeTurnedBack) {
  std::string settled;
  for (const int code : {0x2702, 0x2703, 0x2705, 0x2707, 0x2708, 0x2710, 0x0886, 0x0100, 0x01FF})
    settled += TermName(static_cast<std::uint16_t>(code)) + " ";
  EXPECT_EQ(settled, "russian english french arabic UNKNOWN unl spanish 0 BIGNUM ");

  CapturedLog log;
  SymbControl symbols;
  EXPECT_TRUE(symbols.Load(KVORLIB_DATA "/Data/Config/symbols.dat"));
  EXPECT_EQ(log.text, "");

  std::u16string unspelled, foreign;
  std::vector<Term*> languages;
  GetTermList(TermCode("language"), languages);
  for (const Term* language : languages) {
    char16_t letter = 1;
    while (letter != 0 && symbols.CheckLexem(language->code, {letter}) != -1) ++letter;
    if (letter == 0) unspelled += language->name + u' ';
  }
  EXPECT_EQ(unspelled, u"chinese korean ");

  symbols.SetTranslitMode(true);
  for (char16_t letter = 1; letter != 0; ++letter)
    if (symbols.Translit(std::u16string{letter}).size() > 1) foreign += letter;
  const std::u16string written = symbols.Translit(foreign);
  EXPECT_EQ(written.size(), foreign.size() + std::string("arabic{}").size());
  EXPECT_GT(foreign.size(), 50);
  EXPECT_EQ(symbols.Detranslit(u"arabic&#" + written.substr(6, foreign.size() + 1) + u".}"),
            foreign + u'}');
}

}  // namespace
