// Moving entries inside a page.
#include "store/pageeditor.h"

#include <cstring>

namespace store {

void PageEditor::Insert(std::size_t offset, Bytes entry) {
  std::uint8_t* const at = bytes + EntriesAt + offset;
  std::memmove(at + entry.size(), at, Used() - offset);
  std::memcpy(at, entry.data(), entry.size());
  SetUsed(Used() + entry.size());
}

void PageEditor::Remove(std::size_t offset, std::size_t size) {
  std::uint8_t* const at = bytes + EntriesAt + offset;
  std::memmove(at, at + size, Used() - offset - size);
  CutAt(Used() - size);
}

void PageEditor::CutAt(std::size_t used) {
  std::memset(bytes + EntriesAt + used, 0, Used() - used);
  SetUsed(used);
}

}  // namespace store
