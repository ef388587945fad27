// Changes to a tree page's bytes. What a change leaves behind is zero, so that equal histories give
// equal files and an erased record does not linger in a page that goes on living.
#pragma once

#include <cstddef>
#include <cstdint>

#include "store/page.h"

namespace store {

class PageEditor {
 public:
  explicit PageEditor(Page& page) : PageEditor(page, Load16(page.data() + UsedAt)) {}
  // Of a page that lies where others may change it: `used` as it was found sound.
  PageEditor(Page& page, std::size_t usedSoFar) : bytes(page.data()), used(usedSoFar) {}

  void SetType(std::uint16_t type) { Store16(bytes, type); }
  void SetNext(std::uint16_t page) { Store16(bytes + 4, page); }
  void SetPrev(std::uint16_t page) { Store16(bytes + 6, page); }
  void SetRightChild(std::uint16_t page) { Store16(bytes + 8, page); }

  // Puts the entry, or nothing, in the place of `removed` bytes of entries.
  // REQUIRES: offset + removed <= used, and used - removed + entry.size() < EntriesEnd.
  void Splice(std::size_t offset, std::size_t removed, Bytes entry);
  void Insert(std::size_t offset, Bytes entry) { Splice(offset, 0, entry); }
  void Remove(std::size_t offset, std::size_t size) { Splice(offset, size, {}); }
  // Makes it a page as that one, which has `itsUsed` bytes of entries, with so many of them as this
  // one is to have.
  void CopyFrom(const Page& page, std::size_t itsUsed);
  // Drops the entries from the offset on.
  void CutAt(std::size_t offset);

 private:
  void SetUsed(std::size_t now) {
    used = now;
    Store16(bytes + UsedAt, static_cast<std::uint16_t>(now));
  }
  std::uint8_t* bytes;
  std::size_t used;
};

}  // namespace store
