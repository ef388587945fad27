// Every byte of a small store is changed, and the store is cut at every length. Whatever the bytes
// are, nothing crashes, hangs or reads outside its buffers, no wrong record is handed out for a
// right one, and the checker calls no file sound that does not give all its records.
#include <algorithm>

#include "support/storecalls.h"

namespace {

class DamageTest : public StoreTest {
 protected:
  // A root, three leaves and an external record.
  DamageTest() {
    Create(kd);
    for (unsigned n = 10; n < 18; ++n) {
      records.push_back('#' + Record("k" + std::to_string(n), n == 13 ? 2100 : 900 + n * 20));
    }
    Fill(records);
    CloseAll();
    whole = Image();
    const image::Findings found = Sound();
    EXPECT_EQ(found.leaves, 3U);
    EXPECT_EQ(found.levels, 1U);
  }

  // The checksum adds bytes up: it cannot tell a record from the same one with zeros behind it, and
  // behind a record stand zeros.
  static bool IsLike(const Bytes& got, const Bytes& record) {
    return got.starts_with(record) && got.find_first_not_of('\0', record.size()) == Bytes::npos;
  }
  bool IsKnown(const Bytes& got) const {
    return std::any_of(records.begin(), records.end(),
                       [&](const Bytes& record) { return IsLike(got, record); });
  }
  void Answers(int answer) {
    EXPECT_TRUE(answer >= -1 && answer <= 1) << answer;
    if (file >= 0) told += Said(answer) + '\n';
  }

  // The same, however pages are read.
  bool UseUp(const Bytes& bytes) {
    const bool sound = UseUpInForm(bytes);
    const Bytes before = told + Image();
    host.givesViews = true;
    EXPECT_EQ(UseUpInForm(bytes), sound);
    EXPECT_TRUE(told + Image() == before) << told;
    host.givesViews = false;
    return sound;
  }

  // Reads, walks and changes the file of these bytes. Whether the checker calls it sound.
  bool UseUpInForm(const Bytes& bytes) {
    told.clear();
    host.Put(path, bytes);
    file = udbOpen(path.c_str(), 2, failure);
    const bool sound = CheckStore(path).state == StoreState::Sound;
    if (file < 0) {
      EXPECT_FALSE(sound) << failure;
      EXPECT_TRUE(failure == "FILE CORRUPTED" || failure == "SYSTEM ERROR") << failure;
      return false;
    }
    std::size_t walked = 0;
    Bytes got;
    Answers(udbRewind(file));
    while (GetNext(file, got) == 0 && ++walked <= records.size()) {
      EXPECT_TRUE(IsKnown(got)) << "a record that was never stored";
    }
    EXPECT_TRUE(sound ? walked == records.size() : walked <= records.size()) << walked << sound;
    const bool sameKeys = bytes.substr(4, 4) == whole.substr(4, 4);
    for (std::size_t n = 0; n < 2 * records.size(); ++n) {
      const Bytes& record = records[n % records.size()];
      const int answer = Get(file, record.substr(1, 4), got);
      Answers(answer);
      if (answer == 0) told += got;
      // Another layout of keys finds other records by them.
      EXPECT_TRUE(answer != 0 || (sameKeys ? IsLike(got, record) : IsKnown(got)));
      EXPECT_TRUE(!sound || answer == 0) << "called sound";
    }
    UdbPosition position;
    Answers(udbGetPosition(file, position, got));
    Answers(udbSetPosition(file, position, AsKey("k12 ")));
    Change();
    EXPECT_EQ(udbClose(file), 0);
    return sound;
  }

  void Change() {
    for (const auto& [key, size] : {std::pair("k135", 10U), {"k145", 6000U}, {"k115", 1200U}}) {
      Answers(Insert(file, '#' + Record(key, size)));
    }
    for (const char* key : {"k10", "k13", "k15", "k17"}) {
      Answers(Update(file, Bytes(key) + ' ', '#' + Record(key, 1500)));
    }
    for (const Bytes& record : records) Answers(Erase(file, record.substr(1, 4)));
    Answers(udbUpgrade(file));
    Answers(udbRewind(file));
    Bytes record;
    for (int n = 0; n < 100 && GetNext(file, record) == 0; ++n) continue;
    // The changes went where they may: whatever is there now is judged in bounded time as well.
    CheckStore(path);
  }

  // Saves what can be saved; how many records that is.
  std::size_t Salvage(const Bytes& bytes) {
    const std::string saved = "/m/saved";
    host.Put(path, bytes);
    host.Forget(saved);
    SalvageOptions options;
    options.key = kd;
    const SalvageReport report = SalvageStore(path, saved, options);
    EXPECT_TRUE(Image() == bytes) << "never writes to what it saves from";
    if (!report.done) return 0;
    const image::Findings found = image::Examine(host.Bytes(saved));
    EXPECT_EQ(found.damage, "");
    EXPECT_EQ(found.records.size(), report.Saved());
    for (const Bytes& record : found.records) {
      EXPECT_TRUE(IsKnown(record)) << "saved, and never stored";
    }
    return found.records.size();
  }

  const KEYDESCR kd{4, ' ', 1};
  Bytes told;  // what was answered
  Bytes whole;
  std::vector<Bytes> records;
};

TEST_F(DamageTest, EveryByteChangedIsSurvivedAndCostsASalvageOneRecordAtMost) {
  const std::size_t root = Get16(whole, 10);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    SCOPED_TRACE("page " + std::to_string(at / 4096) + " byte " + std::to_string(at % 4096));
    const char old = whole[at];
    const char changed[] = {static_cast<char>(~old), static_cast<char>(old ^ 1),
                            static_cast<char>(old + 4), static_cast<char>(old ^ 0x80)};
    // Bytes of structure get all patterns, those within a record one in turn.
    const bool structure = at % 4096 < 40;
    Bytes bytes = whole;
    for (std::size_t pattern = 0; pattern < 4; ++pattern) {
      if (!structure && pattern != at % 4) continue;
      bytes[at] = changed[pattern];
      UseUp(bytes);
    }
    bytes[at] = changed[at % 2 * 2];
    const std::size_t saved = Salvage(bytes);
    if (at >= 4) {
      EXPECT_GE(saved + (at / 4096 == root ? 0 : 1), records.size());
    }
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(DamageTest, CutAtEveryLengthItIsReadChangedCheckedAndSalvaged) {
  for (std::size_t length = 0; length < whole.size(); ++length) {
    SCOPED_TRACE("cut to " + std::to_string(length));
    EXPECT_FALSE(UseUp(whole.substr(0, length)));
    Salvage(whole.substr(0, length));
    ASSERT_FALSE(HasFailure());
  }
}

// What one byte cannot do: links that lead in a circle, pages that are each other's children.
TEST_F(DamageTest, CirclesOfLinksEnd) {
  for (std::size_t page = 0; page < whole.size(); page += 4096) {
    for (unsigned target = 0; target < whole.size() / PageBytes; ++target) {
      for (const std::size_t field : {4U, 6U, 8U, 15U}) {  // next, prev, rightChild, first child
        Bytes bytes = whole;
        Put16(bytes, page + field, target);
        SCOPED_TRACE(std::to_string(page + field) + " leads to " + std::to_string(target));
        UseUp(bytes);
        Salvage(bytes);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

}  // namespace
