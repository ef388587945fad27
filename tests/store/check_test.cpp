// CheckStore against files whose damage is known.
#include <algorithm>
#include <functional>

#include "samplefile.h"

namespace {

class CheckTest : public SampleTest {};

TEST_F(CheckTest, SoundFileIsMeasuredThoughItWasEmptiedAndFilledAgain) {
  StoreReport report = Check(sample);
  EXPECT_EQ(report.state, StoreState::Sound);
  EXPECT_EQ(Told(report.findings), "");
  EXPECT_EQ(report.records, 302U);
  EXPECT_EQ(report.recordBytes, 300U * 60 + 5000 + 9000);
  EXPECT_EQ(report.longestRecord, 9000U);
  EXPECT_EQ(report.externalRecords, 2U);
  EXPECT_EQ(report.runPages, 5U);
  EXPECT_EQ(report.levels, 1U);
  EXPECT_EQ(report.internalPages, 1U);
  EXPECT_EQ(report.leafPages + 7U, sample.size() / PageBytes);
  EXPECT_EQ(report.unmarkedPages, image::AllPages - 7U - report.leafPages);
  EXPECT_GT(report.leafFill, 0.4);
  EXPECT_LT(report.leafFill, 1.0);

  EraseFirst(302);
  EXPECT_EQ(CheckStore(path).leakedPages, 0U);
  Open();
  Fill(records);
  report = CheckStore(path);
  EXPECT_EQ(report.state, StoreState::Sound) << Told(report.findings);
  EXPECT_EQ(report.notes, report.depth > report.levels ? 1U : 0U) << Told(report.findings);
}

struct Injury {
  FindingKind kind;
  const char* words;
  std::size_t where;
  std::function<void(Bytes&)> inflict;
};

TEST_F(CheckTest, EachKindOfDamageIsToldWithItsPlace) {
  const std::size_t first = firstLeaf * PageBytes;
  const std::size_t second = Get16(sample, first + 4) * PageBytes;
  const std::size_t top = root * PageBytes;
  const std::size_t longEntry = sample.find(Bytes(2, 0) + records[100].substr(0, 6)) - 5;
  const std::size_t run = Get16(sample, longEntry + 3) * PageBytes;
  ASSERT_EQ(sample.substr(run + 8, 5000), records[100]);
  const auto set8 = [](std::size_t at, int value) {
    return [=](Bytes& b) { b[at] = static_cast<char>(value); };
  };
  const auto set16 = [](std::size_t at, std::size_t value) {
    return [=](Bytes& b) { Put16(b, at, static_cast<unsigned>(value)); };
  };
  const auto unmark = [&](std::size_t at) {
    const std::size_t n = at / PageBytes;
    return set8(25 + n / 8, sample[25 + n / 8] & ~(1 << n % 8));
  };
  using enum FindingKind;
  const Injury injuries[] = {
      {Damage, "not a store file", 0, set8(0, 25)},
      {Damage, "the version reads 65560", 1, set8(2, 1)},
      {Damage, "unknown kind of key (9)", 4, set8(4, 9)},
      {Damage, "keys of 32 bytes", 5, set8(4, 0)},
      {Damage, "where no record has them", 6, set8(7, 0x7F)},
      {Damage, "the leftmost leaf is page", 8, set8(8, 1)},
      {Damage, "records, and the header says 302", 21, set16(10, firstLeaf)},
      {Damage, "which the file does not have", 10, set8(11, 0x40)},
      {Damage, "the tree holds 0 records", 21, set16(10, 0)},
      {Damage, "1 levels of internal pages, and the header says 0", 14, set8(14, 0)},
      {Note, "counts 2 levels", 14, set8(14, 3)},
      {Note, "counter of free pages", 12, set8(12, 5)},
      {Damage, "takes no updates", 16, set8(16, 1)},
      {Note, "journal", 17, set8(17, 1)},
      {Damage, "the tree holds 302 records", 21, set8(21, 7)},
      {Damage, "page 0 free", 25, unmark(0)},
      {Damage, "part of the tree, and the bitmap", first, unmark(first)},
      {Damage, "part of a run, and the bitmap", run, unmark(run)},
      {Leak, "2 pages are marked in use", 801 * PageBytes, set8(25 + 100, 6)},
      {Leak, "the file ends 10 bytes into this page", sample.size(),
       [](Bytes& b) { b.resize(b.size() + 10); }},
      {Damage, "no known kind (120)", second, set8(second, 'x')},
      {Damage, "an internal page where others are leaves", second, set8(second, 'r')},
      {Damage, "claims 4084 bytes", second + 2, set16(second + 2, 4084)},
      {Damage, "a leaf with no entry", second + 2, set16(second + 2, 0)},
      {Damage, "the link says 1000", first + 4, set16(first + 4, 1000)},
      {Damage, "the link says 0", second + 6, set16(second + 6, 0)},
      {Damage, "page 0, which is no tree page", top + 8, set16(top + 8, 0)},
      {Damage, "in use elsewhere", top + 8, set16(top + 8, firstLeaf)},
      {Damage, "in use elsewhere", top + 8, set16(top + 8, root)},
      {Damage, "above the separator", first + 12, set8(top + 12 + 7, 'a')},
      {Damage, "no sound entry here", first + 12, set16(first + 13, 3)},
      {Damage, "the checksum of the record", first + 12, set8(first + 12 + 40, 0)},
      {Damage, "not above the one in front", first + 12 + 68,
       [=](Bytes& b) { std::swap_ranges(&b[first + 12], &b[first + 80], &b[first + 80]); }},
      {Damage, "beyond the end of the file", run, set8(run + 2, 0x7F)},
      {Damage, "impossible length", run, set8(run + 3, 1)},
      {Damage, "checksum of the external", run + 4, set16(run + 4, 0)},
      {Damage, "another key", run, set16(run + 8, 'k' + 256 * 'f')},
      {Damage, "shares page", first,
       [=, this](Bytes& b) {
         Put16(b, longEntry + 3, firstLeaf);
         image::Put32(b, first, 98);  // reads as a length
       }},
      {Damage, "page 0, which the file does not have", longEntry, set16(longEntry + 3, 0)}};
  for (const Injury& injury : injuries) {
    Bytes bytes = sample;
    injury.inflict(bytes);
    const StoreReport report = Check(bytes);
    EXPECT_TRUE(std::ranges::any_of(report.findings,
                                    [&](const StoreFinding& f) {
                                      return f.kind == injury.kind &&
                                             f.FileOffset() == injury.where &&
                                             f.words.find(injury.words) != std::string::npos;
                                    }))
        << "wanted at " << injury.where << ": " << injury.words << '\n'
        << Told(report.findings);
    EXPECT_EQ(report.state == StoreState::Damaged, injury.kind == Damage) << injury.words;
  }
}

TEST_F(CheckTest, WhatIsNoStoreFileIsAnsweredAndAVastOneInBoundedTime) {
  EXPECT_EQ(CheckStore("/m/none").state, StoreState::Unreadable);
  EXPECT_EQ(CheckStore("/m/none").failure, "NONEXISTENT FILE");
  for (const Bytes& bytes : {Bytes(), Bytes("\x18"), Bytes(PageBytes, 'x')}) {
    EXPECT_EQ(Check(bytes).state, StoreState::Damaged);
  }
  sample.resize((image::AllPages + 3) * PageBytes);
  const StoreReport report = Check(sample);
  EXPECT_EQ(report.state, StoreState::Sound);
  EXPECT_EQ(report.leaks, 1U) << "pages beyond the bitmap";
}

TEST_F(CheckTest, AnotherUserIsWaitedForWithoutThisUsersMutex) {
  int waits = 0;
  host.company = platform::Company::Writers;
  host.fileLock = [&](platform::Hold) { return ++waits, host.LocksHeld() == 0; };
  EXPECT_EQ(CheckStore(path).findings.size(), 0U);
  EXPECT_GT(waits, 1);
  // Nor by who opens what has become this user's alone since somebody died in it.
  waits = 0;
  for (int nth = 1; waits == 0; ++nth) {
    ASSERT_LT(nth, 99);
    host.company = platform::Company::Writers;
    OpenBytes(sample);
    host.FailCall(nth, Fault::Crash);
    Insert(file, "b new");
    CloseAll();
    host.Restart();
    host.company = platform::Company::Own;
    waits = 0;
    Open();
  }
  Sound();
}

TEST_F(CheckTest, FailingReadIsToldAndNeverTakenForASoundFile) {
  // The store has a look at the file first, and may fail at that without consequence.
  host.FailCall(0, Fault::None);
  udbClose(OpenAt(path, 0));
  const int storesOwn = host.Calls();
  host.FailCall(0, Fault::None);
  ASSERT_EQ(CheckStore(path).state, StoreState::Sound);
  const int calls = host.Calls();
  ASSERT_GT(calls, storesOwn + 10);
  for (int nth = storesOwn + 3; nth <= calls; ++nth) {  // and asks whose it is, and locks it
    host.FailCall(nth, Fault::Fail);
    EXPECT_NE(CheckStore(path).state, StoreState::Sound) << nth << ' ' << host.Struck();
    EXPECT_EQ(host.LocksHeld() + host.FilesOpen(), 0) << nth;
  }
}

}  // namespace
