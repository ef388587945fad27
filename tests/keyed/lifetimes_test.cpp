// Who may go first: copies of a file, pools on it, the library itself.
#include <memory>

#include "keyed/keyedfixture.h"

namespace {

// Global objects are built before the library may know of itself and go after all tests; the
// sanitizers watch their end.
IndexFile leftOpen;
RecordPool leftWalking;
TempFolder const* leftFolder = nullptr;

using LifetimesTest = KeyedFixture;

TEST_F(LifetimesTest, LastOfTheCopiesClosesTheFile) {
  IndexFile first;
  CreateWords(first, {"cat 1"});
  IndexFile second(first);
  IndexFile third;
  third = second;
  third = second;  // changes nothing
  IndexFile const& same = third;
  third = same;
  EXPECT_TRUE(first == third);
  EXPECT_EQ(third.GetKeyDescr(), IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_TRUE(first.Close());
  EXPECT_TRUE(second.Find(std::string("cat")));
  EXPECT_FALSE(first == third);
  EXPECT_TRUE(second.Close());
  EXPECT_TRUE(third.Close());
  IndexFile again;
  EXPECT_TRUE(again.Open(Path("words").c_str(), false));
  EXPECT_TRUE(again.Clear()) << "somebody still holds the file";
}

TEST_F(LifetimesTest, FileThatCouldNotBeOpenedIsSharedByAssignmentAndFreedOnce) {
  auto first = std::make_unique<IndexFile>();
  EXPECT_FALSE(first->Open(Path("missing").c_str(), true));
  IndexFile second, third(*first);
  EXPECT_EQ(third.GetIndHandle(), nullptr);
  second = *first;
  EXPECT_EQ(second.GetIndHandle(), first->GetIndHandle());
  first.reset();
  EXPECT_EQ(second.GetIndHandle()->get_err_mess(), "NONEXISTENT FILE");
  EXPECT_FALSE(second.Open(Path("missing too").c_str(), true));
  EXPECT_FALSE(second.Close());
  EXPECT_TRUE(second.Close());
}

TEST_F(LifetimesTest, ShutDownClosesAllFilesAndTheirHoldersNeverSeeALaterOne) {
  IndexFile first;
  CreateWords(first, {"cat 1"});
  IndexFile second(first);
  RecordPool pool;
  EXPECT_TRUE(first.GetPool(pool));
  udbShutDown();
  EXPECT_FALSE(pool.is_valid());
  EXPECT_FALSE(first.Find(std::string("cat")));
  EXPECT_EQ(first.GetIndHandle(), nullptr);
  IndexFile later;
  EXPECT_TRUE(later.Open(Path("words").c_str(), true));  // most likely at the same address
  IndexFile third;
  third = second;
  for (IndexFile* stale : {&first, &second, &third}) {
    EXPECT_FALSE(stale->IsValid());
    EXPECT_FALSE(*stale == later);
    EXPECT_EQ(stale->GetState(), 3);
    EXPECT_FALSE(stale->Close());
    EXPECT_TRUE(stale->Close());
  }
  EXPECT_TRUE(later.IsValid());
}

TEST_F(LifetimesTest, PoolsAndFilesMayGoInAnyOrder) {
  for (int const order : {0, 1, 2}) {
    auto file = std::make_unique<IndexFile>();
    ASSERT_TRUE(file->Create(Path(std::to_string(order)).c_str(), IndexFile::KD_TEXT0));
    file->Put(std::string("cat 1"));
    auto pool = std::make_unique<RecordPool>();
    EXPECT_TRUE(file->GetPool(*pool));
    if (order == 0) pool.reset();
    if (order == 1) file.reset();
    if (order == 2) file->Close();
    EXPECT_TRUE(order == 0 || !pool->is_valid());
  }
}

TEST_F(LifetimesTest, OpeningOverAnOpenFileLosesItUntilShutDownButLeaksNothing) {
  IndexFile file;
  CreateWords(file, {"cat 1"});
  RecordPool pool;
  EXPECT_TRUE(file.GetPool(pool));
  ASSERT_TRUE(file.Create(Path("other").c_str(), IndexFile::KD_TEXT0));
  EXPECT_TRUE(pool.is_valid()) << "the first file is still open";
  file = IndexFile::EmptyFile;
  EXPECT_TRUE(file.Close());
  udbShutDown();
  EXPECT_FALSE(pool.is_valid());
}

TEST_F(LifetimesTest, GlobalFileMayStayOpenToTheEndOfTheProcess) {
  static TempFolder const stays;
  leftFolder = &stays;
  ASSERT_TRUE(leftOpen.Create(leftFolder->Path("words").c_str(), IndexFile::KD_TEXT0));
  EXPECT_TRUE(leftOpen.Put(std::string("cat 1")));
  EXPECT_TRUE(leftOpen.GetPool(leftWalking));
}

}  // namespace
