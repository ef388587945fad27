// Files of symbols with and without mistakes, and what their tables do to a text.
#include "kvorlib/symbols.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <regex>

#include "kvorlib/knowledgebase.h"
#include "kvorlib/terms.h"
#include "support/allwords.h"
#include "support/tempfolder.h"
#include "vocabulary/capturedlog.h"

namespace {

struct SymbolsTest : testing::Test {
  SymbolsTest() {
    std::u16string words;
    std::filesystem::create_directory_symlink(KVORLIB_DATA, folder.Path("буквы"));
    EXPECT_TRUE(base.LoadFromBuf(u"test", u"Root=\"" + folder.Wide("буквы") + u'"', words));
    EXPECT_TRUE(base.SetDefaultKB(u"test", words));
  }
  ~SymbolsTest() override {
    CloseTerms();
    SetTermMap(nullptr);
    SetCP(formerPage);
  }
  bool Load(const std::string& file) {
    std::filesystem::remove(folder.Path("файл"));  // what is written over waits for the disk
    folder.Write("файл", file);
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
  SetCP(1251);
  EXPECT_TRUE(symbols.Load(nullptr)) << "in a folder of any name";
  EXPECT_TRUE(symbols.SetTranslitMode(false)) << "the mode stays";
}

// One mistake makes others of what follows, but the text always ends.
TEST_F(SymbolsTest, EachMistakeIsReportedByLineUntilTheTextEnds) {
  const std::tuple<std::string, bool, std::string> cases[] = {
      {"", true, ""},
      {"// only words\n", true, ""},
      {"junk\npassed\nmore\nlast\n", false, "Wrong string junk|Wrong string more|Wrong string |"},
      {"[SYMBOLS]\nno-such = \"а\";\nrussian = \"б\";", false,
       "Wrong language code no-such no-such = \"а\";|Wrong language code no-such russian = \"б\"|"},
      {"[SYMBOLS]\nrussian \"а\";\n", false, "Wrong string russian \"а\";|"},
      {"[SYMBOLS]\nrussian = а;\nx\nrussian = \"а\";\n[SYMBOLS]", false,
       "Wrong string russian = а;|Wrong string russian = \"а\";|Wrong string [SYMBOLS|"},
      {"[SYMBOLS]\nrussian = \"а\"\nenglish = \"b\";\nfrench = \"c\";\n", true,
       "Wrong string english = \"b\";|"},
      {"[SYMBOLS]\nrussian = \"б\";\nrussian\n\n= \"а\";\n", true,
       "Doubling language code russian russian|"},
      {"[SYMBOLS]\nrussian = \"", true, "Wrong string russian = |"},
      {"[TRANSLIT]\n\"b\" = c;\n\"b\"\n= \"c\"\n[SYMBOLS]", true,
       "Wrong string \"b\" = c;|Wrong string [SYMBOLS|"},
      {"[TRANSLIT]\n\"b\" = c;", false, "Wrong string \"b\" = c|"}};
  for (const auto& [file, loaded, reports] : cases) {
    log.text.clear();
    EXPECT_EQ(Load(file), loaded) << file;
    EXPECT_EQ(std::regex_replace(log.text, std::regex("!!!   (.*)   !!!\n"), "$1|"), reports)
        << file;
    const bool stored = file.find("= \"а\"") != file.npos;
    EXPECT_EQ(symbols.CheckLexem(0x2702, u"а"), loaded && !stored ? 0 : -1) << file;
  }
  log.text.clear();
  EXPECT_FALSE(symbols.Load(folder.Path("нет").c_str()));
  EXPECT_EQ(log.text,
            "\n!!!   Cannot open letters definition file " + folder.Path("нет") + "   !!!\n");
}

// Sections of one entry at most.
bool IsRight(std::string items) {
  for (std::size_t n = 1; n > 0; items.erase(0, n)) {
    if (items.empty()) return true;
    const bool entry = items.starts_with("Sr=\";") || items.starts_with("T\"=\";");
    n = entry ? 5 : std::strchr("ST", items[0]) != nullptr ? 1 : 0;
  }
  return false;
}

// Whatever the mistakes, the reading ends; and they are reported, unless there are none.
TEST_F(SymbolsTest, AllShortFilesAreReadToTheirEndAndReportedUnlessTheyAreRight) {
  const std::map<char, const char*> tokens = {
      {'r', "russian"},   {'=', "="},          {'"', "\"a\""}, {';', ";"},
      {'S', "[SYMBOLS]"}, {'T', "[TRANSLIT]"}, {'\n', "\n"}};
  ForEachWord("r=\";ST\n", 5, [&](const std::string& word) {
    std::string file, items;
    for (const char c : word) {
      file += tokens.at(c) + std::string(" ");
      if (c != '\n') items += c;
    }
    log.text.clear();
    const bool loaded = Load(file);
    ASSERT_EQ(log.text.empty(), IsRight(items)) << file;
    ASSERT_TRUE(loaded || !log.text.empty()) << file;
  });
}

}  // namespace
