// How a page splits: the rule told once more, over lists of entries in place of bytes, and compared
// with what the engine writes, page by page.
#include <cstdlib>
#include <random>

#include "support/storecalls.h"

namespace {

using Entries = std::vector<Bytes>;

int Size(const Bytes& entry) { return static_cast<int>(entry.size()); }

// The two halves of these entries, the new one among them.
std::pair<Entries, Entries> Halves(const Entries& entries) {
  int total = 0;
  for (const Bytes& entry : entries) total += Size(entry);
  int left = 0;
  std::size_t border = 0;
  while (left + Size(entries.at(border)) <= 2042) left += Size(entries[border++]);
  const int with = left + Size(entries[border]);
  if (std::abs(2 * left - total) > std::abs(2 * with - total)) ++border;
  const auto at = entries.begin() + static_cast<std::ptrdiff_t>(border);
  return {Entries(entries.begin(), at), Entries(at, entries.end())};
}

Bytes Number(unsigned n) { return std::to_string(1000000 + n).substr(1); }

class SplitTest : public StoreTest {
 protected:
  void ExpectPage(unsigned page, const Bytes& expected) {
    const Bytes made = Image().substr(page * std::size_t{4096}, 4096);
    ASSERT_TRUE(made == expected) << "page " << page << ", used " << Get16(made, 2) << ", expected "
                                  << Get16(expected, 2);
  }
};

TEST_F(SplitTest, LeafIsDividedAsEvenlyAsItsEntriesAllow) {
  std::mt19937 random(20);
  int splits = 0;
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    // Entries of one taste a round: tiny, middling, huge, or mixed.
    const unsigned taste = random() % 4;
    const auto length = [&]() -> std::size_t {
      const unsigned kind = taste == 3 ? random() % 3 : taste;
      return kind == 0   ? 8 + random() % 60
             : kind == 1 ? 300 + random() % 900
                         : 1500 + random() % 530;
    };
    Entries entries;
    std::size_t used = 0;
    for (unsigned key = 2;; key += 2) {
      const Bytes entry = InlineEntry(Record(Number(key), length()));
      if (used + entry.size() >= 4084) break;
      used += entry.size();
      entries.push_back(entry);
    }
    const std::size_t place = random() % (entries.size() + 1);
    // In some rounds so long that the page is just full, or just not.
    const std::size_t room = 4080 - used - 7 + 4 * (random() % 2);
    const Bytes record = Record(Number(static_cast<unsigned>(2 * place + 1)),
                                round % 4 == 0 && room < 2030 ? room : random() % 2030);
    OpenBytes(HeaderPage({.firstLeaf = 1,
                          .root = 1,
                          .pages = 1,
                          .recordCount = static_cast<std::uint32_t>(entries.size())}) +
              TreePage(LeafPage, {}, entries));
    ASSERT_EQ(Inserting(record), "0");
    const Bytes added = InlineEntry(record);
    entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(place), added);
    if (used + added.size() < 4084) {
      ExpectPage(1, TreePage(LeafPage, {}, entries));
    } else {
      ++splits;
      const auto [left, right] = Halves(entries);
      ExpectPage(1, TreePage(LeafPage, {.prev = 2}, right));
      ExpectPage(2, TreePage(LeafPage, {.next = 1}, left));
      ExpectPage(
          3, TreePage(InternalPage, {.rightChild = 1}, {KeyEntry(2, left.back().substr(7, 7))}));
    }
    Sound();
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(splits, 200);
}

}  // namespace
