// Lookups of one key: by the table of places, and down the tree where that has none. Beside
// somebody who changes the file without a pause they go by the versions of the pages that they
// pass.
#include "store/pagepath.h"
#include "store/pagesearch.h"
#include "store/quickreads.h"

namespace store {

namespace {

constexpr std::uint32_t CalmGets = 8;     // in one state of the file, before that is learned
constexpr std::uint32_t Failures = 8;     // of looks into the table beside changes, before it is
constexpr std::uint32_t LooksOneIn = 64;  // looked into now and then only

}  // namespace

// Whether others change the file again and again: what is known of it as a whole is not worth being
// learned anew then.
bool QuickReads::IsRestless(UdbFile& file) {
  if (!HasMoved(file)) return false;
  Seen& seen = file.seen;
  const std::uint64_t now = seen.count->Now();
  if (now != seen.met || !ChangeCount::IsStable(now)) seen.calm = 0;
  seen.met = now;
  return ++seen.calm <= CalmGets;
}

// ---- By the table ----

// Whether the entry at a place of a leaf has the key.
inline bool QuickReads::IsAt(const UdbFile& file, const KnownPages::Known& known,
                             const KnownPages::Place& place, Search& search) {
  const std::uint8_t* const entries = file.seen.pages + OffsetOf(place.page) + EntriesAt;
  for (unsigned line = 1; line <= known.lines; ++line) {  // while its head is awaited
    platform::Prefetch(entries + place.offset + line * platform::CacheLine);
  }
  const auto entry = Entry::At(Bytes(entries, known.used), place.offset, true);
  if (!entry) return false;
  const Bytes there = entry->FromKeyOn(search.kd);
  const Bytes key = search.key;
  if (there.size() < key.size() || std::memcmp(there.data(), key.data(), key.size()) != 0) {
    return false;
  }
  search.spot = {place.page, place.offset, Bytes(entries, known.used), 0, known.asOf.version};
  return true;
}

// Wherever in the file it is.
inline bool QuickReads::FindPlace(UdbFile& file, Search& search) {
  KnownPages& pages = file.seen.known;
  return pages.FindKey(search.mark, [&](const KnownPages::Place& place) {
    if (search.path != nullptr) {
      const std::uint64_t version = file.seen.count->VersionOf(place.page);
      const auto* const known = pages.FindAt(place.page, version);
      return known != nullptr && IsAt(file, *known, place, search) &&
             search.path->EnterAt(place.page, version);
    }
    const auto* known = pages.Find(place.page);
    if (known == nullptr) known = pages.Recall(place.page);
    return known != nullptr && IsAt(file, *known, place, search);
  });
}

// Whether others change one leaf after the other, so that looking for places that hold is in vain.
inline bool QuickReads::IsInVain(Seen& seen) {
  return ++seen.failures > Failures && seen.failures % LooksOneIn != 0;
}

// A key that is not in the table, which may have them all.
QuickReads::Answer QuickReads::MissKnown(UdbFile& file, Bytes key) {
  const Seen& seen = file.seen;
  if (!seen.known.HasAll(seen.header) || !Stands(file)) return Unknown;
  Spot spot;
  spot.page = file.header.root;  // it is looked for anew when somebody asks where it would stand
  SetCursor(file, spot, seen.header);
  file.RememberMissed(key);
  return Absent;
}

// A key that is there and was come by before. Its leaf has not changed since, and so is part of the
// tree still: who frees a page tells of it.
QuickReads::Answer QuickReads::GetKnown(UdbFile& file, const KEYDESCR& kd, Bytes key,
                                        std::uint32_t mark, DataTransfer* record) {
  Seen& seen = file.seen;
  if (seen.pages == nullptr) return Unknown;
  const bool hasMoved = seen.count->Now() != seen.header;
  PagePath path(*seen.count);
  if (hasMoved && (IsInVain(seen) || !path.EnterAt(0, seen.start))) return Unknown;
  Search search(kd, key, mark, hasMoved ? &path : nullptr);
  if (!FindPlace(file, search)) return hasMoved ? Unknown : MissKnown(file, key);
  seen.failures = 0;
  if (record != nullptr && Read(file, search.spot, *record, search.path) != Found) return Unknown;
  if (!Stands(file, search.path)) return Unknown;
  SetCursor(file, search.spot, hasMoved ? Seen::Never : seen.header);
  return Found;
}

// ---- Down the tree ----

// What is known of the page that the search comes to; false if somebody is at work in it, for long.
bool QuickReads::Enter(UdbFile& file, Search& search, const KnownPages::Known*& known) {
  KnownPages& pages = file.seen.known;
  Spot& spot = search.spot;
  if (search.path != nullptr) {
    if (!search.path->Enter(spot.page)) return false;
    spot.version = search.path->Version();
    known = pages.FindAt(spot.page, spot.version);
  } else if (known = pages.Find(spot.page); known != nullptr) {
    spot.version = known->asOf.version;
  } else {
    spot.version = file.seen.count->VersionOf(spot.page);
    known = pages.Recall(spot.page);
  }
  if (known != nullptr) spot.entries = EntriesOf(file, spot.page, *known);
  return true;
}

// To the leaf where the key is or would be. As Tree::Descend; links that lead in a circle lead on
// for ever, and so past the last level.
QuickReads::Answer QuickReads::GoDown(UdbFile& file, const SoughtKey& key, Search& search,
                                      const KnownPages::Known*& known) {
  if (file.header.root == 0) return Absent;
  Spot& spot = search.spot;
  spot.page = file.header.root;
  for (search.passed = 0; search.passed < search.way.size();) {
    if (!Enter(file, search, known)) return Unknown;
    if (known != nullptr ? known->leaf : IsLeafThere(file, spot.page)) return Found;
    if (known == nullptr) known = LearnOrder(file, spot);
    if (known == nullptr || known->leaf) return Unknown;
    const auto at = known->directory->FirstNotLess(key, search.kd, spot.entries);
    if (!at.found) return Unknown;
    search.way[search.passed++] = spot.page;
    spot.page = at.child;
  }
  return Unknown;
}

// Whether a descent for any key from the first to the last goes the way that the search has gone,
// to its leaf. Those between are led by the same entries as these two: another may have the same
// child in a damaged page.
bool QuickReads::LeadsThere(const UdbFile& file, const SoughtKey& first, const SoughtKey& last,
                            const Search& search) {
  for (std::size_t level = 0; level < search.passed; ++level) {
    const auto* const known = file.seen.known.At(search.way[level]);
    if (known == nullptr || known->directory == nullptr) return false;
    const Bytes entries = EntriesOf(file, search.way[level], *known);
    const auto from = known->directory->FirstNotLess(first, search.kd, entries);
    const auto to = known->directory->FirstNotLess(last, search.kd, entries);
    const bool isLast = level + 1 == search.passed;
    if (!from.found || !to.found || from.offset != to.offset ||
        from.child != (isLast ? search.spot.page : search.way[level + 1])) {
      return false;
    }
  }
  return true;
}

// The keys of the leaf come into the table if the tree leads to each of them. In a damaged tree
// they may lie where no search for them comes.
bool QuickReads::LearnPlaces(UdbFile& file, const Search& search) {
  const auto view = ViewOf(file, search.spot.page);
  if (!view || !view->IsLeaf()) return false;
  const SoundPage leaf(*view, search.kd);
  return leaf.IsSound() &&
         LeadsThere(file, SoughtKey(search.kd, leaf.Key(0)),
                    SoughtKey(search.kd, leaf.Key(leaf.Count() - 1)), search) &&
         IsUnmoved(file, search.path) &&
         file.seen.known.AddPlaces(search.spot.page, search.spot.version, leaf,
                                   file.header.recordCount);
}

// Whether the spot, which is at the first entry with a key not less, has the very key.
QuickReads::Answer QuickReads::Compare(const Spot& spot, const KEYDESCR& kd, Bytes key) {
  if (spot.offset >= spot.entries.size()) return Absent;
  const auto entry = spot.At();
  const auto there = entry ? entry->Key(kd) : std::nullopt;
  const int order = there ? CompareKeys(kd, *there, key) : -1;
  return order < 0 ? Unknown : order == 0 ? Found : Absent;
}

// As Tree::Scan. What is behind the leaf's last entry is no less.
QuickReads::Answer QuickReads::WalkLeaf(const UdbFile& file, Search& search) {
  const auto view = ViewOf(file, search.spot.page);
  if (!view || !view->IsLeaf()) return Unknown;
  const Bytes entries = view->Entries();
  // Others have just stored to much of it: its lines of memory are asked for all at once.
  for (std::size_t at = 0; at < entries.size(); at += platform::CacheLine) {
    platform::Prefetch(&entries[at]);
  }
  search.spot.entries = entries;
  search.spot.offset = StepOverLess(*view, search.kd, search.key);
  return Compare(search.spot, search.kd, search.key);
}

QuickReads::Answer QuickReads::SearchLeaf(UdbFile& file, const SoughtKey& key, Search& search,
                                          const KnownPages::Known* known) {
  KnownPages& pages = file.seen.known;
  Spot& spot = search.spot;
  const std::uint32_t records = file.header.recordCount;
  if (known == nullptr && !pages.IsWorthKnowing(spot.page, spot.version, records)) {
    return WalkLeaf(file, search);
  }
  bool isInTable = known != nullptr && known->hasPlaces;
  if (!isInTable && pages.HasRoomFor(records)) {
    isInTable = LearnPlaces(file, search);
    known = nullptr;  // it may have been moved
  }
  if (isInTable) {
    const std::uint16_t leaf = spot.page;
    const bool isThere = pages.FindKey(search.mark, [&](const KnownPages::Place& place) {
      return place.page == leaf && IsAt(file, *pages.At(leaf), place, search);
    });
    return isThere ? Found : Absent;
  }
  if (known == nullptr || known->directory == nullptr) known = LearnOrder(file, spot);
  if (known == nullptr || !known->leaf) return Unknown;
  const auto at = known->directory->FirstNotLess(key, search.kd, spot.entries);
  spot.offset = at.offset;
  return at.found ? Compare(spot, search.kd, search.key) : Unknown;
}

QuickReads::Answer QuickReads::Find(UdbFile& file, const SoughtKey& key, Search& search) {
  const KnownPages::Known* known = nullptr;
  const Answer way = GoDown(file, key, search, known);
  return way == Found ? SearchLeaf(file, key, search, known) : way;
}

QuickReads::Answer QuickReads::GetAmidChanges(UdbFile& file, const SoughtKey& key, Search& search,
                                              DataTransfer* record) {
  Seen& seen = file.seen;
  for (int tries = MostTries; tries > 0; --tries) {
    PagePath path(*seen.count);
    if (!path.Enter(0)) return Unknown;
    if (path.Version() != seen.start) {
      if (!Relearn(file)) return Unknown;
      continue;
    }
    if (file.header.key != search.kd) return Unknown;
    Search amid(search.kd, search.key, search.mark, &path);
    Answer answer = Find(file, key, amid);
    search.spot = amid.spot;
    if (answer == Found && record != nullptr) answer = Read(file, search.spot, *record, &path);
    if (Stands(file, &path)) return answer;
    if (path.IsUnmoved()) return Disbelieved(file);
    // Led by pages that were changed meanwhile, it may have come to one that was cut off since.
    if (!file.fd->Sound()) return Unknown;
  }
  return Unknown;
}

// Any key, by the tree.
QuickReads::Answer QuickReads::GetByTree(UdbFile& file, const KEYDESCR& kd, Bytes whole,
                                         std::uint32_t mark, DataTransfer* record) {
  const SoughtKey key(kd, whole);
  Search search(kd, whole, mark);
  Spot& spot = search.spot;
  bool amidChanges = IsRestless(file);
  Answer answer = Unknown;
  if (!amidChanges) {
    answer = Validated(file, 1, [&] {
      // The header may be another by now, after a clearing even with other keys.
      if (file.header.key != kd) return Unknown;
      spot = {};
      const Answer found = Find(file, key, search);
      return found == Found && record != nullptr ? Read(file, spot, *record) : found;
    });
    amidChanges = answer == Unknown && HasMoved(file);
  }
  if (amidChanges) answer = GetAmidChanges(file, key, search, record);
  if (answer > Absent) return answer;
  if (spot.page != 0) SetCursor(file, spot, amidChanges ? Seen::Never : file.seen.header);
  if (answer == Absent && spot.page != 0) {
    file.RememberMissed(whole);
    if (!amidChanges) file.seen.known.NoteMissed(file.header.root, file.seen.header);
  }
  return answer;
}

}  // namespace store
