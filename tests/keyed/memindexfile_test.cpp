// Keyed files held in memory.
#include <memory>

#include "keyed/keyedfixture.h"

namespace {

class MemIndexFileTest : public KeyedFixture {
 protected:
  MemIndexFileTest() {
    IndexFile made;
    EXPECT_TRUE(made.Create(Path("numbers").c_str(), IndexFile::KD_INT0));
    for (int const n : {6, 4, -1}) EXPECT_TRUE(made.Put(Numbered(n, "file")));
  }
  static DataTransfer KeyOf(int n) { return {static_cast<void const*>(&n), sizeof n}; }
  static int NumberOf(DataTransfer const* record) {
    int n = 0;
    if (record == nullptr) return 1'000'000;
    record->GetData(static_cast<void*>(&n), sizeof n);
    return n;
  }
  std::string const path = Path("numbers");
};

constexpr int None = 1'000'000;

TEST_F(MemIndexFileTest, WithoutMemoryModeRecordsAreReadThroughButNotFound) {
  MemIndexFile file(path.c_str(), IndexFile::KD_INT0);
  DataTransfer record;
  EXPECT_FALSE(file.Find(4) || file.Find(KeyOf(4)));
  EXPECT_TRUE(file.Get(KeyOf(4), record));
  EXPECT_EQ(record, Numbered(4, "file"));
  EXPECT_EQ(file.Get(4), nullptr);
  EXPECT_EQ(file.GetNext(), nullptr);
  EXPECT_FALSE(file.Put(Numbered(9, "x"))) << "opened for reading only";

  EXPECT_TRUE(file.AddRecord(KeyOf(4), Numbered(4, "memory")));
  EXPECT_FALSE(file.AddRecord(DataTransfer("ab"), record));
  EXPECT_FALSE(file.MemFind(DataTransfer("ab")));
  EXPECT_TRUE(file.Find(4));
  EXPECT_TRUE(file.Get(KeyOf(4), record));
  EXPECT_EQ(record, Numbered(4, "memory"));
  EXPECT_TRUE(file.Reset());
  EXPECT_TRUE(file.GetMap().empty());
}

TEST_F(MemIndexFileTest, MemoryModeMirrorsTheFileUntilReset) {
  MemIndexFile file;
  ASSERT_TRUE(file.Open(path.c_str(), false, IndexFile::KD_INT0));
  ASSERT_TRUE(file.SetMemMode(true));
  EXPECT_EQ(NumberOf(file.GetNext()), -1);
  EXPECT_EQ(NumberOf(file.GetNext()), 4);
  EXPECT_EQ(NumberOf(file.GetNext()), 6);
  EXPECT_EQ(file.GetNext(), nullptr);
  EXPECT_EQ(file.GetNext(), nullptr);
  EXPECT_TRUE(file.Rewind());
  EXPECT_EQ(NumberOf(file.GetNext()), -1);

  EXPECT_TRUE(file.Put(Numbered(5, "new")));
  EXPECT_TRUE(file.Erase(4));
  DataTransfer record;
  EXPECT_FALSE(file.Find(5) || file.Get(KeyOf(5), record));
  EXPECT_TRUE(file.Find(4));
  EXPECT_TRUE(file.Reset());
  EXPECT_TRUE(file.Find(5));
  EXPECT_FALSE(file.Find(4));

  file.Close();
  EXPECT_FALSE(file.Reset());
  MemIndexFile closed;
  EXPECT_FALSE(closed.SetMemMode(true));
  EXPECT_EQ(closed.GetNext(), nullptr);
}

TEST_F(MemIndexFileTest, InexactMatchInMemoryTakesTheNextHigherKey) {
  MemIndexFile file(path.c_str(), IndexFile::KD_INT0);
  ASSERT_TRUE(file.SetMemMode(true));
  EXPECT_FALSE(file.Find(5));
  EXPECT_EQ(NumberOf(file.GetNext()), 6);  // the lookup left its mark
  EXPECT_EQ(NumberOf(file.Get(4)), 4);
  EXPECT_EQ(NumberOf(file.GetNext()), 6);
  file.SetExactMatch(false);
  EXPECT_TRUE(file.Find(5));
  EXPECT_EQ(NumberOf(file.Get(5)), 6);
  EXPECT_EQ(file.GetNext(), nullptr);
  EXPECT_FALSE(file.Find(7));
  DataTransfer record;
  EXPECT_TRUE(file.Get(KeyOf(-7), record));
  EXPECT_EQ(NumberOf(&record), -1);
  EXPECT_EQ(NumberOf(file.GetNext()), 4);
}

TEST_F(MemIndexFileTest, CopyHasRecordsOfItsOwnAndGoesOnAtTheSameKey) {
  auto source = std::make_unique<MemIndexFile>(path.c_str(), IndexFile::KD_INT0);
  ASSERT_TRUE(source->SetMemMode(true));
  source->GetNext();
  MemIndexFile copy(*source);
  MemIndexFile assigned;
  assigned = *source;
  MemIndexFile const& same = assigned;
  assigned = same;
  EXPECT_TRUE(copy == *source && assigned == *source);
  source->GetMap().clear();
  EXPECT_FALSE(copy == *source);
  EXPECT_EQ(source->GetNext(), nullptr);
  source.reset();
  for (MemIndexFile* file : {&copy, &assigned}) {
    EXPECT_EQ(NumberOf(file->GetNext()), 4);
    file->GetMap().erase(6);
    EXPECT_EQ(NumberOf(file->GetNext()), None);
    EXPECT_TRUE(file->SetMemMode(false));
    EXPECT_TRUE(file->GetMap().empty());
  }
  EXPECT_FALSE(MemIndexFile::EmptyFile.IsValid());
}

}  // namespace
