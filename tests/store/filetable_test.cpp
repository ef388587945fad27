// Opening, creating, closing and clearing files, the table that numbers them, and the words of
// failures.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/storecalls.h"

namespace {

class FileTableTest : public StoreTest {
 protected:
  // The words of an opening that must fail.
  std::string OpenFails(const std::string& path, int flags = 2) {
    std::string words;
    EXPECT_EQ(udbOpen(path.c_str(), flags, words), -1) << path;
    return words;
  }
  std::string CreateFails(const std::string& path, const KEYDESCR& kd = Words) {
    std::string words;
    EXPECT_EQ(udbCreate(path.c_str(), kd, words), -1) << path;
    return words;
  }
  static std::string FileName(int file) {
    std::string name;
    EXPECT_EQ(udbGetFileName(file, name), 0);
    return name;
  }
};

TEST_F(FileTableTest, EachCodeHasItsWords) {
  const char* const words[] = {"SUCCESS",          "WRONG FILE NUMBER",      "FILE LIMIT OVERFLOW",
                               "SYSTEM ERROR",     "FILE ALREADY EXISTS",    "INDEX DEPTH OVERFLOW",
                               "NONEXISTENT FILE", "CANNOT ALLOCATE RECORD", "TOO MANY OPEN FILES",
                               "WRONG KEY",        "WRONG RECORD LENGTH",    "UNKNOWN ERROR",
                               "CHECKSUM ERROR",   "FILE CORRUPTED",         "UNKNOWN ERROR",
                               "TIMEOUT",          "UNKNOWN ERROR"};
  std::string text;
  for (int code = 0; code < 17; ++code) {
    udbCodeText(code, text);
    EXPECT_EQ(text, words[code]) << code;
  }
  udbCodeText(-1, text);
  EXPECT_EQ(text, "UNKNOWN ERROR");
}

TEST_F(FileTableTest, NumberThatIsNotOpenAnswersFailureToEverything) {
  const int closed = Create("/m/a.udb");
  EXPECT_EQ(udbClose(closed), 0);
  for (const int file : {closed, 1, 399, 400, 401, 100000, -1, -400}) {
    std::string text;
    KEYDESCR kd;
    std::uint32_t count = 0;
    UdbPosition position;
    DataTransfer record;
    EXPECT_EQ(udbClose(file), -1) << file;
    EXPECT_EQ(udbClear(file), -1);
    EXPECT_EQ(udbGetKeyDescr(file, kd), -1);
    EXPECT_EQ(udbGetFileName(file, text), -1);
    EXPECT_EQ(udbGetCount(file, count), -1);
    EXPECT_EQ(udbSetMatchMode(file, 1), -1);
    EXPECT_EQ(udbFind(file, AsKey("a ")), -1);
    EXPECT_EQ(udbGet(file, AsKey("a "), record), -1);
    EXPECT_EQ(udbGetNext(file, record), -1);
    EXPECT_EQ(udbRewind(file), -1);
    EXPECT_EQ(Insert(file, "a b"), -1);
    EXPECT_EQ(Update(file, "a ", "a b"), -1);
    EXPECT_EQ(Erase(file, "a "), -1);
    EXPECT_EQ(udbEraseCurrent(file), -1);
    EXPECT_EQ(udbGetPosition(file, position, text), -1);
    EXPECT_EQ(udbSetPosition(file, position, AsKey("a ")), -1);
    EXPECT_EQ(udbUpgrade(file), -1);
    EXPECT_EQ(ErrorText(file), "WRONG FILE NUMBER") << file;
  }
}

TEST_F(FileTableTest, WhatIsNoStoreFileIsRefusedAndItsEntryStaysFree) {
  const std::string good = image::HeaderPage({.key = Words});
  for (const std::size_t length : {0U, 1U, 25U, 4095U}) {
    host.Put("/m/short.udb", good.substr(0, length));
    EXPECT_EQ(OpenFails("/m/short.udb"), "SYSTEM ERROR") << length;
    EXPECT_EQ(host.Bytes("/m/short.udb"), good.substr(0, length));
  }
  for (const int version : {0, 1, 22, 25, 98, 114, 255}) {
    std::string bytes = good;
    bytes[0] = static_cast<char>(version);
    host.Put("/m/foreign.udb", bytes);
    EXPECT_EQ(OpenFails("/m/foreign.udb"), "FILE CORRUPTED") << version;
    EXPECT_EQ(OpenFails("/m/foreign.udb", 0), "FILE CORRUPTED") << version;
    EXPECT_EQ(host.Bytes("/m/foreign.udb"), bytes);
  }
  EXPECT_EQ(OpenFails("/m/missing.udb"), "NONEXISTENT FILE");
  host.Put("/m/locked.udb", good);
  host.File("/m/locked.udb").readOnly = true;
  EXPECT_EQ(OpenFails("/m/locked.udb"), "SYSTEM ERROR");
  EXPECT_EQ(host.FilesOpen(), 0);
  EXPECT_EQ(Open("/m/locked.udb", 0), 0) << "the lowest number was free all the time";
}

TEST_F(FileTableTest, FailuresOfOpeningAreToldApartByTheirCause) {
  host.Put("/m/a.udb", image::HeaderPage({.key = Words}));
  const std::pair<int, const char*> causes[] = {{EMFILE, "TOO MANY OPEN FILES"},
                                                {ENOENT, "NONEXISTENT FILE"},
                                                {ENOSPC, "SYSTEM ERROR"},
                                                {EACCES, "SYSTEM ERROR"}};
  for (const auto& [code, words] : causes) {
    host.errorOfFault = code;
    for (int nth = 1; nth < 20; ++nth) {  // whichever call it is that opens
      for (const bool create : {false, true}) {
        host.Forget("/m/new.udb");
        host.FailCall(nth, MemoryHost::Fault::Fail);
        std::string text;
        const int file =
            create ? udbCreate("/m/new.udb", Words, text) : udbOpen("/m/a.udb", 2, text);
        if (host.Struck() == "open") {
          EXPECT_EQ(file, -1);
          EXPECT_EQ(text, words);
        }
        host.Heal();
        if (file >= 0) {
          EXPECT_EQ(udbClose(file), 0);
        }
      }
    }
  }
}

TEST_F(FileTableTest, FourHundredFilesAreTheLimit) {
  host.Put("/m/a.udb", image::HeaderPage({.key = Words}));
  for (int n = 0; n < 400; ++n) ASSERT_EQ(Open("/m/a.udb", n % 3 == 0 ? 0 : 2), n);
  EXPECT_EQ(OpenFails("/m/a.udb"), "FILE LIMIT OVERFLOW");
  EXPECT_EQ(CreateFails("/m/b.udb"), "FILE LIMIT OVERFLOW");
  EXPECT_FALSE(host.Exists("/m/b.udb"));
  EXPECT_EQ(host.FilesOpen(), 400);
  EXPECT_EQ(udbClose(217), 0);
  EXPECT_EQ(udbClose(38), 0);
  EXPECT_EQ(Open("/m/a.udb"), 38);
  EXPECT_EQ(Open("/m/a.udb"), 217);
}

TEST_F(FileTableTest, CreatingOverAFileFailsAndLeavesItUntouched) {
  const int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a b"), 0);
  const std::string before = host.Bytes("/m/a.udb");
  EXPECT_EQ(CreateFails("/m/a.udb"), "SYSTEM ERROR");
  EXPECT_EQ(host.Bytes("/m/a.udb"), before);
  EXPECT_EQ(host.FilesOpen(), 1);
}

TEST_F(FileTableTest, DescriptorIsCheckedBeforeAnyFileIsTouched) {
  struct Row {
    KEYDESCR kd;
    bool good;
  };
  const Row rows[] = {{{2, 0, -1}, true},       {{2, 0, -2}, false},     {{2, 0, 2041}, true},
                      {{4, 255, 2041}, true},   {{2, 0, 2042}, false},   {{4, 32, 32767}, false},
                      {{4, 32, -32768}, false}, {{0, 4, 2038}, true},    {{0, 4, 2039}, false},
                      {{1, 127, 1915}, true},   {{1, 127, 1916}, false}, {{1, 128, 0}, false},
                      {{3, 255, 0}, false},     {{1, 4, -5}, false},     {{3, 1, -32768}, false}};
  for (const Row& row : rows) {
    host.Forget("/m/a.udb");
    SCOPED_TRACE(std::to_string(row.kd.type) + ' ' + std::to_string(row.kd.len) + ' ' +
                 std::to_string(row.kd.offset));
    if (row.good) {
      EXPECT_EQ(udbClose(Create("/m/a.udb", row.kd)), 0);
    } else {
      host.FailCall(0, MemoryHost::Fault::None);
      EXPECT_EQ(CreateFails("/m/a.udb", row.kd), "WRONG KEY");
      EXPECT_FALSE(host.Exists("/m/a.udb"));
      EXPECT_EQ(host.Calls(), 0) << "not even the lock is taken";
    }
  }
}

TEST_F(FileTableTest, LongPathLosesItsLeadingFoldersInTheTableOnly) {
  const std::string sixty(60, 'f');
  const auto nameOf = [&](const std::string& path) {
    const int file = Create(path);
    EXPECT_TRUE(host.Exists(path)) << "the file is made where the whole path says";
    EXPECT_EQ(Insert(file, "a b"), 0);
    std::string name = FileName(file);
    EXPECT_EQ(udbClose(file), 0);
    EXPECT_EQ(FileName(Open(path)), name);
    return name;
  };
  const std::string fits = "/m/" + std::string(124, 'x');
  EXPECT_EQ(nameOf(fits), fits);
  const std::string folders = "/m/" + sixty + '/' + sixty + '/';
  EXPECT_EQ(nameOf(folders + "abc"), folders.substr(1) + "abc") << "126 characters and the front";
  EXPECT_EQ(nameOf(folders + "abcde"), sixty + '/' + sixty + "/abcde");
  EXPECT_EQ(nameOf(folders + "abcdef"), sixty + "/abcdef") << "128 characters would be left";
  EXPECT_EQ(nameOf(folders + "abcdefgh"), sixty + "/abcdefgh");
  EXPECT_EQ(nameOf("/m/" + std::string(127, 'y')), std::string(127, 'y'));
  EXPECT_EQ(CreateFails("/m/" + std::string(128, 'y')), "UNKNOWN ERROR");
  EXPECT_EQ(OpenFails(std::string(128, 'z')), "UNKNOWN ERROR");
  EXPECT_EQ(OpenFails("/m/" + std::string(70000, 'z')), "UNKNOWN ERROR");
}

TEST_F(FileTableTest, OpeningStartsFromTheFrontWithExactMatching) {
  int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a 1"), 0);
  EXPECT_EQ(Insert(file, "b 2"), 0);
  EXPECT_EQ(udbSetMatchMode(file, UDB_AFTER), 0);
  EXPECT_EQ(Find(file, "a "), 0);
  udbEntry(file).maxRead = 1;
  EXPECT_EQ(udbClose(file), 0);
  EXPECT_EQ(Open("/m/a.udb"), file);
  std::string record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(record, "a 1");
  EXPECT_EQ(Find(file, "a1 "), 1);

  KEYDESCR kd;
  EXPECT_EQ(udbGetKeyDescr(file, kd), 0);
  EXPECT_EQ(kd, Words);
  EXPECT_EQ(Count(file), 2U);
  EXPECT_EQ(FileName(file), "/m/a.udb");
}

TEST_F(FileTableTest, ReadOnlyFileIsReadAndNeverChanges) {
  int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, Record("a", 100)), 0);
  EXPECT_EQ(Insert(file, Record("b", 9000)), 0);
  EXPECT_EQ(udbClose(file), 0);
  const std::string before = host.Bytes("/m/a.udb");
  file = Open("/m/a.udb", 0);
  EXPECT_EQ(Insert(file, "c d"), -1);
  EXPECT_EQ(Insert(file, Record("d", 5000)), -1);
  EXPECT_EQ(Update(file, "a ", "a new"), -1);
  EXPECT_EQ(Update(file, "b ", "b new"), -1);
  EXPECT_EQ(Erase(file, "b "), -1);
  EXPECT_EQ(udbUpgrade(file), -1);
  EXPECT_EQ(host.Bytes("/m/a.udb"), before);
  EXPECT_EQ(Walk(file), (std::vector<std::string>{Record("a", 100), Record("b", 9000)}));
  EXPECT_EQ(Count(file), 2U);
}

TEST_F(FileTableTest, ClearingLeavesANewWritableFileUnderTheSameNumber) {
  const std::string old =
      image::HeaderPage({.version = 23,
                         .key = {4, ' ', 6},
                         .firstLeaf = 1,
                         .root = 1,
                         .freePages = 32567,
                         .depth = 3,
                         .corrupted = 1,
                         .recordCount = 1,
                         .inUse = {1}}) +
      image::TreePage(image::LeafPage, {}, {image::InlineEntry("front word x")});
  const int file = OpenBytes("/m/a.udb", old, 0);
  EXPECT_EQ(udbSetMatchMode(file, UDB_AT_OR_AFTER), 0);
  udbEntry(file).maxRead = 2;
  std::string record;
  EXPECT_EQ(GetNext(file, record), 0);
  EXPECT_EQ(udbClear(file), 0) << ErrorText(file);
  EXPECT_EQ(host.Bytes("/m/a.udb"), image::HeaderPage({.key = {4, ' ', 6}}));
  EXPECT_EQ(Insert(file, "123456b x"), 0) << ErrorText(file);
  EXPECT_EQ(Insert(file, "123456a x"), 0);
  EXPECT_EQ(Find(file, "a1 "), 1) << "matching is exact again";
  EXPECT_EQ(Walk(file), (std::vector<std::string>{"123456a x", "123456b x"}));

  // A file that somebody else deleted is made anew as well.
  host.Forget("/m/a.udb");
  EXPECT_EQ(udbClear(file), 0) << ErrorText(file);
  EXPECT_TRUE(host.Exists("/m/a.udb"));
  EXPECT_EQ(Count(file), 0U);
}

TEST_F(FileTableTest, ClearingFailsWhileSomebodyElseHoldsTheFile) {
  const int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a 1"), 0);
  const int other = Open("/m/a.udb");
  const std::string before = host.Bytes("/m/a.udb");
  EXPECT_EQ(udbClear(file), -1);
  EXPECT_EQ(host.Bytes("/m/a.udb"), before);
  EXPECT_EQ(ErrorText(file), "WRONG FILE NUMBER");
  EXPECT_EQ(Insert(other, "b 2"), 0);
  EXPECT_EQ(Walk(other).size(), 2U);
  udbClose(file);
  EXPECT_EQ(udbClear(other), 0);
  EXPECT_EQ(Count(other), 0U);
}

// Whichever call of a clearing fails: a number whose file is lost stays its holder's, until closed.
TEST_F(FileTableTest, NumberThatClearingLostIsNobodyElsesUntilItIsClosed) {
  for (int nth = 1; nth < 30; ++nth) {
    SCOPED_TRACE(nth);
    const int file = Create("/m/a.udb");
    host.FailCall(nth, MemoryHost::Fault::Fail);
    const int answer = udbClear(file);
    const std::string struck = host.Struck();
    host.Heal();
    const int other = Create("/m/b.udb");
    EXPECT_NE(other, file) << struck;
    EXPECT_EQ(udbClose(file) == 0, answer == 0 || struck == "read" || struck == "lock") << struck;
    EXPECT_EQ(udbClose(other), 0);
    host.Forget("/m/a.udb");
    host.Forget("/m/b.udb");
    if (struck.empty()) return;
  }
  ADD_FAILURE() << "a clearing makes fewer calls";
}

// Only external records depend on the rest of the version.
TEST_F(FileTableTest, VersionWithAKnownFirstByteAloneServesInlineRecords) {
  int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a b"), 0);
  EXPECT_EQ(Insert(file, Record("b", 5000)), 0);
  EXPECT_EQ(udbClose(file), 0);
  host.Bytes("/m/a.udb")[1] = 1;
  file = Open("/m/a.udb");
  const std::string before = host.Bytes("/m/a.udb");
  std::string record;
  EXPECT_EQ(Get(file, "a ", record), 0);
  EXPECT_EQ(Get(file, "b ", record), -1);
  EXPECT_EQ(ErrorText(file), "FILE CORRUPTED");
  EXPECT_EQ(udbUpgrade(file), -1);
  EXPECT_EQ(host.Bytes("/m/a.udb"), before);
}

TEST_F(FileTableTest, FailedReadOfAJournaledReadOnlyFileKeepsItsCode) {
  int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a 12345"), 0);
  EXPECT_EQ(udbClose(file), 0);
  std::string& bytes = host.Bytes("/m/a.udb");
  bytes[17] = 1;
  bytes[4096 + 12 + 3] ^= 1;  // the record's checksum
  file = Open("/m/a.udb", 0);
  std::string record;
  EXPECT_EQ(Get(file, "a ", record), -1);
  EXPECT_EQ(ErrorText(file), "CHECKSUM ERROR");
}

// What waits for the mutex and cannot have it answers with failure, and what never waits goes on.
TEST_F(FileTableTest, OnlyOperationsThatTakeTheMutexTimeOut) {
  const int file = Create("/m/a.udb");
  EXPECT_EQ(Insert(file, "a 1"), 0);
  EXPECT_EQ(Insert(file, "b 2"), 0);
  const int empty = Create("/m/empty.udb");
  EXPECT_EQ(Find(file, "a "), 0);
  const std::string before = host.Bytes("/m/a.udb");
  host.refuseLock = true;
  DataTransfer record;
  const std::pair<const char*, int> answers[] = {{"find", Find(file, "a ")},
                                                 {"get", udbGet(file, AsKey("a "), record)},
                                                 {"next", udbGetNext(file, record)},
                                                 {"insert", Insert(file, "c 3")},
                                                 {"update", Update(file, "a ", "a 2")},
                                                 {"erase", Erase(file, "a ")},
                                                 {"erase current", udbEraseCurrent(file)},
                                                 {"upgrade", udbUpgrade(file)},
                                                 {"clear", udbClear(file)}};
  for (const auto& [name, answer] : answers) EXPECT_EQ(answer, -1) << name;
  EXPECT_EQ(ErrorText(file), "TIMEOUT");
  EXPECT_EQ(OpenFails("/m/a.udb"), "TIMEOUT");
  EXPECT_EQ(CreateFails("/m/b.udb"), "TIMEOUT");
  EXPECT_FALSE(host.Exists("/m/b.udb"));

  UdbPosition position;
  std::string text;
  KEYDESCR kd;
  EXPECT_EQ(udbGetPosition(file, position, text), 0);
  EXPECT_EQ(text, "a ");
  EXPECT_EQ(udbSetPosition(file, position, AsKey("a ")), 0) << "the record is still there";
  EXPECT_EQ(udbSetPosition(file, position, AsKey("b ")), -1) << "a find is needed";
  EXPECT_EQ(udbRewind(file), 0);
  EXPECT_EQ(udbSetMatchMode(file, 0), 0);
  EXPECT_EQ(udbGetKeyDescr(file, kd), 0);
  EXPECT_EQ(udbGetFileName(file, text), 0);
  EXPECT_EQ(Count(file), 2U);
  EXPECT_EQ(udbGetNext(empty, record), 1) << "an empty file needs no lock to say so";
  EXPECT_EQ(udbClose(file), -1);
  EXPECT_EQ(ErrorText(file), "TIMEOUT");
  host.refuseLock = false;
  EXPECT_EQ(udbClose(file), 0) << "a close without the lock may be tried again";
  EXPECT_EQ(host.Bytes("/m/a.udb"), before);
}

TEST_F(FileTableTest, LastErrorIsThatOfTheLatestOperation) {
  const int file = Create("/m/a.udb");
  EXPECT_EQ(ErrorText(file), "SUCCESS");
  EXPECT_EQ(Insert(file, "no-stop-symbol"), -1);
  EXPECT_EQ(ErrorText(file), "WRONG KEY");
  EXPECT_EQ(Find(file, "a "), 1);
  EXPECT_EQ(ErrorText(file), "SUCCESS") << "a negative outcome is no failure";
}

}  // namespace
