// Whole files, assembled by hand from the format's tables: the engine makes exactly these bytes,
// and reads them.
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

const char path[] = "/m/golden.udb";

class GoldenTest : public StoreTest {
 protected:
  void ExpectFile(const Bytes& expected) {
    const Bytes& made = host.Bytes(path);
    ASSERT_EQ(made.size(), expected.size());
    int shown = 0;
    for (std::size_t i = 0; i < made.size() && shown < 10; ++i) {
      if (made[i] == expected[i]) continue;
      ++shown;
      ADD_FAILURE() << "page " << i / 4096 << " byte " << i % 4096 << " is "
                    << int{static_cast<unsigned char>(made[i])} << ", expected "
                    << int{static_cast<unsigned char>(expected[i])};
    }
    EXPECT_EQ(image::Damage(image::Examine(expected)), "") << "the golden file itself is wrong";
  }
  // What a file of these bytes answers to a walk and to a look-up of each record.
  void ExpectReads(const Bytes& file, const std::vector<std::string>& records, KEYDESCR kd) {
    const int n = OpenBytes(path, file, 0);
    EXPECT_EQ(Walk(n), records);
    EXPECT_EQ(Count(n), records.size());
    for (const std::string& record : records) {
      std::string got;
      EXPECT_EQ(Get(n, image::KeyOf(kd, record), got), 0) << ErrorText(n);
      EXPECT_EQ(got, record);
    }
    EXPECT_EQ(udbClose(n), 0);
    EXPECT_EQ(host.Bytes(path), file) << "reading changes nothing";
  }
};

TEST_F(GoldenTest, NewFileIsOnePageWithItsDescriptorAndPageZeroInUse) {
  for (const KEYDESCR kd :
       {KEYDESCR{0, 4, 2}, KEYDESCR{2, 0, -1}, KEYDESCR{3, 127, 1915}, KEYDESCR{4, 0xFF, 2041}}) {
    host.Forget(path);
    const int file = Create(path, kd);
    ExpectFile(HeaderPage({.key = kd}));
    KEYDESCR read;
    EXPECT_EQ(udbGetKeyDescr(file, read), 0);
    EXPECT_EQ(read, kd);
    EXPECT_EQ(udbClose(file), 0);
    ExpectReads(HeaderPage({.key = kd}), {}, kd);
  }
  Bytes firstBytes(26, '\0');
  firstBytes[0] = 24;
  firstBytes[4] = 4;
  firstBytes[5] = ' ';
  firstBytes[6] = 6;
  firstBytes[12] = 0x38;  // 32568
  firstBytes[13] = 0x7F;
  firstBytes[25] = 1;
  host.Forget(path);
  Create(path, {4, ' ', 6});
  EXPECT_EQ(host.Bytes(path).substr(0, 26), firstBytes);
}

TEST_F(GoldenTest, OneLeafKeepsRecordsInOrderOfTheirKeys) {
  const std::vector<std::string> records = {Record("a", 2029), "b x", Record("bc", 30),
                                            Record("c", 1800)};
  const int file = Create(path);
  for (int i : {2, 0, 3, 1}) EXPECT_EQ(Insert(file, records[static_cast<std::size_t>(i)]), 0);
  std::vector<Bytes> entries;
  entries.reserve(records.size());
  for (const std::string& record : records) entries.push_back(InlineEntry(record));
  const Bytes expected = HeaderPage({.key = Words,
                                     .firstLeaf = 1,
                                     .root = 1,
                                     .freePages = 32567,
                                     .recordCount = 4,
                                     .inUse = {1}}) +
                         TreePage(LeafPage, {}, entries);
  ExpectFile(expected);
  ExpectReads(expected, records, Words);
}

TEST_F(GoldenTest, SplitMovesTheLowerHalfIntoANewPageToTheLeft) {
  std::vector<std::string> records;
  for (const char* key : {"a", "b", "c", "d"}) records.push_back(Record(key, 1017));
  const int file = Create(path);
  for (const std::string& record : records) EXPECT_EQ(Insert(file, record), 0);
  const Bytes expected =
      HeaderPage({.key = Words,
                  .firstLeaf = 2,
                  .root = 3,
                  .freePages = 32565,
                  .depth = 1,
                  .recordCount = 4,
                  .inUse = {1, 2, 3}}) +
      TreePage(LeafPage, {.prev = 2}, {InlineEntry(records[2]), InlineEntry(records[3])}) +
      TreePage(LeafPage, {.next = 1}, {InlineEntry(records[0]), InlineEntry(records[1])}) +
      TreePage(InternalPage, {.rightChild = 1}, {KeyEntry(2, "b ")});
  ExpectFile(expected);
  ExpectReads(expected, records, Words);
}

TEST_F(GoldenTest, ExternalRecordStandsInARunWithTheLongPrefix) {
  const std::vector<std::string> records = {Record("big", 5000), Record("edge", 2029),
                                            Record("first", 2030), Record("whole", 4088)};
  const int file = Create(path);
  for (const std::string& record : records) EXPECT_EQ(Insert(file, record), 0);
  // The run of the first record is there before the leaf; 4088 bytes and the prefix fill one page.
  const Bytes expected = HeaderPage({.key = Words,
                                     .firstLeaf = 3,
                                     .root = 3,
                                     .freePages = 32568 - 5,
                                     .recordCount = 4,
                                     .inUse = {1, 2, 3, 4, 5}}) +
                         image::Run(24, records[0]) +
                         TreePage(LeafPage, {},
                                  {KeyEntry(1, "big "), InlineEntry(records[1]),
                                   KeyEntry(4, "first "), KeyEntry(5, "whole ")}) +
                         image::Run(24, records[2]) + image::Run(24, records[3]);
  ExpectFile(expected);
  ExpectReads(expected, records, Words);
}

TEST_F(GoldenTest, OldVersionIsReadAndWrittenWithTheShortPrefix) {
  const std::vector<std::string> records = {Record("a", 4090), Record("b", 100), Record("c", 65535),
                                            Record("d", 4091)};
  const auto header = [](std::uint32_t count, std::vector<unsigned> inUse, unsigned freePages) {
    return HeaderPage({.version = 23,
                       .key = Words,
                       .firstLeaf = 2,
                       .root = 2,
                       .freePages = freePages,
                       .recordCount = count,
                       .inUse = std::move(inUse)});
  };
  const Bytes before = header(2, {1, 2}, 32566) + image::Run(23, records[0]) +
                       TreePage(LeafPage, {}, {KeyEntry(1, "a "), InlineEntry(records[1])});
  ExpectReads(before, {records[0], records[1]}, Words);

  const int file = OpenBytes(path, before);
  EXPECT_EQ(Insert(file, records[2]), 0) << ErrorText(file);
  EXPECT_EQ(Insert(file, records[3]), 0) << ErrorText(file);
  EXPECT_EQ(Insert(file, Record("e", 65536)), -1) << "its length does not fit the prefix";
  EXPECT_EQ(ErrorText(file), "WRONG RECORD LENGTH");
  EXPECT_EQ(udbClose(file), 0);
  std::vector<unsigned> inUse;
  for (unsigned n = 1; n <= 21; ++n) inUse.push_back(n);
  // Pages 3 to 19 touch three bytes of the bitmap, 20 and 21 one.
  const Bytes after = header(4, inUse, 32566 - 17 * 3 - 2) + image::Run(23, records[0]) +
                      TreePage(LeafPage, {},
                               {KeyEntry(1, "a "), InlineEntry(records[1]), KeyEntry(3, "c "),
                                KeyEntry(20, "d ")}) +
                      image::Run(23, records[2]) + image::Run(23, records[3]);
  ExpectFile(after);
  ExpectReads(after, records, Words);
}

TEST_F(GoldenTest, RunOfTwentyPagesOverThreeBitmapBytesMovesFreePagesBySixty) {
  const int file = Create(path);
  EXPECT_EQ(Insert(file, "a x"), 0);
  for (const char* key : {"p2", "p3"}) EXPECT_EQ(Insert(file, Record(key, 3000)), 0);
  EXPECT_EQ(image::Get16(host.Bytes(path), 12), 32568U - 3);
  // Pages 4 to 23.
  EXPECT_EQ(Insert(file, Record("run", 20 * 4096 - 8)), 0);
  EXPECT_EQ(image::Get16(host.Bytes(path), 12), 32568U - 3 - 20 * 3);
  Sound(path);
  EXPECT_EQ(Erase(file, "run "), 0);
  EXPECT_EQ(image::Get16(host.Bytes(path), 12), 32568U - 3);
  Sound(path);
}

// A tree as long use leaves it: separators whose keys are gone, leaves of one record, a depth
// above the levels that are there.
TEST_F(GoldenTest, WornTreeIsReadByItsSeparators) {
  const std::vector<std::string> records = {"b 1", "d 2", "k 3", "p 4"};
  const Bytes file =
      HeaderPage({.key = Words,
                  .firstLeaf = 4,
                  .root = 1,
                  .freePages = 32564,
                  .depth = 3,
                  .recordCount = 4,
                  .inUse = {1, 2, 3, 4}}) +
      TreePage(InternalPage, {.rightChild = 2}, {KeyEntry(4, "h "), KeyEntry(3, "mm ")}) +
      TreePage(LeafPage, {.prev = 3}, {InlineEntry(records[3])}) +
      TreePage(LeafPage, {.next = 2, .prev = 4}, {InlineEntry(records[2])}) +
      TreePage(LeafPage, {.next = 3}, {InlineEntry(records[0]), InlineEntry(records[1])});
  ExpectReads(file, records, Words);

  const int n = OpenBytes(path, file);
  // A search lands in the leaf below its separator, finds nothing there, and looks on by its mode.
  struct Look {
    const char* key;
    const char* atOrAfter;
    const char* after;
  };
  const Look looks[] = {{"a ", "b 1", "b 1"},   {"b ", "b 1", "d 2"},    {"e ", "k 3", "k 3"},
                        {"d ", "d 2", "k 3"},   {"l ", "p 4", "p 4"},    {"k ", "k 3", "p 4"},
                        {"p ", "p 4", nullptr}, {"q ", nullptr, nullptr}};
  for (const Look& look : looks) {
    for (const int mode : {UDB_AT_OR_AFTER, UDB_AFTER}) {
      const char* expected = mode == UDB_AFTER ? look.after : look.atOrAfter;
      EXPECT_EQ(udbSetMatchMode(n, mode), 0);
      std::string got;
      EXPECT_EQ(Get(n, look.key, got), expected != nullptr ? 0 : 1) << look.key << mode;
      EXPECT_EQ(got, expected != nullptr ? expected : "") << look.key << mode;
    }
  }
}

}  // namespace
