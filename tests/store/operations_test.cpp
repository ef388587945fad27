// Edges of the operations on records: limits of keys, lengths, space and depth, what a cut read
// answers, and what the tree keeps when it empties.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/storecalls.h"

namespace {

using image::Bytes;
using image::HeaderPage;
using image::InlineEntry;
using image::InternalPage;
using image::KeyEntry;
using image::LeafPage;
using image::TreePage;

const char path[] = "/m/ops.udb";

class OperationsTest : public StoreTest {
 protected:
  // The insertion fails with these words and leaves the file byte for byte as it was.
  void ExpectRefused(int file, const Bytes& record, const char* words) {
    const Bytes before = host.Bytes(path);
    EXPECT_EQ(Insert(file, record), -1);
    EXPECT_EQ(ErrorText(file), words);
    EXPECT_TRUE(host.Bytes(path) == before) << "refused before anything is written";
  }
  unsigned Header16(std::size_t at) { return image::Get16(host.Bytes(path), at); }
};

TEST_F(OperationsTest, PresentKeyIsNotInsertedAndNothingChanges) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, Record("a", 5000)), 0);
  EXPECT_EQ(Insert(file, "b 1"), 0);
  const Bytes before = host.Bytes(path);
  EXPECT_EQ(Insert(file, Record("a", 9000)), 1);
  EXPECT_EQ(Insert(file, "b 2"), 1);
  EXPECT_EQ(ErrorText(file), "SUCCESS");
  EXPECT_TRUE(host.Bytes(path) == before);
}

TEST_F(OperationsTest, KeyMustLieWholeWithinTheRecord) {
  int file = Create(path, {4, ' ', 3});
  ExpectRefused(file, "", "WRONG KEY");
  ExpectRefused(file, "abc", "WRONG KEY");
  ExpectRefused(file, "abckey", "WRONG KEY");
  ExpectRefused(file, "abc" + std::string(127, 'k') + " ", "WRONG KEY");
  EXPECT_EQ(Insert(file, "abc" + std::string(126, 'k') + " "), 0) << "127 with the stop symbol";
  EXPECT_EQ(Insert(file, "abc "), 0) << "an empty key is one";
  EXPECT_EQ(udbClose(file), 0);
  Sound(path);

  host.Forget(path);
  file = Create(path, {1, 5, 2});
  ExpectRefused(file, "xx1234", "WRONG KEY");
  EXPECT_EQ(Insert(file, "xx12345"), 0);
  EXPECT_EQ(udbClose(file), 0);

  host.Forget(path);
  file = Create(path, {2, 0, -1});
  ExpectRefused(file, Bytes("word\0rest", 9),
                "WRONG KEY");  // the key would begin before the record
}

TEST_F(OperationsTest, KeyHandedInWithoutItsStopSymbolIsWrong) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, "key 1"), 0);
  for (const Bytes& key : {Bytes("key"), Bytes(), std::string(127, 'k') + " "}) {
    std::string record;
    EXPECT_EQ(Find(file, key), -1);
    EXPECT_EQ(ErrorText(file), "WRONG KEY");
    EXPECT_EQ(Get(file, key, record), -1);
    EXPECT_EQ(Update(file, key, "key 2"), -1);
    EXPECT_EQ(Erase(file, key), -1);
    EXPECT_EQ(ErrorText(file), "WRONG KEY");
  }
  EXPECT_EQ(Walk(file), std::vector<std::string>{"key 1"});
}

TEST_F(OperationsTest, RecordIsShorterThan16MBAndTheLongestComesBack) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, "small 1"), 0);
  ExpectRefused(file, Record("big", 0xFFFFFF), "WRONG RECORD LENGTH");
  const Bytes longest = Record("big", 0xFFFFFE);
  EXPECT_EQ(Insert(file, longest), 0) << ErrorText(file);
  std::string got;
  EXPECT_EQ(Get(file, "big ", got), 0);
  EXPECT_TRUE(got == longest);
  Sound(path);
  const Bytes before = host.Bytes(path);
  EXPECT_EQ(Update(file, "big ", Record("big", 0xFFFFFF)), -1);
  EXPECT_EQ(ErrorText(file), "WRONG RECORD LENGTH");
  EXPECT_EQ(Update(file, "small ", Record("small", 0xFFFFFF)), -1);
  EXPECT_EQ(Get(file, "big ", got), 0) << "a refused update leaves the old record";
  EXPECT_TRUE(host.Bytes(path) == before) << "and marks its run in use again";
}

TEST_F(OperationsTest, SpaceIsTestedBeforeAnInsertionByTheCautiousFigure) {
  struct Row {
    std::size_t length;
    unsigned freePages;
    bool room;
  };
  const Row rows[] = {{100, 8, true},  {100, 7, false}, {4096, 8, true}, {4097, 8, false},
                      {4097, 9, true}, {10, 0, false},  {2, 6, false},   {100, 65535, true}};
  for (const Row& row : rows) {
    const int file = OpenBytes(path, HeaderPage({.key = Words, .freePages = row.freePages}));
    if (row.room) {
      EXPECT_EQ(Insert(file, Record("a", row.length)), 0) << row.freePages << ' ' << row.length;
    } else {
      ExpectRefused(file, Record("a", row.length), "CANNOT ALLOCATE RECORD");
    }
    EXPECT_EQ(udbClose(file), 0);
  }
}

// A bitmap with few free pages, whatever the figure says.
TEST_F(OperationsTest, FullBitmapRefusesWhatDoesNotFitAndKeepsWhatIsThere) {
  const Bytes old = Record("m", 2000);
  const auto fullBut = [&](const std::vector<unsigned>& free) {
    Bytes bytes = HeaderPage({.key = Words, .firstLeaf = 1, .root = 1, .recordCount = 1});
    for (std::size_t i = 25; i < 4096; ++i) bytes[i] = '\xff';
    for (unsigned n : free) {
      const int byte = bytes[25 + n / 8] & ~(1 << n % 8);
      bytes[25 + n / 8] = static_cast<char>(byte);
    }
    return bytes + TreePage(LeafPage, {}, {InlineEntry(old)});
  };
  // Three pages in a row, but not four: the run of four would fit only around a page in use.
  int file = OpenBytes(path, fullBut({9, 10, 11, 13, 14}));
  EXPECT_EQ(Insert(file, Record("a", 4 * 4096 - 8)), -1);
  EXPECT_EQ(ErrorText(file), "CANNOT ALLOCATE RECORD");
  EXPECT_EQ(Insert(file, Record("a", 3 * 4096 - 8)), 0);
  EXPECT_EQ(Insert(file, Record("b", 2 * 4096 - 8)), 0);
  EXPECT_EQ(Insert(file, Record("c", 2030)), -1);
  EXPECT_EQ(Insert(file, Record("c", 2000)), 0) << "still fits into the leaf";
  EXPECT_EQ(Insert(file, Record("d", 2000)), -1) << "no page for the split";
  EXPECT_EQ(ErrorText(file), "CANNOT ALLOCATE RECORD");
  EXPECT_EQ(Update(file, "c ", Record("c", 5000)), -1);
  EXPECT_EQ(Update(file, "m ", Record("m", 2)), 0);
  EXPECT_EQ(Walk(file),
            (std::vector<std::string>{Record("a", 3 * 4096 - 8), Record("b", 2 * 4096 - 8),
                                      Record("c", 2000), "m "}));
  // An update gives its own run back before it looks for a new one.
  EXPECT_EQ(Update(file, "a ", Record("a", 3 * 4096 - 8, 2)), 0) << ErrorText(file);
  EXPECT_EQ(Update(file, "a ", Record("a", 3 * 4096 - 7, 3)), -1);
  std::string got;
  EXPECT_EQ(Get(file, "a ", got), 0) << ErrorText(file);
  EXPECT_TRUE(got == Record("a", 3 * 4096 - 8, 2));
  EXPECT_EQ(udbClose(file), 0);

  // One page: the run finds it, or the leaf's split; then the root has none left.
  file = OpenBytes(path, fullBut({20}));
  EXPECT_EQ(Insert(file, Record("n", 2000)), 0);
  EXPECT_EQ(Insert(file, Record("o", 2000)), -1) << "a page for the leaf, none for the root";
  EXPECT_EQ(ErrorText(file), "CANNOT ALLOCATE RECORD");
  EXPECT_EQ(Walk(file), (std::vector<std::string>{old, Record("n", 2000)}));
  EXPECT_EQ(Count(file), 2U);
}

TEST_F(OperationsTest, EmptiedFileKeepsItsLengthAndTakesTheLowestPageAgain) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, "a 1"), 0);
  EXPECT_EQ(Erase(file, "a "), 0);
  EXPECT_EQ(host.Bytes(path).size(), 2 * 4096U);
  EXPECT_TRUE(host.Bytes(path).substr(0, 4096) == HeaderPage({.key = Words}));
  std::string record;
  EXPECT_EQ(GetNext(file, record), 1);
  EXPECT_EQ(Find(file, "a "), 1);
  EXPECT_EQ(Insert(file, "b 2"), 0);
  EXPECT_EQ(Header16(10), 1U);
  EXPECT_EQ(host.Bytes(path).size(), 2 * 4096U);
}

TEST_F(OperationsTest, DepthStaysWhenTheTreeEmptiesAndGoesOnFromThere) {
  const int file = OpenBytes(path, HeaderPage({.key = Words,
                                               .firstLeaf = 1,
                                               .root = 3,
                                               .freePages = 32565,
                                               .depth = 2,
                                               .recordCount = 1,
                                               .inUse = {1, 2, 3}}) +
                                       TreePage(LeafPage, {}, {InlineEntry("a 1")}) +
                                       TreePage(InternalPage, {.rightChild = 1}, {}) +
                                       TreePage(InternalPage, {.rightChild = 2}, {}));
  EXPECT_EQ(Erase(file, "a "), 0) << ErrorText(file);
  EXPECT_EQ(Header16(14), 2U);
  EXPECT_EQ(Header16(10), 0U);
  EXPECT_EQ(Header16(12), 32568U);
  for (const char* key : {"a", "b", "c"}) EXPECT_EQ(Insert(file, Record(key, 2000)), 0);
  EXPECT_EQ(Header16(14), 3U);
  Sound(path);
  EXPECT_EQ(udbClear(file), 0);
  EXPECT_EQ(Header16(14), 0U);
}

TEST_F(OperationsTest, RootWithoutEntriesIsDissolvedOnceAnErasure) {
  // Two levels that lost all but their right children, and one leaf with two records.
  const int file = OpenBytes(
      path, HeaderPage({.key = Words,
                        .firstLeaf = 1,
                        .root = 3,
                        .freePages = 32564,
                        .depth = 2,
                        .recordCount = 3,
                        .inUse = {1, 2, 3, 4}}) +
                TreePage(LeafPage, {.next = 4}, {InlineEntry("a 1")}) +
                TreePage(InternalPage, {.rightChild = 4}, {KeyEntry(1, "b ")}) +
                TreePage(InternalPage, {.rightChild = 2}, {}) +
                TreePage(LeafPage, {.prev = 1}, {InlineEntry("c 3"), InlineEntry("d 4")}));
  EXPECT_EQ(Erase(file, "d "), 0);
  EXPECT_EQ(Header16(10), 3U) << "the walk ended in the leaf, and did not come to the root";
  EXPECT_EQ(Erase(file, "a "), 0) << ErrorText(file);
  EXPECT_EQ(Header16(10), 3U) << "the page below the root took the loss";
  EXPECT_EQ(Header16(14), 2U);
  EXPECT_EQ(Header16(8), 4U);
  Sound(path);
  EXPECT_EQ(Insert(file, "a 1"), 0);
  EXPECT_EQ(Walk(file), (std::vector<std::string>{"a 1", "c 3"}));
}

// Seven internal pages are one too many; six can be walked, and grow only below the root.
TEST_F(OperationsTest, SixInternalLevelsAreTheDeepestTree) {
  const auto chain = [](unsigned levels, unsigned separators) {
    std::vector<unsigned> inUse;
    for (unsigned n = 1; n <= levels + 2; ++n) inUse.push_back(n);
    Bytes bytes = HeaderPage({.key = Words,
                              .firstLeaf = 1,
                              .root = levels + 1,
                              .depth = levels,
                              .recordCount = 1,
                              .inUse = inUse}) +
                  TreePage(LeafPage, {}, {InlineEntry("zz 1")});
    for (unsigned n = 1; n <= levels; ++n) {
      std::vector<Bytes> entries;
      for (unsigned i = 0; n == levels && i < separators; ++i) {
        entries.push_back(KeyEntry(
            levels + 2, Bytes(1, static_cast<char>('A' + i)) + std::string(125, 'k') + " "));
      }
      bytes += TreePage(InternalPage, {.rightChild = n}, entries);
    }
    return bytes + Bytes(4096, '\0');
  };
  int file = OpenBytes(path, chain(6, 0));
  EXPECT_EQ(Find(file, "zz "), 0) << ErrorText(file);
  EXPECT_EQ(Insert(file, "zzz 2"), 0) << ErrorText(file);
  EXPECT_EQ(udbClose(file), 0);
  file = OpenBytes(path, chain(6, 29));  // 29 * 136 used, and room for one separator more
  EXPECT_EQ(Insert(file, "zzz 2"), 0) << ErrorText(file);
  EXPECT_EQ(udbClose(file), 0);
  file = OpenBytes(path, chain(6, 30));
  ExpectRefused(file, "zzz 2", "CANNOT ALLOCATE RECORD");
  EXPECT_EQ(Update(file, "zz ", "zz 9"), 0) << "an update is not tested so";
  EXPECT_EQ(udbClose(file), 0);
  file = OpenBytes(path, chain(7, 0));
  EXPECT_EQ(Find(file, "zz "), -1);
  EXPECT_EQ(ErrorText(file), "INDEX DEPTH OVERFLOW");
  EXPECT_EQ(Erase(file, "zz "), -1);
  EXPECT_EQ(Walk(file), std::vector<std::string>{"zz 1"}) << "a walk needs no internal page";
}

TEST_F(OperationsTest, EndOfTheFileIsAnsweredAgainAndAgain) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, "a 1"), 0);
  std::string record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(GetNext(file, record), 1);
  EXPECT_EQ(GetNext(file, record), 1);
  EXPECT_EQ(Insert(file, "b 2"), 0);
  EXPECT_EQ(Find(file, "a "), 0);
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(record, "b 2");
}

TEST_F(OperationsTest, ReadCutByTheTableIsNotTestedForItsChecksum) {
  const int file = Create(path);
  for (const std::size_t length : {100U, 2029U, 2030U, 9000U}) {
    const Bytes record = Record("k" + std::to_string(length), length);
    EXPECT_EQ(Insert(file, record), 0);
    const Bytes key = image::KeyOf(Words, record);
    for (const int most :
         {0xFFFFFF, static_cast<int>(length), static_cast<int>(length) - 1, 40, 1}) {
      udbEntry(file).maxRead = most;
      std::string got;
      EXPECT_EQ(Get(file, key, got), 0) << ErrorText(file);
      EXPECT_TRUE(got == record.substr(0, static_cast<std::size_t>(most))) << length << ' ' << most;
    }
    udbEntry(file).maxRead = 0xFFFFFF;
  }
}

TEST_F(OperationsTest, BorrowedBufferCutsAnExternalRecordButFailsAnInlineOne) {
  const int file = Create(path);
  const Bytes small = Record("s", 500);
  const Bytes large = Record("x", 5000);
  EXPECT_EQ(Insert(file, small), 0);
  EXPECT_EQ(Insert(file, large), 0);
  struct Row {
    const Bytes& record;
    int capacity;
    int answer;
  };
  const Row rows[] = {{small, 600, 0},  {small, 500, 0},  {small, 499, -1}, {small, 1, -1},
                      {large, 6000, 0}, {large, 5000, 0}, {large, 4999, 0}, {large, 10, 0}};
  for (const Row& row : rows) {
    std::vector<unsigned char> block(static_cast<std::size_t>(row.capacity));
    DataTransfer target;
    target.SetExternBuf(block.data(), row.capacity);
    EXPECT_EQ(udbGet(file, AsKey(image::KeyOf(Words, row.record)), target), row.answer)
        << row.capacity;
    EXPECT_TRUE(target.ExternalBuffer());
    if (row.answer != 0) {
      EXPECT_EQ(ErrorText(file), "CHECKSUM ERROR");
      continue;
    }
    const Bytes expected = row.record.substr(0, static_cast<std::size_t>(row.capacity));
    EXPECT_EQ(target.Size(), static_cast<int>(expected.size()));
    EXPECT_EQ(Bytes(block.begin(), block.begin() + target.Size()), expected);
  }
}

TEST_F(OperationsTest, ChangedByteIsACheckumErrorOfReadingAndNotOfFinding) {
  for (const std::size_t length : {100U, 5000U}) {
    host.Forget(path);
    const int file = Create(path);
    EXPECT_EQ(Insert(file, Record("a", length)), 0);
    const std::size_t at = host.Bytes(path).find(Record("a", length).substr(0, 40));
    host.Bytes(path)[at + 30] ^= 1;
    std::string record;
    EXPECT_EQ(Find(file, "a "), 0);
    EXPECT_EQ(Get(file, "a ", record), -1);
    EXPECT_EQ(ErrorText(file), "CHECKSUM ERROR");
    udbEntry(file).maxRead = 20;
    EXPECT_EQ(Get(file, "a ", record), 0) << "a cut read does not notice";
    EXPECT_EQ(udbClose(file), 0);
  }
}

TEST_F(OperationsTest, PositionGivesTheKeyAndFindsItAgainAfterItsRecordMoved) {
  const int file = Create(path);
  for (const char* key : {"b", "d", "f"}) EXPECT_EQ(Insert(file, Record(key, 1000)), 0);
  EXPECT_EQ(Find(file, "d "), 0);
  UdbPosition position;
  std::string key;
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(key, "d ");
  EXPECT_EQ(Insert(file, Record("a", 1000)), 0);  // splits the leaf
  EXPECT_EQ(Insert(file, Record("c", 1000)), 0);
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 0);
  std::string record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(record, Record("f", 1000));
  EXPECT_EQ(Erase(file, "d "), 0);
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 1);
  EXPECT_EQ(udbSetMatchMode(file, UDB_AT_OR_AFTER), 0);
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 0) << "found by the mode in force";
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(key, "f ");
}

// A freed page keeps its bytes, and so shows records that are gone or stand elsewhere by now.
TEST_F(OperationsTest, PositionOnAFreedPageFindsNoDeadRecord) {
  const int file = Create(path);
  for (const char* key : {"a", "b", "c", "d"}) EXPECT_EQ(Insert(file, Record(key, 1017)), 0);
  EXPECT_EQ(Find(file, "b "), 0);
  UdbPosition position;
  std::string key;
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(Erase(file, "a "), 0);
  EXPECT_EQ(Find(file, "b "), 0);
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(Erase(file, "b "), 0);  // the leaf's last one
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 1);
  EXPECT_EQ(Insert(file, Record("b", 50)), 0);
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 0);
  std::string record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(record, Record("c", 1017));
}

// Other modes would hop into the next leaf and put the key behind its separator.
TEST_F(OperationsTest, UpdatesMatchExactlyWhateverTheMode) {
  const int file = Create(path);
  for (const char* key : {"a", "c", "e", "g"}) EXPECT_EQ(Insert(file, Record(key, 1017)), 0);
  for (const int mode : {UDB_AT_OR_AFTER, UDB_AFTER}) {
    EXPECT_EQ(udbSetMatchMode(file, mode), 0);
    EXPECT_EQ(Insert(file, Record("c5", 40)), 0);
    EXPECT_EQ(Update(file, "b ", "b x"), 1);
    EXPECT_EQ(Erase(file, "b "), 1);
    EXPECT_EQ(Insert(file, Record("a", 10)), 1);
    EXPECT_EQ(Update(file, "c5 ", Record("c5", 50)), 0);
    EXPECT_EQ(Sound(path).records.size(), 5U);
    EXPECT_EQ(Erase(file, "c5 "), 0);
  }
}

}  // namespace
