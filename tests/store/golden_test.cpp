// Whole files, assembled by hand from the format's tables: the engine makes exactly these bytes,
// and reads them.
#include "support/storecalls.h"

namespace {

class GoldenTest : public StoreTest {
 protected:
  // The file holds these bytes, and answers with these records to a walk and to look-ups.
  void ExpectFile(const Bytes& expected, const std::vector<Bytes>& records, KEYDESCR kd = Words) {
    ASSERT_EQ(Image().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ASSERT_EQ(int{Image()[i]}, int{expected[i]}) << "page " << i / 4096 << " byte " << i % 4096;
    }
    EXPECT_EQ(image::Examine(expected).damage, "") << "the golden file itself is wrong";
    OpenBytes(expected, 0);
    EXPECT_EQ(Walk(file), records);
    EXPECT_EQ(Count(file), records.size());
    for (const Bytes& record : records) {
      Bytes got;
      EXPECT_EQ(Said(Get(file, image::KeyOf(kd, record), got)), "0");
      EXPECT_EQ(got, record);
    }
    EXPECT_EQ(Image(), expected) << "reading changes nothing";
  }
};

TEST_F(GoldenTest, NewFileIsOnePageWithItsDescriptorAndPageZeroInUse) {
  for (const KEYDESCR kd :
       {KEYDESCR{0, 4, 2}, KEYDESCR{2, 0, -1}, KEYDESCR{3, 127, 1915}, KEYDESCR{4, 0xFF, 2041}}) {
    Create(kd);
    KEYDESCR read;
    EXPECT_EQ(udbGetKeyDescr(file, read), 0);
    EXPECT_EQ(read, kd);
    ExpectFile(HeaderPage({.key = kd}), {}, kd);
  }
  Create({4, ' ', 6});
  EXPECT_EQ(Image().substr(0, 26), Bytes("\x18\0\0\0\4 \6\0\0\0\0\0\x38\x7f\0\0\0\0\0\0\0\0\0\0\0"
                                         "\1",
                                         26));
}

TEST_F(GoldenTest, OneLeafKeepsRecordsInOrderOfTheirKeys) {
  const std::vector<Bytes> records = {Record("a", 2029), "b x", Record("bc", 30),
                                      Record("c", 1800)};
  Create();
  Fill({records[2], records[0], records[3], records[1]});
  ExpectFile(
      HeaderPage({.firstLeaf = 1, .root = 1, .pages = 1, .recordCount = 4}) + LeafOf(records),
      records);
}

TEST_F(GoldenTest, SplitMovesTheLowerHalfIntoANewPageToTheLeft) {
  const std::vector<Bytes> records = {Record("a", 1017), Record("b", 1017), Record("c", 1017),
                                      Record("d", 1017)};
  Create();
  Fill(records);
  ExpectFile(HeaderPage({.firstLeaf = 2, .root = 3, .pages = 3, .depth = 1, .recordCount = 4}) +
                 LeafOf({records[2], records[3]}, {.prev = 2}) +
                 LeafOf({records[0], records[1]}, {.next = 1}) +
                 TreePage(InternalPage, {.rightChild = 1}, {KeyEntry(2, "b ")}),
             records);
}

TEST_F(GoldenTest, ExternalRecordStandsInARunWithTheLongPrefix) {
  const std::vector<Bytes> records = {Record("big", 5000), Record("edge", 2029),
                                      Record("first", 2030), Record("whole", 4088)};
  Create();
  Fill(records);
  // The run of the first record is there before the leaf; 4088 bytes and the prefix fill one page.
  ExpectFile(HeaderPage({.firstLeaf = 3, .root = 3, .pages = 5, .recordCount = 4}) +
                 image::Run(24, records[0]) +
                 TreePage(LeafPage, {},
                          {KeyEntry(1, "big "), InlineEntry(records[1]), KeyEntry(4, "first "),
                           KeyEntry(5, "whole ")}) +
                 image::Run(24, records[2]) + image::Run(24, records[3]),
             records);
}

TEST_F(GoldenTest, OldVersionIsReadAndWrittenWithTheShortPrefix) {
  const std::vector<Bytes> records = {Record("a", 4090), Record("b", 100), Record("c", 65535),
                                      Record("d", 4091)};
  image::HeaderFields header{
      .version = 23, .firstLeaf = 2, .root = 2, .pages = 2, .recordCount = 2};
  OpenBytes(HeaderPage(header) + image::Run(23, records[0]) +
            TreePage(LeafPage, {}, {KeyEntry(1, "a "), InlineEntry(records[1])}));
  Fill({records[2], records[3]});
  EXPECT_EQ(Refusing(Record("e", 65536)), "WRONG RECORD LENGTH") << "more than the prefix can say";
  header.recordCount = 4;
  header.pages = 21;
  header.freePages = 32566 - 17 * 3 - 2;  // pages 3 to 19 touch three bytes of the bitmap
  ExpectFile(HeaderPage(header) + image::Run(23, records[0]) +
                 TreePage(LeafPage, {},
                          {KeyEntry(1, "a "), InlineEntry(records[1]), KeyEntry(3, "c "),
                           KeyEntry(20, "d ")}) +
                 image::Run(23, records[2]) + image::Run(23, records[3]),
             records);
}

}  // namespace
