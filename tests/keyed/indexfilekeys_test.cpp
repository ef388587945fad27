// Keys made of texts and integers, and records as texts.
#include "keyed/keyedfixture.h"
#include "maps/maps.h"

namespace {

// Opens up what kinds of files use.
struct OpenedUp : IndexFile {
  using IndexFile::CopyDeleteZero;
  using IndexFile::FillKey;
};

class IndexFileKeysTest : public KeyedFixture {
 protected:
  // With a layout that need not be a standard one.
  void OpenAs(OpenedUp& file, KEYDESCR kd) {
    std::string const path = Path(std::to_string(++files));
    maps::CloseMap(maps::CreateMap(path.c_str(), 0, &kd));
    ASSERT_TRUE(file.Open(path.c_str(), false));
  }
  int files = 0;
};

TEST_F(IndexFileKeysTest, TextIsMadeAKeyOfTheFilesFormat) {
  struct {
    KEYDESCR kd;
    std::string text;
    std::string key;
  } const cases[] = {
      {{1, 5, 0}, "abcdefg", "abcde"}, {{3, 5, 0}, "ab", "ab   "},
      {{3, 3, 0}, "", "   "},          {{4, ' ', 0}, "two words", "two"},
      {{4, ' ', 0}, " x", ""},         {{2, 0, 0}, "two words", "two words"},
      {{2, '/', 0}, "a/b/c", "a"},     {{0, 4, 0}, "1234x", "1234x"},
  };
  for (auto const& c : cases) {
    OpenedUp file;
    OpenAs(file, c.kd);
    EXPECT_EQ(file.FillKey(c.text), c.key);
  }
  EXPECT_EQ(OpenedUp().FillKey("as it is"), "as it is");
}

TEST_F(IndexFileKeysTest, KeyOfTheWrongSortIsRefusedWithWords) {
  OpenedUp text, fixed, number;
  OpenAs(text, {4, ' ', 0});
  OpenAs(fixed, {3, 4, 0});
  OpenAs(number, {0, 4, 0});
  DataTransfer record;
  for (OpenedUp* file : {&text, &fixed}) {
    EXPECT_FALSE(file->Find(5) || file->Get(5, record) || file->Erase(5));
    EXPECT_STREQ(file->ErrorMessage(), "Wrong record format");
    EXPECT_EQ(file->GetState(), 2);
  }
  EXPECT_FALSE(number.Find(std::string("5")));
  EXPECT_STREQ(number.ErrorMessage(), "Wrong record format");
  for (char const* const empty : {"", " ", " cat"}) {
    EXPECT_FALSE(text.Find(std::string(empty)));
    EXPECT_STREQ(text.ErrorMessage(), "Empty key");
  }
  EXPECT_TRUE(text.CheckError());
  EXPECT_FALSE(text.Find(std::string("cat")));  // the next operation clears the state
  EXPECT_FALSE(text.CheckError());
  EXPECT_TRUE(text.isFail());
}

TEST_F(IndexFileKeysTest, FixedKeysAreCutAndFilled) {
  OpenedUp file;
  OpenAs(file, {3, 4, 1});
  EXPECT_TRUE(file.Put(std::string("-ab  record")));
  EXPECT_TRUE(file.Find(std::string("ab")));
  EXPECT_TRUE(file.Put(std::string("-abcdrecord")));
  EXPECT_TRUE(file.Find(std::string("abcdef")));
  EXPECT_EQ(file.Get(std::string("ab")), "-ab  record" + Zero);
  RecordPool pool;  // a text key has its zero with it and is no key of four bytes
  EXPECT_TRUE(file.GetPool(pool, std::string("ab"), -1));
  EXPECT_TRUE(pool.empty());
  EXPECT_TRUE(file.GetPool(pool, DataTransfer(static_cast<void const*>("abc "), 4), -1));
  EXPECT_FALSE(pool.empty());
}

TEST_F(IndexFileKeysTest, IntegerKeysAreOrderedAsNumbers) {
  IndexFile file;
  ASSERT_TRUE(file.Create(Path("numbers").c_str(), IndexFile::KD_INT0));
  for (int const n : {300, -5, 7}) EXPECT_TRUE(file.Put(Numbered(n, "x")));
  EXPECT_TRUE(file.Find(-5));
  EXPECT_TRUE(file.Erase(7));
  EXPECT_FALSE(file.Find(7));
  EXPECT_TRUE(file.SetExactMatch(false));
  EXPECT_FALSE(file.GetExactMatch());
  DataTransfer record;
  EXPECT_TRUE(file.Get(7, record));
  EXPECT_EQ(record, Numbered(300, "x"));
}

TEST_F(IndexFileKeysTest, PutNeverOverwritesAndUpdateNeverAdds) {
  IndexFile file;
  CreateWords(file, {"cat 1"});
  EXPECT_FALSE(file.Put(DataTransfer("cat 2"), true));
  EXPECT_EQ(file.GetState(), 1);
  EXPECT_EQ(file.Get(std::string("cat")), "cat 1" + Zero);
  EXPECT_FALSE(file.Update(std::string("dog 1")));
  EXPECT_EQ(file.GetState(), 1);
  EXPECT_TRUE(file.Update(std::string("cat 3")));
  // The form with a key of its own does overwrite.
  EXPECT_TRUE(
      file.Put(DataTransfer(static_cast<void const*>("cat"), 3), DataTransfer("cat 4"), true));
  EXPECT_EQ(file.Get(std::string("cat")), "cat 4" + Zero);
}

TEST_F(IndexFileKeysTest, KeyIsTakenOutOfTheRecordOrRefusedWithWords) {
  OpenedUp text, fixed;
  OpenAs(text, {4, ' ', 2});
  OpenAs(fixed, {1, 3, 2});
  struct {
    OpenedUp* file;
    std::string record;
    std::string key;
    char const* words;
  } const cases[] = {
      {&text, "..key x", "key", ""},
      {&text, "..key", "", "Record contains a wrong key"},
      {&text, "..", "", "Record contains a wrong key"},  // its zero stands where the key begins
      {&text, ".", "", "Record don't contain key"},
      {&fixed, "..key", "key", ""},  // its zero stands behind the key
      {&fixed, "..ke", "", "Record doesn't contain the specified key"},
      {&fixed, ".", "", "Record don't contain key"},
  };
  for (auto const& c : cases) {
    c.file->Size();  // a good state
    EXPECT_EQ(c.file->ExtractKey(c.record), c.key);
    EXPECT_STREQ(c.file->ErrorMessage(), c.words) << c.record;
  }
  DataTransfer key("old");
  EXPECT_TRUE(text.ExtractKey(DataTransfer(".. x"), key));
  EXPECT_EQ(key, DataTransfer("old"));  // an empty key writes nothing
  EXPECT_TRUE(text.Put(std::string(".. x")));
}

TEST_F(IndexFileKeysTest, RecordsAreTextsOnlyInTextLayoutsAndEndBehindTheirLastZero) {
  struct {
    std::string record;
    std::string text;
  } const cases[] = {
      {"k plain", "k plain"},
      {"k ended" + Zero, "k ended" + Zero},
      {"k a" + Zero + "b" + Zero, "k a" + Zero + "b" + Zero},
      {"k a" + Zero + "rubbish", "k a" + Zero},
  };
  for (auto const& c : cases) {
    for (int type : {2, 4}) {
      OpenedUp file;
      OpenAs(file, KEYDESCR(static_cast<std::uint8_t>(type), ' ', 0));
      DataTransfer const record(static_cast<void const*>(c.record.data()),
                                static_cast<int>(c.record.size()));
      ASSERT_TRUE(file.Put(record));
      std::string value = "as it was";
      EXPECT_TRUE(file.Get(std::string("k"), value));
      EXPECT_EQ(value, type == 4 ? c.text : "as it was");
      std::u16string wide = u"as it was";
      EXPECT_TRUE(file.Get(std::u16string(u"k"), wide));
      EXPECT_EQ(wide, type == 4 ? A2U(c.text, 65001) : u"as it was");
    }
  }
}

}  // namespace
