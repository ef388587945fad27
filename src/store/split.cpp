// The choice of the place at which a page splits.
#include "store/split.h"

#include <cstdlib>

namespace store {

namespace {

constexpr std::size_t LeftAim = 2042;

// Whether an item of this size at the border makes the sides more even on the left.
bool Crosses(std::size_t left, std::size_t size, std::size_t total) {
  const auto apart = [total](std::size_t side) {
    return std::labs(static_cast<long>(2 * side) - static_cast<long>(total));
  };
  return apart(left) > apart(left + size);
}

}  // namespace

std::optional<SplitChoice> ChooseSplit(const TreePage& page, std::size_t offset, std::size_t size) {
  const std::size_t total = page.Used() + size;
  std::size_t left = 0;  // bytes on the left side, the new entry's among them once it is there
  bool newGoesLeft = false;
  for (;;) {
    if (!newGoesLeft && left == offset) {
      if (left + size > LeftAim) return SplitChoice{left, Crosses(left, size, total)};
      left += size;
      newGoesLeft = true;
    }
    const auto entry = page.At(newGoesLeft ? left - size : left);
    if (!entry) return std::nullopt;
    if (left + entry->Size() > LeftAim) {
      if (Crosses(left, entry->Size(), total)) left += entry->Size();
      return SplitChoice{newGoesLeft ? left - size : left, newGoesLeft};
    }
    left += entry->Size();
  }
}

}  // namespace store
