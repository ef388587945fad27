// Where a page splits when an entry does not fit any more.
#pragma once

#include <cstddef>
#include <optional>

#include "store/page.h"

namespace store {

struct SplitChoice {
  std::size_t offset;  // old entries below it go to the left page
  bool newEntryGoesLeft;
};

// For a page that gets an entry of `size` bytes at `offset`. The left side holds at most 2042 bytes
// before the entry at the border, and that one crosses to the left if the sides come out more even.
// Nothing if the page's entries do not lead to a border.
std::optional<SplitChoice> ChooseSplit(const TreePage& page, std::size_t offset, std::size_t size);

}  // namespace store
