// CheckStore against files whose damage is known.
#include <gtest/gtest.h>

#include <functional>

#include "kvorlib/storetools.h"
#include "samplefile.h"
#include "support/memoryhost.h"

namespace store {
namespace {

std::string Told(const StoreReport& report) {
  std::string all = report.failure;
  for (const StoreFinding& f : report.findings) {
    all += std::to_string(static_cast<int>(f.kind)) + " page " + std::to_string(f.page) + '+' +
           std::to_string(f.offset) + ": " + f.words + '\n';
  }
  return all;
}

class CheckTest : public ::testing::Test {
 protected:
  TempFolder folder;
  std::string path = folder.Path("sample");

  StoreReport CheckBytes(const FileBytes& bytes) {
    WriteFile(path, bytes);
    return CheckStore(path);
  }
};

TEST_F(CheckTest, SoundFileIsMeasured) {
  const auto records = MakeSample(path);
  const StoreReport report = CheckStore(path);
  EXPECT_EQ(report.state, StoreState::Sound);
  EXPECT_TRUE(report.findings.empty()) << Told(report);
  std::uint64_t bytes = 0;
  for (const auto& record : records) bytes += record.size();
  EXPECT_EQ(report.records, records.size());
  EXPECT_EQ(report.recordBytes, bytes);
  EXPECT_EQ(report.longestRecord, 9000U);
  EXPECT_EQ(report.externalRecords, 2U);
  EXPECT_EQ(report.runPages, 5U);
  EXPECT_EQ(report.levels, 1U);
  EXPECT_EQ(report.internalPages, 1U);
  EXPECT_EQ(report.leafPages + 7U, ReadFile(path).size() / PageSize);
  EXPECT_EQ(report.unmarkedPages, MaxPages - 7U - report.leafPages);
  EXPECT_GT(report.leafFill, 0.4);
  EXPECT_LT(report.leafFill, 1.0);
}

TEST_F(CheckTest, FileThatWasEmptiedAndFilledAgainIsSoundWithANoteOnItsDepth) {
  const auto records = MakeSample(path);
  std::string failure;
  const int file = udbOpen(path.c_str(), 2, failure);
  for (const auto& record : records) ASSERT_TRUE(Erase(file, record));
  const StoreReport emptied = CheckStore(path);
  EXPECT_EQ(emptied.state, StoreState::Sound) << Told(emptied);
  EXPECT_EQ(emptied.leakedPages, 0U);
  for (const auto& record : records) ASSERT_TRUE(Insert(file, record));
  udbClose(file);
  const StoreReport filled = CheckStore(path);
  EXPECT_EQ(filled.state, StoreState::Sound) << Told(filled);
  EXPECT_EQ(filled.records, records.size());
  EXPECT_EQ(filled.notes, filled.depth > filled.levels ? 1U : 0U) << Told(filled);
}

// Where the interesting things stand in the sample.
struct Landmarks {
  std::uint32_t root, firstLeaf, secondLeaf, run;
  std::size_t longEntry;  // of a long record: its byte in the file

  explicit Landmarks(const FileBytes& bytes) {
    const Header header = Header::Load(PageAt(bytes, 0));
    root = header.root;
    firstLeaf = header.firstLeaf;
    Page page = PageAt(bytes, firstLeaf);
    secondLeaf = TreePage::Of(page)->Next();
    longEntry = run = 0;
    for (std::uint32_t n = firstLeaf; n != 0 && run == 0; n = TreePage::Of(page)->Next()) {
      page = PageAt(bytes, n);
      const TreePage leaf = *TreePage::Of(page);
      for (std::size_t at = 0; at < leaf.Used(); at += leaf.At(at)->Size()) {
        const auto e = leaf.At(at);
        if (e->Form() != EntryForm::Key || run != 0) continue;
        run = e->Child();
        longEntry = n * PageSize + EntriesAt + at;
      }
    }
  }
};

struct Injury {
  const char* name;
  std::function<void(FileBytes&, const Landmarks&)> inflict;
  FindingKind kind;
  const char* words;
  std::function<std::uint64_t(const Landmarks&)> where;  // byte of the file
};

const std::vector<Injury>& Damages() {
  static const auto page0 = [](std::size_t offset) {
    return [offset](const Landmarks&) -> std::uint64_t { return offset; };
  };
  static const auto in = [](std::uint32_t Landmarks::*page, std::size_t offset) {
    return [=](const Landmarks& l) -> std::uint64_t { return l.*page * PageSize + offset; };
  };
  static const auto set16 = [](std::uint32_t Landmarks::*page, std::size_t offset, int value) {
    return [=](FileBytes& b, const Landmarks& l) {
      Store16(&b[l.*page * PageSize + offset], static_cast<std::uint16_t>(value));
    };
  };
  static const auto set0 = [](std::size_t offset, int value) {
    return [=](FileBytes& b, const Landmarks&) { b[offset] = static_cast<std::uint8_t>(value); };
  };
  static const auto bit = [](std::uint32_t Landmarks::*page) {
    return [=](FileBytes& b, const Landmarks& l) {
      b[25 + l.*page / 8] &= static_cast<std::uint8_t>(~(1U << l.*page % 8));
    };
  };
  using enum FindingKind;
  const auto root = &Landmarks::root;
  const auto first = &Landmarks::firstLeaf;
  const auto second = &Landmarks::secondLeaf;
  const auto run = &Landmarks::run;
  static const std::vector<Injury> damages = {
      {"unknown version", set0(0, 25), Damage, "not a store file", page0(0)},
      {"upper bytes of the version", set0(2, 1), Damage, "the version reads 65560", page0(1)},
      {"kind of key", set0(4, 9), Damage, "unknown kind of key (9)", page0(4)},
      {"length of integer keys", set0(4, 0), Damage, "keys of 0 bytes", page0(5)},
      {"place of keys", set0(7, 0x7F), Damage, "where no record has them", page0(6)},
      {"first leaf", set0(8, 1), Damage, "the leftmost leaf is page", page0(8)},
      {"root is a leaf", [](FileBytes& b, const Landmarks& l) { Store16(&b[10], l.firstLeaf); },
       Damage, "records, and the header says 302", page0(21)},
      {"root beyond the file", set0(11, 0x40), Damage, "which the file does not have", page0(10)},
      {"no root", [](FileBytes& b, const Landmarks&) { Store16(&b[10], 0); }, Damage,
       "the tree holds 0 records", page0(21)},
      {"depth too low", set0(14, 0), Damage, "1 levels of internal pages, and the header says 0",
       page0(14)},
      {"depth too high", set0(14, 3), Note, "counts 2 levels", page0(14)},
      {"counter of free pages", set0(12, 5), Note, "counter of free pages", page0(12)},
      {"mark of corruption", set0(16, 1), Damage, "takes no updates", page0(16)},
      {"journal", set0(17, 1), Note, "journal", page0(17)},
      {"record count", set0(21, 7), Damage, "the tree holds 302 records", page0(21)},
      {"page 0 free", set0(25, 0xFE), Damage, "page 0 free", page0(25)},
      {"leaf free", bit(first), Damage, "part of the tree, and the bitmap", in(first, 0)},
      {"run free", bit(run), Damage, "part of a run, and the bitmap", in(run, 0)},
      {"pages marked for nothing", set0(25 + 100, 6), Leak, "2 pages are marked in use",
       page0(801 * PageSize)},
      {"kind of page", set16(second, 0, 'x'), Damage, "no known kind (120)", in(second, 0)},
      {"leaf as internal page", set16(second, 0, InternalType), Damage,
       "an internal page where others are leaves", in(second, 0)},
      {"used bytes", set16(second, 2, 4084), Damage, "claims 4084 bytes", in(second, 2)},
      {"no used bytes", set16(second, 2, 0), Damage, "a leaf with no entry", in(second, 2)},
      {"next", set16(first, 4, 1000), Damage, "the link says 1000", in(first, 4)},
      {"prev", set16(second, 6, 0), Damage, "the link says 0", in(second, 6)},
      {"right child missing", set16(root, 8, 0), Damage, "page 0, which is no tree page",
       in(root, 8)},
      {"child met twice",
       [](FileBytes& b, const Landmarks& l) {
         Store16(&b[l.root * PageSize + 8], static_cast<std::uint16_t>(l.firstLeaf));
       },
       Damage, "in use elsewhere", in(root, 8)},
      {"child is the page itself",
       [](FileBytes& b, const Landmarks& l) {
         Store16(&b[l.root * PageSize + 8], static_cast<std::uint16_t>(l.root));
       },
       Damage, "in use elsewhere", in(root, 8)},
      {"separator too low", set16(root, EntriesAt + 7, 'a'), Damage, "above the separator",
       in(first, EntriesAt)},
      {"entry's length", set16(first, EntriesAt + 1, 3), Damage, "no sound entry here",
       in(first, EntriesAt)},
      {"record's byte",
       [](FileBytes& b, const Landmarks& l) { ++b[l.firstLeaf * PageSize + EntriesAt + 40]; },
       Damage, "the checksum of the record", in(first, EntriesAt)},
      {"order of keys",
       [](FileBytes& b, const Landmarks& l) {
         std::swap_ranges(&b[l.firstLeaf * PageSize + EntriesAt],
                          &b[l.firstLeaf * PageSize + EntriesAt + 68],
                          &b[l.firstLeaf * PageSize + EntriesAt + 68]);
       },
       Damage, "not above the one in front", in(first, EntriesAt + 68)},
      {"run's length", set16(run, 2, 0x7F), Damage, "beyond the end of the file", in(run, 0)},
      {"impossible length", set16(run, 2, 0x100), Damage, "impossible length", in(run, 0)},
      {"run's checksum", set16(run, 4, 0), Damage, "checksum of the external", in(run, 4)},
      {"run's key", set16(run, 8, 'k' + 256 * 'f'), Damage, "another key", in(run, 0)},
      {"run shared with the tree",
       [](FileBytes& b, const Landmarks& l) {
         Store16(&b[l.longEntry + 3], static_cast<std::uint16_t>(l.firstLeaf));
         Store32(&b[l.firstLeaf * PageSize], 98);  // reads as a length
       },
       Damage, "shares page", in(first, 0)},
      {"run nowhere", [](FileBytes& b, const Landmarks& l) { Store16(&b[l.longEntry + 3], 0); },
       Damage, "page 0, which the file does not have",
       [](const Landmarks& l) { return l.longEntry; }},
      {"bytes behind the last page",
       [](FileBytes& b, const Landmarks&) { b.resize(b.size() + 10); }, Leak,
       "the file ends 10 bytes into this page", nullptr},
  };
  return damages;
}

TEST_F(CheckTest, EachKindOfDamageIsToldWithItsPlace) {
  MakeSample(path);
  const FileBytes sound = ReadFile(path);
  const Landmarks places(sound);
  ASSERT_NE(places.run, 0U);
  for (const Injury& damage : Damages()) {
    SCOPED_TRACE(damage.name);
    FileBytes bytes = sound;
    damage.inflict(bytes, places);
    const StoreReport report = CheckBytes(bytes);
    const std::uint64_t where = damage.where ? damage.where(places) : sound.size();
    bool found = false;
    for (const StoreFinding& f : report.findings) {
      found = found || (f.kind == damage.kind && f.FileOffset() == where &&
                        f.words.find(damage.words) != std::string::npos);
    }
    EXPECT_TRUE(found) << "wanted at " << where << ": " << damage.words << '\n' << Told(report);
    EXPECT_EQ(report.state == StoreState::Damaged, damage.kind == FindingKind::Damage)
        << Told(report);
  }
}

TEST_F(CheckTest, WhatIsNoStoreFileIsAnswered) {
  EXPECT_EQ(CheckStore(path).state, StoreState::Unreadable);
  EXPECT_EQ(CheckStore(path).failure, "NONEXISTENT FILE");
  EXPECT_EQ(CheckStore(folder.Path()).state, StoreState::Unreadable);
  EXPECT_EQ(CheckBytes({}).state, StoreState::Damaged);
  EXPECT_EQ(CheckBytes({24}).state, StoreState::Damaged);
  EXPECT_EQ(CheckBytes(FileBytes(PageSize, 'x')).state, StoreState::Damaged);
}

TEST_F(CheckTest, FileBeyondTheBitmapIsWalkedInBoundedTime) {
  MakeSample(path);
  std::filesystem::resize_file(path, (MaxPages + 3) * PageSize);
  const StoreReport report = CheckStore(path);
  EXPECT_EQ(report.state, StoreState::Sound) << Told(report);
  EXPECT_EQ(report.leaks, 1U) << Told(report);
}

// Every byte of a small file is changed in turn. A file that is then called sound, with nothing
// said about it, must still give the records that it held.
TEST_F(CheckTest, ChangedByteIsNoticedOrHarmless) {
  MakeFile(path, {60, 900, 2500, 1200, 60, 1500, 1800, 60});
  const FileBytes sound = ReadFile(path);
  const auto records = WithoutZeros(RecordsOf(path));
  for (std::size_t at = 0; at < sound.size(); ++at) {
    if (at > 200 && at < PageSize) continue;  // bits of pages far beyond the file: always leaks
    if (at % PageSize > 200 && at % 11 != 0) continue;
    FileBytes bytes = sound;
    bytes[at] ^= at % 2 == 0 ? 0x01 : 0x40;
    const StoreReport report = CheckBytes(bytes);
    ASSERT_NE(report.state, StoreState::Unreadable) << at;
    if (!report.findings.empty()) continue;
    ASSERT_TRUE(WithoutZeros(RecordsOf(path)) == records) << "byte " << at;
  }
}

TEST_F(CheckTest, FailingReadIsToldAndNeverTakenForASoundFile) {
  MakeSample(path);
  const FileBytes sound = ReadFile(path);
  MemoryHost host;
  SetHost(&host);
  host.Put("/f", std::string(sound.begin(), sound.end()));
  // The store has a look at the file first, and may fail at that without consequence.
  host.FailCall(0, MemoryHost::Fault::None);
  std::string failure;
  udbClose(udbOpen("/f", 0, failure));
  const int storesOwn = host.Calls();
  host.FailCall(0, MemoryHost::Fault::None);
  ASSERT_EQ(CheckStore("/f").state, StoreState::Sound);
  const int calls = host.Calls();
  ASSERT_GT(calls, storesOwn + 10);
  for (int nth = storesOwn + 2; nth <= calls; ++nth) {
    host.FailCall(nth, MemoryHost::Fault::Fail);
    const StoreReport report = CheckStore("/f");
    EXPECT_NE(report.state, StoreState::Sound) << nth << ' ' << host.Struck() << Told(report);
    EXPECT_EQ(host.LocksHeld(), 0) << nth;
    EXPECT_EQ(host.FilesOpen(), 0) << nth;
  }
  SetHost(nullptr);
}

TEST_F(CheckTest, CutFileIsDamaged) {
  MakeFile(path, {60, 900, 2500, 1200, 60, 1500, 1800, 60});
  const FileBytes sound = ReadFile(path);
  for (std::size_t size = 0; size < sound.size(); size += 61) {
    const StoreReport report = CheckBytes(FileBytes(sound.begin(), sound.begin() + size));
    ASSERT_EQ(report.state, StoreState::Damaged) << size << '\n' << Told(report);
  }
}

}  // namespace
}  // namespace store
