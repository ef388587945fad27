// Who may go first: copies of a file, pools on it, the library itself.
#include "keyed/keyedfixture.h"

namespace {

// Global objects are built before the library may know of itself and go after all tests; the
// sanitizers watch their end.
IndexFile leftOpen;
RecordPool leftWalking;

using LifetimesTest = KeyedFixture;

TEST_F(LifetimesTest, LastOfTheCopiesClosesTheFile) {
  IndexFile first, third;
  CreateWords(first, "cat 1");
  IndexFile second(first);
  third = second;
  third = second;  // changes nothing
  IndexFile const& same = third;
  third = same;
  EXPECT_TRUE(first == third);
  EXPECT_EQ(third.GetKeyDescr(), IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_TRUE(first.Close() && second.Find(std::string("cat")));
  EXPECT_FALSE(first == third);
  EXPECT_TRUE(second.Close() && third.Find(std::string("cat")) && third.Close());
  EXPECT_TRUE(first.Open(Path("words").c_str(), false));
  EXPECT_TRUE(first.Clear()) << "somebody still holds the file";
}

TEST_F(LifetimesTest, ShutDownClosesAllFilesAndTheirHoldersNeverSeeALaterOne) {
  IndexFile first, later, third;
  CreateWords(first, "cat 1");
  IndexFile second(first);
  RecordPool pool, lost;
  EXPECT_TRUE(first.GetPool(pool));
  // Opened over: it is lost, but open until the end.
  EXPECT_TRUE(third.Create(Path("other").c_str(), IndexFile::KD_TEXT0) && third.GetPool(lost));
  third = IndexFile::EmptyFile;
  EXPECT_TRUE(third.Close() && lost.is_valid());
  udbShutDown();
  DataTransfer key, record;
  EXPECT_FALSE(lost.is_valid() || pool.is_valid() || pool.GetNext(key, record));
  EXPECT_FALSE(first.Find(std::string("cat")));
  EXPECT_TRUE(later.Open(Path("words").c_str(), true));  // most likely at the same address
  third = second;
  for (IndexFile* stale : {&first, &second, &third}) {
    EXPECT_FALSE(stale->IsValid() || *stale == later || stale->GetIndHandle());
    EXPECT_FALSE(stale->Close());
    EXPECT_TRUE(stale->Close());
  }
  EXPECT_TRUE(later.IsValid());
}

TEST_F(LifetimesTest, GlobalFileMayStayOpenToTheEndOfTheProcess) {
  static TempFolder const stays;
  ASSERT_TRUE(leftOpen.Create(stays.Path("words").c_str(), IndexFile::KD_TEXT0));
  EXPECT_TRUE(leftOpen.Put(std::string("cat 1")) && leftOpen.GetPool(leftWalking));
}

}  // namespace
