// What stands between a failed or interrupted update and a damaged file: the corrupted mark, the
// journal beside a file, and the upgrade of an old one.
#include "support/storecalls.h"

namespace {

class RecoveryTest : public StoreTest {
 protected:
  static Bytes OneLeaf(image::HeaderFields header) {
    header.firstLeaf = header.root = header.pages = 1;
    header.recordCount = 2;
    return HeaderPage(header) + LeafOf(records);
  }
  inline static const std::vector<Bytes> records = {"a 1", "b 2"};
};

TEST_F(RecoveryTest, MarkedFileIsReadButNotChanged) {
  const Bytes marked = OneLeaf({.corrupted = 1});
  OpenBytes(marked);
  EXPECT_EQ(Walk(file), records);
  EXPECT_EQ(Find(file, "a "), 0);
  // Insertion and erasure leave the words of the operation before, here those of a wrong key;
  // update and upgrade have words of their own: those of success.
  EXPECT_EQ(Find(file, "no-stop"), -1);
  EXPECT_EQ(Inserting("c 3"), "WRONG KEY");
  EXPECT_EQ(Said(Erase(file, "a ")), "WRONG KEY");
  EXPECT_EQ(Said(udbEraseCurrent(file)), "WRONG KEY");
  EXPECT_EQ(Said(Update(file, "a ", "a 9")), "SUCCESS");
  EXPECT_EQ(Find(file, "no-stop"), -1);
  EXPECT_EQ(Said(udbUpgrade(file)), "SUCCESS");
  EXPECT_EQ(Count(file), 2U);
  EXPECT_TRUE(Image() == marked);
  EXPECT_EQ(udbClear(file), 0) << "clearing is not refused, and ends the mark";
  Fill({"c 3"});
}

TEST_F(RecoveryTest, ReadThatMeetsDamageMarksAJournaledFileThatMayBeWrittenAndNoOther) {
  for (const unsigned journal : {0U, 1U}) {
    for (const int flags : {0, 2}) {
      Bytes bytes = OneLeaf({.journal = journal});
      bytes[4096] = 77;
      OpenBytes(bytes, flags);
      Bytes record;
      EXPECT_EQ(Said(Get(file, "a ", record)), "FILE CORRUPTED");
      EXPECT_EQ(Said(GetNext(file, record)), "FILE CORRUPTED");
      EXPECT_EQ(flags == 2 ? Inserting("c 3") : ErrorText(file), "FILE CORRUPTED");
      if (journal == 1 && flags == 2) bytes[16] = 1;
      EXPECT_TRUE(Image() == bytes) << journal << flags;
    }
  }
  Bytes bytes = OneLeaf({.journal = 1});
  bytes[4096 + 12 + 3] ^= 1;
  OpenBytes(bytes, 0);
  Bytes record;
  EXPECT_EQ(Said(Get(file, "a ", record)), "CHECKSUM ERROR") << "not that of the write of page 0";
}

// The bitmap has changed when the damage is met: page 0 is saved with the mark, and the tree is as
// it was.
TEST_F(RecoveryTest, DamageMetInTheMiddleOfAnUpdateIsMarked) {
  const Bytes bytes = HeaderPage({.firstLeaf = 1, .root = 2, .pages = 3, .recordCount = 2}) +
                      LeafOf({"a 1"}, {.next = 3}) +
                      TreePage(InternalPage, {.rightChild = 3}, {KeyEntry(1, "a ")}) +
                      LeafOf({"b 2"}, {.prev = 1});
  OpenBytes(bytes);
  // The root would be dissolved, and there is no depth to take it from.
  EXPECT_EQ(Said(Erase(file, "a ")), "FILE CORRUPTED");
  EXPECT_EQ(Image()[16], 1);
  EXPECT_EQ(image::Get32(Image(), 21), 2U);
  EXPECT_TRUE(Image().substr(4096) == bytes.substr(4096));
  EXPECT_EQ(Walk(file), records);
  EXPECT_EQ(Said(Erase(file, "a ")), "SUCCESS") << "refused by now: the words are the walk's";
}

TEST_F(RecoveryTest, JournalIsNamedByTheFirstDotOfThePathAndOpenedByAStaleField) {
  const auto openTwice = [&](const std::string& where, unsigned journal) {
    host.Put(where, OneLeaf({.journal = journal}));
    const int n = OpenAt(where);
    EXPECT_EQ(Insert(n, "c 3"), 0);
    EXPECT_EQ(udbClose(n), 0);
    EXPECT_FALSE(host.Exists("/m.jou") && journal == 1) << "its own field is not known at opening";
    EXPECT_EQ(OpenAt(where), n);
    EXPECT_EQ(Insert(n, "d 4"), 0);
  };
  openTwice("/m.d/x.y/rec", 1);
  EXPECT_EQ(host.Bytes("/m.jou"), "") << "the entry held a journaled file before; nobody writes";

  // Another entry with a stale field: the journal is shared with nobody, and that is only logged.
  openTwice("/m.d/other", 7);
  const std::string line = "Journaling error for file /m.d/other\nOpen file fault\n";
  EXPECT_EQ(host.Bytes("journaling.err"), line);

  CloseAll();
  EXPECT_EQ(host.File("/m.jou").holders, 0) << "closed with its file";
  host.Forget("/m.jou");
  CreateAt("/m.q");
  EXPECT_FALSE(host.Exists("/m.jou")) << "a file that is made has a fresh header";
  openTwice("/m/plain", 1);
  EXPECT_TRUE(host.Exists("/m/plain.jou")) << "without a dot";
}

TEST_F(RecoveryTest, UpgradeChangesTheVersionAndNothingElse) {
  Bytes bytes =
      HeaderPage({.version = 23, .firstLeaf = 1, .root = 1, .pages = 3, .recordCount = 1}) +
      TreePage(LeafPage, {}, {KeyEntry(2, "a ")}) + image::Run(23, Record("a", 5000));
  OpenBytes(bytes);
  Bytes record;
  EXPECT_EQ(Get(file, "a ", record), 0);
  bytes[0] = 24;
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(udbUpgrade(file), 0);
    EXPECT_TRUE(Image() == bytes);
  }
  EXPECT_EQ(Get(file, "a ", record), -1) << "its prefix is read as the longer one";
}

}  // namespace
