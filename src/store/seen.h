// What this process has seen of an open file, and in which state of it: as long as the file's count
// of changes stands, all of it still holds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "store/changecount.h"
#include "store/knownpages.h"
#include "store/leafcopy.h"
#include "store/pageorder.h"

namespace store {

struct Seen {
  static constexpr std::uint64_t Never = ChangeCount::Never;

  ChangeCount* count = nullptr;         // null: there is none in common
  const std::uint8_t* pages = nullptr;  // the file, where it lies; null: it cannot be looked at
  std::uint64_t header = Never;         // the copy of the header is that of this state
  std::uint64_t start = Never;          // and of this version of page 0, so far as that goes
  std::uint64_t met = Never;            // the count, when it was last found moved,
  std::uint32_t calm = 0;               // and how often on end it was this one
  std::uint32_t failures = 0;           // of looks into the table beside changes, on end
  std::uint64_t cursor = Never;         // in this state, an entry begins at the cursor
  std::uint64_t cursorVersion = Never;  // and as long as its page has this version
  Bytes leaf;                   // the entries of its page, where they lie; none: not looked up
  std::size_t behind = 0;       // the offset behind its entry, if so
  bool walks = false;           // the last operation was a step of a walk
  LeafCopy copy;                // of the leaf in which it goes on
  KnownPages known;             // of the same state as the header
  PageOrders orders;            // likewise
  std::size_t page0Length = 0;  // behind them page 0 has zeros; 0: it was not looked at

  // By what the file's changes are counted.
  void CountBy(ChangeCount* itsCount) {
    count = itsCount;
    known.CountBy(count);
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
    known.DropAll();
    orders.DropAll();
    copy.Drop();
    page0Length = 0;
  }
};

}  // namespace store
