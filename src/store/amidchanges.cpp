// Lookups beside somebody who changes the file without a pause: by the versions of the pages that
// they pass.
#include "store/pagepath.h"
#include "store/pagesearch.h"
#include "store/quickreads.h"

namespace store {

namespace {

constexpr std::uint32_t CalmGets = 8;  // in one state of the file, before that is learned

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

// A leaf that somebody has changed may be changed again before it is searched often: its page, if
// it is walked over rather than given a directory.
const Page* QuickReads::LeafToWalk(UdbFile& file, std::uint16_t page, std::uint64_t version) {
  const Page* const bytes = page == 0 ? nullptr : PageAt(file, page);
  const bool walks = bytes != nullptr && bytes->front() == LeafType &&
                     !file.seen.directories.IsWorthMaking(page, version);
  return walks ? bytes : nullptr;
}

// As Tree::Scan. What is behind the leaf's last entry is no less.
QuickReads::Answer QuickReads::WalkLeaf(const Page& leaf, const KEYDESCR& kd, const SoughtKey& key,
                                        Spot& spot) {
  const auto view = TreePage::Of(leaf);
  if (!view || !view->IsLeaf()) return Unknown;
  spot.entries = view->Entries();
  // Others have just stored to much of it: its lines of memory are asked for all at once.
  for (std::size_t at = 0; at < spot.entries.size(); at += platform::CacheLine) {
    platform::Prefetch(&spot.entries[at]);
  }
  spot.offset = StepOverLess(*view, kd, key.Whole());
  if (spot.offset >= spot.entries.size()) return Absent;
  const auto entry = spot.At();
  const auto there = entry ? entry->Key(kd) : std::nullopt;
  const int order = there ? CompareKeys(kd, *there, key.Whole()) : -1;
  return order < 0 ? Unknown : order == 0 ? Found : Absent;
}

// As Descend, for this very key.
QuickReads::Answer QuickReads::DescendAmidChanges(UdbFile& file, const SoughtKey& key, Spot& spot,
                                                  PagePath& path) {
  const KEYDESCR& kd = file.header.key;
  if (file.header.root == 0) return Absent;
  spot.page = file.header.root;
  for (std::size_t level = 0; level < PagePath::MostLevels; ++level) {
    if (!path.Enter(spot.page)) return Unknown;
    spot.version = path.Version();
    const auto* place = file.seen.directories.FindAt(spot.page, spot.version);
    if (place == nullptr) {
      const Page* const leaf = LeafToWalk(file, spot.page, spot.version);
      if (leaf != nullptr) return WalkLeaf(*leaf, kd, key, spot);
      place = MakeDirectory(file, spot.page, spot.version);
    }
    if (place == nullptr) return Unknown;
    const std::uint8_t* const page = file.seen.pages + OffsetOf(spot.page);
    spot.entries = Bytes(page + EntriesAt, place->shape.used);
    if (place->shape.leaf) {
      platform::Prefetch(page);
      const auto found = place->directory->Find(place->shape, key, kd, spot.entries);
      spot.offset = found.offset;
      return found.found ? Found : Absent;
    }
    const auto at = place->directory->FirstNotLess(key, kd, spot.entries);
    if (!at.found) return Unknown;
    spot.page = at.child;
  }
  return Unknown;
}

QuickReads::Answer QuickReads::GetAmidChanges(UdbFile& file, const KEYDESCR& kd,
                                              const SoughtKey& key, Spot& spot,
                                              DataTransfer* record) {
  Seen& seen = file.seen;
  for (int tries = MostTries; tries > 0; --tries) {
    PagePath path(*seen.count);
    if (!path.Enter(0)) return Unknown;
    if (path.Version() != seen.start) {
      if (!Relearn(file)) return Unknown;
      continue;
    }
    if (file.header.key != kd) return Unknown;
    spot = {};
    Answer answer = DescendAmidChanges(file, key, spot, path);
    if (answer == Found && record != nullptr) answer = Read(file, spot, *record, &path);
    if (Stands(file, &path)) return answer;
    if (path.IsUnmoved()) return Disbelieved(file);
  }
  return Unknown;
}

}  // namespace store
