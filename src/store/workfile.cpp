// Reading and writing of the current file, and what is raised when that fails.
#include "store/workfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/prefetch.h"
#include "store/bitmap.h"
#include "store/pageeditor.h"

namespace store {

namespace {

// Files from this size on grow by more than they need.
constexpr std::uint64_t AheadFrom = OffsetOf(64);
constexpr std::uint64_t Ahead = OffsetOf(16);

int CodeOfErrno(int error) {
  switch (error) {
    case ENOENT:
      return UDB_NONEXISTENT_FILE;
    case EMFILE:
      return UDB_TOO_MANY_OPEN_FILES;
    default:
      return UDB_SYSTEM_ERROR;
  }
}

}  // namespace

void WorkFile::Attach(UdbFile& file) {
  entry = &file;
  tail.Forget();
  slotA.filled = slotB.filled = slotH.filled = false;
  dirty = foundDamage = false;
  ownedLength = 0;
  changedLength = HeaderEnd;
  takenBack = false;
  figureToGiveBack = 0;
  neededBefore = file.needed;
  if (!file.fd->Sound()) {
    file.seen.Forget();
    file.seen.pages = nullptr;
  }
  file.fd->Renew();
}

// An update in a file that cannot be told from others could not be taken back.
const platform::FileIdentity& WorkFile::Identity() {
  if (entry->identity == platform::FileIdentity{} && !entry->fd->Identity(entry->identity)) {
    Raise(UDB_SYSTEM_ERROR);
  }
  return entry->identity;
}

void WorkFile::Mend() {
  if (!undo.OwesAnybody()) return;
  VirtualFile* const file = entry->writable != 0 ? entry->fd.get() : nullptr;
  if (!undo.Mend(Identity(), file, entry->path)) Raise(UDB_SYSTEM_ERROR);
}

void WorkFile::LoadHeader() {
  slotA.filled = slotB.filled = slotH.filled = false;
  FillFrom(0, slotH);
  if (!VersionOf(slotH.Bytes())) Raise(UDB_FILE_CORRUPTED);
  version = Load32(slotH.Bytes().data());
  headerBefore = Header::Load(slotH.Bytes());
  // Changed, and nobody counted that: something that is not this library has written to the file.
  Seen& seen = entry->seen;
  const bool changedSince = entry->header != headerBefore;
  if (changedSince && seen.count != nullptr && seen.count->Still(seen.header)) seen.Forget();
  entry->header = headerBefore;
  CheckSound();
  slotH.filled = true;
}

void WorkFile::Learn() {
  Seen& seen = entry->seen;
  // Where others may change the file, they count elsewhere.
  const bool isKnown = entry->identity != platform::FileIdentity{} && entry->OnlyOursToChange();
  ChangeCount* const count = isKnown ? undo.CountOf(entry->identity) : nullptr;
  // In other memory other cuts are counted.
  if (undo.Cuts() != entry->cutsSeen || count != seen.count) entry->fd->Shrunk();
  entry->cutsSeen = undo.Cuts();
  const std::uint64_t now = count != nullptr ? count->Now() : Seen::Never;
  if (count != seen.count || !ChangeCount::IsStable(now)) seen.Forget();
  seen.CountBy(count);
  if (ChangeCount::IsStable(now) && now != seen.header) seen.MoveTo(now, entry->cursorPage);
  const bool inPlace = slotH.IsInPlace() && seen.header != Seen::Never;
  seen.pages = inPlace ? slotH.Bytes().data() : nullptr;
}

void WorkFile::LearnOwnChanges() {
  Seen& seen = entry->seen;
  if (seen.header == Seen::Never) return;
  seen.header = seen.count->Now();
  seen.start = seen.count->VersionOf(0);
  if (!ChangeCount::IsStable(seen.header)) seen.Forget();
}

std::optional<PageOrder::Found> WorkFile::KnownPlace(const PageSlot& slot, const TreePage& view,
                                                     Bytes key) {
  Seen& seen = entry->seen;
  if (seen.pages == nullptr || !slot.IsInPlace() || !OrderedKey::Serves(KeyDescr())) {
    return std::nullopt;
  }
  return seen.orders.Find(slot.number, view, KeyDescr(), key);
}

void WorkFile::Prefetch(std::uint16_t page) const {
  const Seen& seen = entry->seen;
  if (seen.pages == nullptr) return;
  platform::Prefetch(seen.pages + OffsetOf(page));
  seen.orders.Prefetch(page);
}

void WorkFile::CheckSound() {
  if (!entry->fd->Sound()) Raise(UDB_SYSTEM_ERROR);
}

std::uint32_t WorkFile::Version() {
  if (version != OldVersion && version != CurrentVersion) Raise(UDB_FILE_CORRUPTED);
  return version;
}

void WorkFile::Raise(int code) {
  if (code == UDB_FILE_ACCESS) code = CodeOfErrno(entry->fd ? entry->fd->LastError() : errno);
  // What looked damaged may have been zeros in place of bytes that could not be had.
  if (entry->fd && !entry->fd->Sound()) code = UDB_SYSTEM_ERROR;
  if (code == UDB_FILE_CORRUPTED && slotH.filled && entry->writable != 0) {
    entry->header.corrupted = 1;
    foundDamage = true;
  }
  errno = 0;
  throw StoreFailure{code};
}

void WorkFile::ReadBytes(std::uint64_t offset, std::span<std::uint8_t> out) {
  const std::ptrdiff_t got = entry->fd->Read(offset, out.data(), out.size());
  if (got == static_cast<std::ptrdiff_t>(out.size())) return;
  // A page that a link leads to and the file does not have is damage; a page 0 that is not there
  // whole means that this is no store file at all.
  const std::int64_t size = got < 0 ? -1 : entry->fd->Size();
  const bool beyond = size >= 0 && offset + out.size() > static_cast<std::uint64_t>(size);
  Raise(offset > 0 && beyond ? UDB_FILE_CORRUPTED : UDB_SYSTEM_ERROR);
}

// A page is looked at where it lies if that can be. Nobody who keeps to the lock changes it
// meanwhile but this operation.
void WorkFile::FillFrom(std::uint16_t page, PageSlot& slot) {
  if (const std::byte* const there = entry->fd->View(OffsetOf(page), PageSize)) {
    slot.LookAt(*reinterpret_cast<const Page*>(there));
  } else {
    ReadBytes(OffsetOf(page), slot.Fresh());
  }
}

void WorkFile::BeginUndo() {
  if (entry->writable == 0) Raise(UDB_SYSTEM_ERROR);
  if (undo.Active()) return;
  const Bytes page = slotH.Bytes();
  if (!undo.Begin({entry->path, Identity()}, page.first(LengthOfPage0()))) Raise(UDB_SYSTEM_ERROR);
  if (!entry->fd->Sound()) {
    undo.Drop();
    Raise(UDB_SYSTEM_ERROR);
  }
  BeginTail();
}

// Behind these bytes page 0 has nothing but zeros.
std::size_t WorkFile::LengthOfPage0() {
  std::size_t& length = entry->seen.page0Length;
  if (length != 0 && entry->seen.header != Seen::Never) return length;
  const Bytes page = slotH.Bytes();
  constexpr std::size_t Step = 64;
  static constexpr std::array<std::uint8_t, Step> Zeros{};
  length = PageSize;
  while (length > Step && std::memcmp(&page[length - Step], Zeros.data(), Step) == 0) {
    length -= Step;
  }
  return length;
}

void WorkFile::Keep(std::uint64_t offset, Bytes bytes) {
  if (!undo.Keep(*entry->fd, offset, bytes)) Raise(UDB_SYSTEM_ERROR);
}

void WorkFile::BeginTail() {
  if (entry->OnlyOursToChange()) return;
  const std::int64_t there = entry->fd->Size();
  if (there < 0) {
    undo.Drop();
    Raise(UDB_SYSTEM_ERROR);
  }
  auto size = static_cast<std::uint64_t>(there);
  // What goes on where tails lie and is none, be it the bare beginning of one, belongs to nothing.
  for (std::uint32_t page = MaxPages; size > TailUndo::Place; --page) {
    if (WasInUse(page - 1)) size = OffsetOf(page);
  }
  undo.SetSize(size);
  tail.Begin(size);
}

void WorkFile::WriteBytes(std::uint64_t offset, Bytes bytes, int codeOfFailure) {
  // Pages that were free before hold nothing that anybody would miss.
  const auto first = static_cast<std::uint32_t>(offset / PageSize);
  const auto last = static_cast<std::uint32_t>((offset + bytes.size() - 1) / PageSize);
  bool inUse = false;
  for (std::uint32_t page = first; page <= last; ++page) inUse = inUse || WasInUse(page);
  BeginUndo();
  if (inUse) NeedSize(offset, bytes.size());
  if (inUse && !undo.Keep(*entry->fd, offset, bytes.size())) Raise(UDB_SYSTEM_ERROR);
  for (std::uint32_t page = first; page <= last; ++page) {
    if (WasInUse(page)) {
      NoteChange(page);
    } else {
      NoteWrite(page);
    }
  }
  Write(offset, bytes, codeOfFailure);
}

bool WorkFile::WasInUse(std::uint32_t page) const {
  return page >= MaxPages || InUse(slotH.Bytes(), page);
}

// The undo record must have the file's size before the file may grow, and before bytes are asked
// for that it may not have. What can be looked at lies within.
void WorkFile::NeedSize(std::uint64_t offset, std::size_t n) {
  if (undo.KnowsSize() || entry->fd->View(offset, n) != nullptr) return;
  const std::int64_t size = entry->fd->Size();
  if (size < 0) Raise(UDB_SYSTEM_ERROR);
  undo.SetSize(static_cast<std::uint64_t>(size));
}

void WorkFile::Write(std::uint64_t offset, Bytes bytes, int codeOfFailure) {
  NeedSize(offset, bytes.size());
  GrowAhead(offset + bytes.size());
  const std::uint64_t end = offset + bytes.size();
  if (!entry->OnlyOursToChange() && !tail.Keep(*entry->fd, undo.InWork(), end)) {
    Raise(codeOfFailure);
  }
  if (!entry->fd->Write(offset, bytes.data(), bytes.size())) Raise(codeOfFailure);
}

// One page after another is dear, some at once are cheap. Only where all who use the file learn of
// its being cut again. REQUIRES: the undo record has the size of a file that does not reach there.
void WorkFile::GrowAhead(std::uint64_t end) {
  if (entry->needed != 0) entry->needed = std::max(entry->needed, end);
  if (end <= AheadFrom || end <= entry->fd->Viewable() || !undo.IsShared()) return;
  if (entry->fd->View(end - 1, 1) != nullptr) return;
  const std::uint64_t size = entry->fd->Viewable();
  if (size < AheadFrom || end - size > Ahead) return;
  if (entry->needed == 0) entry->needed = std::max(size, end);
  entry->fd->Extend(std::min(end + Ahead, OffsetOf(MaxPages)));  // if not, Write does what it can
}

void WorkFile::CutToNeed(UdbFile& file) {
  if (file.needed == 0 || undo.Owes(file.identity)) return;
  Attach(file);
  LoadHeader();
  Learn();
  const std::uint32_t pages = std::max(EndOfUse(BitmapOf(slotH.Bytes())), 1U);
  const std::uint64_t end = std::max(file.needed, OffsetOf(pages));
  const std::int64_t size = file.fd->Size();
  if (!file.fd->Sound()) return;  // what looked free may have been zeros
  if (size <= static_cast<std::int64_t>(end) || size > static_cast<std::int64_t>(end + Ahead)) {
    return;
  }
  undo.BeginCut(file.identity);
  file.fd->Truncate(end);
  undo.EndCut(file.identity);
}

void WorkFile::CheckPageNumber(std::uint16_t page) {
  if (page == 0 || page >= MaxPages) Raise(UDB_FILE_CORRUPTED);
}

PageSlot& WorkFile::Fetch(std::uint16_t page, PageSlot& preferred) {
  CheckPageNumber(page);
  if (slotA.Holds(page)) return slotA;
  if (slotB.Holds(page)) return slotB;
  preferred.filled = preferred.kept = false;
  preferred.there = nullptr;
  FillFrom(page, preferred);
  preferred.number = page;
  ViewOf(preferred);
  preferred.filled = true;
  return preferred;
}

PageSlot& WorkFile::FetchForChange(std::uint16_t page, PageSlot& preferred) {
  PageSlot& slot = Fetch(page, preferred);
  const bool inPlace = slot.IsInPlace() && entry->OnlyOursToChange() && entry->writable != 0;
  if (!inPlace) slot.Own();
  CheckSound();
  ViewOf(slot);
  // Of a file that may not be written, the attempt to write is what fails.
  if (slot.kept || entry->writable == 0) return slot;
  BeginUndo();
  Keep(OffsetOf(page), slot.Bytes());
  slot.kept = true;
  if (inPlace) ChangeInPlace(slot);
  if (inPlace && slot.there == nullptr) Raise(UDB_SYSTEM_ERROR);
  return slot;
}

void WorkFile::ChangeInPlace(PageSlot& slot) {
  NoteWrite(slot.number);
  slot.there = reinterpret_cast<Page*>(entry->fd->Place(OffsetOf(slot.number), PageSize));
  if (slot.there != nullptr) slot.LookAt(*slot.there);
}

TreePage WorkFile::ViewOf(const PageSlot& slot) {
  const auto view = TreePage::Of(slot.Bytes());
  if (!view) Raise(UDB_FILE_CORRUPTED);
  return *view;
}

Entry WorkFile::EntryAt(TreePage page, std::size_t offset) {
  const auto found = page.At(offset);
  if (!found) Raise(UDB_FILE_CORRUPTED);
  return *found;
}

void WorkFile::Splice(PageSlot& slot, std::size_t offset, std::size_t removed, Bytes entry) {
  const std::size_t used = ViewOf(slot).Used();
  if (offset + removed > used) Raise(UDB_FILE_CORRUPTED);
  const std::size_t now = used - removed + entry.size();
  if (now >= EntriesEnd) Raise(UDB_FILE_CORRUPTED);
  const std::uint64_t page = OffsetOf(slot.number);
  const std::size_t touched = now == used ? removed : std::max(used, now) - offset;
  BeginUndo();
  const Bytes bytes = slot.Bytes();
  Keep(page + EntriesAt + offset, bytes.subspan(EntriesAt + offset, touched));
  if (now != used) Keep(page + UsedAt, bytes.subspan(UsedAt, 2));
  if (slot.IsInPlace() && File().OnlyOursToChange()) {
    std::byte* const place = File().fd->Place(page, PageSize);
    if (place == nullptr) Raise(UDB_SYSTEM_ERROR);
    NoteWrite(slot.number);
    PageEditor(*reinterpret_cast<Page*>(place), used).Splice(offset, removed, entry);
    Orders().Splice(slot.number, KeyDescr(), offset, removed, entry);
    return;
  }
  NoteChange(slot.number);
  PageEditor(slot.Own()).Splice(offset, removed, entry);
  Write(page, slot.Bytes(), UDB_FILE_ACCESS);
}

// Of a file that may not be written, the attempt to write is what fails.
void WorkFile::NoteWrite(std::uint32_t page) {
  entry->seen.known.Drop(static_cast<std::uint16_t>(page));
  if (entry->writable == 0) return;
  BeginUndo();
  undo.Tell(static_cast<std::uint16_t>(page));
}

void WorkFile::NoteChange(std::uint32_t page) {
  entry->seen.orders.Drop(static_cast<std::uint16_t>(page));
  NoteWrite(page);
}

void WorkFile::WritePage(const PageSlot& slot) {
  if (slot.there != nullptr) return;
  if (slot.kept) {
    NoteWrite(slot.number);
    Write(OffsetOf(slot.number), slot.Bytes(), UDB_FILE_ACCESS);
  } else {
    WriteBytes(OffsetOf(slot.number), slot.Bytes());
  }
}

void WorkFile::PatchLink(std::uint16_t neighbour, Link link, const PageSlot& from,
                         std::uint16_t to) {
  if (neighbour == 0) return;
  CheckPageNumber(neighbour);
  // The neighbour must be of the same kind and point back here; else the patch would spread damage.
  const std::size_t place = link == Link::Next ? 4 : 6;
  std::array<std::uint8_t, EntriesAt> head;
  ReadBytes(OffsetOf(neighbour), head);
  if (head[0] != from.Bytes()[0] || Load16(head.data() + place) != from.number) {
    Raise(UDB_FILE_CORRUPTED);
  }
  std::array<std::uint8_t, 2> value;
  Store16(value.data(), to);
  BeginUndo();
  const std::uint64_t at = OffsetOf(neighbour) + place;
  Keep(at, Bytes(head).subspan(place, value.size()));
  Write(at, value, UDB_SYSTEM_ERROR);
  for (PageSlot* slot : {&slotA, &slotB}) {
    if (slot->Holds(neighbour) && !slot->IsInPlace()) Store16(slot->Own().data() + place, to);
  }
}

}  // namespace store
