// The quick road to an answer.
#include "store/quickreads.h"

#include <algorithm>
#include <cstring>

#include "store/pagesearch.h"

namespace store {

namespace {

constexpr int MostTries = 40;
constexpr int MostLooks = 2000;             // at a count that is odd, before the lock is taken
constexpr std::uint32_t RestlessFor = 256;  // searches behind a change by others
constexpr std::size_t MostLevels = 7;       // of pages, as a descent under the lock can pass

std::uint64_t OffsetOf(std::uint32_t page) { return std::uint64_t{page} * PageSize; }

bool MatchesExactly(const UdbFile& file) {
  return file.matchMode != UDB_AT_OR_AFTER && file.matchMode != UDB_AFTER;
}

bool CursorIsKnown(const UdbFile& file) {
  return file.missedSize == 0 && file.seen.cursor == file.seen.header;
}

}  // namespace

// ---- Whether what was read counts ----

bool QuickReads::Relearn(UdbFile& file) {
  Seen& seen = file.seen;
  for (int look = 0; look < MostLooks; ++look) {
    const std::uint64_t now = seen.count->Now();
    if (!ChangeCount::IsStable(now)) continue;
    const Page* const page0 = PageAt(file, 0);
    if (page0 == nullptr || !VersionOf(*page0)) return false;
    const Header header = Header::Load(*page0);
    const std::uint64_t before = seen.header;
    seen.MoveTo(now, file.cursorPage);
    if (seen.count->Still(now)) {
      file.header = header;
      seen.restless = RestlessFor;
      return true;
    }
    seen.header = before;  // of which there is less left
    seen.cursor = Seen::Never;
  }
  return false;
}

// The clock is asked last: whatever was read then is older than its answer.
inline bool QuickReads::Stands(const UdbFile& file) {
  return file.seen.count->Still(file.seen.header) && file.fd->Sound() &&
         CurrentHost().StillShares(file.seen.count);
}

// The body reads, and changes nothing that anybody sees but the record.
template <typename Body>
QuickReads::Answer QuickReads::Validated(UdbFile& file, Body body) {
  Seen& seen = file.seen;
  if (seen.pages == nullptr) return Unknown;
  for (int tries = MostTries; tries > 0; --tries) {
    if (seen.count->Now() != seen.header && !Relearn(file)) return Unknown;
    const Answer answer = body();
    if (Stands(file)) return answer;
    if (!seen.count->Still(seen.header)) continue;
    if (file.fd->Sound()) return Unknown;
    seen.pages = nullptr;  // until it is looked at anew, under the lock
    seen.copy.Drop();
    return Lost;
  }
  return Unknown;
}

// ---- Pages ----

const Page* QuickReads::PageAt(const UdbFile& file, std::uint16_t page) {
  if (page >= MaxPages || OffsetOf(page + 1U) > file.fd->Viewable()) return nullptr;
  return reinterpret_cast<const Page*>(file.seen.pages + OffsetOf(page));
}

const PageDirectories::Place* QuickReads::Directory(UdbFile& file, std::uint16_t page) {
  Seen& seen = file.seen;
  if (const PageDirectories::Place* const found = seen.directories.Find(page)) return found;
  const Page* const bytes = page == 0 ? nullptr : PageAt(file, page);
  const auto view = bytes != nullptr ? TreePage::Of(*bytes) : std::nullopt;
  return view ? seen.directories.Make(page, *view, file.header.key) : nullptr;
}

// Where others go on changing the file, a leaf is likely to be changed before it is searched again,
// and the making of a directory takes longer than a walk.
bool QuickReads::WalksLeaf(UdbFile& file, std::uint16_t page) {
  Seen& seen = file.seen;
  if (seen.restless == 0 || seen.directories.Find(page) != nullptr) return false;
  const Page* const bytes = page == 0 ? nullptr : PageAt(file, page);
  if (bytes == nullptr || bytes->front() != LeafType) return false;
  --seen.restless;
  return true;
}

// As Tree::Scan, and what is behind the leaf's last entry is left to the lock.
QuickReads::Answer QuickReads::WalkLeaf(const UdbFile& file, const SoughtKey& key, Spot& spot) {
  const KEYDESCR& kd = file.header.key;
  const Page* const page = PageAt(file, spot.page);
  const auto view = page != nullptr ? TreePage::Of(*page) : std::nullopt;
  if (!view || !view->IsLeaf()) return Unknown;
  spot.entries = view->Entries();
  spot.offset = StepOverLess(*view, kd, key.Whole());
  if (spot.offset >= spot.entries.size()) return MatchesExactly(file) ? Absent : Unknown;
  const auto entry = spot.At();
  const auto there = entry ? entry->Key(kd) : std::nullopt;
  const int order = there ? CompareKeys(kd, *there, key.Whole()) : -1;
  if (order < 0) return Unknown;
  return order == 0 || !MatchesExactly(file) ? Found : Absent;
}

// As Tree::Descend. Links that lead in a circle lead on for ever, and so past the last level.
QuickReads::Answer QuickReads::Descend(UdbFile& file, const SoughtKey& key, Spot& spot) {
  const KEYDESCR& kd = file.header.key;
  spot.page = file.header.root;
  bool hopped = false;
  for (std::size_t level = 0; level < MostLevels; ++level) {
    if (!hopped && WalksLeaf(file, spot.page)) return WalkLeaf(file, key, spot);
    const PageDirectories::Place* const place = Directory(file, spot.page);
    if (place == nullptr || (hopped && !place->shape.leaf)) return Unknown;
    const PageDirectory& directory = *place->directory;
    const bool isLeaf = place->shape.leaf;
    const std::uint8_t* const page = file.seen.pages + OffsetOf(spot.page);
    spot.entries = Bytes(page + EntriesAt, place->shape.used);
    if (isLeaf && MatchesExactly(file)) {
      platform::Prefetch(page);  // where it lies is found out while the directory is awaited
      const auto found = directory.Find(place->shape, key, kd, spot.entries);
      spot.offset = found.offset;
      return found.found ? Found : Absent;
    }
    const auto at = directory.FirstNotLess(key, kd, spot.entries);
    if (!at.found) return Unknown;
    if (!isLeaf) {
      spot.page = at.child;
      continue;
    }
    spot.offset = at.offset;
    if (spot.offset < spot.entries.size()) return Found;
    const std::uint16_t next = Load16(page + 4);
    if (next == 0) return Absent;
    spot.page = next;
    hopped = true;
  }
  return Unknown;
}

// By the file's match mode.
QuickReads::Answer QuickReads::Seek(UdbFile& file, const SoughtKey& key, Spot& spot) {
  if (file.header.root == 0) return Absent;
  const Answer answer = Descend(file, key, spot);
  if (answer != Found || file.matchMode != UDB_AFTER) return answer;
  const auto entry = spot.At();
  const auto there = entry ? entry->Key(file.header.key) : std::nullopt;
  if (!there) return Unknown;
  if (CompareKeys(file.header.key, *there, key.Whole()) != 0) return Found;
  return StepOn(file, spot.offset + entry->Size(), spot);
}

QuickReads::Answer QuickReads::FirstOf(const UdbFile& file, std::uint16_t leaf, Spot& spot) {
  const Page* const page = leaf == 0 ? nullptr : PageAt(file, leaf);
  const auto view = page != nullptr ? TreePage::Of(*page) : std::nullopt;
  if (!view || !view->IsLeaf()) return Unknown;
  spot = {leaf, 0, view->Entries()};
  return spot.entries.empty() ? Unknown : Found;
}

// The first entry of the next leaf, if the chain ascends. At the end, the spot stays.
QuickReads::Answer QuickReads::NextLeaf(const UdbFile& file, Spot& spot) {
  const KEYDESCR& kd = file.header.key;
  const std::uint16_t number = Load16(file.seen.pages + OffsetOf(spot.page) + 4);
  if (number == 0) return Absent;
  const auto last = spot.At();
  if (!last || FirstOf(file, number, spot) != Found) return Unknown;
  const auto first = spot.At();
  const auto before = last->Key(kd);
  const auto behind = first ? first->Key(kd) : std::nullopt;
  return before && behind && CompareKeys(kd, *before, *behind) < 0 ? Found : Unknown;
}

// Where the next leaf will be looked for, or null.
const std::uint8_t* QuickReads::LeafBehind(const UdbFile& file, std::uint16_t page) {
  const std::uint16_t next = Load16(file.seen.pages + OffsetOf(page) + 4);
  const Page* const there = next == 0 ? nullptr : PageAt(file, next);
  return there == nullptr ? nullptr : there->data();
}

// From an entry to the one behind it.
inline QuickReads::Answer QuickReads::StepOn(const UdbFile& file, std::size_t behind, Spot& spot) {
  if (behind >= spot.entries.size()) return NextLeaf(file, spot);
  spot.offset = behind;
  return Found;
}

inline QuickReads::Answer QuickReads::FromCursor(const UdbFile& file, Spot& spot) {
  if (file.header.recordCount == 0) return Absent;
  if (file.cursorPage == 0) return FirstOf(file, file.header.firstLeaf, spot);
  if (!CursorIsKnown(file)) return Unknown;
  if (!file.seen.leaf.empty()) {
    spot = {file.cursorPage, file.cursorOffset, file.seen.leaf};
    return StepOn(file, file.seen.behind, spot);
  }
  if (FirstOf(file, file.cursorPage, spot) != Found) return Unknown;
  spot.offset = file.cursorOffset;
  const auto entry = spot.At();
  return entry ? StepOn(file, spot.offset + entry->Size(), spot) : Unknown;
}

inline void QuickReads::SetCursor(UdbFile& file, const Spot& spot) {
  file.cursorPage = spot.page;
  file.cursorOffset = static_cast<std::uint16_t>(spot.offset);
  file.missedSize = 0;
  file.seen.cursor = file.seen.header;
  file.seen.leaf = spot.behind != 0 ? spot.entries : Bytes();
  file.seen.behind = spot.behind;
  file.seen.walks = false;
}

// ---- Records ----

// The record is filled, as Records::Read would, when what is known so far still stands.
inline QuickReads::Answer QuickReads::Read(const UdbFile& file, Spot& spot, DataTransfer& record) {
  const auto entry = spot.At();
  if (!entry) return Unknown;
  spot.behind = spot.offset + entry->Size();
  if (entry->Form() == EntryForm::Key) return ReadRun(file, entry->Child(), record);
  const Bytes payload = entry->Payload();
  const auto size = static_cast<int>(payload.size());
  if (size == 0 || size > file.maxRead) return Unknown;
  const std::uint8_t* const pageEnd = spot.entries.data() - EntriesAt + PageSize;
  const auto room = static_cast<std::size_t>(pageEnd - payload.data());
  if (platform::UpToStride(payload.size()) <= room &&
      RecordRoom::Fill(record, payload, entry->Checksum())) {
    return Found;
  }
  if (Checksum(payload) != entry->Checksum() || !file.seen.count->Still(file.seen.header)) {
    return Unknown;
  }
  record.SetData(payload.data(), size);
  return record.Size() == size ? Found : Unknown;  // one too long for an external buffer fails
}

QuickReads::Answer QuickReads::ReadRun(const UdbFile& file, std::uint16_t first,
                                       DataTransfer& record) {
  const std::uint32_t version = Load32(file.seen.pages);
  const Page* const start = first == 0 ? nullptr : PageAt(file, first);
  if (start == nullptr || (version != OldVersion && version != CurrentVersion)) return Unknown;
  const RunPrefix prefix = RunPrefix::Load(start->data(), version);
  const std::size_t prefixSize = RunPrefix::SizeFor(version);
  if (prefix.length == 0 || std::int64_t{prefix.length} > file.maxRead ||
      OffsetOf(first) + prefixSize + prefix.length > file.fd->Viewable() ||
      !file.seen.count->Still(file.seen.header)) {
    return Unknown;
  }
  int size = static_cast<int>(prefix.length);
  unsigned char* const target =
      record.ExternalBuffer() ? record.GetExternBuf(size) : record.AllocData(size);
  const auto taken = static_cast<std::size_t>(size);
  std::memcpy(target, start->data() + prefixSize, taken);
  const bool cut = taken != prefix.length;  // for an external buffer; then nothing is summed up
  return cut || Checksum({target, taken}) == prefix.checksum ? Found : Unknown;
}

// ---- Operations ----

bool QuickReads::KnowsHeader(UdbFile& file) {
  return Validated(file, [] { return Found; }) == Found;
}

QuickReads::Answer QuickReads::Get(UdbFile& file, UdbKey bytes, DataTransfer* record) {
  const KEYDESCR kd = file.header.key;
  const auto whole = SoughtKey::Serves(kd) ? KeyAtStart(kd, bytes) : std::nullopt;
  if (!whole || whole->size() > MaxKey) return Unknown;
  const SoughtKey key(kd, *whole);
  Spot spot;
  const Answer answer = Validated(file, [&] {
    // The header may be another by now, after a clearing even with other keys.
    if (file.header.key != kd) return Unknown;
    spot = {};
    const Answer found = Seek(file, key, spot);
    return found == Found && record != nullptr ? Read(file, spot, *record) : found;
  });
  if (answer > Absent) return answer;
  if (spot.page != 0) SetCursor(file, spot);
  if (answer == Absent && spot.page != 0 && MatchesExactly(file)) file.RememberMissed(*whole);
  return answer;
}

// A leaf is copied when a walk comes to it, or is seen to go on in it.
QuickReads::Answer QuickReads::Next(UdbFile& file, DataTransfer& record) {
  Seen& seen = file.seen;
  Spot spot;
  bool copies = false;
  const Answer answer = Validated(file, [&] {
    const Answer found = FromCursor(file, spot);
    if (found != Found) return found;
    copies = seen.walks && !seen.copy.IsOf(seen.header, spot.page);
    if (copies) seen.copy.Take(spot.entries, LeafBehind(file, spot.page));
    return Read(file, spot, record);
  });
  if (answer != Found) return answer;
  SetCursor(file, spot);
  seen.walks = true;
  if (copies) seen.copy.Believe(seen.header, spot.page);
  if (seen.copy.IsOf(seen.header, spot.page)) seen.copy.StandAt(file.cursorOffset, spot.behind);
  return answer;
}

// The entry at the cursor, if its key is at hand there.
QuickReads::Answer QuickReads::KeyAtCursor(UdbFile& file, std::string& key) {
  return Validated(file, [&] {
    Spot spot;
    if (!CursorIsKnown(file) || FirstOf(file, file.cursorPage, spot) != Found) return Unknown;
    const Page* const page0 = PageAt(file, 0);
    if (page0 == nullptr || !InUse(*page0, file.cursorPage)) return Unknown;
    spot.offset = file.cursorOffset;
    const auto entry = spot.At();
    const auto there = entry ? entry->Key(file.header.key) : std::nullopt;
    if (!there) return Unknown;
    key.assign(there->begin(), there->end());
    return Found;
  });
}

QuickReads::Answer QuickReads::GoTo(UdbFile& file, const UdbPosition& place, UdbKey bytes) {
  if (file.cursorPage != place.page || file.cursorOffset != place.offset) return Unknown;
  std::string there;
  if (KeyAtCursor(file, there) != Found) return Unknown;
  const auto wanted = KeyAtStart(file.header.key, bytes);
  const Bytes key(reinterpret_cast<const std::uint8_t*>(there.data()), there.size());
  return wanted && CompareKeys(file.header.key, key, *wanted) == 0 ? Found : Unknown;
}

}  // namespace store
