// Reading without the lock: what is read is believed only if the file's count of changes is the
// same before and after (see changecount.h). As long as it stands since the last operation, nothing
// is read again that is known already: neither page 0 nor the way to a leaf's entries.
//
// While others go on changing the file, a lookup of one key goes by the versions of the pages that
// it passes, from page 0 on, and is disturbed by changes of these alone.
//
// Only what is sound is answered here. Everything else is Unknown: it is asked again under the
// lock, and there it gets its failure, its mark of damage, or a better answer.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "kvorlib/datatransfer.h"
#include "store/openfiles.h"
#include "store/pagepath.h"
#include "store/udb.h"

namespace store {

class QuickReads {
 public:
  enum Answer : int {
    Found = 0,
    Absent = 1,
    Unknown = 2,
    Lost = 3,  // the bytes could not be had after all: a SYSTEM ERROR, under the lock or not
  };

  // Whether the entry's copy of the header is that of the file as it is.
  static bool KnowsHeader(UdbFile& file);
  // As udbGet, without a record as udbFind. The record may have been filled whatever the answer is,
  // if somebody changed the file just then. Where an absent key would stand is left open in the
  // entry.
  static Answer Get(UdbFile& file, UdbKey key, DataTransfer* record);
  static Answer Next(UdbFile& file, DataTransfer& record);
  // Does what Next would, if a copy of the cursor's leaf is at hand and nobody has changed the file
  // since.
  static bool StepInCopy(UdbFile& file, DataTransfer& record) {
    Seen& seen = file.seen;
    if (!seen.copy.HasMore() || seen.count->Now() != seen.copy.State()) return false;
    const std::size_t end = seen.copy.Next(record);
    if (end == 0) return false;
    file.cursorOffset = static_cast<std::uint16_t>(seen.copy.Behind());
    seen.behind = end;
    seen.copy.StandAt(end);
    return true;
  }
  // The key of the entry at the cursor: as udbGetPosition.
  static Answer KeyAtCursor(UdbFile& file, std::string& key);
  // Whether an entry of a leaf in use with this key begins at the place; then the cursor is there.
  static Answer GoTo(UdbFile& file, const UdbPosition& place, UdbKey key);

 private:
  struct Spot {
    std::uint16_t page = 0;  // 0: the cursor stays
    std::size_t offset = 0;
    Bytes entries;                        // of the page, where they lie
    std::size_t behind = 0;               // the entry at the offset; 0: not looked up
    std::uint64_t version = Seen::Never;  // of the page, if the spot is to be gone on from

    std::optional<Entry> At() const { return Entry::At(entries, offset, true); }
  };

  // A look for one key.
  struct Search {
    // REQUIRES: the key is whole.
    Search(const KEYDESCR& descr, Bytes wanted, std::uint32_t itsMark = 0, PagePath* by = nullptr)
        : kd(descr), key(wanted), mark(itsMark), path(by) {}
    const KEYDESCR& kd;
    Bytes key;
    std::uint32_t mark;
    PagePath* path;  // null: by the file's count
    Spot spot;
    std::size_t passed = 0;                               // pages, down the tree, so far
    std::array<std::uint16_t, PagePath::MostLevels> way;  // which they are
  };

  static constexpr int MostTries = 40;

  template <typename Body>
  static Answer Validated(UdbFile& file, int tries, Body body);
  static bool Relearn(UdbFile& file);
  // Without a path, by the file's count.
  static bool IsUnmoved(const UdbFile& file, const PagePath* path) {
    return path != nullptr ? path->IsUnmoved() : file.seen.count->Still(file.seen.header);
  }
  // The clock is asked last: whatever was read then is older than its answer.
  static bool Stands(const UdbFile& file, const PagePath* path = nullptr) {
    return IsUnmoved(file, path) && file.fd->Sound() && CurrentHost().StillShares(file.seen.count);
  }
  static Answer Disbelieved(UdbFile& file);
  static bool HasMoved(const UdbFile& file);
  static bool IsRestless(UdbFile& file);

  static const Page* PageAt(const UdbFile& file, std::uint16_t page);
  static std::optional<TreePage> ViewOf(const UdbFile& file, std::uint16_t page);
  static bool IsLeafThere(const UdbFile& file, std::uint16_t page);
  static Bytes EntriesOf(const UdbFile& file, std::uint16_t page, const KnownPages::Known& known) {
    return {file.seen.pages + OffsetOf(page) + EntriesAt, known.used};
  }
  static const KnownPages::Known* LearnOrder(UdbFile& file, Spot& spot);

  static bool IsAt(const UdbFile& file, const KnownPages::Known& known,
                   const KnownPages::Place& place, Search& search);
  static bool IsInVain(Seen& seen);
  static bool FindPlace(UdbFile& file, Search& search);
  static Answer MissKnown(UdbFile& file, Bytes key);
  static Answer GetKnown(UdbFile& file, const KEYDESCR& kd, Bytes key, std::uint32_t mark,
                         DataTransfer* record);
  static bool Enter(UdbFile& file, Search& search, const KnownPages::Known*& known);
  static Answer GoDown(UdbFile& file, const SoughtKey& key, Search& search,
                       const KnownPages::Known*& known);
  static bool LeadsThere(const UdbFile& file, const SoughtKey& first, const SoughtKey& last,
                         const Search& search);
  static bool LearnPlaces(UdbFile& file, const Search& search);
  static Answer Compare(const Spot& spot, const KEYDESCR& kd, Bytes key);
  static Answer WalkLeaf(const UdbFile& file, Search& search);
  static Answer SearchLeaf(UdbFile& file, const SoughtKey& key, Search& search,
                           const KnownPages::Known* known);
  static Answer Find(UdbFile& file, const SoughtKey& key, Search& search);
  static Answer GetAmidChanges(UdbFile& file, const SoughtKey& key, Search& search,
                               DataTransfer* record);
  static Answer GetByTree(UdbFile& file, const KEYDESCR& kd, Bytes whole, std::uint32_t mark,
                          DataTransfer* record);
  static Answer FirstInLeaf(UdbFile& file, const SoughtKey& key, Search& search,
                            const KnownPages::Known* known);
  static Answer Seek(UdbFile& file, const SoughtKey& key, Search& search);
  static Answer GetInOrder(UdbFile& file, const KEYDESCR& kd, Bytes whole, DataTransfer* record);
  static Answer FirstOf(const UdbFile& file, std::uint16_t leaf, Spot& spot);
  static const std::uint8_t* LeafBehind(const UdbFile& file, std::uint16_t page);
  static Answer NextLeaf(const UdbFile& file, Spot& spot);
  static Answer StepOn(const UdbFile& file, std::size_t behind, Spot& spot);
  static Answer FromCursor(const UdbFile& file, Spot& spot);
  static Answer Read(const UdbFile& file, Spot& spot, DataTransfer& record,
                     const PagePath* path = nullptr);
  static Answer ReadRun(const UdbFile& file, std::uint16_t first, DataTransfer& record,
                        const PagePath* path);
  static void SetCursor(UdbFile& file, const Spot& spot, std::uint64_t state);
};

// The body reads, and changes nothing that anybody sees but the record.
template <typename Body>
QuickReads::Answer QuickReads::Validated(UdbFile& file, int tries, Body body) {
  Seen& seen = file.seen;
  if (seen.pages == nullptr) return Unknown;
  for (; tries > 0; --tries) {
    if (seen.count->Now() != seen.header && !Relearn(file)) return Unknown;
    const Answer answer = body();
    if (Stands(file)) return answer;
    if (seen.count->Still(seen.header)) return Disbelieved(file);
  }
  return Unknown;
}

// In this state of the file, if it is known.
inline void QuickReads::SetCursor(UdbFile& file, const Spot& spot, std::uint64_t state) {
  file.SetCursor(spot.page, spot.offset);
  file.seen.KnowCursor(state, spot.version);
  file.seen.leaf = spot.behind != 0 ? spot.entries : Bytes();
  file.seen.behind = spot.behind;
  file.seen.walks = false;
}

}  // namespace store
