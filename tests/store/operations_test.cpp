// Edges of the operations on records: limits of keys, lengths, space and depth, what a cut read
// answers, and what the tree keeps when it empties.
#include "support/storecalls.h"

namespace {

class OperationsTest : public StoreTest {};

TEST_F(OperationsTest, KeyMustLieWholeWithinTheRecordAndComeWithItsStopSymbol) {
  struct Row {
    KEYDESCR kd;
    Bytes record;
    const char* said;
  };
  const Row rows[] = {{{4, ' ', 3}, "", "WRONG KEY"},
                      {{4, ' ', 3}, "abckey", "WRONG KEY"},
                      {{4, ' ', 3}, "abc" + Bytes(127, 'k') + " ", "WRONG KEY"},
                      {{4, ' ', 3}, "abc" + Bytes(126, 'k') + " ", "0"},
                      {{4, ' ', 3}, "abc ", "0"},
                      {{1, 5, 2}, "xx1234", "WRONG KEY"},
                      {{1, 5, 2}, "xx12345", "0"},
                      {{2, 0, -1}, Bytes("a\0b\0", 4), "WRONG KEY"}};
  for (const Row& row : rows) {
    Create(row.kd);
    EXPECT_EQ(row.said[0] == '0' ? Inserting(row.record) : Refusing(row.record), row.said)
        << row.record;
    Sound();
  }
  Create();
  Fill({"key 1"});
  for (const Bytes& key : {Bytes("key"), Bytes(), Bytes(127, 'k') + " "}) {
    Bytes record;
    EXPECT_EQ(Said(Find(file, key)), "WRONG KEY");
    EXPECT_EQ(Said(Get(file, key, record)), "WRONG KEY");
    EXPECT_EQ(Said(Update(file, key, "key 2")), "WRONG KEY");
    EXPECT_EQ(Said(Erase(file, key)), "WRONG KEY");
    EXPECT_EQ(Said(Find(file, "a ")), "1");
    EXPECT_EQ(ErrorText(file), "SUCCESS") << "a negative outcome is no failure";
  }
}

TEST_F(OperationsTest, KeysOfNoBytesAreAllTheSameKey) {
  Create({1, 0, 2});
  EXPECT_EQ(Refusing("x"), "WRONG KEY");
  Fill({"xxone"});
  EXPECT_EQ(Inserting("xxtwo"), "1");
  EXPECT_EQ(Said(udbFind(file, {})), "0");
  EXPECT_EQ(Said(udbErase(file, {})), "0");
  EXPECT_TRUE(Sound().records.empty());
}

TEST_F(OperationsTest, RecordIsShorterThan16MBAndARefusedUpdateLeavesTheOldOne) {
  Create();
  const Bytes longest = Record("big", 0xFFFFFE);
  EXPECT_EQ(Refusing(longest + 'x'), "WRONG RECORD LENGTH");
  Fill({longest});
  const Bytes before = Image();
  EXPECT_EQ(Said(Update(file, "big ", longest + 'x')), "WRONG RECORD LENGTH");
  EXPECT_TRUE(Image() == before) << "its run is marked in use again";
  EXPECT_TRUE(Walk(file) == std::vector<Bytes>{longest});
  Sound();
}

TEST_F(OperationsTest, SpaceIsTestedBeforeAnInsertionByTheCautiousFigure) {
  const std::tuple<std::size_t, unsigned, bool> rows[] = {
      {100, 8, true},  {100, 7, false}, {4096, 8, true}, {4097, 8, false},
      {4097, 9, true}, {10, 0, false},  {2, 6, false},   {100, 65535, true}};
  for (const auto& [length, freePages, room] : rows) {
    OpenBytes(HeaderPage({.freePages = freePages}));
    const Bytes record = Record("a", length);
    EXPECT_EQ(room ? Inserting(record) : Refusing(record), room ? "0" : "CANNOT ALLOCATE RECORD")
        << freePages << ' ' << length;
  }
}

// A bitmap with few free pages, whatever the figure says.
TEST_F(OperationsTest, FullBitmapRefusesWhatDoesNotFitAndKeepsWhatIsThere) {
  const char* const noRoom = "CANNOT ALLOCATE RECORD";
  const Bytes old = Record("m", 2000);
  const auto openFullBut = [&](const std::vector<unsigned>& free) {
    Bytes bytes = HeaderPage({.firstLeaf = 1, .root = 1, .recordCount = 1});
    Put16(bytes, 12, image::AllPages);
    std::fill(bytes.begin() + 25, bytes.end(), '\xff');
    for (unsigned n : free) bytes[25 + n / 8] = static_cast<char>(bytes[25 + n / 8] ^ 1 << n % 8);
    OpenBytes(bytes + LeafOf({old}));
  };
  // Three pages in a row, but not four: the run of four would fit only around a page in use.
  openFullBut({9, 10, 11, 13, 14});
  const Bytes three = Record("a", 3 * 4096 - 8);
  EXPECT_EQ(Inserting(Record("a", 4 * 4096 - 8)), noRoom);
  Fill({three, Record("b", 2 * 4096 - 8), Record("c", 2000)});
  EXPECT_EQ(Inserting(Record("d", 2000)), noRoom) << "no page for the split";
  EXPECT_EQ(Said(Update(file, "c ", Record("c", 5000))), noRoom);
  const Bytes other = Record("a", 3 * 4096 - 8, 2);
  EXPECT_EQ(Said(Update(file, "a ", other)), "0") << "its own run is given back first";
  EXPECT_EQ(Said(Update(file, "a ", other + 'x')), noRoom);
  EXPECT_EQ(Walk(file),
            (std::vector<Bytes>{other, Record("b", 2 * 4096 - 8), Record("c", 2000), old}));

  openFullBut({20});
  Fill({Record("n", 2000)});
  EXPECT_EQ(Inserting(Record("o", 2000)), noRoom) << "a page for the leaf, none for the root";
  EXPECT_EQ(Walk(file), (std::vector<Bytes>{old, Record("n", 2000)}));
  EXPECT_EQ(Count(file), 2U);
}

TEST_F(OperationsTest, DepthStaysWhenTheTreeEmptiesAndGoesOnFromThere) {
  OpenBytes(HeaderPage({.firstLeaf = 1, .root = 3, .pages = 3, .depth = 2, .recordCount = 1}) +
            LeafOf({"a 1"}) + TreePage(InternalPage, {.rightChild = 1}, {}) +
            TreePage(InternalPage, {.rightChild = 2}, {}));
  EXPECT_EQ(Said(Erase(file, "a ")), "0");
  EXPECT_EQ(Image().substr(0, 4096), HeaderPage({.depth = 2}));
  EXPECT_EQ(Image().size(), 4 * 4096U) << "the file keeps its length";
  Fill({Record("a", 2000), Record("b", 2000), Record("c", 2000)});
  EXPECT_EQ(Header16(14), 3U);
  EXPECT_EQ(Image().size(), 4 * 4096U) << "the lowest pages are taken again";
  Sound();
  EXPECT_EQ(udbClear(file), 0);
  EXPECT_EQ(Header16(14), 0U);
}

TEST_F(OperationsTest, OnlyTheRootThatTookTheLossIsDissolved) {
  // Two levels that lost all but their right children, and one leaf with two records.
  OpenBytes(HeaderPage({.firstLeaf = 1, .root = 3, .pages = 4, .depth = 2, .recordCount = 3}) +
            LeafOf({"a 1"}, {.next = 4}) +
            TreePage(InternalPage, {.rightChild = 4}, {KeyEntry(1, "b ")}) +
            TreePage(InternalPage, {.rightChild = 2}, {}) + LeafOf({"c 3", "d 4"}, {.prev = 1}));
  for (const char* key : {"d ", "a "}) {  // ends in the leaf; ends in the page below the root
    EXPECT_EQ(Said(Erase(file, key)), "0");
    EXPECT_EQ(Header16(10), 3U);
    EXPECT_EQ(Header16(14), 2U);
  }
  EXPECT_EQ(Header16(8), 4U);
  Sound();
}

// Seven internal pages are one too many; six can be walked, and grow only below the root.
TEST_F(OperationsTest, SixInternalLevelsAreTheDeepestTree) {
  const auto openChain = [&](unsigned levels, unsigned separators) {
    Bytes bytes = HeaderPage({.firstLeaf = 1,
                              .root = levels + 1,
                              .pages = levels + 2,
                              .depth = levels,
                              .recordCount = 1}) +
                  LeafOf({"zz 1"});
    for (unsigned n = 1; n <= levels; ++n) {
      std::vector<Bytes> entries;
      for (unsigned i = 0; n == levels && i < separators; ++i) {
        entries.push_back(
            KeyEntry(levels + 2, Bytes(1, static_cast<char>('A' + i)) + Bytes(125, 'k') + " "));
      }
      bytes += TreePage(InternalPage, {.rightChild = n}, entries);
    }
    OpenBytes(bytes + Bytes(4096, '\0'));
  };
  openChain(6, 29);  // 29 * 136 used, and room for one separator more
  EXPECT_EQ(Inserting("zzz 2"), "0");
  openChain(6, 30);
  EXPECT_EQ(Refusing("zzz 2"), "CANNOT ALLOCATE RECORD");
  EXPECT_EQ(Said(Update(file, "zz ", "zz 9")), "0") << "an update is not tested so";
  openChain(7, 0);
  EXPECT_EQ(Said(Find(file, "zz ")), "INDEX DEPTH OVERFLOW");
  EXPECT_EQ(Said(Erase(file, "zz ")), "INDEX DEPTH OVERFLOW");
  EXPECT_EQ(Walk(file), std::vector<Bytes>{"zz 1"}) << "a walk needs no internal page";
  // A leaf as the root, and levels that went with the trees before it.
  for (const unsigned counted : {6U, 7U}) {
    OpenBytes(
        HeaderPage({.firstLeaf = 1, .root = 1, .pages = 1, .depth = counted, .recordCount = 2}) +
        LeafOf({Record("a", 2000), Record("b", 2000)}));
    EXPECT_EQ(Said(Insert(file, "c 1")), counted == 6 ? "CANNOT ALLOCATE RECORD" : "0");
    EXPECT_EQ(Said(Insert(file, Record("d", 500))), counted == 6 ? "CANNOT ALLOCATE RECORD" : "0");
    EXPECT_EQ(Header16(14), counted == 6 ? 6U : 8U);
    Sound();
  }
}

// A read that is cut short on purpose is not tested for its checksum; one into a borrowed block
// that is too small is, when the record lies in its leaf.
TEST_F(OperationsTest, CutReadsAnswerByWhereTheRecordLies) {
  Create();
  for (const std::size_t length : {500U, 2029U, 2030U, 9000U}) {
    const Bytes record = Record("k" + std::to_string(length), length);
    const Bytes key = image::KeyOf(Words, record);
    Fill({record});
    const auto whole = static_cast<int>(length);
    Bytes got;
    for (const int most : {0xFFFFFF, whole, whole - 1, 1}) {
      udbEntry(file).maxRead = most;
      EXPECT_EQ(Said(Get(file, key, got)), "0");
      EXPECT_EQ(got, record.substr(0, static_cast<std::size_t>(most)));
    }
    udbEntry(file).maxRead = 0xFFFFFF;
    for (const int capacity : {whole + 100, whole, whole - 1, 10}) {
      std::vector<unsigned char> block(static_cast<std::size_t>(capacity));
      DataTransfer target;
      target.SetExternBuf(block.data(), capacity);
      const bool fails = capacity < whole && length < 2030;
      EXPECT_EQ(Said(udbGet(file, AsKey(key), target)), fails ? "CHECKSUM ERROR" : "0");
      EXPECT_TRUE(target.ExternalBuffer());
      if (fails) continue;
      EXPECT_EQ(Bytes(block.begin(), block.begin() + target.Size()),
                record.substr(0, block.size()));
    }
    Image()[Image().find(record.substr(0, 40)) + 30] ^= 1;
    EXPECT_EQ(Said(Find(file, key)), "0");
    EXPECT_EQ(Said(Get(file, key, got)), "CHECKSUM ERROR");
  }
}

// A freed page keeps its bytes, and so shows records that are gone or stand elsewhere by now.
TEST_F(OperationsTest, PositionFindsItsKeyAgainAndNoDeadRecordOnAFreedPage) {
  Create();
  Fill({Record("a", 1017), Record("b", 1017), Record("c", 1017), Record("d", 1017)});
  EXPECT_EQ(Erase(file, "a "), 0);
  EXPECT_EQ(Find(file, "b "), 0);
  UdbPosition position;
  Bytes key;
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(key, "b ");
  EXPECT_EQ(Erase(file, "b "), 0);  // the leaf's last one
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 1);
  Fill({Record("b", 50)});
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 0);
  Bytes record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(record, Record("c", 1017));
  EXPECT_EQ(Erase(file, "b "), 0);
  EXPECT_EQ(udbSetMatchMode(file, UDB_AT_OR_AFTER), 0);
  EXPECT_EQ(udbSetPosition(file, position, AsKey(key)), 0) << "found by the mode in force";
  EXPECT_EQ(udbGetPosition(file, position, key), 0);
  EXPECT_EQ(key, "c ");
  EXPECT_EQ(GetNext(file, record), 0);
  for (int again = 0; again < 3; ++again) EXPECT_EQ(GetNext(file, record), 1);
}

}  // namespace
