// Views over arbitrary bytes hand out nothing that lies outside the page, the entry or the payload.
#include "store/page.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

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

}  // namespace
