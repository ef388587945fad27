// What this process has seen of an open file, and in which state of it: as long as the file's count
// of changes stands, all of it still holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/changecount.h"
#include "store/keptpages.h"
#include "store/leafcopy.h"
#include "store/pagedirectory.h"
#include "store/pageorder.h"

namespace store {

// The directories of one file, by pages.
class PageDirectories final : public KeptPages {
 public:
  // Where a page's directory is, with what a search begins with: not in its own lines of memory.
  struct Place {
    PageDirectory::Pointer directory;
    AsOf asOf;
    PageDirectory::Shape shape;
    std::uint8_t walks = 0;  // over the page in this version, while there is no directory
  };

  // Null: there is none of which it is known that it holds.
  const Place* Find(std::uint16_t page) const {
    if (page >= pages.size()) return nullptr;
    const Place& place = pages[page];
    return Holds(place.asOf) && place.directory != nullptr ? &place : nullptr;
  }
  // Of this version of the page, whatever has changed elsewhere.
  const Place* FindAt(std::uint16_t page, std::uint64_t version) const {
    if (page >= pages.size()) return nullptr;
    const Place& place = pages[page];
    return HoldsAt(place.asOf, version) && place.directory != nullptr ? &place : nullptr;
  }
  // Whether there is one that holds still, now that somebody has changed something.
  const Place* Recall(std::uint16_t page) {
    return page < pages.size() && Confirm(pages[page].asOf, page) ? Find(page) : nullptr;
  }
  // Null: the page is not fit for one. `version` is one that it had before it was looked at.
  const Place* Make(std::uint16_t page, std::uint64_t version, const TreePage& view,
                    const KEYDESCR& kd);
  // The page will be searched and has none in this version: whether one is worth its making, which
  // takes as long as some walks. It is if nobody else was seen to change the page.
  bool IsWorthMaking(std::uint16_t page, std::uint64_t version);
  void Drop(std::uint16_t page) {
    if (page < pages.size()) pages[page].asOf = {};
  }
  // As DropAll, and gives the memory back.
  void Clear() override;

 private:
  static constexpr int WalksToMake = 5;

  Place& Grow(std::uint16_t page);

  std::vector<Place> pages;
};

struct Seen {
  static constexpr std::uint64_t Never = ChangeCount::Never;

  ChangeCount* count = nullptr;         // null: there is none in common
  const std::uint8_t* pages = nullptr;  // the file, where it lies; null: it cannot be looked at
  std::uint64_t header = Never;         // the copy of the header is that of this state
  std::uint64_t start = Never;          // and of this version of page 0, so far as that goes
  std::uint64_t met = Never;            // the count, when it was last found moved,
  std::uint32_t calm = 0;               // and how often on end it was this one
  std::uint64_t cursor = Never;         // in this state, an entry begins at the cursor
  std::uint64_t cursorVersion = Never;  // and as long as its page has this version
  Bytes leaf;                   // the entries of its page, where they lie; none: not looked up
  std::size_t behind = 0;       // the offset behind its entry, if so
  std::uint32_t steps = 0;      // of walks, in copies
  bool walks = false;           // the last operation was a step of a walk
  LeafCopy copy;                // of the leaf in which it goes on
  PageDirectories directories;  // of the same state as the header
  PageOrders orders;            // likewise
  std::size_t page0Length = 0;  // behind them page 0 has zeros; 0: it was not looked at

  // By what the file's changes are counted.
  void CountBy(ChangeCount* itsCount) {
    count = itsCount;
    directories.CountBy(count);
    orders.CountBy(count);
  }
  // Goes on to a later state with what the changes since have left as it was; `cursorPage` tells
  // whether the cursor is among it. The header is to be read anew.
  void MoveTo(std::uint64_t now, std::uint16_t cursorPage);
  // The cursor is in a page of this version, and known to be at an entry there, in this state.
  void KnowCursor(std::uint64_t state, std::uint64_t version) {
    cursor = state;
    cursorVersion = version;
  }
  void LoseCursor() { cursor = cursorVersion = Never; }
  // All that was seen counts no more.
  void Forget() {
    header = start = Never;
    LoseCursor();
    directories.DropAll();
    orders.DropAll();
    copy.Drop();
    page0Length = 0;
  }
};

}  // namespace store
