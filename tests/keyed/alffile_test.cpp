// Articles. They are told here by their records, "NAME NUMBER TYPE POS KPOS KTEXT MTEXT".
#include <fstream>
#include <tuple>
#include <type_traits>

#include "keyed/keyedfixture.h"

namespace {

struct OpenedUp : AlfFile {
  using AlfFile::Convert;
  using AlfFile::FillBuf;
  using AlfFile::FillStruct;
};

template <class T>
constexpr bool Wide = std::is_same_v<T, char16_t>;

std::string Utf8(std::u16string const& text) { return U2A(text, 65001); }

template <class T>
std::basic_string<T> As(std::string const& text) {
  if constexpr (Wide<T>) return A2U(text, 65001);
  if constexpr (!Wide<T>) return text;
}

template <class T = char>
BASIC_ALFSTAT<T> Article(std::string const& record) {
  std::tuple<BASIC_ALFSTAT<char>, BASIC_ALFSTAT<char16_t>> article;
  OpenedUp::FillStruct(std::get<0>(article), record);
  if (Wide<T>) OpenedUp::Convert(std::get<1>(article), std::get<0>(article));
  return std::get<BASIC_ALFSTAT<T>>(article);
}

std::string Text(BASIC_ALFSTAT<char> const& article) {
  std::string record;
  OpenedUp::FillBuf(article, record);
  return record;
}

std::string Text(BASIC_ALFSTAT<char16_t> const& article) {
  BASIC_ALFSTAT<char> narrow;
  OpenedUp::Convert(narrow, article);
  return Text(narrow);
}

class ArticlesTest : public KeyedFixture {
 protected:
  void SetUp() override {
    std::ofstream(Path("term.xml"))
        << "<t><term name='noun' code='11'/><term name='verb' code='12'/></t>";
    SetTermMap(nullptr);
    ASSERT_TRUE(LoadTerm(WidePath("term.xml").c_str()));
    ASSERT_TRUE(file.Create(Path("articles").c_str(), IndexFile::KD_TEXT0));
  }
  void TearDown() override { UnloadTerm(); }

  void Fill(std::initializer_list<char const*> records) {
    ASSERT_TRUE(file.Clear());
    for (std::string const record : records) ASSERT_TRUE(file.Put(record)) << record;
  }
  // All records, a comma behind each.
  std::string Stored() const {
    RecordPool pool;
    std::u16string record, key;
    std::string all;
    for (file.GetPool(pool); pool.GetNext(record, key);) all += Utf8(record) + ',';
    return all;
  }

  AlfFile file;
};

template <class T>
class BothWidths : public ArticlesTest {};
using Widths = ::testing::Types<char, char16_t>;
TYPED_TEST_SUITE(BothWidths, Widths);

TEST_F(ArticlesTest, RecordIsReadWordByWordAndLacksNothingButItsName) {
  for (auto const& [record, read] : std::initializer_list<std::pair<std::string, char const*>>{
           {"", nullptr},
           {" \t\r\n", nullptr},
           {"# 1 K noun # a b", nullptr},
           {"abc", "abc 0 N # # # #"},
           {"abc 3", "abc 3 N # # # #"},
           {"abc x7 K noun", "abc 0 K noun # # #"},
           {"abc 99999999999 K", "abc 2147483647 K # # # #"},
           {"abc 1 KM noun verb a b", "abc 1 N # # # #"},
           {"abc 1 Ж noun verb a b", "abc 1 N # # # #"},
           {"abc 1 N noun verb a b", "abc 1 N # # # #"},
           {"abc 1 Q noun verb a b", "abc 1 N noun verb a b"},
           {"abc     -1\tB\r\nnoun verb a b c", "abc -1 B noun verb a b"},
           {"abc 1 K other # # #", "abc 1 K # # # #"},
           {"abc 1 M # # # b" + Zero, "abc 1 M # # # b"},
           {"РРх 1 B # # РхР х\u00A0Р", "РРх 1 B # # РхР х\u00A0Р"}}) {
    BASIC_ALFSTAT<char> article = Article("old 9 B verb verb k m");
    ASSERT_EQ(OpenedUp::FillStruct(article, record), read != nullptr) << record;
    EXPECT_EQ(Text(article), read != nullptr ? read : " 9 B verb verb k m") << record;
  }
}

TEST_F(ArticlesTest, RecordHasAllSevenFields) {
  BASIC_ALFSTAT<char> article;
  article.Name = "abc";
  EXPECT_EQ(Text(article), "abc 0 N # # # #");
  article = Article("abc -5 M noun verb дом b");
  EXPECT_EQ(std::tie(article.Number, article.Pos, article.KPos, article.KText, article.MText),
            std::make_tuple(-5, 0x11, 0x12, "дом", "b"));
  article.KText.assign(63999, 'k') += "😀 b";  // not cut in two by the conversion
  EXPECT_EQ(Article(Text(article)).KText + " b", article.KText);
  article.KPos = 0x777;  // a term that nobody knows
  article.KText = "дом";
  article.MText = "two words";
  EXPECT_EQ(Text(article), "abc -5 M noun # дом two words");
}

TYPED_TEST(BothWidths, NumberOfMoreThanSixCharactersIsNone) {
  std::string numbers;
  for (char const* const text : {"", "x", "70000", "123456", "1234567", " +1234", "     12", "-1"})
    numbers += std::to_string(AlfFile::NumberStrToBin(As<TypeParam>(text).c_str())) + ' ';
  EXPECT_EQ(numbers, "0 0 4464 57920 0 1234 0 65535 ");
}

TYPED_TEST(BothWidths, MissingSideKReadsAsSideMButForTheRawRead) {
  this->Fill({"abc 1 M noun # # мышь", "# broken", "abd 2 B # verb k m", "abe 3"});
  auto article = Article<TypeParam>("old 9 K # # k m");
  EXPECT_FALSE(this->file.GetAlfArticle(As<TypeParam>("ab").c_str(), &article));
  EXPECT_STREQ(this->file.ErrorMessage(), "");
  EXPECT_FALSE(this->file.GetAlfArticle(As<TypeParam>("#").c_str(), &article));
  EXPECT_STREQ(this->file.ErrorMessage(), "Fill struct error");
  EXPECT_EQ(Text(article), Wide<TypeParam> ? "old 9 K # # k m" : " 9 K # # k m");
  EXPECT_TRUE(this->file.GetAlfArticle(As<TypeParam>("abc x").c_str(), &article));
  EXPECT_EQ(Text(article), "abc 1 M noun # мышь мышь");
  BASIC_ALFSTAT<char> raw;
  EXPECT_TRUE(this->file._GetAlfArticle("abc", &raw));
  EXPECT_EQ(Text(raw), "abc 1 M noun # # мышь");

  // A walk fills in too, and takes a broken record for the end, once.
  RecordPool pool;
  std::string walked;
  ASSERT_TRUE(this->file.GetAlfPool(pool, As<TypeParam>("").c_str(), -1));
  for (int n = 0; n < 6; ++n) {
    walked += this->file.GetNextAlfArticle(pool, &article) ? Text(article) + ',' : "end,";
    EXPECT_STREQ(this->file.ErrorMessage(), "");
  }
  EXPECT_EQ(walked, "end,abc 1 M noun # мышь мышь,abd 2 B # verb k m,abe 3 N # # # #,end,end,");
  this->file.GetAlfPool(pool, As<TypeParam>("abd").c_str(), -1);
  EXPECT_TRUE(this->file.GetNextAlfArticle(pool, &article) && article.Number == 2);
}

TYPED_TEST(BothWidths, ArticleIsCreatedOnceUnderItsNameAsAKey) {
  auto article = Article<TypeParam>("кот 5 B noun verb k m");
  article.Name += As<TypeParam>(" behind");
  EXPECT_TRUE(this->file.CreateArticle(&article));
  EXPECT_EQ(Text(article), "кот 5 B noun verb k m");
  EXPECT_FALSE(this->file.CreateArticle(&article));
  EXPECT_STREQ(this->file.ErrorMessage(), "");
  EXPECT_FALSE(this->file.CreateEmptyArticle(As<TypeParam>("кот").c_str(), &article));
  EXPECT_STREQ(this->file.ErrorMessage(), "");

  article = Article<TypeParam>("old 9 B noun # k m");
  EXPECT_FALSE(this->file.CreateEmptyArticle(As<TypeParam>("").c_str(), &article));
  EXPECT_STREQ(this->file.ErrorMessage(), "Empty key");
  EXPECT_EQ(Text(article), Wide<TypeParam> ? "old 9 B noun # k m" : " 9 B noun # k m");
  EXPECT_TRUE(this->file.CreateEmptyArticle(As<TypeParam>("empty x").c_str(), &article));
  EXPECT_EQ(Text(article), Wide<TypeParam> ? "empty 0 N # # # #" : "empty 0 N noun # k m");
  EXPECT_EQ(this->Stored(), Text(article) + ",кот 5 B noun verb k m,");
  article.Name.clear();
  EXPECT_FALSE(this->file.CreateArticle(&article));
  EXPECT_STREQ(this->file.ErrorMessage(), "Empty key");
}

TYPED_TEST(BothWidths, CorrectionTakesOneSideAndKeepsTheOther) {
  struct Case {
    char const *stored, *given, *after;
  };
  for (auto const& [stored, given, after] : std::initializer_list<Case>{
           {"a 1 N", "a 2 K verb verb k2 m2", "a 2 K verb verb k2 #"},
           {"a 1 K noun noun k m", "a 2 K verb verb k2 m2", "a 2 K verb verb k2 m"},
           {"a 1 M noun noun # m", "a 2 K verb verb k2 m2", "a 2 B verb verb k2 m"},
           {"a 1 B noun noun k m", "a 2 K verb verb k2 m2", "a 2 B verb verb k2 m"},
           {"a 1 N", "a 2 M verb verb k2 m2", "a 2 M verb verb # m2"},
           {"a 1 M noun noun k m", "a 2 B verb verb k2 m2", "a 2 B verb verb # m2"},
           {"a 1 K noun noun k m", "a 2 Q verb verb k2 m2", "a 2 B verb noun k m2"},
           {"a 1 B noun noun # m", "a 2 M verb verb k2 m2", "a 2 B verb noun # m2"}}) {
    this->Fill({stored, "b 1 B noun noun k m"});
    auto article = Article<TypeParam>(given);  // an unknown letter is none
    auto const before = Text(article);
    article.Name += As<TypeParam>(" ");
    EXPECT_TRUE(this->file.CorrArticle(&article));
    EXPECT_STREQ(this->file.ErrorMessage(), "");
    EXPECT_EQ(this->Stored(), after + std::string(",b 1 B noun noun k m,")) << stored << given;
    if (Wide<TypeParam>) article.Name.pop_back();
    EXPECT_EQ(Text(article), Wide<TypeParam> ? before : after);
  }
  auto absent = Article<TypeParam>("c 2 K # # k #");
  EXPECT_FALSE(this->file.CorrArticle(&absent));
}

TYPED_TEST(BothWidths, DeletingASideLeavesTheOtherOrNothing) {
  char const* const lacking = "Entry not found in dictionary";
  struct Case {
    char const* stored;
    bool sideK;
    char const *words, *after;
  };
  for (auto const& [stored, sideK, words, after] :
       std::initializer_list<Case>{{"a 1 N # # # #", true, "", ""},
                                   {"a 1 N # # # #", false, "", ""},
                                   {"a 1 K noun verb k m", true, "", ""},
                                   {"a 1 K noun verb k m", false, lacking, "a 1 K noun verb k m,"},
                                   {"a 1 M noun verb k m", true, lacking, "a 1 M noun verb k m,"},
                                   {"a 1 M noun verb k m", false, "", ""},
                                   {"a 1 B noun verb k m", true, "", "a 1 M noun verb # m,"},
                                   {"a 1 B noun verb k m", false, "", "a 1 K noun verb k #,"},
                                   {"a 1 B noun verb # m", false, "", "a 1 K noun verb m #,"}}) {
    this->Fill({stored, "b 1 K # # k #"});
    EXPECT_EQ(this->file.DeleteArticle(As<TypeParam>("a x").c_str(), sideK), words != lacking);
    EXPECT_STREQ(this->file.ErrorMessage(), words);
    EXPECT_EQ(this->Stored(), after + std::string("b 1 K # # k #,")) << stored << sideK;
  }
  EXPECT_FALSE(this->file.DeleteArticle(As<TypeParam>("c").c_str(), true));
}

TYPED_TEST(BothWidths, NewNameIsWrittenAfterTheOldRecordHasGone) {
  this->Fill({"a 1 M noun verb # m", "b 2 K # # k #"});
  auto const rename = [this](char const* from, char const* to) {
    return this->file.ChangeName(As<TypeParam>(from).c_str(), As<TypeParam>(to).c_str());
  };
  EXPECT_TRUE(rename("a x", "имя y"));
  EXPECT_EQ(this->Stored(), "b 2 K # # k #,имя 1 M noun verb m m,");
  EXPECT_FALSE(rename("a", "c"));
  EXPECT_FALSE(rename("имя", "b")) << "and with this it is lost";
  EXPECT_EQ(this->Stored(), "b 2 K # # k #,");
}

TYPED_TEST(BothWidths, HomonymsAreTheStemAndItsDigits) {
  this->Fill({"abc 1", "abc1 2", "abc3 3", "abc30 4", "ab1c 5", "ab1c2 6", "ab1cd 7", "ab12c 8",
              "a 9", "a2 10", "b0 11", "b01 12", "d9 13", "1 14", "cc 15", "abc0 16"});
  this->file.SetExactMatch(false);
  std::vector<BASIC_ALFSTAT<TypeParam>> homs;
  std::string found;
  for (char const* const name :
       {"abc", "abc3", "abc  ", "ab1cd", "ab12c", "a", "b0", "d", "cc", "abc2", "   "}) {
    homs.assign(1, Article<TypeParam>("old 99"));
    int const count = this->file.GetHoms(As<TypeParam>(name), homs);
    EXPECT_TRUE(count == 0 || static_cast<std::size_t>(count) == homs.size());
    for (auto const& hom : homs) found += ' ' + std::to_string(hom.Number);
    found += ',';
  }
  EXPECT_EQ(found, std::string(" 1 2 3, 3, 1 2 3, 5 6, 8, 9 10, 11, 13, 15,") +
                       (Wide<TypeParam> ? " 99, 99," : ",,"));
  EXPECT_TRUE(this->file.GetExactMatch());
  homs.assign(1, Article<TypeParam>("a 99"));
  EXPECT_EQ(this->file.GetHoms({}, homs), -1);
  EXPECT_EQ(homs.empty(), Wide<TypeParam>);
  homs.assign(1, Article<TypeParam>("a 99"));
  EXPECT_EQ(this->file.GetHoms(homs[0].Name, homs), 2) << "the name may be one in the vector";
}

TEST_F(ArticlesTest, NothingIsChangedWhenThereAreNoTerms) {
  Fill({"a 1 N", "b 2 B noun # k m"});
  BASIC_ALFSTAT<char> article = Article("b 3 K noun # k2 #");
  CloseTerms();
  EXPECT_THROW(file.ChangeName("a", "c"), char16_t const*);
  EXPECT_THROW(file.DeleteArticle("b", true), char16_t const*);
  EXPECT_THROW(file.CorrArticle(&article), char16_t const*);
  EXPECT_THROW(file.CreateEmptyArticle("d", &article), char16_t const*);
  EXPECT_EQ(Stored(), "a 1 N,b 2 B noun # k m,");
  SetTermMap(nullptr);
}

}  // namespace
