// The delivered knowledge base: what may not slip in when terms and letters are added.
#include <gtest/gtest.h>

#include <map>
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
      const std::string name = U2A(attrs.at(u"name"), 65001);
      const std::uint32_t code = vocabulary::HexadecimalValue(attrs.at(u"code"));
      EXPECT_TRUE(code > 0 && code <= 0xFFFF && (code <= 0x100 || code >= 0x1FF)) << name;
      EXPECT_TRUE(codes.insert(code).second) << std::hex << code;
      EXPECT_TRUE(names.insert(vocabulary::MangledName(attrs.at(u"name"))).second) << name;
      EXPECT_EQ(name.find_first_not_of("-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "abcdefghijklmnopqrstuvwxyz"),
                name.npos)
          << name;
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

// The file of letters, read by the items that it is made of.
TEST(DeliveredTest, EachLanguageHasItsLettersAndWrittenOutLettersCanBeTurnedBack) {
  ASSERT_TRUE(SetTermMap(nullptr) && LoadTerm(u"" KVORLIB_DATA "/Data/Config/term.xml"));
  const std::map<int, const char*> settled = {
      {0x2702, "russian"}, {0x2703, "english"}, {0x2705, "french"},  {0x2707, "arabic"},
      {0x2710, "unl"},     {0x0886, "spanish"}, {0x2708, "UNKNOWN"}, {0x0100, "0"},
      {0x01FF, "BIGNUM"},  {0x1C01, "anything"}};
  for (const auto& [code, name] : settled)
    EXPECT_EQ(TermName(static_cast<std::uint16_t>(code)), name);

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
  int code = 0;
  const auto next = [&](int expected) {
    BASE_STRING<char16_t> item;
    do code = text.GetItem(item);
    while (code == 1 || code == 6 || code == 7);
    EXPECT_TRUE(expected == 0 || code == expected) << expected;
    return std::u16string(item.ptr, static_cast<std::size_t>(item.len));
  };
  std::map<int, std::map<std::u16string, std::u16string>> sections;
  int section = 0;
  for (std::u16string left = next(10); code != 4; left = next(0)) {
    if (code >= 10) {
      section = code;
      continue;
    }
    EXPECT_EQ(code, section == 10 ? 3 : 8) << U2A(left, 65001);
    EXPECT_EQ(next(2), u"=");
    EXPECT_TRUE(sections[section].emplace(left, next(8)).second) << U2A(left, 65001);
    EXPECT_EQ(next(2), u";") << U2A(left, 65001);
  }
  std::vector<Term*> languages;
  GetTermList(TermCode("language"), languages);
  std::size_t spelled = 0;
  for (const Term* language : languages) spelled += sections[10].count(language->name);
  EXPECT_EQ(spelled, sections[10].size()) << "a name that is no language";
  EXPECT_EQ(spelled, languages.size() - 2) << "all but chinese and korean";
  std::set<std::u16string> written = {u"}"};
  for (const auto& [foreign, latin] : sections[11]) {
    EXPECT_TRUE(latin.size() == 1 && written.insert(latin).second) << U2A(foreign, 65001);
  }
  EXPECT_GT(written.size(), 50);
  UnloadTerm();
}

}  // namespace
