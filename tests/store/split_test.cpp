// How a page splits: the rule told once more, over lists of entries in place of bytes, and compared
// with what the engine writes, page by page.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/storecalls.h"

namespace {

using image::Bytes;

const char path[] = "/m/split.udb";

struct Halves {
  std::vector<Bytes> left;
  std::vector<Bytes> right;
};

int Size(const Bytes& entry) { return static_cast<int>(entry.size()); }

// Where the items of a page of `entries` go when `added` comes before the entry number `place`.
Halves Split(const std::vector<Bytes>& entries, std::size_t place, const Bytes& added) {
  int total = Size(added);
  for (const Bytes& entry : entries) total += Size(entry);
  const auto crosses = [&](int left, int d) {
    return std::abs(2 * left - total) > std::abs(2 * (left + d) - total);
  };
  Halves halves;
  std::size_t next = 0;  // the first old entry that has found its half
  int left = 0;
  bool placed = false;
  const auto put = [&](std::vector<Bytes>& half) {
    if (next == place && !placed) {
      half.push_back(added);
      placed = true;
    } else {
      half.push_back(entries.at(next++));
    }
  };
  for (;;) {
    const int size = Size(next == place && !placed ? added : entries.at(next));
    const bool fits = left + size <= 2042;
    if (fits || crosses(left, size)) put(halves.left);
    if (!fits) break;
    left += size;
  }
  while (next < entries.size() || !placed) put(halves.right);
  return halves;
}

std::string Number(unsigned n) {
  std::string digits = std::to_string(n);
  return std::string(6 - digits.size(), '0') + digits;
}

class SplitTest : public StoreTest {
 protected:
  void ExpectPage(unsigned page, const Bytes& expected, const std::string& where) {
    const Bytes& file = host.Bytes(path);
    ASSERT_GE(file.size(), (page + std::size_t{1}) * 4096);
    const Bytes made = file.substr(page * std::size_t{4096}, 4096);
    EXPECT_TRUE(made == expected) << where << ": page " << page << ", used "
                                  << image::Get16(made, 2) << ", expected "
                                  << image::Get16(expected, 2);
  }
};

TEST_F(SplitTest, LeafIsDividedAsEvenlyAsItsEntriesAllow) {
  std::mt19937 random(20);
  int splits = 0;
  for (int round = 0; round < 400; ++round) {
    // Entries of one taste a round: tiny, middling, huge, or mixed.
    const int taste = static_cast<int>(random() % 4);
    const auto length = [&]() -> std::size_t {
      const int kind = taste == 3 ? static_cast<int>(random() % 3) : taste;
      return kind == 0   ? 8 + random() % 60
             : kind == 1 ? 300 + random() % 900
                         : 1500 + random() % 530;
    };
    std::vector<std::string> records;
    std::vector<Bytes> entries;
    std::size_t used = 0;
    for (unsigned key = 2;; key += 2) {
      const std::string record = Record(Number(key), length());
      const Bytes entry = image::InlineEntry(record);
      if (used + entry.size() >= 4084) break;
      used += entry.size();
      records.push_back(record);
      entries.push_back(entry);
    }
    const std::size_t place = random() % (entries.size() + 1);
    const std::string record = Record(Number(static_cast<unsigned>(2 * place + 1)),
                                      taste == 0 ? length() : random() % 2030);
    const Bytes added = image::InlineEntry(record);
    Bytes before = image::HeaderPage({.key = Words,
                                      .firstLeaf = 1,
                                      .root = 1,
                                      .freePages = 32567,
                                      .recordCount = static_cast<std::uint32_t>(records.size()),
                                      .inUse = {1}}) +
                   image::TreePage(image::LeafPage, {}, entries);
    const int file = OpenBytes(path, before);
    ASSERT_EQ(Insert(file, record), 0) << ErrorText(file);
    const std::string where = "round " + std::to_string(round);
    if (used + added.size() < 4084) {
      entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(place), added);
      ExpectPage(1, image::TreePage(image::LeafPage, {}, entries), where);
    } else {
      ++splits;
      const Halves halves = Split(entries, place, added);
      ExpectPage(1, image::TreePage(image::LeafPage, {.prev = 2}, halves.right), where);
      ExpectPage(2, image::TreePage(image::LeafPage, {.next = 1}, halves.left), where);
      const Bytes last = halves.left.back().substr(7, 7);
      ExpectPage(
          3, image::TreePage(image::InternalPage, {.rightChild = 1}, {image::KeyEntry(2, last)}),
          where);
    }
    Sound(path);
    ASSERT_EQ(udbClose(file), 0);
    ASSERT_FALSE(HasFailure()) << where << ", taste " << taste;
  }
  EXPECT_GT(splits, 200);
}

TEST_F(SplitTest, PageIsFilledUpTo4083BytesAndSplitsAt4084) {
  for (const std::size_t last : {4080U, 4084U}) {
    const int file = OpenBytes(path, image::HeaderPage({.key = Words}));
    std::size_t used = 0;
    for (unsigned key = 1; used + 200 <= 3600; ++key, used += 200) {
      ASSERT_EQ(Insert(file, Record(Number(key), 193)), 0);
    }
    ASSERT_EQ(Insert(file, Record(Number(90), last - used - 7)), 0);
    EXPECT_EQ(host.Bytes(path).size(), last == 4080 ? 2 * 4096U : 4 * 4096U);
    Sound(path);
    udbClose(file);
  }
}

// A leaf splits below a root that is full: the last entry of the root's left half goes up and
// leaves its page, and its child becomes that half's right child.
TEST_F(SplitTest, FullRootSendsTheLastEntryOfItsLeftHalfUp) {
  const auto longKey = [](unsigned n) { return Number(n) + std::string(120, 'k') + ' '; };
  for (unsigned target = 0; target <= 30; ++target) {
    // Root at page 1, its 31 leaves behind it, with two records each.
    std::vector<Bytes> separators;
    std::vector<Bytes> leaves;
    for (unsigned leaf = 0; leaf <= 30; ++leaf) {
      const auto at = [&](unsigned n) { return Record(longKey(leaf * 10 + n), 2020); };
      leaves.push_back(image::TreePage(
          image::LeafPage, {.next = leaf < 30 ? leaf + 3 : 0, .prev = leaf != 0 ? leaf + 1 : 0},
          {image::InlineEntry(at(3)), image::InlineEntry(at(6))}));
      if (leaf < 30) separators.push_back(image::KeyEntry(leaf + 2, longKey(leaf * 10 + 6)));
    }
    std::vector<unsigned> inUse;
    for (unsigned n = 1; n <= 32; ++n) inUse.push_back(n);
    Bytes before = image::HeaderPage({.key = Words,
                                      .firstLeaf = 2,
                                      .root = 1,
                                      .freePages = 32568 - 32,
                                      .depth = 1,
                                      .recordCount = 62,
                                      .inUse = inUse}) +
                   image::TreePage(image::InternalPage, {.rightChild = 32}, separators);
    for (const Bytes& leaf : leaves) before += leaf;
    ASSERT_EQ(image::Damage(image::Examine(before)), "");

    const int file = OpenBytes(path, before);
    ASSERT_EQ(Insert(file, Record(longKey(target * 10 + 1), 2020)), 0) << ErrorText(file);
    const std::string where = "leaf " + std::to_string(target);
    // Three equal entries: none at the border makes the halves more even, so one stands left.
    const Bytes added = image::KeyEntry(33, longKey(target * 10 + 1));
    Halves halves = Split(separators, target, added);
    const Bytes up = halves.left.back();
    halves.left.pop_back();
    ExpectPage(34,
               image::TreePage(image::InternalPage, {.next = 1, .rightChild = image::Get16(up, 3)},
                               halves.left),
               where);
    ExpectPage(1,
               image::TreePage(image::InternalPage, {.prev = 34, .rightChild = 32}, halves.right),
               where);
    ExpectPage(35,
               image::TreePage(image::InternalPage, {.rightChild = 1},
                               {image::KeyEntry(34, up.substr(7, 127))}),
               where);
    Sound(path);
    ASSERT_EQ(udbClose(file), 0);
    ASSERT_FALSE(HasFailure()) << where;
  }
}

}  // namespace
