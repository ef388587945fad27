// Learning of pages, within the bound on memory.
#include "store/knownpages.h"

#include <algorithm>
#include <array>

#include "store/pagepath.h"

namespace store {

KnownPages::Known& KnownPages::Grow(std::uint16_t page) {
  if (page >= pages.size()) {
    const std::size_t more = std::min<std::size_t>(MaxPages, std::size_t{page} * 2 + 16);
    Hold(Held() + (more - pages.size()) * sizeof(pages[0]));
    pages.resize(more);
  }
  return pages[page];
}

// What is added holds with what is known already, if that is of the same version.
KnownPages::Known& KnownPages::Renew(std::uint16_t page, std::uint64_t version,
                                     const SoundPage& sound) {
  Known& known = Grow(page);
  if (!HoldsAt(known.asOf, version)) {
    if (known.directory != nullptr) Hold(Held() - known.directory->Memory());
    known.directory.reset();
    known.hasPlaces = false;
    known.walks = 0;
  }
  known.asOf = AsAt(version);
  known.used = sound.Used();
  known.leaf = sound.IsLeaf();
  const std::size_t each = sound.Count() == 0 ? 0 : sound.Used() / sound.Count();
  known.lines = static_cast<std::uint8_t>(each / platform::CacheLine + 1);
  return known;
}

const KnownPages::Known* KnownPages::AddDirectory(std::uint16_t page, std::uint64_t version,
                                                  const SoundPage& sound) {
  MakeRoom();
  Known& known = Renew(page, version, sound);
  if (known.directory == nullptr) {
    known.directory = PageDirectory::Of(sound);
    if (known.directory == nullptr) {
      if (!known.hasPlaces) known.asOf = {};
      return nullptr;
    }
    Hold(Held() + known.directory->Memory());
  }
  return &known;
}

// What else is kept needs some of the memory, too. Tables of several files that filled it would be
// given back and made again with every few leaves.
bool KnownPages::MakeTable(std::size_t records) {
  if (!HasRoomFor(records)) return false;
  refused = !table.Make(std::max(records, wanted));
  Hold(Held() + table.Memory());
  return !refused;
}

// Full of places that died of keys that came and went, it was no smaller than it has to be.
void KnownPages::DropTable() {
  wanted = 2 * table.Living([this](const Place& place) { return IsDead(place); });
  Hold(Held() - table.Memory());
  table.Clear();
  for (Known& known : pages) known.hasPlaces = false;
  all = {};
}

bool KnownPages::PutAll(std::uint16_t page, const SoundPage& leaf) {
  std::array<std::uint32_t, SoundPage::MostEntries> marks;
  for (std::size_t i = 0; i < leaf.Count(); ++i) {
    marks[i] = KeyMark(leaf.KeyDescr(), leaf.Key(i));
    table.Fetch(marks[i]);
  }
  const auto isDead = [this](const Place& place) { return IsDead(place); };
  for (std::size_t i = 0; i < leaf.Count(); ++i) {
    if (!table.Put(marks[i], {page, leaf.Offset(i), pages[page].edition}, isDead)) return false;
  }
  return true;
}

bool KnownPages::AddPlaces(std::uint16_t page, std::uint64_t version, const SoundPage& leaf,
                           std::size_t records) {
  MakeRoom();
  if (!table.IsMade() && !MakeTable(records)) return false;
  Known& known = Renew(page, version, leaf);
  if (known.hasPlaces) return true;
  if (known.edition == PlaceTable::Editions) {
    table.Kill(page);
    known.edition = 0;
  }
  ++known.edition;
  known.hasPlaces = true;  // what is put now lives
  if (PutAll(page, leaf)) return true;
  DropTable();
  if (known.directory == nullptr) known.asOf = {};
  return false;
}

void KnownPages::LookForAll(std::uint16_t root, std::uint64_t fileState) {
  missed = 0;
  std::size_t most = MaxPages;
  if (HasAllBelow(root, PagePath::MostLevels, most)) all = AsAt(fileState);
}

// In a damaged tree links may lead in circles, or to many pages many times.
bool KnownPages::HasAllBelow(std::uint16_t page, std::size_t levels, std::size_t& most) {
  if (levels == 0 || most-- == 0) return false;
  const Known* known = Find(page);
  if (known == nullptr) known = Recall(page);
  if (known == nullptr || known->leaf) return known != nullptr && known->hasPlaces;
  const auto children = known->directory->ChildPages();
  return std::all_of(children.begin(), children.end(),
                     [&](std::uint16_t child) { return HasAllBelow(child, levels - 1, most); });
}

bool KnownPages::IsWorthKnowing(std::uint16_t page, std::uint64_t version, std::size_t records) {
  MakeRoom();
  Known& known = Grow(page);
  if (walks < records / RecordsForWalk && !table.IsMade() && HasRoomFor(records)) {
    ++walks;
    return false;
  }
  if (known.asOf.version == ChangeCount::Never) return true;
  if (known.asOf.state != 0 || known.asOf.version != version) {
    known.asOf = {0, version};
    known.walks = 0;
  }
  return ++known.walks > WalksToKnow;
}

void KnownPages::Clear() {
  DropAll();
  pages = std::vector<Known>();
  table.Clear();
  refused = false;
  Hold(0);
}

}  // namespace store
