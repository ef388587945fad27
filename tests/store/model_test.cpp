// Long random scripts on the store and on an ordered map beside it, over all kinds of keys and
// sizes of records. After each batch both hold the same, and the file is in order byte by byte.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "kvorlib/storetools.h"
#include "support/storecalls.h"

namespace {

using image::Bytes;

const char path[] = "/m/model.udb";

enum class Sizes { Tiny, AroundInlineLimit, AroundPages, Mixed, Huge };

struct Script {
  const char* name;
  KEYDESCR kd;
  Sizes sizes;
  int keys;  // how many different ones, roughly
  int batches;
  int steps;
};

void PrintTo(const Script& script, std::ostream* out) { *out << script.name; }

class ModelTest : public StoreTest, public ::testing::WithParamInterface<Script> {
 protected:
  using Model = std::map<Bytes, Bytes, std::function<bool(const Bytes&, const Bytes&)>>;

  ModelTest()
      : kd(GetParam().kd),
        model([this](const Bytes& a, const Bytes& b) { return image::Compare(kd, a, b) < 0; }) {}

  unsigned Below(unsigned n) { return static_cast<unsigned>(random() % n); }

  Bytes TextKey(unsigned n) {
    // Few first letters, so that keys are prefixes of one another and reach every length.
    static const Bytes letters("ab\t\x01 \x7f\x80\xff\n|", 10);
    std::mt19937 own(n + 7919);
    const std::size_t length = n % 5 == 0 ? own() % 126 : own() % 9;
    Bytes key;
    while (key.size() < length) {
      const char c = letters[own() % letters.size()];
      if (static_cast<unsigned char>(c) != kd.len) key += c;
    }
    key += std::to_string(n).substr(0, 126 - key.size());
    const char stop = static_cast<char>(kd.len);
    for (char& c : key) c = c == stop ? '!' : c;
    return key + stop;
  }

  Bytes Key(unsigned n) {
    if (kd.IsText()) return TextKey(n);
    Bytes key(kd.len, '\0');
    std::mt19937 own(n);
    if (kd.type == 0) {
      const std::uint32_t edges[] = {0, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 1};
      image::Put32(key, 0, n < 5 ? edges[n] : n % 2 != 0 ? n : static_cast<std::uint32_t>(own()));
    } else {
      static const unsigned char bytes[] = {0, 1, 0x7F, 0x80, 0xFF, ' '};
      for (char& c : key) c = static_cast<char>(bytes[own() % sizeof(bytes)]);
      if (key.size() > 4) image::Put16(key, key.size() - 2, n);
    }
    return key;
  }

  std::size_t Length() {
    static const std::size_t pages[] = {4088, 8184, 12280, 4096, 8192, 2030, 4090};
    switch (GetParam().sizes) {
      case Sizes::Tiny:
        return Below(40);
      case Sizes::AroundInlineLimit:
        return Below(5) == 0 ? 1010 + Below(20) : 2025 + Below(10);
      case Sizes::AroundPages:
        return pages[Below(7)] - 3 + Below(7);
      case Sizes::Mixed:
        return Below(20) == 0 ? Below(30000) : Below(4) == 0 ? 900 + Below(1300) : Below(200);
      case Sizes::Huge:
        return Below(3) == 0 ? 100000 + Below(100000) : Below(9000);
    }
    return 0;
  }

  Bytes Compose(const Bytes& key, std::size_t length) {
    Bytes record(static_cast<std::size_t>(kd.offset), '\0');
    record += key;
    for (std::size_t i = 0; i < static_cast<std::size_t>(kd.offset); ++i) {
      record[i] = static_cast<char>(random());
    }
    while (record.size() < length) record += static_cast<char>(random());
    return record;
  }

  void Step() {
    const Bytes key = Key(Below(static_cast<unsigned>(GetParam().keys)));
    const auto at = model.find(key);
    const bool there = at != model.end();
    const unsigned dice = Below(100);
    if (dice < growth) {
      const Bytes record = Compose(key, Length());
      ASSERT_EQ(Insert(file, record), there ? 1 : 0) << ErrorText(file);
      if (!there) model[key] = record;
      cursor.reset();
    } else if (dice < growth + 12) {
      const Bytes record = Compose(key, Length());
      ASSERT_EQ(Update(file, key, record), there ? 0 : 1) << ErrorText(file);
      if (there) at->second = record;
      cursor.reset();
    } else if (dice < 70) {
      ASSERT_EQ(Erase(file, key), there ? 0 : 1) << ErrorText(file);
      if (there) model.erase(at);
      cursor.reset();
    } else if (dice < 72) {
      EraseAtCursor();
    } else if (dice < 90) {
      LookUp(key);
    } else if (dice < 96) {
      WalkOn();
    } else {
      Remember();
    }
  }

  // By a random mode, with a look at the record or without.
  void LookUp(const Bytes& key) {
    int mode = static_cast<int>(Below(3));
    ASSERT_EQ(udbSetMatchMode(file, mode), 0);
    auto expected = mode == UDB_EXACT   ? model.find(key)
                    : mode == UDB_AFTER ? model.upper_bound(key)
                                        : model.lower_bound(key);
    const bool found = expected != model.end();
    if (Below(2) == 0) {
      ASSERT_EQ(Find(file, key), found ? 0 : 1) << "mode " << mode << ' ' << ErrorText(file);
    } else {
      Bytes record;
      ASSERT_EQ(Get(file, key, record), found ? 0 : 1) << "mode " << mode << ' ' << ErrorText(file);
      ASSERT_TRUE(record == (found ? expected->second : Bytes())) << "mode " << mode;
    }
    cursor.reset();
    if (found) cursor = expected->first;
    // Insertion, update and erasure do not mind the mode.
    if (Below(2) == 0) mode = UDB_EXACT;
    ASSERT_EQ(udbSetMatchMode(file, mode), 0);
  }

  void EraseAtCursor() {
    if (!cursor) {
      ASSERT_EQ(udbRewind(file), 0);
      ASSERT_EQ(udbEraseCurrent(file), 1);
    } else {
      ASSERT_EQ(udbEraseCurrent(file), 0) << ErrorText(file);
      ASSERT_EQ(model.erase(*cursor), 1U);
    }
    cursor.reset();
  }

  void WalkOn() {
    auto next = cursor ? model.upper_bound(*cursor) : model.begin();
    if (!cursor) {
      ASSERT_EQ(udbRewind(file), 0);
    }
    for (unsigned steps = Below(20); steps > 0; --steps) {
      Bytes record;
      ASSERT_EQ(GetNext(file, record), next == model.end() ? 1 : 0) << ErrorText(file);
      if (next == model.end()) return;
      ASSERT_TRUE(record == next->second);
      cursor = next->first;
      ++next;
    }
  }

  // Keeps a position, or goes back to the kept one, whatever became of its page since.
  void Remember() {
    if (kept) {
      ASSERT_EQ(udbSetMatchMode(file, UDB_EXACT), 0);
      const auto at = model.find(keptKey);
      ASSERT_EQ(udbSetPosition(file, *kept, AsKey(keptKey)), at != model.end() ? 0 : 1)
          << ErrorText(file);
      cursor.reset();
      if (at != model.end()) cursor = keptKey;
      kept.reset();
      WalkOn();
    } else if (cursor) {
      UdbPosition position;
      ASSERT_EQ(udbGetPosition(file, position, keptKey), 0) << ErrorText(file);
      ASSERT_EQ(keptKey, *cursor);
      kept = position;
    }
  }

  void Compare() {
    const std::vector<std::string> walked = Walk(file);
    cursor.reset();
    ASSERT_EQ(walked.size(), model.size());
    auto next = model.begin();
    for (const std::string& record : walked) ASSERT_TRUE(record == next++->second);
    ASSERT_EQ(Count(file), model.size());
    const image::Findings found = Sound(path);
    ASSERT_FALSE(HasFailure());
    ASSERT_EQ(found.records.size(), model.size());
    const StoreReport report = CheckStore(path);
    ASSERT_EQ(report.state, StoreState::Sound)
        << report.failure << (report.findings.empty() ? "" : report.findings[0].words);
    ASSERT_EQ(report.leaks, 0U);
    ASSERT_EQ(report.records, model.size());
  }

  KEYDESCR kd;
  Model model;
  std::mt19937 random;
  int file = -1;
  unsigned growth = 40;
  std::optional<Bytes> cursor;  // the key of the record at the file's cursor, where it is known
  std::optional<UdbPosition> kept;
  Bytes keptKey;
};

TEST_P(ModelTest, StoreAndOrderedMapStayEqual) {
  for (const unsigned seed : {1U, 2U}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random.seed(seed);
    model.clear();
    kept.reset();
    cursor.reset();
    host.Forget(path);
    file = Create(path, kd);
    for (int batch = 0; batch < GetParam().batches; ++batch) {
      SCOPED_TRACE("batch " + std::to_string(batch));
      // Grow, stay, shrink in turn; the last batch but one nearly empties the file.
      growth = batch % 3 == 0 ? 50 : batch % 3 == 1 ? 30 : 10;
      for (int step = 0; step < GetParam().steps; ++step) {
        Step();
        ASSERT_FALSE(HasFatalFailure()) << "step " << step;
      }
      Compare();
      ASSERT_FALSE(HasFailure());
      if (batch % 2 == 1) {
        ASSERT_EQ(udbClose(file), 0);
        file = Open(path);
      }
    }
    while (!model.empty()) {
      ASSERT_EQ(Erase(file, model.begin()->first), 0) << ErrorText(file);
      model.erase(model.begin());
    }
    Compare();
    ASSERT_EQ(image::Get16(host.Bytes(path), 12), 32568U) << "all pages are free again";
    ASSERT_EQ(udbClose(file), 0);
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Store, ModelTest,
    ::testing::Values(
        Script{"IntegersTiny", {0, 4, 0}, Sizes::Tiny, 3000, 6, 2500},
        Script{"IntegersBehindTwoBytesMixed", {0, 4, 2}, Sizes::Mixed, 800, 6, 800},
        Script{"FixedKind1LongKeys", {1, 127, 0}, Sizes::Tiny, 2000, 6, 2000},
        Script{"FixedKind3AroundInlineLimit", {3, 9, 5}, Sizes::AroundInlineLimit, 600, 6, 800},
        Script{"FixedKind1AroundPages", {1, 6, 0}, Sizes::AroundPages, 300, 6, 500},
        Script{"ZeroTerminatedTiny", {2, 0, 0}, Sizes::Tiny, 3000, 6, 2500},
        Script{"ZeroTerminatedBehindTwoBytesMixed", {2, 0, 2}, Sizes::Mixed, 1000, 6, 1000},
        Script{"WordsAroundInlineLimit", {4, ' ', 0}, Sizes::AroundInlineLimit, 600, 6, 800},
        Script{"WordsBehind39BytesMixed", {4, ' ', 39}, Sizes::Mixed, 1000, 6, 1000},
        Script{"LinesAroundPages", {4, 10, 0}, Sizes::AroundPages, 300, 6, 500},
        Script{"LinesHuge", {4, 10, 6}, Sizes::Huge, 60, 6, 120},
        Script{"HighStopSymbolTiny", {2, 0xFF, 1}, Sizes::Tiny, 2000, 6, 2000},
        Script{"KeysThatLieInRunsOnly", {4, '|', 2041}, Sizes::Tiny, 200, 6, 400}),
    [](const auto& test) { return std::string(test.param.name); });

// Keys that come in order fill the tree from one end; long ones make it as deep as it gets.
TEST_F(StoreTest, SortedLoadInEitherDirectionIsSound) {
  for (const bool up : {true, false}) {
    host.Forget(path);
    const int file = Create(path, {1, 127, 0});
    const auto key = [](unsigned n) {
      Bytes k(127, 'k');
      for (int i = 0; i < 4; ++i)
        k[static_cast<std::size_t>(i)] = static_cast<char>(n >> (24 - 8 * i));
      return k;
    };
    constexpr unsigned all = 12000;
    for (unsigned n = 0; n < all; ++n) {
      ASSERT_EQ(Insert(file, key(up ? n : all - 1 - n)), 0) << ErrorText(file);
    }
    EXPECT_GE(Sound(path).levels, 2U);
    // The front half goes, then the back half from its end.
    for (unsigned n = 0; n < all / 2; ++n) ASSERT_EQ(Erase(file, key(n)), 0) << ErrorText(file);
    EXPECT_EQ(Sound(path).records.size(), all / 2);
    for (unsigned n = all; n-- > all / 2;) ASSERT_EQ(Erase(file, key(n)), 0) << ErrorText(file);
    EXPECT_EQ(Sound(path).records.size(), 0U);
    EXPECT_EQ(udbClose(file), 0);
  }
}

}  // namespace
