// Moving entries inside a page.
#include "store/pageeditor.h"

#include <cstring>

namespace store {

void PageEditor::Splice(std::size_t offset, std::size_t removed, Bytes entry) {
  const std::size_t now = used - removed + entry.size();
  std::uint8_t* const at = bytes + EntriesAt + offset;
  if (now != used) std::memmove(at + entry.size(), at + removed, used - offset - removed);
  if (!entry.empty()) std::memcpy(at, entry.data(), entry.size());
  if (now < used) std::memset(bytes + EntriesAt + now, 0, used - now);
  if (now != used) SetUsed(now);
}

void PageEditor::CopyFrom(const Page& page, std::size_t itsUsed) {
  std::memcpy(bytes, page.data(), EntriesAt + used);
  std::memset(bytes + EntriesAt + used, 0, itsUsed - used);
  const std::size_t end = EntriesAt + itsUsed;
  std::memcpy(bytes + end, page.data() + end, PageSize - end);
  SetUsed(used);
}

void PageEditor::CutAt(std::size_t offset) {
  std::memset(bytes + EntriesAt + offset, 0, used - offset);
  SetUsed(offset);
}

}  // namespace store
