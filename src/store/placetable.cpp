// The table's memory, and a rare walk over all of it.
#include "store/placetable.h"

namespace store {

bool PlaceTable::Make(std::size_t places) {
  Clear();
  std::size_t room = (LinesFor(places) + 1) * sizeof(Line);
  memory.reset(std::calloc(1, room));
  void* begin = memory.get();
  if (begin == nullptr) return false;
  lines = static_cast<Line*>(std::align(alignof(Line), sizeof(Line), begin, room));
  count = LinesFor(places);
  return true;
}

void PlaceTable::Clear() {
  memory.reset();
  lines = nullptr;
  count = taken = 0;
}

void PlaceTable::Kill(std::uint16_t page) {
  for (Line* line = lines; line != lines + count; ++line) {
    for (unsigned i = 0; i < line->taken; ++i) {
      if (Unpacked(line->places[i]).page == page) line->places[i] = Packed({page, 0, 0});
    }
  }
}

}  // namespace store
