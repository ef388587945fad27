// Opening, creating, closing and clearing files, the table that numbers them, and the words of
// failures.
#include <gmock/gmock.h>

#include "support/storecalls.h"

namespace {

using ::testing::Each;

class FileTableTest : public StoreTest {
 protected:
  // "opened", and closed again, or the words of the failure.
  std::string Opening(const std::string& where, int flags = 2) {
    const int n = udbOpen(where.c_str(), flags, failure);
    return n < 0 ? failure : udbClose(n) == 0 ? "opened" : ErrorText(n);
  }
  std::string Creating(const std::string& where, const KEYDESCR& kd = Words) {
    const int n = udbCreate(where.c_str(), kd, failure);
    return n < 0 ? failure : udbClose(n) == 0 ? "created" : ErrorText(n);
  }
  static std::string FileName(int n) {
    std::string name;
    EXPECT_EQ(udbGetFileName(n, name), 0);
    return name;
  }
  // The answers of all that takes the mutex on an open file.
  static std::vector<int> AskAll(int n) {
    DataTransfer record;
    return {Find(n, "a "),
            udbGet(n, AsKey("a "), record),
            udbGetNext(n, record),
            Insert(n, "c 3"),
            Update(n, "a ", "a 2"),
            Erase(n, "a "),
            udbEraseCurrent(n),
            udbUpgrade(n),
            udbClear(n),
            udbSetPosition(n, {}, AsKey("b "))};
  }
  // The answers of all that does not.
  static std::vector<int> AskRest(int n) {
    std::string text;
    KEYDESCR kd;
    UdbPosition position;
    std::uint32_t count;
    return {udbGetPosition(n, position, text),
            udbSetPosition(n, position, AsKey("a ")),
            udbGetKeyDescr(n, kd),
            udbGetFileName(n, text),
            udbGetCount(n, count),
            udbSetMatchMode(n, 0),
            udbRewind(n)};
  }
};

TEST_F(FileTableTest, NumberThatIsNotOpenAnswersFailureToEverything) {
  Create();
  EXPECT_EQ(udbClose(file), 0);
  for (const int n : {file, 399, 400, 100000, -1}) {
    EXPECT_THAT(AskAll(n), Each(-1)) << n;
    EXPECT_THAT(AskRest(n), Each(-1)) << n;
    EXPECT_EQ(udbClose(n), -1);
    EXPECT_EQ(ErrorText(n), "WRONG FILE NUMBER");
  }
}

TEST_F(FileTableTest, FileThatCannotBeServedIsRefusedByWordsAndLeftAsItIs) {
  Bytes good = HeaderPage({});
  std::vector<std::pair<Bytes, const char*>> rows;
  for (const std::size_t length : {0U, 1U, 25U, 4095U}) {
    rows.emplace_back(good.substr(0, length), "SYSTEM ERROR");
  }
  for (const int version : {0, 22, 25, 98, 255}) {
    good[0] = static_cast<char>(version);
    rows.emplace_back(good, "FILE CORRUPTED");
  }
  good[0] = 24;
  rows.emplace_back(good, "opened");
  for (const auto& [bytes, words] : rows) {
    host.Put(path, bytes);
    EXPECT_EQ(Opening(path), words) << bytes.size();
    EXPECT_EQ(Opening(path, 0), words);
    EXPECT_EQ(Creating(path), "SYSTEM ERROR") << "nothing is made over a file";
    EXPECT_EQ(Image(), bytes);
  }
  EXPECT_EQ(Opening("/m/missing"), "NONEXISTENT FILE");
  host.File(path).readOnly = true;
  EXPECT_EQ(Opening(path), "SYSTEM ERROR");
  EXPECT_EQ(Opening(path, 0), "opened");
  EXPECT_EQ(OpenAt(path, 0), 0) << "the lowest number was free all the time";
}

TEST_F(FileTableTest, FailuresOfOpeningAreToldApartByTheirCause) {
  for (const auto& [code, words] : {std::pair(EMFILE, "TOO MANY OPEN FILES"),
                                    {ENOENT, "NONEXISTENT FILE"},
                                    {ENOSPC, "SYSTEM ERROR"}}) {
    host.errorOfFault = code;
    for (const bool create : {false, true}) {
      std::string said;
      for (int nth = 1; nth == 1 || host.Struck() != "open"; ++nth) {
        host.Put(path, HeaderPage({}));
        if (create) host.Forget(path);
        host.FailCall(nth, Fault::Fail);
        said = create ? Creating(path) : Opening(path);
        CloseAll();
      }
      EXPECT_EQ(said, words);
    }
  }
}

TEST_F(FileTableTest, FourHundredFilesAreTheLimit) {
  host.Put(path, HeaderPage({}));
  for (int n = 0; n < 400; ++n) ASSERT_EQ(OpenAt(path, n % 3 == 0 ? 0 : 2), n);
  EXPECT_EQ(Opening(path), "FILE LIMIT OVERFLOW");
  EXPECT_EQ(Creating("/m/b"), "FILE LIMIT OVERFLOW");
  EXPECT_FALSE(host.Exists("/m/b"));
  EXPECT_EQ(udbClose(217), 0);
  EXPECT_EQ(udbClose(38), 0);
  EXPECT_EQ(OpenAt(path), 38);
  EXPECT_EQ(OpenAt(path), 217);
}

TEST_F(FileTableTest, DescriptorIsCheckedBeforeAnyFileIsTouched) {
  const KEYDESCR good[] = {{2, 0, -1}, {2, 0, 2041}, {4, 255, 2041}, {0, 4, 2038}, {1, 127, 1915}};
  const KEYDESCR bad[] = {{2, 0, -2},     {2, 0, 2042}, {4, 32, 32767}, {4, 32, -32768},
                          {0, 4, 2039},   {1, 128, 0},  {1, 127, 1916}, {1, 4, -5},
                          {3, 1, -32768}, {3, 255, 0}};
  for (const KEYDESCR& kd : good) {
    host.Forget(path);
    EXPECT_EQ(Creating(path, kd), "created") << int{kd.type} << ' ' << kd.offset;
  }
  host.Forget(path);
  host.FailCall(0, Fault::None);
  for (const KEYDESCR& kd : bad) {
    EXPECT_EQ(Creating(path, kd), "WRONG KEY") << int{kd.type} << ' ' << kd.offset;
  }
  EXPECT_EQ(host.Calls(), 0) << "not even the lock is taken";
}

TEST_F(FileTableTest, LongPathLosesItsLeadingFoldersInTheTableOnly) {
  const std::string sixty(60, 'f');
  const std::string folders = "/m/" + sixty + '/' + sixty + '/';
  const std::pair<std::string, std::string> rows[] = {
      {"/m/" + std::string(124, 'x'), "/m/" + std::string(124, 'x')},
      {folders + "abc", folders.substr(1) + "abc"},  // 126 characters and the front
      {folders + "abcde", sixty + '/' + sixty + "/abcde"},
      {folders + "abcdef", sixty + "/abcdef"},  // 128 characters would be left
      {"/m/" + std::string(127, 'y'), std::string(127, 'y')}};
  for (const auto& [where, name] : rows) {
    int n = CreateAt(where);
    EXPECT_TRUE(host.Exists(where)) << "the file is made where the whole path says";
    EXPECT_EQ(FileName(n), name);
    EXPECT_EQ(Insert(n, "a b"), 0);
    EXPECT_EQ(udbClose(n), 0);
    EXPECT_EQ(FileName(n = OpenAt(where)), name);
    EXPECT_EQ(udbClose(n), 0);
  }
  EXPECT_EQ(Creating("/m/" + std::string(128, 'y')), "UNKNOWN ERROR");
  EXPECT_EQ(Opening("/m/" + std::string(70000, 'z')), "UNKNOWN ERROR");
}

// Only external records depend on the rest of the version.
TEST_F(FileTableTest, ReadOnlyFileOrOneOfAnOddVersionIsReadAndNeverChanges) {
  Create();
  Fill({"a b", Record("b", 5000)});
  for (const bool odd : {false, true}) {
    Image()[1] = odd ? 1 : 0;
    const Bytes before = Image();
    Open(odd ? 2 : 0);
    Bytes record;
    EXPECT_EQ(Get(file, "a ", record), 0);
    EXPECT_EQ(Said(Get(file, "b ", record)), odd ? "FILE CORRUPTED" : "0");
    EXPECT_EQ(Insert(file, Record("d", 5000)), -1);
    EXPECT_EQ(Update(file, "b ", "b new"), -1);
    EXPECT_EQ(Erase(file, "b "), -1);
    EXPECT_EQ(udbUpgrade(file), -1);
    EXPECT_EQ(Image(), before);
  }
}

TEST_F(FileTableTest, ClearingLeavesANewWritableFileUnderTheSameNumber) {
  const KEYDESCR kd{4, ' ', 6};
  OpenBytes(HeaderPage({.version = 23,
                        .key = kd,
                        .firstLeaf = 1,
                        .root = 1,
                        .pages = 1,
                        .depth = 3,
                        .corrupted = 1,
                        .recordCount = 1}) +
                LeafOf({"front word x"}),
            0);
  EXPECT_EQ(udbSetMatchMode(file, UDB_AT_OR_AFTER), 0);
  udbEntry(file).maxRead = 2;
  for (const bool deleted : {false, true}) {  // by somebody else, in between
    if (deleted) host.Forget(path);
    EXPECT_EQ(Said(udbClear(file)), "0");
    EXPECT_EQ(Image(), HeaderPage({.key = kd}));
    Fill({"123456b x", "123456a x"});
    EXPECT_EQ(Find(file, "a1 "), 1) << "matching is exact again";
    EXPECT_EQ(Walk(file), (std::vector<Bytes>{"123456a x", "123456b x"})) << "whole records";
  }
}

TEST_F(FileTableTest, ClearingFailsWhileSomebodyElseHoldsTheFile) {
  Create();
  Fill({"a 1"});
  const int other = OpenAt(path);
  EXPECT_EQ(Said(udbClear(file)), "WRONG FILE NUMBER") << "it has let go of the file";
  EXPECT_EQ(Walk(other), std::vector<Bytes>{"a 1"});
  udbClose(file);
  EXPECT_EQ(udbClear(other), 0);
  EXPECT_EQ(Count(other), 0U);
}

// Whichever call of a clearing fails, there is a sound file, or none; and a number whose file is
// lost stays its holder's until it is closed.
TEST_F(FileTableTest, NumberThatClearingLostIsNobodyElsesUntilItIsClosed) {
  for (int nth = 1; nth < 30; ++nth) {
    SCOPED_TRACE(nth);
    Create();
    Fill({"a 1"});
    host.FailCall(nth, Fault::Fail);
    const std::string said = Said(udbClear(file));
    const std::string struck = host.Struck();
    EXPECT_EQ(host.LocksHeld(), 0);
    host.Heal();
    if (host.Exists(path)) Sound();
    host.Forget("/m/b");
    EXPECT_NE(CreateAt("/m/b"), file) << struck;
    const bool lost = said == "WRONG FILE NUMBER" || said == "SYSTEM ERROR";
    EXPECT_TRUE(said == "0" || said == "TIMEOUT" || lost) << said;
    EXPECT_EQ(udbClose(file) == 0, said == "0" || struck == "read" || struck == "lock") << struck;
    if (struck.empty()) return;
  }
  ADD_FAILURE() << "a clearing makes fewer calls";
}

// What waits for the mutex and cannot have it answers with failure, and what never waits goes on.
TEST_F(FileTableTest, OnlyOperationsThatTakeTheMutexTimeOut) {
  Create();
  Fill({"a 1", "b 2"});
  const int empty = CreateAt("/m/empty");
  EXPECT_EQ(Find(file, "a "), 0);
  const Bytes before = Image();
  host.refuseLock = true;
  EXPECT_THAT(AskAll(file), Each(-1));
  EXPECT_EQ(ErrorText(file), "TIMEOUT");
  EXPECT_EQ(Opening(path), "TIMEOUT");
  EXPECT_EQ(Creating("/m/b"), "TIMEOUT");
  EXPECT_FALSE(host.Exists("/m/b"));
  EXPECT_THAT(AskRest(file), Each(0)) << "a position whose record is there needs no lock";
  Bytes record;
  EXPECT_EQ(GetNext(empty, record), 1) << "an empty file needs no lock to say so";
  EXPECT_EQ(Said(udbClose(file)), "TIMEOUT");
  host.refuseLock = false;
  EXPECT_EQ(udbClose(file), 0) << "a close without the lock may be tried again";
  EXPECT_EQ(Image(), before);
}

}  // namespace
