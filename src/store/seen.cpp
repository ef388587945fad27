// Keeping directories within their bound.
#include "store/seen.h"

#include <algorithm>

namespace store {

const PageDirectories::Place* PageDirectories::Make(std::uint16_t page, const TreePage& view,
                                                    const KEYDESCR& kd) {
  memory->MakeRoom();
  const std::size_t before = held;
  if (page >= pages.size()) {
    const std::size_t more = std::min<std::size_t>(MaxPages, std::size_t{page} * 2 + 16);
    held += (more - pages.size()) * sizeof(pages[0]);
    pages.resize(more);
  }
  Place& place = pages[page];
  if (place.directory != nullptr) held -= place.directory->Memory();
  place = {PageDirectory::Of(view, kd), state, {}};
  if (place.directory != nullptr) {
    held += place.directory->Memory();
    place.shape = place.directory->Looks();
  }
  memory->Account(*this, before, held);
  return place.directory != nullptr ? &place : nullptr;
}

void Seen::MoveTo(std::uint64_t now, std::uint16_t cursorPage) {
  const bool hadCursor = cursor == header;
  bool cursorStays = hadCursor;
  const bool known = header != Never && count->ForEachChanged(header, now, [&](std::uint16_t page) {
    directories.Drop(page);
    orders.Drop(page);
    cursorStays = cursorStays && page != cursorPage;
  });
  if (!known) Forget();
  page0Length = 0;
  header = now;
  cursor = known && cursorStays ? now : Never;
}

void PageDirectories::Clear() {
  ++state;
  if (held == 0) return;
  pages = std::vector<Place>();
  memory->Account(*this, held, 0);
  held = 0;
}

}  // namespace store
