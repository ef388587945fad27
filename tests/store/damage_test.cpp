// Every byte of a small store is changed, and the store is cut at every length. Whatever the bytes
// are, nothing crashes, hangs or reads outside its buffers, no wrong record is handed out for a
// right one, and the checker calls no file sound that does not give all its records.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "kvorlib/storetools.h"
#include "support/storecalls.h"

namespace {

using image::Bytes;

const char path[] = "/m/damaged.udb";
const char saved[] = "/m/saved.udb";

class DamageTest : public StoreTest {
 protected:
  // A root, three leaves and an external record.
  DamageTest() {
    const int file = Create(path, {4, ' ', 1});
    for (unsigned n = 10; n < 18; ++n) {
      records.push_back('#' + Record("k" + std::to_string(n), n == 13 ? 2100 : 900 + n * 20));
    }
    for (const Bytes& record : records) EXPECT_EQ(Insert(file, record), 0);
    EXPECT_EQ(udbClose(file), 0);
    whole = host.Bytes(path);
    const image::Findings found = Sound(path);
    EXPECT_EQ(found.leaves.size(), 3U);
    EXPECT_EQ(found.levels, 1U);
    known.insert(records.begin(), records.end());
    internal = image::Get16(whole, 10);
  }

  static bool IsAnswer(int answer) { return answer >= -1 && answer <= 1; }

  // The checksum adds bytes up: it cannot tell a record from the same one with zeros behind it, and
  // behind a record stand zeros.
  static bool IsLike(const Bytes& got, const Bytes& record) {
    return got.starts_with(record) && got.find_first_not_of('\0', record.size()) == Bytes::npos;
  }
  bool IsKnown(const Bytes& got) const {
    return known.count(got) != 0 ||
           std::any_of(known.begin(), known.end(),
                       [&](const Bytes& record) { return IsLike(got, record); });
  }

  // What a walk gives; each record must be one that was stored.
  std::vector<Bytes> WalkUnharmed(int file) {
    std::vector<Bytes> walked;
    Bytes record;
    EXPECT_TRUE(IsAnswer(udbRewind(file)));
    while (GetNext(file, record) == 0) {
      EXPECT_TRUE(IsKnown(record)) << "a record that was never stored";
      walked.push_back(record);
      if (walked.size() > 1000) break;
    }
    EXPECT_LE(walked.size(), records.size());
    return walked;
  }

  // Reads, walks and changes the file of these bytes.
  void UseUp(const Bytes& bytes, bool mayChange) {
    host.Put(path, bytes);
    const int file = udbOpen(path, mayChange ? 2 : 0, failure);
    const StoreReport report = CheckStore(path);
    const bool sound = report.state == StoreState::Sound;
    if (file < 0) {
      EXPECT_FALSE(sound) << failure;
      EXPECT_TRUE(failure == "FILE CORRUPTED" || failure == "SYSTEM ERROR") << failure;
      return;
    }
    const std::vector<Bytes> walked = WalkUnharmed(file);
    if (sound) {
      EXPECT_EQ(walked.size(), records.size()) << "called sound";
    }
    std::string text;
    UdbPosition position;
    const bool sameKeys = bytes.substr(4, 4) == whole.substr(4, 4);
    for (const Bytes& record : records) {
      const Bytes key = record.substr(1, 4);
      Bytes got;
      const int answer = Get(file, key, got);
      EXPECT_TRUE(IsAnswer(answer));
      // Another layout of keys finds other records by them.
      EXPECT_TRUE(answer != 0 || (sameKeys ? IsLike(got, record) : IsKnown(got))) << key;
      if (sound) {
        EXPECT_EQ(answer, 0) << key;
      }
    }
    EXPECT_TRUE(IsAnswer(udbGetPosition(file, position, text)));
    EXPECT_TRUE(IsAnswer(udbSetPosition(file, position, AsKey("k12 "))));
    if (mayChange) Change(file);
    EXPECT_EQ(udbClose(file), 0);
  }

  void Change(int file) {
    EXPECT_TRUE(IsAnswer(Insert(file, "#k135 new")));
    EXPECT_TRUE(IsAnswer(Insert(file, '#' + Record("k145", 6000))));
    for (const char* key : {"k10", "k13", "k15", "k17"}) {
      EXPECT_TRUE(IsAnswer(Update(file, Bytes(key) + ' ', '#' + Record(key, 1500))));
    }
    EXPECT_TRUE(IsAnswer(Insert(file, '#' + Record("k115", 1200))));
    for (const Bytes& record : records) EXPECT_TRUE(IsAnswer(Erase(file, record.substr(1, 4))));
    EXPECT_TRUE(IsAnswer(udbUpgrade(file)));
    Bytes record;
    EXPECT_TRUE(IsAnswer(udbRewind(file)));
    for (int n = 0; n < 100 && GetNext(file, record) == 0; ++n)
      EXPECT_TRUE(IsAnswer(Count(file) > 0));
    // The changes went where they may: whatever is there now is judged in bounded time as well.
    CheckStore(path);
  }

  // Saves what can be saved; how many records that is.
  std::size_t Salvage(const Bytes& bytes) {
    host.Put(path, bytes);
    host.Forget(saved);
    SalvageOptions options;
    options.key = KEYDESCR{4, ' ', 1};
    const SalvageReport report = SalvageStore(path, saved, options);
    EXPECT_TRUE(host.Bytes(path) == bytes) << "never writes to what it saves from";
    if (!report.done) return 0;
    const image::Findings found = Sound(saved);
    EXPECT_EQ(found.records.size(), report.Saved());
    for (const auto& [key, record] : found.records) {
      EXPECT_TRUE(IsKnown(record)) << "saved, and never stored";
    }
    return found.records.size();
  }

  Bytes whole;
  std::vector<Bytes> records;
  std::set<Bytes> known;
  unsigned internal = 0;
};

TEST_F(DamageTest, EveryByteChangedIsSurvivedByReadingAndUpdating) {
  for (std::size_t at = 0; at < whole.size(); ++at) {
    // Bytes of structure get all patterns, those within a record one in turn.
    const bool structure = at < 40 || at % 4096 < 40;
    for (unsigned pattern = 0; pattern < 4; ++pattern) {
      if (!structure && pattern != at % 4) continue;
      Bytes bytes = whole;
      const char changed[] = {static_cast<char>(~bytes[at]), static_cast<char>(bytes[at] ^ 1),
                              static_cast<char>(bytes[at] + 4),
                              static_cast<char>(bytes[at] ^ 0x80)};
      bytes[at] = changed[pattern];
      SCOPED_TRACE("page " + std::to_string(at / 4096) + " byte " + std::to_string(at % 4096) +
                   " pattern " + std::to_string(pattern));
      UseUp(bytes, structure || at % 2 == 0);
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST_F(DamageTest, EveryByteChangedCostsASalvageLittle) {
  for (std::size_t at = 0; at < whole.size(); ++at) {
    Bytes bytes = whole;
    bytes[at] = static_cast<char>(at % 2 == 0 ? ~bytes[at] : bytes[at] + 4);
    SCOPED_TRACE("page " + std::to_string(at / 4096) + " byte " + std::to_string(at % 4096));
    const std::size_t n = Salvage(bytes);
    const std::size_t page = at / 4096;
    if (page == internal) {
      EXPECT_EQ(n, records.size()) << "no record is in an internal page";
    } else if (at >= 4) {
      EXPECT_GE(n, records.size() - 4) << "no more than the page's records are lost";
    }
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(DamageTest, CutAtEveryLengthItIsReadChangedCheckedAndSalvaged) {
  for (std::size_t length = 0; length < whole.size(); ++length) {
    // The inside of a record is as good at one byte as at another, and its ends are all there.
    const bool edge = length % 4096 < 48 || length % 4096 > 4080;
    if (!edge && length % 7 != 0) continue;
    SCOPED_TRACE("cut to " + std::to_string(length));
    UseUp(whole.substr(0, length), true);
    if (edge || length % 3 == 0) Salvage(whole.substr(0, length));
    ASSERT_FALSE(HasFailure());
  }
}

// What one byte cannot do: links that lead in a circle, pages that are each other's children.
TEST_F(DamageTest, CirclesOfLinksEnd) {
  std::vector<unsigned> pages;
  for (unsigned n = 0; n * std::size_t{4096} < whole.size(); ++n) pages.push_back(n);
  for (const unsigned page : pages) {
    for (const unsigned target : pages) {
      for (const std::size_t field : {4U, 6U, 8U, 15U}) {  // next, prev, rightChild, first child
        Bytes bytes = whole;
        image::Put16(bytes, page * std::size_t{4096} + field, target);
        SCOPED_TRACE(std::to_string(page) + " to " + std::to_string(target) + " at " +
                     std::to_string(field));
        UseUp(bytes, true);
        Salvage(bytes);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

}  // namespace
