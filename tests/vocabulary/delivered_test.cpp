// The delivered knowledge base: what may not slip in when terms and letters are added.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "kvorlib/encoding.h"
#include "kvorlib/terms.h"
#include "kvorlib/textbuffer.h"
#include "kvorlib/xmldoc.h"
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

// The file of letters as its reader takes it: items without blanks, line ends and comments.
TEST(DeliveredTest, EachLanguageHasItsLettersAndWrittenOutLettersCanBeTurnedBack) {
  ASSERT_TRUE(SetTermMap(nullptr) && LoadTerm(u"" KVORLIB_DATA "/Data/Config/term.xml"));
  std::string settled;
  for (const int code : {0x2702, 0x2703, 0x2705, 0x2707, 0x2708, 0x2710, 0x0886, 0x0100, 0x01FF})
    settled += TermName(static_cast<std::uint16_t>(code)) + " ";
  EXPECT_EQ(settled, "russian english french arabic UNKNOWN unl spanish 0 BIGNUM ");

  SimpleParser<char16_t> parser;
  parser.SetParsParam((std::u16string(STANDARD_IDENT_SYMBOLS<char16_t>) + u"-").c_str(), 3);
  parser.SetParsParam(u"=;", 2);
  const TAGSDEF<char16_t> tags[] = {{7, u"//", u"\n", 0},
                                    {8, u"\"", u"\"", u'\\'},
                                    {10, u"[SYMBOLS]", u"", 0},
                                    {11, u"[TRANSLIT]", u"", 0}};
  parser.SetParsTags(tags, 4);
  LoadText<char16_t> text;
  text.SetTextParser(&parser);
  ASSERT_TRUE(text.Load(u"" KVORLIB_DATA "/Data/Config/symbols.dat", nullptr));
  std::string shape;  // a character for each item: the separator, or 'a' for code 0 and so on
  std::vector<std::u16string> items;
  BASE_STRING<char16_t> item;
  for (int code = 0; code != 4;) {
    code = text.GetItem(item);
    if (code == 1 || code == 6 || code == 7) continue;
    shape += static_cast<char>(code == 2 ? *item.ptr : 'a' + code);
    items.emplace_back(item.ptr, static_cast<std::size_t>(item.len));
  }
  EXPECT_THAT(shape, testing::MatchesRegex("k(d=i;)+l(i=i;)+e"));

  std::set<std::u16string> unspelled, latin = {u"}"};
  std::vector<Term*> languages;
  GetTermList(TermCode("language"), languages);
  for (const Term* language : languages) unspelled.insert(language->name);
  for (auto at = shape.find('d'); at != shape.npos; at = shape.find('d', at + 1))
    EXPECT_EQ(unspelled.erase(items[at]), 1) << U2A(items[at], 65001);
  EXPECT_EQ(unspelled, (std::set<std::u16string>{u"chinese", u"korean"}));
  for (auto at = shape.find('l') + 3; at < items.size(); at += 4)
    EXPECT_TRUE(items[at].size() == 1 && latin.insert(items[at]).second) << U2A(items[at], 65001);
  UnloadTerm();
}

}  // namespace
