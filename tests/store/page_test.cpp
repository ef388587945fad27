// Views over arbitrary bytes hand out nothing that lies outside the page, the entry or the payload.
#include "store/page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "platform/bytesums.h"

namespace {

store::Page RandomPage(std::mt19937& random, int kind) {
  store::Page page;
  for (auto& b : page) b = static_cast<std::uint8_t>(random());
  if (kind == 0) return page;
  page[0] = kind == 1 ? store::LeafType : store::InternalType;
  store::Store16(page.data() + 2, static_cast<std::uint16_t>(random() % 4100));
  // Small forms and lengths, so that many entries are sound.
  for (std::size_t at = 12; at + 7 < store::PageSize; at += 4 * (1 + random() % 8)) {
    page[at] = static_cast<std::uint8_t>(random() % 3);
    store::Store16(page.data() + at + 1, static_cast<std::uint16_t>(random() % 64));
  }
  return page;
}

TEST(PageTest, EntriesOfArbitraryBytesLieWithinTheUsedPartOfThePage) {
  std::mt19937 random(1);
  const KEYDESCR layouts[] = {{0, 4, 0}, {1, 127, 2}, {2, 0, 0}, {3, 1, 2041}, {4, ' ', -1}};
  int seen = 0;
  for (int round = 0; round < 600; ++round) {
    const store::Page page = RandomPage(random, round % 3);
    const auto view = store::TreePage::Of(page);
    if (!view) continue;
    ASSERT_LT(view->Used(), store::EntriesEnd);
    const auto inside = [&](store::Bytes b) {
      const std::uint8_t* const first = page.data() + store::EntriesAt;
      return b.empty() || (b.data() >= first && b.data() + b.size() <= first + view->Used());
    };
    for (std::size_t back = 0; back < 16; ++back) EXPECT_FALSE(view->At(SIZE_MAX - back));
    for (std::size_t offset = 0; offset < 4200; ++offset) {
      const auto entry = view->At(offset);
      if (!entry) continue;
      ++seen;
      ASSERT_TRUE(inside(entry->Whole()) && inside(entry->Payload()));
      ASSERT_TRUE(entry->Size() >= 8 && entry->Size() <= store::MaxEntry);
      ASSERT_TRUE(view->IsLeaf() || entry->Form() == store::EntryForm::Key);
      for (const KEYDESCR& kd : layouts) {
        const auto key = entry->Key(kd);
        ASSERT_TRUE(!key || (inside(*key) && key->size() <= store::MaxKey));
      }
    }
  }
  EXPECT_GT(seen, 1000);
}

TEST(PageTest, RecordIsCopiedAndSummedUpTheSameByEveryRoad) {
  std::mt19937 random(3);
  std::vector<std::uint8_t> from(1300);
  for (auto& b : from) b = static_cast<std::uint8_t>(random());
  for (std::size_t n = 1; n < 1000; ++n) {
    const store::Bytes record(from.data() + random() % 16, n);
    const std::uint32_t sum = std::accumulate(record.begin(), record.end(), 0U);
    EXPECT_EQ(store::Checksum(record), sum);
    const struct {
      decltype(&platform::CopyAndSum) copy;
      std::size_t least, most;  // bytes that it writes and is given
    } roads[] = {{platform::CopyAndSum, 0, 1000},
                 {platform::CopyAndSumInReach, platform::SumReach, 1000},
                 {platform::CopyAndSumStride, 0, platform::SumStride}};
    for (const auto& [copy, least, most] : roads) {
      if (n > most) continue;
      std::vector<std::uint8_t> to(1300, 0xAA);
      EXPECT_EQ(copy(to.data(), record.data(), n), sum) << n;
      EXPECT_TRUE(std::equal(record.begin(), record.end(), to.begin())) << n;
      EXPECT_EQ(std::count(to.begin() + static_cast<std::ptrdiff_t>(n), to.end(), 0),
                std::count_if(to.begin() + static_cast<std::ptrdiff_t>(n), to.end(),
                              [](int b) { return b != 0xAA; }));
      const std::size_t end = std::max(platform::UpToStride(n), least);
      EXPECT_EQ(to[end], 0xAA) << n;
    }
  }
}

}  // namespace
