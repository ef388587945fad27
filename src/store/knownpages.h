// What this process knows of the pages of one file, for searching in them: directories, and for
// leaves the places of their keys in a table of all.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/keptpages.h"
#include "store/pagedirectory.h"
#include "store/placetable.h"

namespace store {

class KnownPages final : public KeptPages {
 public:
  using Place = PlaceTable::Place;
  struct Known {
    PageDirectory::Pointer directory;  // null: not made
    AsOf asOf;
    std::uint16_t used = 0;  // bytes of entries
    std::uint8_t lines = 0;  // leaf: of the processor's memory, behind the first of an entry
    bool leaf = false;
    bool hasPlaces = false;    // leaf: all of its keys are in the table
    std::uint8_t edition = 0;  // of these
    std::uint8_t walks = 0;    // over the page in this version, while nothing is known
  };

  // What was known of the page, whether it holds or not; null if there was never anything.
  const Known* At(std::uint16_t page) const { return page < pages.size() ? &pages[page] : nullptr; }
  // Null: there is nothing of which it is known that it holds.
  const Known* Find(std::uint16_t page) const {
    if (page >= pages.size()) return nullptr;
    const Known& known = pages[page];
    return Holds(known.asOf) ? &known : nullptr;
  }
  // Of this version of the page, whatever has changed elsewhere.
  const Known* FindAt(std::uint16_t page, std::uint64_t version) const {
    if (page >= pages.size()) return nullptr;
    const Known& known = pages[page];
    return HoldsAt(known.asOf, version) ? &known : nullptr;
  }
  // Whether what was known holds still, now that somebody has changed something.
  const Known* Recall(std::uint16_t page) {
    return page < pages.size() && Confirm(pages[page].asOf, page) ? &pages[page] : nullptr;
  }
  // Whether one of the places that a key with this mark may have is the one. Not all of them hold.
  template <typename IsIt>
  bool FindKey(std::uint32_t mark, IsIt isIt) const {
    return table.IsMade() &&
           table.Find(mark, [&](Place place) { return !IsDead(place) && isIt(place); });
  }

  // Whether places could be added, of so many records in the file.
  bool HasRoomFor(std::size_t records) const {
    if (table.IsMade() || refused) return !refused;
    const std::size_t size = PlaceTable::MemoryFor(std::max(records, wanted));
    return size <= Limit() / 8 * 5 && HeldByAll() + size <= Limit() / 8 * 7;
  }
  // Null if there is no memory. `version` is one that the page had before it was looked at.
  const Known* AddDirectory(std::uint16_t page, std::uint64_t version, const SoundPage& sound);
  // The places of a leaf's keys; `records` is how many the whole file may have. False: there is no
  // room for them, or no memory. REQUIRES: a search for any of the keys comes to this leaf.
  bool AddPlaces(std::uint16_t page, std::uint64_t version, const SoundPage& leaf,
                 std::size_t records);
  // The leaf will be searched, and nothing is known of it in this version: whether it is worth
  // being known, which takes as long as some walks. It is when nobody else was seen to change the
  // page, and as many leaves have been searched as make up for a table of all records.
  bool IsWorthKnowing(std::uint16_t page, std::uint64_t version, std::size_t records);
  // A descent for a key has ended in a leaf that does not have it, in this state of the file. After
  // many of these it is seen whether all leaves below the root are in the table.
  void NoteMissed(std::uint16_t root, std::uint64_t fileState) {
    if (++missed > pages.size() / 4) LookForAll(root, fileState);
  }
  // Whether they are: a key that is not there is absent then.
  bool HasAll(std::uint64_t fileState) const { return Holds(all) && all.version == fileState; }
  void Drop(std::uint16_t page) {
    if (page < pages.size()) pages[page].asOf = {};
  }
  // As DropAll, and gives the memory back.
  void Clear() override;

 private:
  static constexpr int WalksToKnow = 5;
  static constexpr std::size_t RecordsForWalk = 1024;

  Known& Grow(std::uint16_t page);
  Known& Renew(std::uint16_t page, std::uint64_t version, const SoundPage& sound);
  bool IsDead(const Place& place) const {
    return place.page >= pages.size() || pages[place.page].edition != place.edition ||
           !pages[place.page].hasPlaces;
  }
  bool MakeTable(std::size_t records);
  void DropTable();
  bool PutAll(std::uint16_t page, const SoundPage& leaf);
  void LookForAll(std::uint16_t root, std::uint64_t fileState);
  bool HasAllBelow(std::uint16_t page, std::size_t levels, std::size_t& most);

  std::vector<Known> pages;
  PlaceTable table;
  bool refused = false;    // there was no memory for it
  std::size_t wanted = 0;  // places, at least: half as many were too many before
  std::size_t walks = 0;   // ahead of the table
  AsOf all;                // all leaves are in the table; the version is the file's state
  std::size_t missed = 0;  // since that was last looked for
};

}  // namespace store
