// The table of terms: reading term files on top of each other, looking up, and which table answers.
#include "kvorlib/terms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kvorlib/encoding.h"
#include "kvorlib/knowledgebase.h"
#include "support/tempfolder.h"
#include "vocabulary/capturedlog.h"
#include "vocabulary/termheader.h"

namespace {

// A knowledge base of the test's own, in a folder that no 8-bit code page but the right one names.
struct TermsTest : testing::Test {
  TermsTest() {
    std::filesystem::create_directories(folder.Path("Словарь/Data/Config"));
    GiveDefault(R"(<v>
      <term name="1.1" code="FFFF"/> <term name="0" code="100"/> <term name="BIGNUM" code="0x1ff"/>
      <group name="pos" code="1000" nonrep="1">
        <other><group name="noun" code="1010" nonrep="1">
          <term name="common" code="1011"/> <term name="proper" code="1012"/>
          <group name="named" code="51020"><term name="person" code="1021"/></group>
        </group></other>
        <group name="free" code="1030"><term name="x" code="1031"/><term name="y" code="1032"/></group>
      </group>
      <term name="12:" code="2000"><group name="within" code="2001"/></term></v>)");
    std::u16string words;
    EXPECT_TRUE(base.LoadFromBuf(u"test", u"Root=\"" + folder.Wide("Словарь") + u'"', words));
    EXPECT_TRUE(base.SetDefaultKB(u"test", words)) << U2A(words, 65001);
  }
  ~TermsTest() override {
    CloseTerms();
    SetTermMap(nullptr);
    UnloadTerm();
  }
  void GiveDefault(const char* xml) { folder.Write("Словарь/Data/Config/term.xml", xml); }
  bool Load(const char* xml) {
    folder.Write("more", xml);
    return LoadTerm(folder.Wide("more").c_str());
  }

  TempFolder folder;
  KBEnv::KBMap& base = *KBEnv::GetKBMap();
};

TEST_F(TermsTest, NamesOfDigitsAreNumbersUpToTheColonAndSixteenBits) {
  const std::pair<const char*, int> cases[] = {
      {"common", 0x1011}, {"nothing", 0}, {"", 0},        {"0", 0x100},     {"00", 0},
      {"7", 0x107},       {"254", 0x1FE}, {"255", 0x1FF}, {"65535", 0x1FF}, {"65536", 0},
      {"65543", 0x107},   {":", 0},       {"12:", 0x10C}, {"7a", 0},        {"named", 0x1020}};
  for (const auto& [name, code] : cases) EXPECT_EQ(TermCode(name), code) << name;
  EXPECT_EQ(GetTerm(u"12:")->code, 0x2000);
  EXPECT_EQ(TermName(0x1012) + TermName(0x1013), "properUNKNOWN");
}

TEST_F(TermsTest, GroupsPassTheirClassDownAndExcludeByTheInnermostCommonOne) {
  std::string classes;
  for (const char16_t* name : {u"pos", u"noun", u"named", u"free", u"person", u"within"})
    classes += std::to_string(GetTerm(name)->nonrep) + " ";
  EXPECT_EQ(classes, "0 1 1 0 -1 -1 ");
  EXPECT_TRUE(IsGroup(0x1010) && !IsTerm(0x1010) && IsTerm(0x1011) && !IsGroup(0x1011));
  EXPECT_TRUE(TermGroup(0x1021) == 0x1020 && TermGroup(0x1000) == 0 && TermGroup(0x1013) == 0);
  EXPECT_TRUE(Belong(0x1021, 0x1021, 0) && Belong(0x1021, 0x1000, 3) && Belong(0x1013, 0x1C01, 0));
  EXPECT_FALSE(Belong(0x1021, 0x1020, 0) || Belong(0x1021, 0x1000, 2) || Belong(9, 9, -1));
  const auto excluded = [](std::uint16_t a, std::uint16_t b) {
    EXPECT_EQ(InNonRepGroup(a, b), InNonRepGroup(b, a)) << a << ' ' << b;
    return InNonRepGroup(a, b);
  };
  EXPECT_TRUE(excluded(0x1011, 0x1012) && excluded(0x1011, 0x1021));
  EXPECT_TRUE(excluded(0x1011, 0x1011) && excluded(0x1021, 0x1020)) << "the group around the upper";
  EXPECT_FALSE(excluded(0x1011, 0x1010) || excluded(0x1031, 0x1032) || excluded(0x1011, 0x1031));
  EXPECT_FALSE(excluded(0x1000, 0x1000) || excluded(0x2000, 0x1011) || excluded(9, 9));
  std::vector<std::uint16_t> codes = {9};
  GetTermListRec(0x1000, codes);
  EXPECT_THAT(codes, testing::ElementsAre(0x1011, 0x1012, 0x1021, 0x1031, 0x1032));
}

TEST_F(TermsTest, ReplacedEntriesStayWholeWhereTheyAreStillFound) {
  const Term* const noun = GetTerm(u"noun");
  ASSERT_TRUE(Load(R"(<v><group name="thing" code="1010"/><term name="x" code="5"/></v>)"));
  EXPECT_EQ(TermName(0x1010) + TermName(0x1031) + TermName(5), "thingxx");
  EXPECT_TRUE(TermCode("noun") == 0x1010 && TermCode("x") == 5 && GetTerm(u"noun") == noun);
  EXPECT_TRUE(InNonRepGroup(0x1011, 0x1012)) << "their group is still the old one";
  ASSERT_TRUE(Load(R"(<group name="a" code="6"><group name="b" code="7"><group name="a" code="6"/>
                      </group></group>)"));
  EXPECT_FALSE(Belong(6, 8, -1)) << "no entry may be its own ancestor";
  ASSERT_TRUE(LoadTerm(nullptr));
  EXPECT_EQ(GetTerm(u"noun"), noun) << "a file that is loaded again gives the same records";
}

TEST_F(TermsTest, FailedLoadSaysWhyAndLeavesWhatItReadButNoElementOpen) {
  struct Exact : CapturedLog {
    bool Write(const std::u16string& words) override { return text += U2A(words, 65001), true; }
  } log;
  UnloadTerm();
  EXPECT_FALSE(Load(R"(<v><group name="open" code="9"><term name="read" code="A"/>)"));
  EXPECT_TRUE(Load(R"(<term name="top" code="B"/>)"));
  EXPECT_TRUE(TermGroup(0xA) == 9 && TermGroup(0xB) == 0);

  EXPECT_FALSE(Load("<?xml version='1.0' encoding='klingon'?><v/>"));
  EXPECT_FALSE(Load(R"(<v><term name="1.2" code="FFFF"/><term name="new" code="C"/></v>)"));
  const std::string head = "\n!!!   Cannot open term file " + folder.Path("more") + " \r\n";
  EXPECT_EQ(log.text, head + folder.Path("more") +
                          "(1,60) Fatal error: no element found\r\n  !!!\r\n" + head +
                          " Fatal error: Multianguage support error\r\n  !!!\r\n"
                          "\n!!!   Wrong version!  !!!\r\n");
  EXPECT_TRUE(IsTerm(0xC));
  EXPECT_EQ(TermName(0xFFFF), "1.1") << "refused, so that the default file is read on top";
  EXPECT_EQ(TermCode("new"), 0xC);
  GiveDefault("<v");
  UnloadTerm();
  EXPECT_THROW(TermName(1), const char*);
  EXPECT_THROW(CreateHeader(folder.Path("kept.h").c_str()), const char*);
}

TEST_F(TermsTest, NoTableAnswersBetweenCloseAndTheNextChoice) {
  CloseTerms();
  EXPECT_THROW(TermCode("x"), const char16_t*);
  EXPECT_THROW(TermGroup(1), const char16_t*);
  EXPECT_THROW(LoadTerm(nullptr), const char16_t*);
  UnloadTerm();
  EXPECT_TRUE(ReloadTerm());
  EXPECT_EQ(TermCode("x"), 0x1031);
  EXPECT_TRUE(SetTermMap(nullptr) && !IsTerm(0x1031)) << "the default table is not loaded yet";
}

TEST_F(TermsTest, HeaderHoldsNamesMadeIdentifiersInTheOrderOfCodes) {
  EXPECT_EQ(vocabulary::MangledName(u"А-БЩ"), "R__A_BCHSH");
  EXPECT_EQ(vocabulary::MangledName(u"мЁ"), "__LT__\x01") << "low bytes are no change";
  EXPECT_EQ(vocabulary::MangledName(u"'#!*=+@>~"),
            "__A____DIEZ____EXCL____AST____RAV____PLUS____AT____GT____TLD__");
  UnloadTerm();
  ASSERT_TRUE(Load(R"(<v><term name="ABC" code="12AB"/><term name="b" code="2"/></v>)"));
  ASSERT_TRUE(CreateHeader(folder.Path("я.h").c_str()));
  const std::string text = folder.Read("я.h");
  EXPECT_THAT(text, testing::HasSubstr("LOADED   1\n\n\n//\xC3\xEE\xEB\xEE\xE2\xED\xEE\xE9 "));
  EXPECT_THAT(text, testing::EndsWith("\n\n#define T_b                        \t\t0x0002\n"
                                      "#define T_ABC                      \t\t0x12ab\n#endif\n"));
  EXPECT_FALSE(CreateHeader(folder.Path("no/x.h").c_str()));
}

}  // namespace
