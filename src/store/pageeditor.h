// Changes to a tree page's bytes. What a change leaves behind is zero, so that equal histories give
// equal files and an erased record does not linger in a page that goes on living.
#pragma once

#include <cstddef>
#include <cstdint>

#include "store/page.h"

namespace store {

class PageEditor {
 public:
  explicit PageEditor(Page& page) : bytes(page.data()) {}

  void SetType(std::uint16_t type) { Store16(bytes, type); }
  void SetUsed(std::size_t used) { Store16(bytes + 2, static_cast<std::uint16_t>(used)); }
  void SetNext(std::uint16_t page) { Store16(bytes + 4, page); }
  void SetPrev(std::uint16_t page) { Store16(bytes + 6, page); }
  void SetRightChild(std::uint16_t page) { Store16(bytes + 8, page); }

  // Opens a gap at `offset` and puts the entry there.
  // REQUIRES: offset <= used, and used + entry.size() < EntriesEnd.
  void Insert(std::size_t offset, Bytes entry);
  // REQUIRES: offset + size <= used.
  void Remove(std::size_t offset, std::size_t size);
  // Drops the entries from `used` on.
  void CutAt(std::size_t used);

 private:
  std::size_t Used() const { return Load16(bytes + 2); }
  std::uint8_t* bytes;
};

}  // namespace store
