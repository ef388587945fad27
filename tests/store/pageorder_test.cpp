// Orders of pages: they follow whatever becomes of a page, and change no answer.
#include "store/pageorder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "store/pageeditor.h"
#include "store/pagesearch.h"
#include "store/records.h"

namespace {

using store::PageOrder;

// Keys of few letters, so that long beginnings are shared and numbers are often equal.
std::string KeyOf(std::mt19937& random) {
  std::string key(random() % 3 == 0 ? "" : "aaaaaaab");
  for (std::size_t n = random() % 9; n > 0; --n) key += static_cast<char>("ab\xFF"[random() % 3]);
  return key + ' ';
}

store::Bytes RecordOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(PageOrderTest, OrderThatFollowedAllChangesFindsWhatAWalkFinds) {
  const KEYDESCR kd(4, ' ', 0);
  std::mt19937 random(3);
  store::Page page{};
  store::PageEditor(page).SetType(store::LeafType);
  PageOrder::Pointer order = PageOrder::Of(*store::TreePage::Of(page), kd);
  unsigned equal = 0;
  unsigned cut = 0;
  for (int step = 0; step < 40000; ++step) {
    const auto view = *store::TreePage::Of(page);
    const std::string key = KeyOf(random);
    if (order == nullptr) order = PageOrder::Of(view, kd);
    const std::size_t at = store::StepOverLess(view, kd, RecordOf(key));
    const auto entry = view.At(at);
    const bool there = entry && store::CompareKeys(kd, *entry->Key(kd), RecordOf(key)) == 0;
    const auto found = order->Find(view, kd, RecordOf(key));
    ASSERT_TRUE(found && found->offset == at && found->isEqual == there) << step;
    equal += there ? 1 : 0;
    if (view.Used() > 3900) {
      const bool takesLower = random() % 2 == 0;
      PageOrder::Pointer lower = order->CutOff(at);
      store::PageEditor editor(page);
      takesLower ? editor.CutAt(at) : editor.Remove(0, at);
      if (takesLower) order = std::move(lower);
      ++cut;
      continue;
    }
    store::StagedEntry staged;
    staged.BuildInline(RecordOf(key + std::string(random() % 30, 'v')));
    const store::Bytes added = there && random() % 2 == 0 ? store::Bytes() : staged.Whole();
    const std::size_t removed = there ? entry->Size() : 0;
    store::PageEditor(page).Splice(at, removed, added);
    if (!order->Splice(kd, at, removed, added)) order = nullptr;  // no room: made anew
  }
  EXPECT_GT(equal, 1000U);
  EXPECT_GT(cut, 20U);
}

TEST(PageOrderTest, ChangeThatDoesNotFitThePageItKnowsEndsAnOrder) {
  const KEYDESCR kd(4, ' ', 0);
  store::Page page{};
  store::PageEditor(page).SetType(store::LeafType);
  store::StagedEntry staged;
  for (const char* const key : {"e ", "c "}) {
    staged.BuildInline(RecordOf(key));
    store::PageEditor(page).Insert(0, staged.Whole());
  }
  const auto view = *store::TreePage::Of(page);
  const std::size_t size = staged.Size();
  staged.BuildInline(RecordOf("x "));
  const struct {
    std::size_t offset, removed;
    store::Bytes added;
  } cases[] = {{4, 0, {}}, {0, size + 4, {}}, {2 * size, size, {}}, {size, 0, staged.Whole()}};
  for (const auto& c : cases) {
    EXPECT_FALSE(PageOrder::Of(view, kd)->Splice(kd, c.offset, c.removed, c.added)) << c.offset;
  }
  EXPECT_TRUE(PageOrder::Of(view, kd)->Splice(kd, 2 * size, 0, staged.Whole()));
  store::PageEditor(page).Insert(0, staged.Whole());
  EXPECT_EQ(PageOrder::Of(*store::TreePage::Of(page), kd), nullptr) << "keys that do not ascend";
}

}  // namespace
