// The quick road to an answer.
#include "store/quickreads.h"

#include <algorithm>
#include <cstring>

namespace store {

namespace {

constexpr int MostTries = 4;
constexpr int MostLooks = 200;                  // at a count that is odd, before the lock is taken
constexpr std::size_t MostLevels = 7;           // of pages, as a descent under the lock can pass
constexpr std::size_t ScratchSize = 64U << 10;  // longer records are read under the lock

std::uint64_t OffsetOf(std::uint32_t page) { return std::uint64_t{page} * PageSize; }

void SetCursor(UdbFile& file, std::uint16_t page, std::size_t offset) {
  file.cursorPage = page;
  file.cursorOffset = static_cast<std::uint16_t>(offset);
  file.missedSize = 0;
  file.seen.cursor = file.seen.header;
}

bool MatchesExactly(const UdbFile& file) {
  return file.matchMode != UDB_AT_OR_AFTER && file.matchMode != UDB_AFTER;
}

}  // namespace

// ---- Whether what was read counts ----

bool QuickReads::CatchUp(UdbFile& file) {
  const Seen& seen = file.seen;
  if (seen.pages == nullptr) return false;
  return seen.count->Now() == seen.header || Relearn(file);
}

bool QuickReads::Relearn(UdbFile& file) {
  Seen& seen = file.seen;
  for (int look = 0; look < MostLooks; ++look) {
    const std::uint64_t now = seen.count->Now();
    if (!ChangeCount::IsStable(now)) continue;
    if (file.fd->Viewable() < PageSize) return false;
    const Page& page0 = *reinterpret_cast<const Page*>(seen.pages);
    if (!VersionOf(page0)) return false;
    const Header header = Header::Load(page0);
    if (!seen.count->Still(now)) continue;
    seen.Forget();
    file.header = header;
    seen.header = now;
    return true;
  }
  return false;
}

// The clock is asked last: whatever was read then is older than its answer.
bool QuickReads::Stands(const UdbFile& file) {
  return file.seen.count->Still(file.seen.header) && file.fd->Sound() &&
         CurrentHost().StillShared();
}

// The body reads, and changes nothing that anybody sees.
template <typename Body>
QuickReads::Answer QuickReads::Validated(UdbFile& file, Body body) {
  for (int tries = MostTries; tries > 0 && CatchUp(file); --tries) {
    const Answer answer = body();
    if (Stands(file)) return answer;
    if (!file.seen.count->Still(file.seen.header)) continue;
    if (file.fd->Sound()) return Unknown;
    file.seen.pages = nullptr;  // until it is looked at anew, under the lock
    return Lost;
  }
  return Unknown;
}

// ---- Pages ----

const PageDirectory* QuickReads::Directory(UdbFile& file, std::uint16_t page) {
  Seen& seen = file.seen;
  if (const PageDirectory* const found = seen.directories.Find(page)) return found;
  if (page == 0 || page >= MaxPages || OffsetOf(page + 1U) > file.fd->Viewable()) return nullptr;
  const auto view = TreePage::Of(*reinterpret_cast<const Page*>(seen.pages + OffsetOf(page)));
  return view ? seen.directories.Make(page, *view, file.header.key) : nullptr;
}

std::optional<TreePage> QuickReads::Leaf(const UdbFile& file, std::uint16_t page) {
  if (page == 0 || page >= MaxPages || OffsetOf(page + 1U) > file.fd->Viewable()) {
    return std::nullopt;
  }
  const auto view = TreePage::Of(*reinterpret_cast<const Page*>(file.seen.pages + OffsetOf(page)));
  return view && view->IsLeaf() ? view : std::nullopt;
}

// As Tree::Descend. Links that lead in a circle lead on for ever, and so past the last level.
QuickReads::Answer QuickReads::Descend(UdbFile& file, const SoughtKey& key, Spot& spot) {
  const KEYDESCR& kd = file.header.key;
  spot.page = file.header.root;
  bool hopped = false;
  for (std::size_t level = 0; level < MostLevels; ++level) {
    const PageDirectory* const directory = Directory(file, spot.page);
    if (directory == nullptr || (hopped && !directory->IsLeaf())) return Unknown;
    const std::uint8_t* const page = file.seen.pages + OffsetOf(spot.page);
    const Bytes entries(page + EntriesAt, directory->Used());
    if (directory->IsLeaf() && MatchesExactly(file)) {
      spot.entry = directory->Find(key, kd, entries);
      if (!spot.entry) return Absent;
      spot.offset = static_cast<std::size_t>(spot.entry->Whole().data() - entries.data());
      return Found;
    }
    const auto at = directory->FirstNotLess(key, kd, entries);
    if (!at) return Unknown;
    if (!directory->IsLeaf()) {
      spot.page = at->child;
      continue;
    }
    spot.offset = at->offset;
    spot.entry = Entry::At(entries, spot.offset, true);
    if (spot.entry) return Found;
    if (Load16(page + 4) == 0) return Absent;
    spot.page = Load16(page + 4);
    hopped = true;
  }
  return Unknown;
}

// By the file's match mode.
QuickReads::Answer QuickReads::Seek(UdbFile& file, const SoughtKey& key, Spot& spot) {
  if (file.header.root == 0) return Absent;
  const Answer answer = Descend(file, key, spot);
  if (answer != Found || file.matchMode != UDB_AFTER) return answer;
  const auto there = spot.entry->Key(file.header.key);
  if (!there) return Unknown;
  return CompareKeys(file.header.key, *there, key.Whole()) == 0 ? StepOn(file, spot) : Found;
}

// The first entry of the next leaf, if the chain ascends.
QuickReads::Answer QuickReads::NextLeaf(UdbFile& file, const TreePage& leaf, const Entry& last,
                                        Spot& spot) {
  const std::uint16_t number = leaf.Next();
  if (number == 0) return Absent;
  const auto next = Leaf(file, number);
  if (!next) return Unknown;
  const auto first = next->At(0);
  if (!first) return Unknown;
  const auto before = last.Key(file.header.key);
  const auto behind = first->Key(file.header.key);
  if (!before || !behind || CompareKeys(file.header.key, *before, *behind) >= 0) return Unknown;
  spot = {number, 0, first};
  return Found;
}

// From an entry to the next. At the end, the spot stays.
QuickReads::Answer QuickReads::StepOn(UdbFile& file, Spot& spot) {
  const auto leaf = Leaf(file, spot.page);
  const auto entry = leaf ? leaf->At(spot.offset) : std::nullopt;
  if (!entry) return Unknown;
  const std::size_t behind = spot.offset + entry->Size();
  if (behind >= leaf->Used()) return NextLeaf(file, *leaf, *entry, spot);
  spot.entry = leaf->At(behind);
  spot.offset = behind;
  return spot.entry ? Found : Unknown;
}

// ---- Records ----

// Copied first, summed up then: the bytes handed out are those that were tested.
QuickReads::Answer QuickReads::Read(const UdbFile& file, const Entry& entry, Copy& copy) {
  if (scratch.empty()) scratch.resize(ScratchSize);
  copy.bytes = scratch.data();
  if (entry.Form() == EntryForm::Key) return ReadRun(file, entry.Child(), copy);
  const Bytes payload = entry.Payload();
  copy.size = payload.size();
  if (copy.size == 0 || static_cast<std::int64_t>(copy.size) > file.maxRead) return Unknown;
  std::memcpy(scratch.data(), payload.data(), payload.size());
  return Checksum({copy.bytes, copy.size}) == entry.Checksum() ? Found : Unknown;
}

QuickReads::Answer QuickReads::ReadRun(const UdbFile& file, std::uint16_t first, Copy& copy) {
  const std::uint32_t version = Load32(file.seen.pages);
  if (version != OldVersion && version != CurrentVersion) return Unknown;
  const std::uint64_t at = OffsetOf(first);
  const std::uint64_t limit = file.fd->Viewable();
  if (first == 0 || first >= MaxPages || at + PageSize > limit) return Unknown;
  const RunPrefix prefix = RunPrefix::Load(file.seen.pages + at, version);
  const std::uint64_t from = at + RunPrefix::SizeFor(version);
  if (prefix.length == 0 || prefix.length > ScratchSize || from + prefix.length > limit ||
      std::int64_t{prefix.length} > file.maxRead ||
      RunPages(version, prefix.length) > MaxPages - first) {
    return Unknown;
  }
  std::memcpy(scratch.data(), file.seen.pages + from, prefix.length);
  copy.size = prefix.length;
  copy.isRun = true;
  return Checksum({copy.bytes, copy.size}) == prefix.checksum ? Found : Unknown;
}

// As Records::Read leaves it. A short record that an external buffer does not hold fails there.
QuickReads::Answer QuickReads::HandOut(const Copy& copy, DataTransfer& record) {
  const auto size = static_cast<int>(copy.size);
  if (!copy.isRun) {
    record.SetData(copy.bytes, size);
    return record.Size() == size ? Found : Unknown;
  }
  int taken = size;
  unsigned char* const target =
      record.ExternalBuffer() ? record.GetExternBuf(taken) : record.AllocData(size);
  std::memcpy(target, copy.bytes, static_cast<std::size_t>(taken));
  return Found;
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
  Copy copy;
  const Answer answer = Validated(file, [&] {
    // The header may be another by now, after a clearing even with other keys.
    if (file.header.key != kd) return Unknown;
    spot = {};
    const Answer found = Seek(file, key, spot);
    return found == Found && record != nullptr ? Read(file, *spot.entry, copy) : found;
  });
  if (answer == Found && record != nullptr && HandOut(copy, *record) != Found) return Unknown;
  if (answer > Absent) return answer;
  if (spot.page != 0) SetCursor(file, spot.page, spot.offset);
  if (answer == Absent && spot.page != 0 && MatchesExactly(file)) {
    file.missedSize = static_cast<std::uint8_t>(whole->size());
    std::memcpy(file.missed.data(), whole->data(), whole->size());
  }
  return answer;
}

QuickReads::Answer QuickReads::Next(UdbFile& file, DataTransfer& record) {
  Spot spot;
  Copy copy;
  const Answer answer = Validated(file, [&] {
    if (file.header.recordCount == 0) return Absent;
    spot = {file.cursorPage, file.cursorOffset, {}};
    Answer found;
    if (spot.page == 0) {
      const auto leaf = Leaf(file, file.header.firstLeaf);
      spot = {file.header.firstLeaf, 0, leaf ? leaf->At(0) : std::nullopt};
      found = spot.entry ? Found : Unknown;
    } else {
      const bool known = file.missedSize == 0 && file.seen.cursor == file.seen.header;
      found = known ? StepOn(file, spot) : Unknown;
    }
    return found == Found ? Read(file, *spot.entry, copy) : found;
  });
  if (answer != Found) return answer;
  if (HandOut(copy, record) != Found) return Unknown;
  SetCursor(file, spot.page, spot.offset);
  return Found;
}

QuickReads::Answer QuickReads::KeyAtCursor(UdbFile& file, std::string& key) {
  return Validated(file, [&] {
    if (file.missedSize != 0 || file.seen.cursor != file.seen.header) return Unknown;
    const auto leaf = Leaf(file, file.cursorPage);
    const auto entry = leaf ? leaf->At(file.cursorOffset) : std::nullopt;
    const auto there = entry ? entry->Key(file.header.key) : std::nullopt;
    if (!there) return Unknown;
    key.assign(there->begin(), there->end());
    return Found;
  });
}

QuickReads::Answer QuickReads::GoTo(UdbFile& file, const UdbPosition& place, UdbKey bytes) {
  const Answer answer = Validated(file, [&] {
    const KEYDESCR& kd = file.header.key;
    if (file.seen.cursor != file.seen.header || file.cursorPage != place.page ||
        file.cursorOffset != place.offset) {
      return Unknown;  // whether an entry begins there
    }
    const auto leaf = Leaf(file, place.page);
    const auto entry = leaf ? leaf->At(place.offset) : std::nullopt;
    const auto there = entry ? entry->Key(kd) : std::nullopt;
    const auto wanted = KeyAtStart(kd, bytes);
    const bool same = there && wanted && CompareKeys(kd, *there, *wanted) == 0;
    return same ? Found : Unknown;
  });
  if (answer == Found) file.missedSize = 0;
  return answer;
}

}  // namespace store
