// Files built from the left, and files made small: they are files as any other.
#include <random>

#include "store/bulkbuilder.h"
#include "support/storecalls.h"

namespace {

class BulkTest : public StoreTest {
 protected:
  using Records = std::vector<Bytes>;

  // `count` records in the order of their keys, with lengths around all limits of the format.
  Records InOrder(std::size_t count, const KEYDESCR& kd) {
    const std::size_t lengths[] = {1, 20, 33, 2028, 2029, 2030, 2031, 4087, 4088, 4089, 30000};
    Records all;
    for (std::size_t n = 0; n < count; ++n) {
      Bytes key(kd.type == 0 ? 4 : 0, '\0');
      const auto number = static_cast<std::int32_t>(n * 3) - 1000;
      if (kd.type == 0) {
        for (unsigned i = 0; i < 4; ++i) key[i] = static_cast<char>(number >> (8 * i));
      } else {
        key = std::to_string(1000000 + n * 3);
        key += kd.IsText() ? Bytes(n % 7 == 0 ? 110 : n % 5, 'x') : Bytes();
        key.resize(kd.IsText() ? key.size() : kd.len, '.');
        if (kd.IsText()) key += static_cast<char>(kd.len);
      }
      Bytes record(static_cast<std::size_t>(kd.offset), '?');
      record += key;
      const std::size_t length = lengths[random() % (random() % 30 == 0 ? 11 : 3)];
      while (record.size() < length) record += static_cast<char>(random());
      all.push_back(record);
    }
    return all;
  }
  // Also what the walk and the report say of them.
  LoadReport Load(const Records& records) {
    std::size_t at = 0;
    return LoadStore(path, [&]() -> std::optional<UdbKey> {
      return at == records.size() ? std::nullopt : std::optional(AsKey(records[at++]));
    });
  }
  Bytes KeyOf(const Bytes& record, const KEYDESCR& kd) {
    const auto all = store::Bytes(AsKey(record).data(), record.size());
    const auto key = *store::KeyIn(kd, all);
    return {key.begin(), key.end()};
  }
  // Sound to the last byte, and the same by the walk and by key.
  void Holds(const Records& records, const KEYDESCR& kd) {
    CloseAll();
    Sound();
    Open();
    ASSERT_EQ(Walk(file), records);
    Bytes got;
    for (const Bytes& record : records) {
      ASSERT_EQ(Get(file, KeyOf(record, kd), got), 0);
      ASSERT_EQ(got, record);
    }
  }

  std::mt19937 random{17};
};

class BulkKeysTest : public BulkTest, public ::testing::WithParamInterface<KEYDESCR> {};

TEST_P(BulkKeysTest, BuiltFileIsAsAnyOtherAndMadeSmallItStaysTheSame) {
  const KEYDESCR& kd = GetParam();
  Records built;
  // Up to three levels; the last leaf, and the last page of each level, in every state of fullness.
  for (std::size_t count : {0U, 1U, 2U, 40U, 110U, 111U, 3000U, 3001U, 3002U, 3003U, 30000U}) {
    SCOPED_TRACE(count);
    built = InOrder(count, kd);
    Create(kd);
    CloseAll();
    const LoadReport report = Load(built);
    ASSERT_TRUE(report.done) << report.failure;
    ASSERT_EQ(report.stored, count);
    ASSERT_NO_FATAL_FAILURE(Holds(built, kd));
  }

  // Of a file with holes, the same one in fewer pages; a second time nothing is left to be won.
  Records kept;
  for (std::size_t n = 0; n < built.size(); ++n) {
    if (n % 4 == 0) {
      kept.push_back(built[n]);
    } else {
      ASSERT_EQ(Said(Erase(file, KeyOf(built[n], kd))), "0");
    }
  }
  CloseAll();
  const CompactReport first = CompactStore(path);
  ASSERT_TRUE(first.done) << first.failure;
  EXPECT_EQ(first.records, kept.size());
  EXPECT_EQ(first.bytesAfter, Image().size());
  EXPECT_LT(first.bytesAfter, first.bytesBefore);
  ASSERT_NO_FATAL_FAILURE(Holds(kept, kd));
  const Bytes small = Image();
  CloseAll();
  ASSERT_TRUE(CompactStore(path).done);
  EXPECT_EQ(Image(), small);
}

INSTANTIATE_TEST_SUITE_P(Keys, BulkKeysTest,
                         ::testing::Values(KEYDESCR{4, ' ', 0}, KEYDESCR{2, 0, 2},
                                           KEYDESCR{0, 4, 2}, KEYDESCR{3, 9, 1}));

// Two records to a leaf, 28 leaves to an internal page: whatever the number of records, the last
// page of no level is left without an entry.
TEST_F(BulkTest, EveryEndOfALevelIsInOrder) {
  Records records;
  for (unsigned n = 0; n < 1600; ++n) {
    records.push_back(Record(Bytes(120, 'k') + std::to_string(1000 + n), 2029));
  }
  for (unsigned count = 1; count <= 1600; count += count == 130 ? 1390 : 1) {
    SCOPED_TRACE(count);
    Create();
    CloseAll();
    ASSERT_EQ(Load(Records(records.begin(), records.begin() + count)).stored, count);
    ASSERT_EQ(Sound().records.size(), count);
    for (std::size_t at = 4096; at < Image().size(); at += 4096)
      ASSERT_NE(Get16(Image(), at + 2), 0);
  }
}

// Each record that the short road does not take is answered as insertion answers it, and none that
// came before is lost.
TEST_F(BulkTest, WhatDoesNotFitGoesTheOrdinaryWay) {
  const Bytes a = Record("a", 50);
  const Bytes b = Record("b", 3000);
  const Bytes c = Record("c", 10);
  const Bytes tooLong = Record("d", udbMaxRecord);
  struct {
    Records given;
    Records held;
    unsigned present, refused;
    const char* failure;
  } const cases[] = {
      {{a, b, c}, {a, b, c}, 0, 0, ""},
      {{a, c, b}, {a, b, c}, 0, 0, ""},
      {{c, a, a, c, b}, {a, b, c}, 2, 0, ""},
      {{a, Record("a", 60), b}, {a, b}, 1, 0, ""},
      {{a, "nokey", b}, {a, b}, 0, 1, ""},
      {{b, a, "nokey", c}, {a, b, c}, 0, 1, ""},
      {{a, tooLong, c}, {a}, 0, 0, "WRONG RECORD LENGTH"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    Create();
    CloseAll();
    const LoadReport report = Load(one.given);
    EXPECT_EQ(report.failure, one.failure);
    EXPECT_EQ(report.done, report.failure.empty());
    EXPECT_EQ(report.stored, one.held.size());
    EXPECT_EQ(report.present, one.present);
    EXPECT_EQ(report.refused, one.refused);
    Holds(one.held, Words);
  }
  // A length of which 32 bits are those of a record that could be stored.
  std::optional<UdbKey> endless(std::in_place, AsKey(b).data(), (std::size_t{1} << 32) + b.size());
  EXPECT_EQ(LoadStore(path, [&] { return std::exchange(endless, std::nullopt); }).failure,
            "WRONG RECORD LENGTH");
  // Not empty any more when the records come; or told of each record, or of an old version.
  for (const std::size_t at : {0U, 17U, 21U}) {
    SCOPED_TRACE(at);
    Create();
    const Bytes other = Record("aa", 70);
    CloseAll();
    if (at == 0) Image()[0] = 23;
    if (at == 17) Image()[17] = 1;
    {
      SortedLoad load(path);
      EXPECT_EQ(load.Add(AsKey(a)), SortedLoad::Answer::Taken);
      EXPECT_EQ(load.Add(AsKey(b)), SortedLoad::Answer::Taken);
      const int second = at == 21 ? OpenAt(path) : -1;
      ASSERT_TRUE(second < 0 || (Insert(second, other) == 0 && udbClose(second) == 0));
      EXPECT_EQ(load.Finish().stored, 2U);
    }
    Holds(at == 21 ? Records{a, other, b} : Records{a, b}, Words);
    EXPECT_EQ(Image()[0], at == 0 ? 23 : 24);
    CloseAll();
    host.Forget("/m/store.jou");
  }
}

// Full as insertion would have it: the same record is the first to be refused.
TEST_F(BulkTest, FullFileRefusesAsInsertionDoes) {
  Records records;
  for (unsigned n = 0; n < 80; ++n) {
    records.push_back(Record("k" + std::to_string(1000 + n), 500 * 4096 + n));
  }
  Create();
  CloseAll();
  const LoadReport report = Load(records);
  EXPECT_EQ(report.failure, "CANNOT ALLOCATE RECORD");
  Sound();
  Open();
  const Records held = Walk(file);
  Create();
  std::size_t inserted = 0;
  while (Insert(file, records[inserted]) == 0) ++inserted;
  EXPECT_EQ(report.stored, inserted);
  EXPECT_EQ(held, Records(records.begin(), records.begin() + static_cast<long>(inserted)));
}

// A load is one operation, and a compaction has happened or not, whichever call fails or is the
// last of the process.
TEST_F(BulkTest, BrokenOffAnywhereItIsDoneOrNot) {
  Records records;
  for (unsigned n = 0; n < 300; ++n) records.push_back(Record(std::to_string(1000 + n), 30));
  records[100] = Record("1100", 9000);
  Create();
  CloseAll();
  const Bytes empty = Image();
  for (std::size_t n = 0; n < records.size(); ++n) {
    Open();
    Fill({records[n * 7 % records.size()]});
  }
  CloseAll();
  const Bytes loose = Image();
  for (const bool compacts : {false, true}) {
    const Bytes& before = compacts ? loose : empty;
    for (const Fault fault : {Fault::Fail, Fault::Crash, Fault::CrashBehind}) {
      for (int call = 1;; ++call) {
        SCOPED_TRACE(::testing::Message() << compacts << ' ' << int(fault) << ' ' << call);
        host.Put(path, before);
        host.FailCall(call, fault);
        const bool done = compacts ? CompactStore(path).done : Load(records).done;
        const bool struck = !host.Struck().empty();
        if (fault == Fault::Fail) {
          host.Heal();
        } else {
          CloseAll();
          host.Restart();
        }
        Open(0);
        const std::size_t held = Walk(file).size();
        CloseAll();
        Sound();
        // After a failed store the records are tried one by one.
        ASSERT_TRUE(held == 300 || (!compacts && (held == 0 || fault == Fault::Fail))) << held;
        ASSERT_TRUE(!done || held == 300);
        ASSERT_TRUE(!compacts || done || fault != Fault::Fail || Image() == loose);
        host.Forget(path + ".part");
        if (!struck) break;
      }
    }
  }
}

TEST_F(BulkTest, CompactionRefusesWhatIsOpenOrDamagedAndLiftsOldVersions) {
  const Records records{Record("a", 50), Record("b", 3000), Record("c", 70000 % 60000)};
  Create();
  Fill(records);
  CompactReport report = CompactStore(path);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(report.failure, "somebody has the file open, or it may not be written");
  CloseAll();
  Bytes damaged = Image();
  for (const std::size_t at : {std::size_t{16}, 2 * std::size_t{4096} + 500}) {
    Bytes bytes = damaged;
    bytes[at] ^= 1;
    host.Put(path, bytes);
    report = CompactStore(path);
    EXPECT_EQ(report.failure, "FILE CORRUPTED");
    EXPECT_EQ(report.state, StoreState::Damaged);
    EXPECT_EQ(Image(), bytes);
    EXPECT_FALSE(host.Exists(path + ".part"));
  }
  Create();
  Image()[0] = 23;
  Fill(records);
  CloseAll();
  EXPECT_TRUE(CompactStore(path).done);
  EXPECT_EQ(Image()[0], 24);
  Holds(records, Words);
}

}  // namespace
