// Keys made of texts and integers, records as texts, walks.
#include <map>

#include "keyed/keyedfixture.h"
#include "maps/maps.h"

namespace {

// Opens up what kinds of files use.
struct OpenedUp : IndexFile {
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
  auto const filled = [&](KEYDESCR kd, std::string const& text) {
    OpenedUp file;
    OpenAs(file, kd);
    return file.FillKey(text);
  };
  EXPECT_EQ(filled({1, 5, 0}, "abcdefg"), "abcde");
  EXPECT_EQ(filled({3, 5, 0}, "ab"), "ab   ");
  EXPECT_EQ(filled({4, ' ', 0}, "two words"), "two");
  EXPECT_EQ(filled({2, 0, 0}, "two words"), "two words");
  EXPECT_EQ(filled({0, 4, 0}, "1234x"), "1234x");
  EXPECT_EQ(OpenedUp().FillKey("as it is"), "as it is");
}

TEST_F(RecordsTest, KeyOfTheWrongSortIsRefusedWithWords) {
  IndexFile text, fixed, number;
  OpenAs(text, {4, ' ', 0});
  OpenAs(fixed, {3, 4, 0});
  OpenAs(number, {0, 4, 0});
  EXPECT_FALSE(text.Find(5) || fixed.Erase(5) || number.Find(std::string("5")));
  for (IndexFile const* file : {&text, &fixed, &number})
    EXPECT_EQ(StateOf(*file->GetIndHandle()), "2 Wrong record format");
  for (char const* const empty : {"", " cat"}) {
    EXPECT_FALSE(text.Find(std::string(empty)) || !text.CheckError());
    EXPECT_EQ(text.wErrorMessage(), u"Empty key");
    EXPECT_FALSE(text.Find(std::string("cat")) || text.CheckError());  // clears the state
  }
}

TEST_F(RecordsTest, PutNeverOverwritesAndUpdateNeverAdds) {
  IndexFile file;
  CreateWords(file, {"cat 1"});
  EXPECT_FALSE(file.Put(DataTransfer("cat 2"), true) || file.Update(std::string("dog 1")));
  EXPECT_EQ(StateOf(*file.GetIndHandle()), "1 ");
  EXPECT_EQ(file.Get(std::string("cat")), "cat 1" + Zero);
  EXPECT_TRUE(file.Update(std::string("cat 3")));
  EXPECT_EQ(file.Get(std::string("cat")), "cat 3" + Zero);
  // The form with a key of its own does overwrite, if asked to.
  EXPECT_FALSE(file.Put(BytesFrom("cat"), DataTransfer("cat 4"), false));
  EXPECT_TRUE(file.Put(BytesFrom("cat"), DataTransfer("cat 5"), true));
  EXPECT_TRUE(file.SetExactMatch(false) && !file.GetExactMatch());
  EXPECT_EQ(file.Get(std::string("ca")), "cat 5" + Zero);
}

TEST_F(RecordsTest, KeyIsTakenOutOfTheRecordOrRefusedWithWords) {
  IndexFile text, fixed;
  OpenAs(text, {4, ' ', 2});
  OpenAs(fixed, {1, 3, 2});
  auto const keyIn = [](IndexFile& file, std::string const& record) {
    file.Size();  // a good state
    std::string const key = file.ExtractKey(record);
    return key + file.ErrorMessage();
  };
  EXPECT_EQ(keyIn(text, "..key x"), "key");
  EXPECT_EQ(keyIn(text, "..key"), "Record contains a wrong key");
  EXPECT_EQ(keyIn(text, "."), "Record don't contain key");
  EXPECT_EQ(keyIn(fixed, "..key"), "key");  // its zero stands behind the key
  EXPECT_EQ(keyIn(fixed, "..ke"), "Record doesn't contain the specified key");
  DataTransfer key("old");
  EXPECT_TRUE(text.ExtractKey(DataTransfer(".. x"), key) && text.Put(std::string(".. x")));
  EXPECT_EQ(key, DataTransfer("old"));  // an empty key writes nothing
}

TEST_F(RecordsTest, RecordsAreTextsOnlyInTextLayoutsAndEndBehindTheirLastZero) {
  for (std::uint8_t const type : {2, 4}) {
    IndexFile file;
    OpenAs(file, {type, ' ', 0});
    std::string const plain = "k plain", zeros("k a\0b\0", 6);
    for (auto const& [stored, text] : std::map<std::string, std::string>{
             {plain, plain}, {zeros, zeros}, {zeros + "rubbish", zeros}}) {
      std::string value = "as it was";
      EXPECT_TRUE(file.Put(BytesFrom(stored)) && file.Get(std::string("k"), value));
      EXPECT_EQ(value, type == 4 ? text : "as it was");
      EXPECT_TRUE(file.Erase(std::string("k")));
    }
  }
}

TEST_F(RecordsTest, PoolStartsAtTheKeyAndGivesKeysFirstAmongBytesAndLastAmongTexts) {
  IndexFile file;
  CreateWords(file, {"кот cat", "пёс dog", "слон elephant"});
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
  EXPECT_TRUE(file.GetPool(pool, std::string("пёс и кот"), -1));  // up to the blank
  EXPECT_TRUE(pool.GetKeyArray(keys));
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"р"), 5) && pool.GetKeyArray(keys));
  EXPECT_TRUE(file.GetKeyArray(keys));
  EXPECT_THAT(keys, ::testing::ElementsAre(u"пёс", u"слон", u"слон", u"кот", u"пёс", u"слон"));
  EXPECT_FALSE(IndexFile().GetPool(pool) || pool.is_valid());
}

}  // namespace
