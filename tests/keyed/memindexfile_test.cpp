// Keyed files held in memory.
#include <memory>

#include "keyed/keyedfixture.h"

namespace {

class MemIndexFileTest : public KeyedFixture {
 protected:
  MemIndexFileTest() {
    IndexFile made;
    EXPECT_TRUE(made.Create(path.c_str(), IndexFile::KD_INT0));
    for (int const n : {6, 4, -1}) EXPECT_TRUE(made.Put(Record(n, "file")));
  }
  static DataTransfer KeyOf(int n) { return {static_cast<void const*>(&n), sizeof n}; }
  static DataTransfer Record(int n, char const* text) { return BytesFrom(TextOf(KeyOf(n)) + text); }
  // 0 if there is no record.
  static int NumberOf(DataTransfer const* record) {
    int n = 0;
    if (record != nullptr) record->GetData(static_cast<void*>(&n), sizeof n);
    return n;
  }
  std::string const path = Path("numbers");
  DataTransfer record;
};

TEST_F(MemIndexFileTest, WithoutMemoryModeRecordsAreReadThroughButNotFound) {
  MemIndexFile file(path.c_str(), IndexFile::KD_INT0);
  EXPECT_FALSE(file.Find(4) || file.Find(KeyOf(4)) || file.Get(4));
  EXPECT_TRUE(file.Get(KeyOf(4), record));
  EXPECT_EQ(record, Record(4, "file"));
  EXPECT_FALSE(file.Put(Record(9, "x"))) << "opened for reading only";
  for (char const* const text : {"early", "memory"})
    EXPECT_TRUE(file.AddRecord(KeyOf(4), Record(4, text)));
  EXPECT_FALSE(file.AddRecord(BytesFrom("abc"), record) || file.MemFind(BytesFrom("abc")));
  EXPECT_TRUE(file.Find(4) && file.SetExactMatch(false) && !file.Find(3) && !file.GetNext());
  EXPECT_TRUE(file.Get(KeyOf(4), record) && record == Record(4, "memory"));
  EXPECT_TRUE(file.Reset() && file.GetMap().empty());
}

TEST_F(MemIndexFileTest, MemoryModeMirrorsTheFileUntilResetAndInexactMatchTakesTheNextHigherKey) {
  MemIndexFile file;
  EXPECT_FALSE(file.SetMemMode(true));
  ASSERT_TRUE(file.Open(path.c_str(), false, IndexFile::KD_INT0) && file.Get(KeyOf(4), record));
  ASSERT_TRUE(file.SetMemMode(true));
  for (int const n : {-1, 4, 6, 0, 0}) EXPECT_EQ(NumberOf(file.GetNext()), n);
  EXPECT_TRUE(file.Rewind() && NumberOf(file.GetNext()) == -1);
  EXPECT_FALSE(file.Find(5));
  EXPECT_EQ(NumberOf(file.GetNext()), 6);  // the lookup left its mark
  EXPECT_EQ(NumberOf(file.Get(4)), 4);
  EXPECT_EQ(NumberOf(file.GetNext()), 6);
  EXPECT_TRUE(file.SetExactMatch(false) && file.Find(5) && !file.Find(7));
  EXPECT_EQ(NumberOf(file.Get(5)), 6);
  EXPECT_TRUE(file.Get(KeyOf(-7), record) && NumberOf(&record) == -1);
  EXPECT_EQ(NumberOf(file.GetNext()), 4);

  EXPECT_TRUE(file.SetExactMatch(true) && file.Put(Record(5, "new")) && file.Erase(4));
  EXPECT_FALSE(file.Find(5) || file.Get(KeyOf(5), record));
  EXPECT_TRUE(file.Find(4) && file.Reset() && file.Find(5) && !file.Find(4));
  EXPECT_TRUE(file.Close() && !file.Reset());
}

TEST_F(MemIndexFileTest, CopyHasRecordsOfItsOwnAndGoesOnAtTheSameKey) {
  auto source = std::make_unique<MemIndexFile>(path.c_str(), IndexFile::KD_INT0);
  ASSERT_TRUE(source->SetMemMode(true));
  source->GetNext();
  MemIndexFile copy(*source), assigned;
  assigned = *source;
  EXPECT_TRUE(copy == *source && assigned == *source);
  source->GetMap().clear();
  EXPECT_FALSE(copy == *source || source->GetNext());
  source.reset();
  for (MemIndexFile* file : {&copy, &assigned}) {
    EXPECT_EQ(NumberOf(file->GetNext()), 4);
    file->GetMap().erase(6);
    EXPECT_EQ(file->GetNext(), nullptr);
    EXPECT_TRUE(file->SetMemMode(false) && file->GetMap().empty());
  }
}

}  // namespace
