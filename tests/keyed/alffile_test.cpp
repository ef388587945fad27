// Articles. They are told here by their records, "NAME NUMBER TYPE POS KPOS KTEXT MTEXT". The wide
// forms go through the narrow ones but for reading, and are called here where they differ.
#include "keyed/alfrecord.h"
#include "keyed/keyedfixture.h"

namespace {

using NarrowArticle = BASIC_ALFSTAT<char>;
using WideArticle = BASIC_ALFSTAT<char16_t>;

struct OpenedUp : AlfFile {
  using AlfFile::Convert;
  using AlfFile::FillBuf;
  using AlfFile::FillStruct;
};

NarrowArticle Narrow(std::string const& record) {
  NarrowArticle article;
  OpenedUp::FillStruct(article, record);
  return article;
}

WideArticle Article(std::string const& record) {
  WideArticle article;
  OpenedUp::Convert(article, Narrow(record));
  return article;
}

std::string Text(NarrowArticle const& article) {
  std::string record;
  OpenedUp::FillBuf(article, record);
  return record;
}

std::string Text(WideArticle const& article) {
  NarrowArticle narrow;
  OpenedUp::Convert(narrow, article);
  return Text(narrow);
}

class ArticlesTest : public KeyedFixture {
 protected:
  void SetUp() override {
    Write("term.xml", "<t><term name='n' code='11'/><term name='v' code='12'/></t>");
    SetTermMap(nullptr);
    ASSERT_TRUE(LoadTerm(Wide("term.xml").c_str()));
    ASSERT_TRUE(file.Create(Path("articles").c_str(), IndexFile::KD_TEXT0));
  }
  void TearDown() override { UnloadTerm(); }

  // "rename OLD" makes of OLD what is given.
  bool Change(std::string const& change, WideArticle& given) {
    char16_t const* const name = given.Name.c_str();
    if (change == "create") return file.CreateArticle(&given);
    if (change == "empty") return file.CreateEmptyArticle(std::u16string(name).c_str(), &given);
    if (change == "correct") return file.CorrArticle(&given);
    if (change == "rename a") return file.ChangeName(u"a x", name);
    return file.DeleteArticle(name, change == "delete K");
  }

  AlfFile file;
};

TEST_F(ArticlesTest, RecordIsReadWordByWordAndLacksNothingButItsName) {
  std::string const longWord(61, 'x');
  std::string const longRecord = "a\x01" + longWord + " -2147483648 M # # " + longWord + " b";
  for (auto const& [record, read] : std::initializer_list<std::pair<std::string, char const*>>{
           {" \t\r\n", nullptr},
           {"# 1 K n # a b", nullptr},
           {"abc", "abc 0 N # # # #"},
           {"abc x7 K n", "abc 0 K n # # #"},
           {"abc 99999999999 K", "abc 2147483647 K # # # #"},
           {"abc -99999999999 K", "abc -2147483648 K # # # #"},
           {"abc 1 KM n v a b", "abc 1 N # # # #"},
           {"abc 1 N n v a b", "abc 1 N # # # #"},
           {"abc 1 Q n v a b", "abc 1 N n v a b"},
           {"abc     -1\tB\r\nn v a b c", "abc -1 B n v a b"},
           {"abc 1 K other # # #", "abc 1 K # # # #"},
           {"abc 1 M # # # b" + Zero, "abc 1 M # # # b"},
           {"\xD0 +7\vM # # b\xE2\x82 \xD0", "\uFFFD 7 M # # b\uFFFD\uFFFD \uFFFD"},
           {"РРх 1 B # # РхР х\u00A0Р", "РРх 1 B # # РхР х\u00A0Р"},
           {"abc 1 \xD0 n v a b", "abc 1 N # # # #"},
           {longRecord + Zero + "c d", longRecord.c_str()}}) {
    NarrowArticle article = Narrow("old 9 B v v k m");
    WideArticle wide = Article("old 9 B v v k m");
    ASSERT_EQ(keyed::ReadRecord(record, false, wide), read != nullptr) << record;
    EXPECT_EQ(Text(wide), read != nullptr ? read : "old 9 B v v k m") << record;
    ASSERT_EQ(OpenedUp::FillStruct(article, record), read != nullptr) << record;
    EXPECT_EQ(Text(article), read != nullptr ? read : " 9 B v v k m") << record;
  }
}

TEST_F(ArticlesTest, NumberOfMoreThanSixCharactersIsNone) {
  std::string numbers;
  for (char16_t const* const text :
       {u"", u"x", u"123456", u"1234567", u" +1234", u"     12", u"-1"})
    numbers += std::to_string(AlfFile::NumberStrToBin(text)) + ' ';
  EXPECT_EQ(numbers, "0 0 57920 0 1234 0 65535 ");
}

TEST_F(ArticlesTest, MissingSideKReadsAsSideMButForTheRawRead) {
  Fill(file, "abc 1 M n # # мышь,# broken,abd 2 B # v k m,abe 3");
  WideArticle article = Article("old 9");
  NarrowArticle raw;
  EXPECT_FALSE(file.GetAlfArticle(u"ab", &article) || file.CheckError());
  EXPECT_FALSE(file.GetAlfArticle(u"#", &article));
  EXPECT_EQ(file.ErrorMessage() + Text(article), "Fill struct errorold 9 N # # # #");
  EXPECT_TRUE(file.GetAlfArticle(u"abc x", &article) && file._GetAlfArticle("abc", &raw));
  EXPECT_EQ(Text(article) + ", " + Text(raw), "abc 1 M n # мышь мышь, abc 1 M n # # мышь");

  // A walk fills in too, and takes a broken record for the end, once.
  RecordPool pool;
  std::string walked;
  ASSERT_TRUE(file.GetAlfPool(pool, u"", -1));
  for (int n = 0; n < 5; ++n) {
    walked += file.GetNextAlfArticle(pool, &article) ? Text(article) + ',' : "end,";
    EXPECT_STREQ(file.ErrorMessage(), "");
  }
  EXPECT_EQ(walked, "end,abc 1 M n # мышь мышь,abd 2 B # v k m,abe 3 N # # # #,end,");
  EXPECT_TRUE(file.GetAlfPool(pool, "abd", -1) && file.GetNextAlfArticle(pool, &raw));
  EXPECT_EQ(raw.Number, 2);
}

TEST_F(ArticlesTest, ChangeTakesOneSideAndKeepsTheOther) {
  struct {
    char const *stored, *change, *given, *answer;
    std::string after;
  } const cases[] = {
      {"", "create", "кот 5 B n v k m", "yes", "кот 5 B n v k m,"},
      {"a 1", "create", "a 5 B n v k m", "no", "a 1,"},
      {"", "empty", "a 9 B n v k m", "yes", "a 0 N # # # #,"},
      {"a 1", "empty", "a", "no", "a 1,"},
      {"", "empty", "", "no Empty key", ""},
      {"b 1", "correct", "a 2 K v v k2 m2", "no", "b 1,"},
      {"a 1 N,b 3", "correct", "a 2 K v v k2 m2", "yes", "a 2 K v v k2 #,b 3,"},
      {"a 1 K n n k m", "correct", "a 2 K v v k2 m2", "yes", "a 2 K v v k2 m,"},
      {"a 1 M n n # m", "correct", "a 2 K v v k2 m2", "yes", "a 2 B v v k2 m,"},
      {"a 1 B n n k m", "correct", "a 2 K v v k2 m2", "yes", "a 2 B v v k2 m,"},
      {"a 1 M n n k m", "correct", "a 2 B v v k2 m2", "yes", "a 2 B v v # m2,"},
      {"a 1 K n n k m", "correct", "a 2 Q v v k2 m2", "yes", "a 2 B v n k m2,"},
      {"a 1 B n n # m", "correct", "a 2 M v v k2 m2", "yes", "a 2 B v n # m2,"},
      {"b 1", "delete K", "a", "no", "b 1,"},
      {"a 1 N", "delete K", "a", "yes", ""},
      {"a 1 K n v k m,b 2", "delete K", "a", "yes", "b 2,"},
      {"a 1 K n v k m", "delete M", "a", "no Entry not found in dictionary", "a 1 K n v k m,"},
      {"a 1 M n v k m", "delete K", "a", "no Entry not found in dictionary", "a 1 M n v k m,"},
      {"a 1 M n v k m", "delete M", "a", "yes", ""},
      {"a 1 B n v k m", "delete K", "a", "yes", "a 1 M n v # m,"},
      {"a 1 B n v k m", "delete M", "a", "yes", "a 1 K n v k #,"},
      {"a 1 B n v # m", "delete M", "a", "yes", "a 1 K n v m #,"},
      {"b 2", "rename a", "c", "no", "b 2,"},
      {"a 1 M n v # m,b 2", "rename a", "имя", "yes", "b 2,имя 1 M n v m m,"},
      {"a 1,b 2", "rename a", "b", "no", "b 2,"},  // lost: the old record goes first
  };
  for (auto const& [stored, change, given, answer, after] : cases) {
    SCOPED_TRACE(std::string(stored) + ": " + change + ' ' + given);
    Fill(file, stored);
    WideArticle article = Article(given);
    article.Name += u" x";  // no part of the key
    std::string const before = Text(article);
    bool const done = Change(change, article);
    std::string const words = file.ErrorMessage();
    EXPECT_EQ((done ? "yes" : "no") + (words.empty() ? "" : ' ' + words), answer);
    EXPECT_EQ(Stored(file), after);
    bool const created = change == std::string("create") || change == std::string("empty");
    EXPECT_EQ(Text(article) + ',', created && done ? after : before + ',');
  }
}

TEST_F(ArticlesTest, NarrowArticleBecomesWhatIsStoredAndKeepsTheRestOfAnEmptyOne) {
  NarrowArticle article = Narrow("old 9 B n # k m");
  EXPECT_FALSE(file.CreateEmptyArticle("", &article) || file.CreateArticle(&article));
  EXPECT_EQ(file.ErrorMessage() + Text(article), "Empty key 9 B n # k m");
  EXPECT_TRUE(file.CreateEmptyArticle("empty x", &article));
  EXPECT_EQ(Text(article) + Stored(file), "empty 0 N n # k mempty 0 N n # k m,");
  article.Type = 'K';
  article.Pos = 0x777;  // a term that nobody knows
  EXPECT_TRUE(file.CorrArticle(&article));
  EXPECT_EQ(Text(article) + Stored(file), "empty 0 K # # k #empty 0 K # # k #,");
}

TEST_F(ArticlesTest, HomonymsAreTheStemAndItsDigits) {
  Fill(file,
       "abc 1,abc1 2,abc3 3,abc30 4,ab1c 5,ab1c2 6,ab1cd 7,ab12c 8,a 9,a2 10,b0 11,b01 12,d9 13,"
       "1 14,cc 15,abc0 16,d91 17,1b 18,abcdefghijklmnopqr 19");
  std::pair<char16_t const*, char const*> const cases[] = {
      {u"abc", " 1 2 3"}, {u"abc3", " 3"}, {u"abc  ", " 1 2 3"}, {u"ab1cd", " 5 6"},
      {u"ab12c", " 8"},   {u"a", " 9 10"}, {u"b0", " 11"},       {u"d", " 13"},
      {u"d9", " 13"},     {u"1bc", " 18"}, {u"cc", " 15"},       {u"abc2", " 99"},
      {u"   ", " 99"},  // none: what was there stays
  };
  file.SetExactMatch(false);
  for (auto const& [name, numbers] : cases) {
    std::vector<WideArticle> homs(1, Article("old 99"));
    auto const count = static_cast<std::size_t>(file.GetHoms(name, homs));
    std::string found;
    for (WideArticle const& hom : homs) found += ' ' + std::to_string(hom.Number);
    EXPECT_EQ(found, numbers) << U2A(name, 65001);
    EXPECT_EQ(count, found == " 99" ? 0U : homs.size());
  }
  EXPECT_TRUE(file.GetExactMatch());

  std::vector<WideArticle> wide(1);
  EXPECT_TRUE(file.GetHoms(u"", wide) == -1 && wide.empty());
  std::vector<NarrowArticle> homs(1, Narrow("abcdefghijklmnopqr"));
  EXPECT_TRUE(file.GetHoms("", homs) == -1 && homs.size() == 1);
  EXPECT_EQ(file.GetHoms(homs[0].Name, homs), 1) << "the name may be one in the vector";
  EXPECT_TRUE(file.GetHoms("abc2", homs) == 0 && homs.empty());
}

TEST_F(ArticlesTest, NothingIsChangedWhenThereAreNoTerms) {
  Fill(file, "a 1 N,b 2 B n # k m");
  WideArticle article = Article("b 3 K n # k2 #"), other = Article("d");
  CloseTerms();
  for (char const* const change : {"rename a", "delete K", "correct"})
    EXPECT_THROW(Change(change, article), char16_t const*) << change;
  EXPECT_THROW(Change("empty", other), char16_t const*);
  EXPECT_EQ(Stored(file), "a 1 N,b 2 B n # k m,");
  SetTermMap(nullptr);
}

}  // namespace
