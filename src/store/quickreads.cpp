// The quick road to an answer.
#include "store/quickreads.h"

#include <algorithm>
#include <cstring>

#include "store/pagesearch.h"

namespace store {

namespace {

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
  for (int look = 0; look < PagePath::MostLooks; ++look) {
    const std::uint64_t now = seen.count->Now();
    if (!ChangeCount::IsStable(now)) continue;
    const Page* const page0 = PageAt(file, 0);
    if (page0 == nullptr || !VersionOf(*page0)) return false;
    const Header header = Header::Load(*page0);
    const std::uint64_t before = seen.header;
    seen.MoveTo(now, file.cursorPage);
    if (seen.count->Still(now)) {
      file.header = header;
      return true;
    }
    seen.header = before;  // of which there is less left
    seen.start = seen.cursor = Seen::Never;
  }
  return false;
}

// Nobody has changed what was read, and still it does not count.
QuickReads::Answer QuickReads::Disbelieved(UdbFile& file) {
  if (file.fd->Sound()) return Unknown;
  file.seen.pages = nullptr;  // until it is looked at anew, under the lock
  file.seen.copy.Drop();
  return Lost;
}

bool QuickReads::HasMoved(const UdbFile& file) {
  const Seen& seen = file.seen;
  return seen.pages != nullptr && seen.header != Seen::Never && seen.count->Now() != seen.header;
}

// ---- Pages ----

const Page* QuickReads::PageAt(const UdbFile& file, std::uint16_t page) {
  if (page >= MaxPages || OffsetOf(page + 1U) > file.fd->Viewable()) return nullptr;
  return reinterpret_cast<const Page*>(file.seen.pages + OffsetOf(page));
}

std::optional<TreePage> QuickReads::ViewOf(const UdbFile& file, std::uint16_t page) {
  const Page* const bytes = page == 0 ? nullptr : PageAt(file, page);
  return bytes != nullptr ? TreePage::Of(*bytes) : std::nullopt;
}

bool QuickReads::IsLeafThere(const UdbFile& file, std::uint16_t page) {
  const auto view = ViewOf(file, page);
  return view && view->IsLeaf();
}

// Of the keys in the page that the spot has come to. Null: it is not sound.
const KnownPages::Known* QuickReads::LearnOrder(UdbFile& file, Spot& spot) {
  const auto view = ViewOf(file, spot.page);
  if (!view) return nullptr;
  const SoundPage page(*view, file.header.key);
  const auto* const known =
      page.IsSound() ? file.seen.known.AddDirectory(spot.page, spot.version, page) : nullptr;
  if (known != nullptr) spot.entries = EntriesOf(file, spot.page, *known);
  return known;
}

// ---- In the order of keys ----

// The first entry not less, in this leaf or at the start of the next one.
QuickReads::Answer QuickReads::FirstInLeaf(UdbFile& file, const SoughtKey& key, Search& search,
                                           const KnownPages::Known* known) {
  Spot& spot = search.spot;
  for (bool hopped = false;; hopped = true) {
    if (known == nullptr || known->directory == nullptr) known = LearnOrder(file, spot);
    if (known == nullptr || !known->leaf) return Unknown;
    const auto at = known->directory->FirstNotLess(key, search.kd, spot.entries);
    if (!at.found) return Unknown;
    spot.offset = at.offset;
    if (spot.offset < spot.entries.size()) return Found;
    const std::uint16_t next = Load16(file.seen.pages + OffsetOf(spot.page) + 4);
    if (next == 0 || hopped) return next == 0 ? Absent : Unknown;
    spot.page = next;
    if (!Enter(file, search, known)) return Unknown;
  }
}

// By the file's match mode.
QuickReads::Answer QuickReads::Seek(UdbFile& file, const SoughtKey& key, Search& search) {
  const KnownPages::Known* known = nullptr;
  Answer answer = GoDown(file, key, search, known);
  if (answer == Found) answer = FirstInLeaf(file, key, search, known);
  if (answer != Found || file.matchMode != UDB_AFTER) return answer;
  Spot& spot = search.spot;
  const auto entry = spot.At();
  const auto there = entry ? entry->Key(search.kd) : std::nullopt;
  if (!there) return Unknown;
  if (CompareKeys(search.kd, *there, search.key) != 0) return Found;
  return StepOn(file, spot.offset + entry->Size(), spot);
}

QuickReads::Answer QuickReads::GetInOrder(UdbFile& file, const KEYDESCR& kd, Bytes whole,
                                          DataTransfer* record) {
  const SoughtKey key(kd, whole);
  Search search(kd, whole);
  const Answer answer = Validated(file, MostTries, [&] {
    if (file.header.key != kd) return Unknown;
    search.spot = {};
    const Answer found = Seek(file, key, search);
    return found == Found && record != nullptr ? Read(file, search.spot, *record) : found;
  });
  if (answer <= Absent && search.spot.page != 0) SetCursor(file, search.spot, file.seen.header);
  return answer;
}

// ---- On from an entry ----

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

// ---- Records ----

// The record is filled, as Records::Read would, when what is known so far still stands.
QuickReads::Answer QuickReads::Read(const UdbFile& file, Spot& spot, DataTransfer& record,
                                    const PagePath* path) {
  const auto entry = spot.At();
  if (!entry) return Unknown;
  spot.behind = spot.offset + entry->Size();
  if (entry->Form() == EntryForm::Key) return ReadRun(file, entry->Child(), record, path);
  const Bytes payload = entry->Payload();
  const auto size = static_cast<int>(payload.size());
  if (size == 0 || size > file.maxRead) return Unknown;
  const std::uint8_t* const pageEnd = spot.entries.data() - EntriesAt + PageSize;
  const auto room = static_cast<std::size_t>(pageEnd - payload.data());
  if (RecordRoom::Fill(record, payload, entry->Checksum(), room)) return Found;
  if (Checksum(payload) != entry->Checksum() || !IsUnmoved(file, path)) {
    return Unknown;
  }
  record.SetData(payload.data(), size);
  return record.Size() == size ? Found : Unknown;  // one too long for an external buffer fails
}

// What an entry leads to is not written to before the entry's page is told of.
QuickReads::Answer QuickReads::ReadRun(const UdbFile& file, std::uint16_t first,
                                       DataTransfer& record, const PagePath* path) {
  const std::uint32_t version = Load32(file.seen.pages);
  const Page* const start = first == 0 ? nullptr : PageAt(file, first);
  if (start == nullptr || (version != OldVersion && version != CurrentVersion)) return Unknown;
  const RunPrefix prefix = RunPrefix::Load(start->data(), version);
  const std::size_t prefixSize = RunPrefix::SizeFor(version);
  const std::uint64_t begin = OffsetOf(first) + prefixSize;
  const std::uint64_t end = file.fd->Viewable();
  if (prefix.length == 0 || std::int64_t{prefix.length} > file.maxRead ||
      begin + prefix.length > end || !IsUnmoved(file, path)) {
    return Unknown;
  }
  const Bytes there(file.seen.pages + begin, prefix.length);
  if (RecordRoom::Fill(record, there, prefix.checksum, end - begin)) return Found;
  int size = static_cast<int>(prefix.length);
  unsigned char* const target =
      record.ExternalBuffer() ? record.GetExternBuf(size) : record.AllocData(size);
  const auto taken = static_cast<std::size_t>(size);
  std::memcpy(target, there.data(), taken);
  const bool cut = taken != prefix.length;  // for an external buffer; then nothing is summed up
  return cut || Checksum({target, taken}) == prefix.checksum ? Found : Unknown;
}

// ---- Operations ----

bool QuickReads::KnowsHeader(UdbFile& file) {
  return Validated(file, MostTries, [] { return Found; }) == Found;
}

QuickReads::Answer QuickReads::Get(UdbFile& file, UdbKey bytes, DataTransfer* record) {
  const KEYDESCR kd = file.header.key;
  const auto whole = SoughtKey::Serves(kd) ? KeyAtStart(kd, bytes) : std::nullopt;
  if (!whole || whole->size() > MaxKey) return Unknown;
  if (!MatchesExactly(file)) return GetInOrder(file, kd, *whole, record);
  const std::uint32_t mark = KeyMark(kd, *whole);
  const Answer answer = GetKnown(file, kd, *whole, mark, record);
  return answer <= Absent ? answer : GetByTree(file, kd, *whole, mark, record);
}

// A leaf is copied when a walk comes to it, or is seen to go on in it.
QuickReads::Answer QuickReads::Next(UdbFile& file, DataTransfer& record) {
  Seen& seen = file.seen;
  Spot spot;
  bool copies = false;
  const Answer answer = Validated(file, MostTries, [&] {
    const Answer found = FromCursor(file, spot);
    if (found != Found) return found;
    spot.version = seen.count->VersionOf(spot.page);
    copies = seen.walks && file.maxRead >= static_cast<std::int32_t>(MaxEntry) &&
             !seen.copy.IsOf(seen.header, spot.page);
    if (copies) seen.copy.Take(spot.entries, LeafBehind(file, spot.page));
    return Read(file, spot, record);
  });
  if (answer != Found) return answer;
  SetCursor(file, spot, seen.header);
  seen.walks = true;
  if (copies) seen.copy.Believe(seen.header, spot.page);
  if (seen.copy.IsOf(seen.header, spot.page)) seen.copy.StandAt(spot.behind);
  return answer;
}

// The entry at the cursor, if its key is at hand there.
QuickReads::Answer QuickReads::KeyAtCursor(UdbFile& file, std::string& key) {
  return Validated(file, MostTries, [&] {
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
