// The delivered knowledge base: what may not slip in when terms and letters are added.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "kvorlib/symbols.h"
#include "kvorlib/terms.h"
#include "kvorlib/xmldoc.h"
#include "vocabulary/capturedlog.h"
#include "vocabulary/numbertext.h"
#include "vocabulary/termheader.h"

namespace {

TEST(DeliveredTest, NoCodeNameOrIdentifierOfTheVocabularyStandsTwice) {
  struct Reader : DataConstr {
    bool ReadStartElement(const std::u16string& element, const XMLAttrs& attrs) override {
      if (element != u"term" && element != u"group") return true;
      const std::string name = vocabulary::MangledName(attrs.at(u"name"));
      const std::uint32_t code = vocabulary::HexadecimalValue(attrs.at(u"code"));
      EXPECT_TRUE(code > 0 && code <= 0xFFFF && (code <= 0x100 || code >= 0x1FF)) << name;
      EXPECT_TRUE(codes.insert(code).second && names.insert(name).second) << name;
      EXPECT_THAT(name, testing::MatchesRegex("[A-Za-z0-9_]+|1\\.1"));
      return true;
    }
    std::set<std::uint32_t> codes;
    std::set<std::string> names;
  } reader;
  XMLDoc document;
  document.SetCallback(&reader, XMLDoc::DC_READ);
  ASSERT_TRUE(document.LoadFile(u"" KVORLIB_DATA "/Data/Config/term.xml"));
  EXPECT_GT(reader.codes.size(), 500);
}

TEST(DeliveredTest, EachLanguageHasItsLettersAndWrittenOutLettersCanBeTurnedBack) {
  ASSERT_TRUE(SetTermMap(nullptr) && LoadTerm(u"" KVORLIB_DATA "/Data/Config/term.xml"));
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
  UnloadTerm();
}

}  // namespace
