// From 64 pages on a file that is mapped grows by more than it needs. Whoever closes it cuts it
// again.
#include "support/storecalls.h"

namespace {

class GrowthTest : public StoreTest {
 protected:
  GrowthTest() { host.givesViews = true; }
  std::size_t Pages() { return Image().size() / PageBytes; }
  // As many pages, one of them of the tree.
  void CreateOf(std::size_t pages) {
    Create();
    Fill({Record("long", (pages - 2) * PageBytes - 8)});
    Open();
    ASSERT_EQ(Pages(), pages);
  }
};

TEST_F(GrowthTest, LongFileGrowsAheadAndIsCutAtItsCloseToWhatItEverNeeded) {
  CreateOf(63);
  Fill({Record("a", 4000)});
  EXPECT_EQ(Pages(), 64U) << "a short one grows as it needs";
  Fill({Record("b", 4000)});
  EXPECT_EQ(Pages(), 65U + 16);
  EXPECT_EQ(Image().find_first_not_of('\0', 65 * PageBytes), Bytes::npos);
  Fill({Record("c", 16 * PageBytes - 8)});
  EXPECT_EQ(Pages(), 65U + 16);
  Fill({Record("d", 4000)});
  EXPECT_EQ(Pages(), 82U + 16);
  EXPECT_EQ(Erase(file, "d "), 0);
  Open();
  EXPECT_EQ(Pages(), 82U) << "what was in use once is not cut";
  Fill({Record("d", 4000)});
  EXPECT_EQ(Pages(), 82U) << "and is used again";
  Sound();
}

TEST_F(GrowthTest, CloseThatAnotherUserKeepsFromCuttingIsACloseAllTheSame) {
  host.company = platform::Company::Readers;
  CreateOf(70);
  Fill({Record("a", 5000)});
  host.fileLock = [](platform::Hold) { return false; };
  EXPECT_EQ(Said(udbClose(file)), "0");
  EXPECT_EQ(host.FilesOpen(), 0);
  EXPECT_EQ(Pages(), 72U + 16);
  Sound();
}

}  // namespace
