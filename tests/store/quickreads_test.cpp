// Reading without the lock, while somebody else changes the file at the worst moment.
#include <gmock/gmock.h>

#include <random>
#include <utility>
#include <vector>

#include "store/operations.h"
#include "support/storecalls.h"

namespace {

std::string KeyOf(unsigned n) { return "k" + std::to_string(1000 + n); }

class QuickReadsTest : public StoreTest {
 protected:
  static constexpr unsigned Keys = 300;

  // Some leaves of records that are there already, `file` and `writer` on them, pages in place.
  QuickReadsTest() {
    host.givesViews = true;
    Create();
    writer = OpenAt(path);
    for (unsigned n = 0; n < Keys; n += 2) Fill({Record(KeyOf(n), 200)});
  }
  // The answer of a get, with what it got.
  std::string Getting(unsigned n) {
    Bytes record;
    const std::string said = Said(Get(file, KeyOf(n) + ' ', record));
    return said + record;
  }
  std::string Right(unsigned n, unsigned seed, std::size_t size = 200) const {
    return n % 2 == 0 ? "0" + Record(KeyOf(n), size, seed) : "1";
  }
  // Gets and walks all; how many calls that made on the host.
  int CallsForAll() {
    host.FailCall(0, Fault::None);
    for (unsigned n = 0; n < Keys; ++n) EXPECT_EQ(Getting(n), Right(n, 1));
    EXPECT_EQ(Walk(file).size(), Keys / 2);
    return host.Calls();
  }

  int writer = -1;
};

TEST_F(QuickReadsTest, LockIsTakenOnlyWhereWhatIsSeenWithoutItCannotBeBelieved) {
  CallsForAll();
  EXPECT_EQ(CallsForAll(), 0) << "all is known, and no lock is needed";
  ASSERT_EQ(Update(writer, KeyOf(0) + ' ', Record(KeyOf(0), 200)), 0);
  EXPECT_EQ(CallsForAll(), 0) << "and can be found out again";
  host.shares = false;
  for (const unsigned n : {1U, 0U}) {
    host.FailCall(0, Fault::None);
    EXPECT_EQ(Getting(n), Right(n, 1));
    EXPECT_GT(host.Calls(), 0) << "others may count elsewhere";
  }
  host.shares = true;

  platform::FileIdentity identity{7, host.File(path).index};
  store::Change change;
  change.Begin(store::ChangeCount::Of(host, identity));
  host.FailCall(0, Fault::None);
  for (unsigned n = 0; n < Keys; ++n) EXPECT_EQ(Getting(n), Right(n, 1));
  EXPECT_EQ(host.Calls(), 0) << "somebody changes something, but none of these pages";
  change.Tell(udbEntry(file).header.root);
  EXPECT_EQ(Getting(7), "1");
  EXPECT_GT(host.Calls(), 0) << "somebody died amid a change that was no change";
  EXPECT_EQ(CallsForAll(), 0);
}

// Whatever of a page lookups go by, and whichever road changes it; links alone are told of nobody.
TEST_F(QuickReadsTest, PageThatWasChangedHasAnotherVersion) {
  std::mt19937 random(7);
  const std::size_t sizes[] = {40, 300, 1500, 5000, 20000};
  for (const bool views : {true, false}) {
    host.givesViews = views;
    Create();
    const auto* const count = store::ChangeCount::Of(host, {7, host.File(path).index});
    Bytes before = Image();
    std::vector<std::uint64_t> versions(store::MaxPages);
    for (std::uint16_t n = 0; n < store::MaxPages; ++n) versions[n] = count->VersionOf(n);
    std::size_t changed = 0;
    const auto look = [&](const char* behind) {
      Bytes now = Image();
      before.resize(now.size());
      for (std::uint16_t n = 0; n < now.size() / PageBytes; ++n) {
        const auto differs = [&](std::size_t begin, std::size_t end) {
          return now.compare(n * PageBytes + begin, end - begin, before, n * PageBytes + begin,
                             end - begin) != 0;
        };
        const bool differed = n == 0 ? differs(0, 12) : differs(0, 4) || differs(8, PageBytes);
        const std::uint64_t version = count->VersionOf(n);
        ASSERT_EQ(version % 2, 0U) << behind;
        ASSERT_TRUE(!differed || version != versions[n]) << behind << ", page " << n << views;
        changed += differed ? 1 : 0;
        versions[n] = version;
      }
      before = std::move(now);
    };
    const auto change = [&](unsigned n) {
      const Bytes record = Record(KeyOf(n), sizes[random() % 5], random());
      if (random() % 3 == 0 || Insert(file, record) == 1) Update(file, KeyOf(n) + ' ', record);
      look("a record");
      if (random() % 3 == 0) Erase(file, KeyOf(random() % Keys) + ' ');
      look("an erasure");
    };
    for (int i = 0; i < 600; ++i) change(random() % Keys);
    for (unsigned n = 0; n < Keys; ++n) {
      Erase(file, KeyOf(n) + ' ');
      look("an erasure of all");
    }
    SortedLoad load(path);
    for (unsigned n = 0; n < Keys; ++n) load.Add(AsKey(Record(KeyOf(n), 200)));
    ASSERT_EQ(load.Finish().stored, Keys);
    look("a load");
    before[0] = Image()[0] = 23;
    ASSERT_EQ(udbUpgrade(file), 0);
    look("an upgrade");
    EXPECT_GT(changed, 1000U);
  }
}

// Leaves are freed under a reader who knows all of them, the last one when he stands in it. Their
// bytes stay where they are.
TEST_F(QuickReadsTest, LeafThatSomebodyFreedIsLost) {
  CallsForAll();
  for (unsigned n = Keys; n > 0;) {
    n -= 2;
    ASSERT_EQ(Erase(writer, KeyOf(n) + ' '), 0);
    ASSERT_EQ(Getting(n), "1");
    const unsigned other = n > 0 ? 0 : 1;
    ASSERT_EQ(Getting(other), Right(other, 1));
  }
  Fill({Record("one", 200)});
  Bytes record;
  ASSERT_EQ(Get(file, "one ", record), 0);
  UdbPosition there;
  std::string key;
  ASSERT_EQ(udbGetPosition(file, there, key), 0);
  ASSERT_EQ(udbSetPosition(file, there, AsKey("one ")), 0);
  ASSERT_EQ(Erase(writer, "one "), 0);
  EXPECT_EQ(udbSetPosition(file, there, AsKey("one ")), 1);
}

// Nor is it lost for that: it goes on by that key when there are records again.
TEST_F(QuickReadsTest, CursorBehindAMissStandsNowhereInAFileThatOthersEmptied) {
  CallsForAll();
  ASSERT_EQ(Find(file, KeyOf(1) + ' '), 1);
  for (unsigned n = 0; n < Keys; n += 2) ASSERT_EQ(Erase(writer, KeyOf(n) + ' '), 0);
  UdbPosition there;
  Bytes key;
  EXPECT_EQ(udbGetPosition(file, there, key), -1);
  EXPECT_EQ(Said(udbEraseCurrent(file)), "1");
  for (const unsigned n : {0U, 2U, 4U}) ASSERT_EQ(Insert(writer, Record(KeyOf(n), 20)), 0);
  EXPECT_EQ(GetNext(file, key), 0);
  EXPECT_EQ(key, Record(KeyOf(4), 20)) << "behind the one at its place";
}

// A change happens where a reader finds out how far the file goes: ahead of a page that he has not
// seen as it is now, behind others that he has.
TEST_F(QuickReadsTest, ChangeAmidAReadIsSeenWholeOrNotAtAll) {
  std::mt19937 random(3);
  unsigned seed = 1;
  unsigned reading = 0;
  std::vector<std::string> right;  // what the key that is read may be answered with
  const auto sizeOf = [](unsigned n) { return n % 4 == 0 ? 200U : 3000U; };
  const auto change = [&](unsigned n) {
    const auto hook = std::exchange(host.amidReading, nullptr);  // the writer reads, too
    ASSERT_EQ(Update(writer, KeyOf(n) + ' ', Record(KeyOf(n), sizeOf(n), ++seed)), 0);
    if (n == reading) right.push_back(Right(n, seed, sizeOf(n)));
    // Splits leaves and frees them, so that pages change hands, or the key's own leaf.
    const Bytes other = random() % 2 == 0 ? "m" + KeyOf(n) : KeyOf(n) + "m";
    const int answer = Insert(writer, Record(other, random() % 2 == 0 ? 1500 : 3000));
    ASSERT_TRUE(answer == 0 || Erase(writer, other + ' ') == 0);
    host.amidReading = hook;
  };
  unsigned amid = 0;
  for (int i = 0; i < 2000; ++i) {
    reading = static_cast<unsigned>(random() % (Keys / 2)) * 2;
    right.clear();
    change(reading);
    host.amidReading = [&] {
      if (random() % 2 == 0) return;
      ++amid;
      change(reading);
    };
    ASSERT_THAT(right, testing::Contains(Getting(reading)));
    host.amidReading = nullptr;
    ASSERT_EQ(Getting(reading), right.back());
    ASSERT_EQ(Getting(reading + 1), "1");
  }
  EXPECT_GT(amid, 500U);
  Sound();
}

TEST_F(QuickReadsTest, WalkSeesWhatOthersChangeAheadOfItInItsLeaf) {
  ASSERT_EQ(udbRewind(file), 0);
  for (unsigned n = 0; n < Keys; n += 2) {
    const bool changes = n % 10 == 0;  // between steps that nobody disturbs
    if (changes) {
      ASSERT_EQ(Update(writer, KeyOf(n) + ' ', Record(KeyOf(n), 200, 9)), 0);
    }
    Bytes record;
    ASSERT_EQ(GetNext(file, record), 0);
    ASSERT_EQ(record, Record(KeyOf(n), 200, changes ? 9 : 1));
  }
}

// Directories, and orders of pages, which go on as the pages split.
TEST_F(QuickReadsTest, WhatIsKnownOfPagesStaysWithinItsMemoryAndGoesWithItsFile) {
  store::DirectoryMemory& memory = store::TheEngine().files.Directories();
  const std::size_t limit = memory.limit;
  CallsForAll();
  const std::size_t wanted = memory.Used();
  EXPECT_GT(wanted, 1000U);
  memory.limit = wanted / 2;
  for (int round = 0; round < 3; ++round) {
    CallsForAll();
    EXPECT_LE(memory.Used(), memory.limit + 4096);
  }
  memory.limit = 20000;
  std::mt19937 random(5);
  for (int n = 0; n < 10000; ++n) {
    Bytes key;
    while (key.size() < 8) key += static_cast<char>('A' + random() % 57);
    ASSERT_NE(Insert(file, key + " 1"), -1);
    ASSERT_LE(memory.Used(), memory.limit + 4096);
  }
  memory.limit = limit;
  CloseAll();
  EXPECT_EQ(memory.Used(), 0U);
}

// Such a page is walked over, be its keys known or not.
TEST_F(QuickReadsTest, RecordStoredUnderAnotherKeyIsWhereAWalkFindsIt) {
  for (const bool views : {true, false}) {
    host.givesViews = views;
    Create();
    Fill({"a 1", "b 1", "long-key-1 1", "long-key-2 1", "long-key-3 1", "z 1", "zz 1"});
    ASSERT_EQ(Update(file, "long-key-1 ", "long-key-9 1"), 0);
    EXPECT_EQ(Find(file, "long-key-3 "), 1) << views;
    EXPECT_EQ(Erase(file, "long-key-3 "), 1) << views;
    EXPECT_EQ(Find(file, "long-key-9 "), 0) << views;
  }
}

// Two entries of a root lead to one leaf, whose keys go beyond the one between them. Another leads
// to a leaf with a key that belongs elsewhere.
TEST_F(QuickReadsTest, KeyThatNoSearchComesToIsNotFound) {
  const Bytes page0 = HeaderPage({.firstLeaf = 1, .root = 4, .pages = 4, .depth = 1});
  const std::vector<Bytes> entries = {KeyEntry(1, "b "), KeyEntry(2, "d "), KeyEntry(3, "f ")};
  OpenBytes(page0 + LeafOf({"a 1", "c 1", "g 1"}) + LeafOf({"bb 1", "d 1"}) + LeafOf({"x 1"}) +
            TreePage(InternalPage, {.rightChild = 1}, entries));
  for (const char* there : {"a ", "bb ", "d ", "g "}) EXPECT_EQ(Find(file, there), 0) << there;
  for (const char* key : {"c ", "e ", "x "}) EXPECT_EQ(Find(file, key), 1) << key;
}

}  // namespace
