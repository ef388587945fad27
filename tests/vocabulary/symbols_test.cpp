// Files of symbols with and without mistakes, and what their tables do to a text.
#include "kvorlib/symbols.h"

#include <gtest/gtest.h>

#include <fstream>

#include "kvorlib/knowledgebase.h"
#include "kvorlib/terms.h"
#include "support/tempfolder.h"
#include "vocabulary/capturedlog.h"

namespace {

struct SymbolsTest : testing::Test {
  SymbolsTest() {
    std::u16string words;
    EXPECT_TRUE(base.LoadFromBuf(u"test", u"Root=\"" KVORLIB_DATA "\"", words));
    EXPECT_TRUE(base.SetDefaultKB(u"test", words));
  }
  ~SymbolsTest() override {
    CloseTerms();
    SetTermMap(nullptr);
    SetCP(formerPage);
  }
  bool Load(const std::string& file) {
    std::ofstream(folder.Path("файл"), std::ios::binary) << file;
    return symbols.Load(folder.Path("файл").c_str());
  }

  KBEnv::KBMap& base = *KBEnv::GetKBMap();
  const int formerPage = SetCP(65001);
  TempFolder folder;
  CapturedLog log;
  SymbControl symbols;
};

TEST_F(SymbolsTest, StretchesAreWrittenOutOneWayAndTurnedBackAnother) {
  ASSERT_TRUE(
      Load("\xEF\xBB\xBF\n// [TRANSLIT]\n[TRANSLIT] \"я\"=\"gone\"; [SYMBOLS] russian =\n"
           "\"аб\\\"\"; [TRANSLIT] \"\\\"\"=\"\\\"\"; \"ж\"=\"j\"; \"жа\"=\"zha\";"
           "\"а\"=\"a\";\"вг\" = \"vg\"; // end\n"));
  EXPECT_TRUE(symbols.CheckLexem(0x2702, u"аб\\\"") == -1 && symbols.CheckLexem(0x2703, u"") == -1);
  EXPECT_TRUE(symbols.CheckLexem(0x2702, u"абв") == 2 && symbols.CheckLexem(0x2703, u"a") == 0);
  EXPECT_EQ(symbols.Detranslit(u"1 arabic&#{zhajx} arabic&#{\\\".} arabic&#{} arabic&#{vg"),
            u"1 жаж} \"} } вг");
  EXPECT_EQ(symbols.Detranslit(u"arabic{ja}"), u"arabic{ja}");
  EXPECT_EQ(symbols.Translit(u"ж"), u"ж");
  EXPECT_TRUE(!symbols.SetTranslitMode(true) && symbols.SetTranslitMode(true));
  EXPECT_EQ(symbols.Translit(std::string("я жаж\" вг.")), "я arabic{zhaj\\\"} arabic{в}г.");
  symbols.Unload();
  EXPECT_TRUE(symbols.CheckLexem(0x2702, u"q") == -1 && symbols.Translit(u"ж") == u"ж");
  EXPECT_TRUE(symbols.Load(nullptr) && symbols.SetTranslitMode(false)) << "the mode stays";
}

// One mistake makes others of what follows, but the text always ends.
TEST_F(SymbolsTest, EachMistakeIsReportedByLineUntilTheTextEnds) {
  struct Case {
    const char* file;
    bool loaded;
    const char* reports;
  } const cases[] = {
      {"", true, ""},
      {"// only words\n", true, ""},
      {"junk\npassed\nmore\nlast\n", false, "string junk|string more|string |"},
      {"[SYMBOLS]\nno-such = \"а\";\nrussian = \"б\";", false,
       "language code no-such no-such = \"а\";|language code no-such russian = \"б\"|"},
      {"[SYMBOLS]\nrussian \"а\";\n", false, "string russian \"а\";|"},
      {"[SYMBOLS]\nrussian = а;\nx\nrussian = \"а\";\n[SYMBOLS]", false,
       "string russian = а;|string russian = \"а\";|string [SYMBOLS|"},
      {"[TRANSLIT]\n\"a\" = ;\n", false, "string \"a\" = ;|"},
      {"[TRANSLIT]\n\"a\" b\n\n= \"c\"; \"d\" \"e\"", false,
       "string \"a\" b|string = \"c\"; \"d\" \"e|"},
      {"[SYMBOLS]\nrussian = \"а\"\nenglish = \"b\";\nfrench = \"c\";\n", true,
       "string english = \"b\";|"},
      {"[SYMBOLS]\nrussian = \"б\";\nrussian\n\n= \"а\";\n", true,
       "Doubling language code russian russian|"},
      {"[SYMBOLS]\nrussian = \"", true, "string russian = |"},
  };
  for (const Case& c : cases) {
    log.text.clear();
    EXPECT_EQ(Load(c.file), c.loaded) << c.file;
    std::string reports = log.text;
    for (const auto& [from, to] :
         {std::pair("!!!   Wrong ", ""), {"!!!   D", "D"}, {"   !!!\n", "|"}})
      for (std::size_t at; (at = reports.find(from)) != reports.npos;)
        reports.replace(at, std::string(from).size(), to);
    EXPECT_EQ(reports, c.reports) << c.file;
    const bool stored = std::string(c.file).find("= \"а\"") != std::string::npos;
    EXPECT_EQ(symbols.CheckLexem(0x2702, u"а"), c.loaded && !stored ? 0 : -1) << c.file;
    EXPECT_EQ(symbols.CheckLexem(0x2705, u"c"), c.loaded ? 0 : -1) << c.file;
  }
  log.text.clear();
  EXPECT_FALSE(symbols.Load(folder.Path("нет").c_str()));
  EXPECT_EQ(log.text,
            "\n!!!   Cannot open letters definition file " + folder.Path("нет") + "   !!!\n");
}

}  // namespace
