// A process dies in the middle of an update, and whoever takes the lock next cannot reach the file.
// What was kept waits for that very file, never gets into another one, and holds up nobody else.
#include <algorithm>

#include "store/changecount.h"
#include "support/storecalls.h"

namespace {

class AsideTest : public StoreTest {
 protected:
  // A process dies in an insertion, its leaf split and half written, in the file at `path`. With
  // flags, somebody else has the file open all the while, as `file`.
  void Break(int flagsOfOther = -1) {
    for (int nth = 1;; ++nth) {
      udbOpen(path.c_str(), 2, failure);  // what the last try broke is mended
      CloseAll();
      host.Forget(path);
      const int broken = CreateAt(path);
      for (const char* key : {"a", "b", "c", "d"}) Insert(broken, Record(key, 1000));
      before = Image();
      if (flagsOfOther >= 0) file = OpenAt(path, flagsOfOther);
      host.FailCall(nth, Fault::Crash);
      Insert(broken, Record("bb", 1200));
      host.Heal();
      udbClose(broken);
      host.Restart();
      ASSERT_NE(host.Struck(), "") << "the insertion has fewer calls";
      ASSERT_TRUE(!CountIsStable(path) || Image() == before || Sound().records.size() == 5)
          << "who reads without the lock would not know, call " << nth;
      if (Image() != before && Image().size() == before.size()) return;
    }
  }
  bool CountIsStable(const std::string& where) {
    const auto* const count = store::ChangeCount::Of(host, {7, host.File(where).index});
    return store::ChangeCount::IsStable(count->Now());
  }
  std::string Opening(const std::string& where, int flags = 2) {
    const int n = udbOpen(where.c_str(), flags, failure);
    return n < 0 ? failure : std::to_string(Walk(n).size());
  }
  // Somebody uses other files.
  void GoOn() {
    const int other = CreateAt("/m/other" + std::to_string(++others));
    EXPECT_EQ(Insert(other, "x 1"), 0);
    EXPECT_EQ(udbClose(other), 0);
  }

  Bytes before;
  int others = 0;
};

TEST_F(AsideTest, FileIsKnownUnderAnotherNameAndItsOwnNameOnAnotherFileIsNot) {
  Break();
  const Bytes half = Image();
  host.Rename(path, "/m/renamed");
  host.Put(path, before);  // even with the very same page 0
  host.Bytes(path)[5000] ^= 1;
  const Bytes another = Image();
  GoOn();
  EXPECT_EQ(Image(), another);
  EXPECT_EQ(host.Bytes("/m/renamed"), half) << "nobody knows of it yet";
  EXPECT_FALSE(CountIsStable("/m/renamed"));
  auto* const count = store::ChangeCount::Of(host, {7, host.File("/m/renamed").index});
  count->EndAll();  // as somebody does who cannot know of it
  const auto at = std::mismatch(half.begin(), half.end(), before.begin()).first - half.begin();
  const auto page = static_cast<std::uint16_t>(static_cast<std::size_t>(at) / PageBytes);
  const std::uint64_t version = count->VersionOf(page);
  EXPECT_EQ(Opening("/m/renamed"), "4");
  EXPECT_TRUE(host.Bytes("/m/renamed") == before);
  EXPECT_NE(count->VersionOf(page), version) << "page " << page << " is another one now";
  EXPECT_TRUE(CountIsStable("/m/renamed"));
}

TEST_F(AsideTest, HalfAnUpdateIsNeverReadWhereTheFileMayNotBeWritten) {
  Break();
  host.File(path).readOnly = true;
  GoOn();
  EXPECT_EQ(Opening(path, 0), "SYSTEM ERROR");
  host.File(path).readOnly = false;
  EXPECT_EQ(Opening(path, 0), "4");
  EXPECT_TRUE(Image() == before);
}

TEST_F(AsideTest, FileThatIsOpenAlreadyIsMendedAtItsNextOperation) {
  for (const int flags : {0, 2}) {
    Break(flags);
    host.Rename(path, "/m/there");
    GoOn();
    EXPECT_FALSE(host.Bytes("/m/there") == before);
    if (flags == 0) {
      EXPECT_EQ(Said(Find(file, "a ")), "SYSTEM ERROR") << "it cannot mend, and knows no other way";
      host.Rename("/m/there", path);
    }
    EXPECT_EQ(Walk(file).size(), 4U);
    EXPECT_TRUE(host.Bytes(flags == 0 ? path : "/m/there") == before);
  }
}

TEST_F(AsideTest, FileCutToNothingWaitsAndOneWrittenOverIsLetBe) {
  Break();
  const Bytes half = Image();
  Image().resize(100);
  GoOn();
  EXPECT_EQ(Opening(path), "SYSTEM ERROR");
  EXPECT_EQ(Image().size(), 100U);
  Image() = half;
  EXPECT_EQ(Opening(path), "4");
  EXPECT_TRUE(Image() == before);

  Break();
  Image() = HeaderPage({});
  GoOn();
  EXPECT_EQ(Opening(path), "0");
  EXPECT_TRUE(Image() == HeaderPage({}));
}

// What stood in page 0 behind the latest update is no help when something else has written to the
// file since, be it that the file was closed meanwhile or not.
TEST_F(AsideTest, FileWrittenOverBetweenTwoUpdatesIsTakenBackToWhatThatWrote) {
  for (const bool views : {false, true}) {
    host.givesViews = views;
    for (const bool closes : {true, false}) {
      unsigned mended = 0;
      for (int nth = 1;; ++nth) {
        Create();
        Fill({Record("a", 1000), Record("b", 1000)});
        const Bytes other = Image();
        Fill({Record("c", 1000), Record("d", 1000), Record("dd", 1000), Record("e", 1000)});
        if (closes) CloseAll();
        Image() = other;
        if (closes) file = OpenAt(path);
        host.FailCall(nth, Fault::Crash);
        const int answer = Insert(file, Record("cc", 1000));
        udbClose(file);
        host.Restart();
        if (host.Struck().empty()) {
          EXPECT_EQ(answer, 0);
          break;
        }
        mended += Image() != other ? 1 : 0;
        file = OpenAt(path);
        EXPECT_TRUE(Image() == other || Walk(file).size() == 3) << nth << views << closes;
        Sound();
      }
      EXPECT_GT(mended, 0U);
    }
  }
}

// Seven wait at most; the eighth pushes the oldest out. The store goes on all the while.
TEST_F(AsideTest, SevenFilesWaitAndTheOldestIsForgottenForTheEighth) {
  for (int n = 0; n < 8; ++n) {
    Break();
    host.Rename(path, "/m/gone" + std::to_string(n));
    GoOn();
  }
  for (int n = 7; n >= 0; --n) {
    const std::string where = "/m/gone" + std::to_string(n);
    CloseAll();
    udbOpen(where.c_str(), 2, failure);
    EXPECT_EQ(host.Bytes(where) == before, n != 0) << n;
  }
}

}  // namespace
