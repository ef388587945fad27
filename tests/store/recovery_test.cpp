// What stands between a failed or interrupted update and a damaged file: the corrupted mark, the
// journal beside a file, and the upgrade of an old one.
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

const char path[] = "/m/rec.udb";

class RecoveryTest : public StoreTest {
 protected:
  static Bytes OneLeaf(image::HeaderFields header) {
    header.firstLeaf = header.root = 1;
    header.freePages = 32567;
    header.recordCount = 2;
    header.inUse = {1};
    return HeaderPage(header) + TreePage(LeafPage, {}, {InlineEntry("a 1"), InlineEntry("b 2")});
  }
};

TEST_F(RecoveryTest, MarkedFileIsReadButNotChanged) {
  const Bytes marked = OneLeaf({.key = Words, .corrupted = 1});
  const int file = OpenBytes(path, marked);
  EXPECT_EQ(Walk(file), (std::vector<std::string>{"a 1", "b 2"}));
  EXPECT_EQ(Find(file, "a "), 0);
  // Insertion and erasure leave the words of the operation before; here those of a wrong key.
  EXPECT_EQ(Find(file, "no-stop"), -1);
  EXPECT_EQ(Insert(file, "c 3"), -1);
  EXPECT_EQ(ErrorText(file), "WRONG KEY");
  EXPECT_EQ(Erase(file, "a "), -1);
  EXPECT_EQ(udbEraseCurrent(file), -1);
  EXPECT_EQ(ErrorText(file), "WRONG KEY");
  // Update and upgrade have words of their own: those of success.
  EXPECT_EQ(Update(file, "a ", "a 9"), -1);
  EXPECT_EQ(ErrorText(file), "SUCCESS");
  EXPECT_EQ(Find(file, "no-stop"), -1);
  EXPECT_EQ(udbUpgrade(file), -1);
  EXPECT_EQ(ErrorText(file), "SUCCESS");
  EXPECT_EQ(Count(file), 2U);
  EXPECT_TRUE(host.Bytes(path) == marked);

  EXPECT_EQ(udbClear(file), 0) << "clearing is not refused, and ends the mark";
  EXPECT_EQ(Insert(file, "c 3"), 0);
}

TEST_F(RecoveryTest, DamageSeenWithNothingChangedLeavesNoMarkInTheFile) {
  Bytes bytes = OneLeaf({.key = Words});
  bytes[4096] = 77;
  for (const int flags : {2, 0}) {
    const int file = OpenBytes(path, bytes, flags);
    std::string record;
    EXPECT_EQ(Get(file, "a ", record), -1);
    EXPECT_EQ(ErrorText(file), "FILE CORRUPTED");
    EXPECT_EQ(GetNext(file, record), -1);
    EXPECT_EQ(ErrorText(file), "FILE CORRUPTED");
    if (flags == 2) {
      EXPECT_EQ(Insert(file, "c 3"), -1);
      EXPECT_EQ(ErrorText(file), "FILE CORRUPTED") << "the mark is not in the file";
    }
    EXPECT_EQ(udbClose(file), 0);
    EXPECT_TRUE(host.Bytes(path) == bytes);
  }
}

TEST_F(RecoveryTest, JournaledFileTakesTheMarkFromARead) {
  Bytes bytes = OneLeaf({.key = Words, .journal = 1});
  bytes[4096] = 77;
  int file = OpenBytes(path, bytes, 0);
  EXPECT_EQ(Find(file, "a "), -1);
  EXPECT_EQ(udbClose(file), 0);
  EXPECT_TRUE(host.Bytes(path) == bytes) << "not one that is only read";
  file = OpenBytes(path, bytes);
  EXPECT_EQ(Find(file, "a "), -1);
  EXPECT_EQ(ErrorText(file), "FILE CORRUPTED");
  EXPECT_EQ(host.Bytes(path)[16], 1);
  bytes[16] = 1;
  EXPECT_TRUE(host.Bytes(path) == bytes) << "and nothing else";
}

// The bitmap has changed when the damage is met: page 0 is saved with the mark, and the tree is as
// it was.
TEST_F(RecoveryTest, DamageMetInTheMiddleOfAnUpdateIsMarked) {
  const Bytes bytes = HeaderPage({.key = Words,
                                  .firstLeaf = 1,
                                  .root = 2,
                                  .freePages = 32565,
                                  .depth = 0,
                                  .recordCount = 2,
                                  .inUse = {1, 2, 3}}) +
                      TreePage(LeafPage, {.next = 3}, {InlineEntry("a 1")}) +
                      TreePage(InternalPage, {.rightChild = 3}, {KeyEntry(1, "a ")}) +
                      TreePage(LeafPage, {.prev = 1}, {InlineEntry("b 2")});
  const int file = OpenBytes(path, bytes);
  // The root would be dissolved, and there is no depth to take it from.
  EXPECT_EQ(Erase(file, "a "), -1);
  EXPECT_EQ(ErrorText(file), "FILE CORRUPTED");
  EXPECT_EQ(host.Bytes(path)[16], 1);
  EXPECT_EQ(image::Get32(host.Bytes(path), 21), 2U);
  EXPECT_TRUE(host.Bytes(path).substr(4096) == bytes.substr(4096));
  EXPECT_EQ(Walk(file), (std::vector<std::string>{"a 1", "b 2"}));
  EXPECT_EQ(Erase(file, "a "), -1);
  EXPECT_EQ(ErrorText(file), "SUCCESS") << "refused by now: the words are those of the walk";
}

TEST_F(RecoveryTest, JournalIsNamedByTheFirstDotOfThePathAndOpenedByAStaleField) {
  const std::string dotted = "/m.d/x.y/rec.udb";
  int file = OpenBytes(dotted, OneLeaf({.key = Words, .journal = 1}));
  EXPECT_EQ(host.PathEndingWith(".jou"), "") << "the file's own field is not known yet at opening";
  EXPECT_EQ(Insert(file, "c 3"), 0);
  EXPECT_EQ(udbClose(file), 0);

  file = Open(dotted);
  EXPECT_EQ(host.PathEndingWith(".jou"), "/m.jou") << "the entry held a journaled file before";
  EXPECT_EQ(host.Bytes("/m.jou"), "");
  EXPECT_EQ(Insert(file, "d 4"), 0);
  EXPECT_EQ(host.Bytes("/m.jou"), "") << "nobody writes to it";

  // Another entry with a stale field: the journal is shared with nobody, and that is only logged.
  const int second = OpenBytes("/m.d/other", OneLeaf({.key = Words, .journal = 7}));
  EXPECT_EQ(udbClose(second), 0);
  EXPECT_EQ(Open("/m.d/other"), second);
  const std::string log = host.PathEndingWith("journaling.err");
  ASSERT_NE(log, "");
  EXPECT_EQ(host.Bytes(log), "Journaling error for file /m.d/other\nOpen file fault\n");
  EXPECT_EQ(Insert(second, "e 5"), 0);
  EXPECT_EQ(udbClose(second), 0);
  EXPECT_EQ(Open("/m.d/other"), second);
  EXPECT_EQ(host.Bytes(log).size(), 2 * std::string("Journaling error for file /m.d/other\n"
                                                    "Open file fault\n")
                                            .size());

  EXPECT_EQ(udbClose(file), 0);
  EXPECT_EQ(host.File("/m.jou").holders, 0) << "closed with its file";
  // The entry's field is stale again, but a file that is made starts from a fresh header.
  host.Forget("/m.jou");
  EXPECT_EQ(Create("/p.q"), file);
  EXPECT_EQ(host.PathEndingWith(".jou"), "");
  EXPECT_EQ(udbClose(file), 0);
}

TEST_F(RecoveryTest, PathWithoutADotTakesTheJournalsEndingWhole) {
  udbClose(OpenBytes("/m/plain", OneLeaf({.key = Words, .journal = 1})));
  Open("/m/plain");
  EXPECT_EQ(host.PathEndingWith(".jou"), "/m/plain.jou");
}

TEST_F(RecoveryTest, UpgradeChangesTheVersionAndNothingElse) {
  Bytes bytes = OneLeaf({.version = 23, .key = Words});
  const int file = OpenBytes(path, bytes);
  EXPECT_EQ(udbUpgrade(file), 0);
  bytes[0] = 24;
  EXPECT_TRUE(host.Bytes(path) == bytes);
  EXPECT_EQ(udbUpgrade(file), 0);
  EXPECT_TRUE(host.Bytes(path) == bytes);
  EXPECT_EQ(Walk(file), (std::vector<std::string>{"a 1", "b 2"}));
}

TEST_F(RecoveryTest, ExternalRecordsOfTheOldVersionDoNotSurviveTheUpgrade) {
  const int file = OpenBytes(path, HeaderPage({.version = 23,
                                               .key = Words,
                                               .firstLeaf = 1,
                                               .root = 1,
                                               .freePages = 32565,
                                               .recordCount = 1,
                                               .inUse = {1, 2, 3}}) +
                                       TreePage(LeafPage, {}, {KeyEntry(2, "a ")}) +
                                       image::Run(23, Record("a", 5000)));
  std::string record;
  EXPECT_EQ(Get(file, "a ", record), 0);
  EXPECT_EQ(udbUpgrade(file), 0);
  EXPECT_EQ(Get(file, "a ", record), -1) << "its prefix is read as the longer one";
}

}  // namespace
