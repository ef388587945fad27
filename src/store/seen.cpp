// Keeping directories within their bound.
#include "store/seen.h"

#include <algorithm>

namespace store {

const PageDirectories::Place* PageDirectories::Make(std::uint16_t page, const TreePage& view,
                                                    const KEYDESCR& kd) {
  MakeRoom();
  if (page >= pages.size()) {
    const std::size_t more = std::min<std::size_t>(MaxPages, std::size_t{page} * 2 + 16);
    Hold(Held() + (more - pages.size()) * sizeof(pages[0]));
    pages.resize(more);
  }
  Place& place = pages[page];
  const std::size_t before = place.directory != nullptr ? place.directory->Memory() : 0;
  place = {PageDirectory::Of(view, kd), state, {}};
  Hold(Held() - before + (place.directory != nullptr ? place.directory->Memory() : 0));
  if (place.directory == nullptr) return nullptr;
  place.shape = place.directory->Looks();
  return &place;
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
  pages = std::vector<Place>();
  Hold(0);
}

}  // namespace store
