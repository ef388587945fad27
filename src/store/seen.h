// What this process has seen of an open file, and in which state of it: as long as the file's count
// of changes stands, all of it still holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/changecount.h"
#include "store/directorymemory.h"
#include "store/leafcopy.h"
#include "store/pagedirectory.h"
#include "store/pageorder.h"

namespace store {

// The directories of one file, by pages.
class PageDirectories final : public DirectoryMemory::Holder {
 public:
  // Where a page's directory is, with what a search begins with: not in its own lines of memory.
  struct Place {
    PageDirectory::Pointer directory;
    std::uint64_t asOf = 0;
    PageDirectory::Shape shape;
  };

  // Null: there is none.
  const Place* Find(std::uint16_t page) const {
    if (page >= pages.size()) return nullptr;
    const Place& place = pages[page];
    return place.asOf == state && place.directory != nullptr ? &place : nullptr;
  }
  // Null: the page is not fit for one.
  const Place* Make(std::uint16_t page, const TreePage& view, const KEYDESCR& kd);
  void Drop(std::uint16_t page) {
    if (page < pages.size()) pages[page].asOf = 0;
  }
  void DropAll() { ++state; }
  // As DropAll, and gives the memory back.
  void Clear() override;

 private:
  std::vector<Place> pages;
  std::uint64_t state = 1;
};

struct Seen {
  static constexpr std::uint64_t Never = ~std::uint64_t{0};  // odd, and no count comes so far

  ChangeCount* count = nullptr;         // null: there is none in common
  const std::uint8_t* pages = nullptr;  // the file, where it lies; null: it cannot be looked at
  std::uint64_t header = Never;         // the copy of the header is that of this state
  std::uint64_t cursor = Never;         // in this state, an entry begins at the cursor
  Bytes leaf;                   // the entries of its page, where they lie; none: not looked up
  std::size_t behind = 0;       // the offset behind its entry, if so
  std::uint32_t steps = 0;      // of walks, in copies
  bool walks = false;           // the last operation was a step of a walk
  LeafCopy copy;                // of the leaf in which it goes on
  PageDirectories directories;  // of the same state as the header
  PageOrders orders;            // likewise
  std::uint32_t restless = 0;   // so many leaves are searched without making a directory of them
  std::size_t page0Length = 0;  // behind them page 0 has zeros; 0: it was not looked at

  // Goes on to a later state with what the changes since have left as it was; `cursorPage` tells
  // whether the cursor is among it. The header is to be read anew.
  void MoveTo(std::uint64_t now, std::uint16_t cursorPage);
  // All that was seen counts no more.
  void Forget() {
    header = cursor = Never;
    directories.DropAll();
    orders.DropAll();
    copy.Drop();
    page0Length = 0;
  }
};

}  // namespace store
