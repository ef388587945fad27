// Keys made of texts and integers and taken out of records, records as texts, walks. Most is asked
// through the wide forms, which go through the narrow ones.
#include <map>
#include <optional>
#include <random>

#include "keyed/keyedfixture.h"
#include "maps/maps.h"

namespace {

// Opens up what kinds of files use.
struct OpenedFile : IndexFile {
  using IndexFile::FillKey;
};

class RecordsTest : public KeyedFixture {
 protected:
  // With a layout that need not be a standard one.
  void OpenAs(IndexFile& file, KEYDESCR kd) {
    std::string const path = Path(std::to_string(++files));
    maps::CloseMap(maps::CreateMap(path.c_str(), 0, &kd));
    ASSERT_TRUE(file.Open(path.c_str(), false));
  }
  int files = 0;
};

TEST_F(RecordsTest, TextIsMadeAKeyOfTheFilesFormat) {
  std::tuple<KEYDESCR, char const*, char const*> const cases[] = {
      {{1, 5, 0}, "abcdefg", "abcde"},
      {{3, 5, 0}, "ab", "ab   "},
      {{4, ' ', 0}, "two words", "two"},
      {{2, 0, 0}, "two words", "two words"},
      {{0, 4, 0}, "1234x", "1234x"}};
  for (auto const& [layout, text, key] : cases) {
    OpenedFile file;
    OpenAs(file, layout);
    EXPECT_EQ(file.FillKey(text), key) << int{layout.type};
  }
  EXPECT_EQ(OpenedFile().FillKey("as it is"), "as it is");
}

TEST_F(RecordsTest, KeyIsTakenOutOfItsPlaceInTheRecordOrRefusedWithWords) {
  auto const standard = [](int n) {
    return IndexFile::GetKDForType(static_cast<IndexFile::KDTYPE>(n));
  };
  std::tuple<KEYDESCR, std::string, char const*> const cases[] = {
      {standard(0), std::string(39, '.') + "ключ x", "ключ"},
      {standard(1), "......key x", "key"},
      {standard(2), "....key x", "key"},
      {standard(3), "key x", "key"},
      {standard(4), "..two words" + Zero + "x", "two words"},
      {standard(5), "..\1\2\3\4x", "\1\2\3\4"},
      {standard(6), "two words" + Zero + "x", "two words"},
      {standard(7), "\1\2\3\4x", "\1\2\3\4"},
      {standard(8), "a line\nx", "a line"},
      {{4, ' ', 2}, "..key", "Record contains a wrong key"},
      {{4, ' ', 2}, ".", "Record don't contain key"},
      {{1, 3, 2}, "..key", "key"},  // its zero stands behind the key
      {{1, 3, 2}, "..ke", "Record doesn't contain the specified key"}};
  for (auto const& [layout, record, key] : cases) {
    IndexFile file;
    OpenAs(file, layout);
    std::u16string const taken = file.ExtractKey(A2U(record, 65001));
    EXPECT_EQ(taken + file.wErrorMessage(), A2U(key, 65001));
  }
  IndexFile file;
  DataTransfer key("old");
  OpenAs(file, {4, ' ', 2});
  EXPECT_TRUE(file.ExtractKey(DataTransfer(".. x"), key) && file.Put(std::u16string(u".. x")));
  EXPECT_EQ(key, DataTransfer("old"));  // an empty key writes nothing
  for (int const none : {-1, 9}) EXPECT_EQ(standard(none), standard(10)) << "there is no such row";
}

TEST_F(RecordsTest, KeyOfTheWrongSortIsRefusedWithWords) {
  IndexFile text, fixed, number;
  OpenAs(text, {4, ' ', 0});
  OpenAs(fixed, {3, 4, 0});
  OpenAs(number, {0, 4, 0});
  EXPECT_FALSE(text.Find(5) || fixed.Erase(5) || number.Find(std::u16string(u"5")));
  for (IndexFile const* file : {&text, &fixed, &number})
    EXPECT_EQ(StateOf(*file->GetIndHandle()), "2 Wrong record format");
  DataTransfer record;
  EXPECT_TRUE(number.Put(BytesFrom({"\5\0\0\0x", 5})) && number.Get(5, record));
  EXPECT_TRUE(number.Find(5) && number.Erase(5) && number.Empty());
  for (char16_t const* const empty : {u"", u" cat"}) {
    EXPECT_FALSE(text.Find(std::u16string(empty)) || !text.CheckError());
    EXPECT_EQ(text.wErrorMessage(), u"Empty key");
    EXPECT_FALSE(text.Find(std::u16string(u"cat")) || text.CheckError());  // clears the state
  }
}

TEST_F(RecordsTest, PutNeverOverwritesAndUpdateNeverAdds) {
  std::u16string const cat = u"кот", dog = u"пёс";
  IndexFile file;
  CreateWords(file, "кот 1");
  EXPECT_FALSE(file.Put(DataTransfer("кот 2"), true) || file.Update(dog + u" 1"));
  EXPECT_EQ(StateOf(*file.GetIndHandle()), "1 ");
  EXPECT_EQ(file.Get(std::string("кот")), "кот 1" + Zero);
  EXPECT_TRUE(file.Update(cat + u" 😺"));
  EXPECT_EQ(file.Get(cat), u"кот 😺");
  // The form with a key of its own does overwrite, if asked to.
  EXPECT_FALSE(file.Put(BytesFrom("кот"), DataTransfer("кот 4"), false));
  EXPECT_TRUE(file.Put(BytesFrom("кот"), DataTransfer("кот 5"), true));
  std::u16string value;
  EXPECT_TRUE(file.SetExactMatch(false) && !file.GetExactMatch() && file.Get(u"ко", value));
  EXPECT_TRUE(file.Find(cat) && file.Put(dog + u" 6") && !file.Get(u"я", value));
  EXPECT_EQ(value, u"кот 5");
  EXPECT_TRUE(file.Erase(cat) && file.Erase(dog) && file.Empty());
}

TEST_F(RecordsTest, RecordsAreTextsOnlyInTextLayoutsAndEndBehindTheirLastZero) {
  for (std::uint8_t const type : {2, 4}) {
    IndexFile file;
    OpenAs(file, {type, ' ', 0});
    std::string const plain = "k plain", zeros("k a\0b\0", 6);
    for (auto const& [stored, text] : std::map<std::string, std::string>{
             {plain, plain}, {zeros, zeros}, {zeros + "rubbish", zeros}}) {
      std::string value = "as it was";
      std::u16string wide = u"as it was";
      EXPECT_TRUE(file.Put(BytesFrom(stored)) && file.Get(std::string("k"), value));
      EXPECT_EQ(value, type == 4 ? text : "as it was");
      EXPECT_TRUE(file.Get(std::u16string(u"k"), wide) && file.Erase(std::string("k")));
      EXPECT_EQ(wide, type == 4 ? A2U(text.c_str(), 65001) : u"as it was");
    }
  }
}

TEST_F(RecordsTest, PoolStartsAtTheKeyAndGivesKeysFirstAmongBytesAndLastAmongTexts) {
  IndexFile file;
  CreateWords(file, "кот cat,пёс dog,слон elephant");
  RecordPool pool;
  DataTransfer bytes, record;
  EXPECT_TRUE(file.GetPool(pool) && pool.GetNext(bytes, record));
  EXPECT_EQ(TextOf(bytes) + TextOf(record), "коткот cat" + Zero);
  std::string text, key;
  EXPECT_TRUE(pool.GetNext(text, key));
  EXPECT_EQ(text + key, "пёс dog" + Zero + "пёс");
  std::u16string wideText, wideKey;
  EXPECT_TRUE(pool.GetNext(wideText, wideKey));
  EXPECT_EQ(wideText + wideKey, u"слон elephantслон");
  EXPECT_TRUE(pool.empty() && !pool.GetNext(wideText, wideKey));

  std::list<std::u16string> keys;
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"пёс и кот"), -1));  // up to the blank
  EXPECT_TRUE(pool.GetKeyArray(keys) && file.GetKeyArray(keys));
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"р"), 5) && pool.GetKeyArray(keys));
  EXPECT_THAT(keys, ::testing::ElementsAre(u"пёс", u"слон", u"кот", u"пёс", u"слон", u"слон"));
  EXPECT_FALSE(IndexFile().GetPool(pool) || pool.is_valid());
}

TEST_F(RecordsTest, PoolsReadOneRecordAheadAndGoOnByKeyWhateverIsChangedMeanwhile) {
  IndexFile file;
  CreateWords(file, "");
  std::map<std::string, std::string> model;
  std::minstd_rand random(1);
  auto const change = [&] {
    std::string const key = std::to_string(random() % 999);
    std::string const record = key + ' ' + std::to_string(random());
    file.Erase(key);
    model.erase(key);
    if (random() % 3 != 0 && file.Put(record)) model[key] = record;
  };
  for (int n = 0; n < 2000; ++n) change();
  struct {
    RecordPool pool;
    std::optional<std::pair<std::string, std::string>> ahead;
  } walks[3];
  for (int n = 0; n < 20000; ++n) {
    if (random() % 20 == 0) change();
    auto& [pool, ahead] = walks[random() % 3 * random() % 3];  // now one, now another
    ASSERT_TRUE(ahead || (!model.empty() && file.GetPool(pool)));
    auto const expected = ahead.value_or(*model.begin());
    auto const next = model.upper_bound(expected.first);
    ahead = next == model.end() ? std::nullopt : std::make_optional(*next);
    std::string record, key;
    ASSERT_TRUE(pool.GetNext(record, key));
    ASSERT_EQ(key + '|' + record, expected.first + '|' + expected.second + Zero);
  }
}

}  // namespace
