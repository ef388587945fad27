// The list of maps: the owner of every map that a factory has made.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kvorlib/persistentmap.h"

namespace maps {

// Maps that could be opened are listed: they count as open. One that could not is held beside them,
// so that its words can be read until its holder lets go. A map is destroyed when the last of its
// holders has let go, or with the list.
//
// Each map has a number that no other map ever gets. A holder that may outlive its map compares
// numbers, since a later map may come to lie at the same address.
class MapList {
 public:
  // Takes the map over, unless it is held already.
  void Add(PersistentMap* map, bool listed);
  bool IsListed(PersistentMap const* map) const;
  // 0 for a map that is not held.
  std::uint64_t Number(PersistentMap const* map) const;
  std::uint64_t ListedNumber(PersistentMap const* map) const;  // 0 also for one that is not listed
  // One holder lets go. The answer is whether the map was listed.
  bool Close(PersistentMap const* map);

  // However many hold it.
  void Destroy(PersistentMap const* map);
  void DestroyMadeBy(MapFactory const* factory);
  void DestroyAll();

 private:
  struct Held {
    std::unique_ptr<PersistentMap> map;
    std::uint64_t number;
    bool listed;
  };
  using Position = std::vector<Held>::const_iterator;

  Position Find(PersistentMap const* map) const;
  // Takes it out first: what a dying map does may come back here.
  void Destroy(Position at);

  std::vector<Held> held;
  std::uint64_t lastNumber = 0;
};

}  // namespace maps
