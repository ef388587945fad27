// The list of maps.
#include "maps/maplist.h"

#include <algorithm>
#include <utility>

namespace maps {

MapList::Position MapList::Find(PersistentMap const* map) const {
  return std::find_if(held.begin(), held.end(), [&](Held const& h) { return h.map.get() == map; });
}

void MapList::Add(PersistentMap* map, bool listed) {
  std::unique_ptr<PersistentMap> owned(map);
  if (Find(map) != held.end()) {
    static_cast<void>(owned.release());
  } else {
    held.push_back({std::move(owned), ++lastNumber, listed});
  }
}

bool MapList::IsListed(PersistentMap const* map) const {
  auto const at = Find(map);
  return at != held.end() && at->listed;
}

std::uint64_t MapList::Number(PersistentMap const* map) const {
  auto const at = Find(map);
  return at != held.end() ? at->number : 0;
}

std::uint64_t MapList::ListedNumber(PersistentMap const* map) const {
  auto const at = Find(map);
  return at != held.end() && at->listed ? at->number : 0;
}

bool MapList::Close(PersistentMap const* map) {
  auto const at = Find(map);
  if (at == held.end()) return false;
  bool const listed = at->listed;
  if (--at->map->refCount <= 0) Destroy(at);
  return listed;
}

void MapList::Destroy(PersistentMap const* map) {
  auto const at = Find(map);
  if (at != held.end()) Destroy(at);
}

void MapList::DestroyMadeBy(MapFactory const* factory) {
  for (;;) {
    auto const at = std::find_if(held.begin(), held.end(),
                                 [&](Held const& h) { return h.map->get_factory() == factory; });
    if (at == held.end()) return;
    Destroy(at);
  }
}

void MapList::DestroyAll() {
  while (!held.empty()) Destroy(std::prev(held.cend()));
}

void MapList::Destroy(Position at) {
  auto const index = static_cast<std::size_t>(at - held.cbegin());
  std::unique_ptr<PersistentMap> const dying = std::move(held[index].map);
  held.erase(at);
}

}  // namespace maps
