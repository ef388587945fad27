// Keeping directories within their bound, and going on from one state of a file to another.
#include "store/seen.h"

#include <algorithm>

namespace store {

PageDirectories::Place& PageDirectories::Grow(std::uint16_t page) {
  MakeRoom();
  if (page >= pages.size()) {
    const std::size_t more = std::min<std::size_t>(MaxPages, std::size_t{page} * 2 + 16);
    Hold(Held() + (more - pages.size()) * sizeof(pages[0]));
    pages.resize(more);
  }
  return pages[page];
}

const PageDirectories::Place* PageDirectories::Make(std::uint16_t page, std::uint64_t version,
                                                    const TreePage& view, const KEYDESCR& kd) {
  Place& place = Grow(page);
  const std::size_t before = place.directory != nullptr ? place.directory->Memory() : 0;
  place = {PageDirectory::Of(view, kd), AsAt(version), {}, 0};
  Hold(Held() - before + (place.directory != nullptr ? place.directory->Memory() : 0));
  if (place.directory == nullptr) return nullptr;
  place.shape = place.directory->Looks();
  return &place;
}

bool PageDirectories::IsWorthMaking(std::uint16_t page, std::uint64_t version) {
  Place& place = Grow(page);
  if (place.asOf.version == ChangeCount::Never) return true;
  if (place.asOf.state != 0 || place.asOf.version != version) {
    place.asOf = {0, version};
    place.walks = 0;
  }
  return ++place.walks > WalksToMake;
}

void Seen::MoveTo(std::uint64_t now, std::uint16_t cursorPage) {
  const bool cursorStays =
      ChangeCount::IsStable(cursorVersion) && count->VersionOf(cursorPage) == cursorVersion;
  cursor = cursorStays ? now : Never;
  directories.Doubt();
  orders.Doubt();
  page0Length = 0;
  header = now;
  start = count->VersionOf(0);
}

void PageDirectories::Clear() {
  DropAll();
  pages = std::vector<Place>();
  Hold(0);
}

}  // namespace store
