// Views over arbitrary bytes hand out nothing that lies outside the page, the entry or the payload.
#include "store/page.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using store::Bytes;
using store::Page;
using store::TreePage;

// In a block of its own, so that the sanitizer sees a read behind it.
std::unique_ptr<Page> RandomPage(std::mt19937& random, int kind) {
  auto page = std::make_unique<Page>();
  for (auto& b : *page) b = static_cast<std::uint8_t>(random());
  if (kind == 0) return page;
  (*page)[0] = kind == 1 ? store::LeafType : store::InternalType;
  store::Store16(page->data() + 2, static_cast<std::uint16_t>(random() % 4100));
  // Small forms and lengths, so that many entries are sound.
  for (std::size_t at = 12; at + 7 < store::PageSize; at += 4 * (1 + random() % 8)) {
    (*page)[at] = static_cast<std::uint8_t>(random() % 3);
    store::Store16(page->data() + at + 1, static_cast<std::uint16_t>(random() % 64));
  }
  return page;
}

void ExpectInside(const Page& page, Bytes bytes, std::size_t limit) {
  if (bytes.empty()) return;
  ASSERT_GE(bytes.data(), page.data() + store::EntriesAt);
  ASSERT_LE(bytes.data() + bytes.size(), page.data() + limit);
}

TEST(PageTest, EntriesOfArbitraryBytesLieWithinTheUsedPartOfThePage) {
  std::mt19937 random(1);
  const KEYDESCR layouts[] = {{0, 4, 0}, {1, 127, 2}, {2, 0, 0}, {3, 1, 2041}, {4, ' ', -1}};
  int seen = 0;
  for (int round = 0; round < 600; ++round) {
    const auto page = RandomPage(random, round % 3);
    const auto view = TreePage::Of(*page);
    if (!view) continue;
    ASSERT_LT(view->Used(), store::EntriesEnd);
    for (std::size_t offset = 0; offset < 4200; ++offset) {
      const auto entry = view->At(offset);
      if (!entry) continue;
      ++seen;
      const std::size_t limit = store::EntriesAt + view->Used();
      ExpectInside(*page, entry->Whole(), limit);
      ExpectInside(*page, entry->Payload(), limit);
      ASSERT_LE(entry->Size(), store::MaxEntry);
      ASSERT_GE(entry->Size(), 8u);
      ASSERT_TRUE(view->IsLeaf() || entry->Form() == store::EntryForm::Key);
      for (const KEYDESCR& kd : layouts) {
        if (const auto key = entry->Key(kd)) {
          ExpectInside(*page, *key, limit);
          ASSERT_LE(key->size(), store::MaxKey);
          (void)store::CompareKeys(kd, *key, *key);
        }
      }
    }
  }
  EXPECT_GT(seen, 1000);
}

TEST(PageTest, FarOffsetsAreRefusedWithoutWrappingRound) {
  Page page{};
  for (std::size_t at = 0; at < 12; at += 2) store::Store16(page.data() + at, 8);
  page[0] = store::LeafType;
  page[1] = 0;
  store::Store16(page.data() + 2, 40);
  page[12] = 1;
  store::Store16(page.data() + 13, 40);
  const auto view = TreePage::Of(page);
  ASSERT_TRUE(view);
  EXPECT_TRUE(view->At(0));
  EXPECT_FALSE(view->At(40));
  for (std::size_t back = 0; back < 16; ++back) EXPECT_FALSE(view->At(SIZE_MAX - back)) << back;
}

TEST(PageTest, KeyIsFoundOnlyWholeInsideTheRecord) {
  const auto found = [](KEYDESCR kd, const std::string& record) -> std::string {
    const auto key = store::KeyIn(
        kd, Bytes(reinterpret_cast<const std::uint8_t*>(record.data()), record.size()));
    return key ? std::string(key->begin(), key->end()) : "none";
  };
  EXPECT_EQ(found({4, ' ', 2}, "xxkey rest"), "key ");
  EXPECT_EQ(found({4, ' ', 2}, "xxkey"), "none");
  EXPECT_EQ(found({4, ' ', 0}, " "), " ");
  EXPECT_EQ(found({4, ' ', 0}, std::string(126, 'k') + " "), std::string(126, 'k') + " ");
  EXPECT_EQ(found({4, ' ', 0}, std::string(127, 'k') + " "), "none") << "over 127 with the stop";
  EXPECT_EQ(found({4, ' ', 5}, "abc"), "none") << "begins behind the end";
  EXPECT_EQ(found({4, ' ', -1}, "a b"), "none") << "begins before the record";
  EXPECT_EQ(found({1, 3, 2}, "abcde"), "cde");
  EXPECT_EQ(found({1, 3, 3}, "abcde"), "none");
  EXPECT_EQ(found({1, 0, 5}, "abcde"), "");
}

TEST(PageTest, TextOrderLeavesTheStopSymbolOut) {
  const auto order = [](KEYDESCR kd, const std::string& a, const std::string& b) {
    const auto bytes = [](const std::string& s) {
      return Bytes(reinterpret_cast<const std::uint8_t*>(s.data()), s.size());
    };
    const int c = store::CompareKeys(kd, bytes(a), bytes(b));
    EXPECT_EQ(store::CompareKeys(kd, bytes(b), bytes(a)) > 0, c < 0);
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  };
  // A tab sorts below the blank that ends the shorter key, and still comes after it.
  EXPECT_EQ(order({4, ' ', 0}, "ab ", "ab\t "), -1);
  EXPECT_EQ(order({2, 0xff, 0}, "ab\xff", "abc\xff"), -1);
  EXPECT_EQ(order({2, 0, 0}, std::string("\x80\0", 2), std::string("\x7f\0", 2)), 1) << "unsigned";
  EXPECT_EQ(order({4, ' ', 0}, " ", "a "), -1);
  EXPECT_EQ(order({0, 4, 0}, "\xff\xff\xff\xff", std::string(4, '\0')), -1) << "signed";
  EXPECT_EQ(order({0, 4, 0}, std::string("\0\1\0\0", 4), std::string("\xff\0\0\0", 4)), 1);
  EXPECT_EQ(order({3, 4, 0}, std::string("\0\1\0\0", 4), std::string("\xff\0\0\0", 4)), -1);
  EXPECT_EQ(order({77, 4, 0}, "aaaa", "bbbb"), 0) << "an unknown kind tells no keys apart";
}

}  // namespace
