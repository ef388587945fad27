// Reading and writing of the current file, and what is raised when that fails.
#include "store/workfile.h"

#include <algorithm>
#include <cerrno>

#include "store/bitmap.h"

namespace store {

namespace {

std::uint64_t OffsetOf(std::uint32_t page) { return std::uint64_t{page} * PageSize; }

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
  slotA.filled = slotB.filled = slotH.filled = false;
  dirty = marked = foundDamage = false;
  figureToGiveBack = 0;
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
  ReadBytes(0, slotH.bytes);
  if (!VersionOf(slotH.bytes)) Raise(UDB_FILE_CORRUPTED);
  version = Load32(slotH.bytes.data());
  entry->header = headerBefore = Header::Load(slotH.bytes);
  slotH.filled = true;
}

std::uint32_t WorkFile::Version() {
  if (version != OldVersion && version != CurrentVersion) Raise(UDB_FILE_CORRUPTED);
  return version;
}

void WorkFile::Raise(int code) {
  if (code == UDB_FILE_ACCESS) code = CodeOfErrno(entry->fd ? entry->fd->LastError() : errno);
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

void WorkFile::BeginUndo() {
  if (entry->writable == 0) Raise(UDB_SYSTEM_ERROR);
  if (undo.Active()) return;
  const std::int64_t size = entry->fd->Size();
  if (size < 0) Raise(UDB_SYSTEM_ERROR);
  const UndoLog::Subject subject{entry->path, Identity(), static_cast<std::uint64_t>(size)};
  if (!undo.Begin(subject, *entry->fd)) Raise(UDB_SYSTEM_ERROR);
}

void WorkFile::WriteBytes(std::uint64_t offset, Bytes bytes, int codeOfFailure) {
  // Pages that were free before hold nothing that anybody would miss.
  const auto first = static_cast<std::uint32_t>(offset / PageSize);
  const auto last = static_cast<std::uint32_t>((offset + bytes.size() - 1) / PageSize);
  bool inUse = false;
  for (std::uint32_t page = first; page <= last && !inUse; ++page) inUse = WasInUse(page);
  BeginUndo();
  if (inUse && !undo.Keep(*entry->fd, offset, bytes.size())) Raise(UDB_SYSTEM_ERROR);
  if (!entry->fd->Write(offset, bytes.data(), bytes.size())) Raise(codeOfFailure);
}

void WorkFile::CheckPageNumber(std::uint16_t page) {
  if (page == 0 || page >= MaxPages) Raise(UDB_FILE_CORRUPTED);
}

PageSlot& WorkFile::Fetch(std::uint16_t page, PageSlot& preferred) {
  CheckPageNumber(page);
  if (slotA.Holds(page)) return slotA;
  if (slotB.Holds(page)) return slotB;
  preferred.filled = false;
  ReadBytes(OffsetOf(page), preferred.bytes);
  preferred.number = page;
  ViewOf(preferred);
  preferred.filled = true;
  return preferred;
}

TreePage WorkFile::ViewOf(const PageSlot& slot) {
  const auto view = TreePage::Of(slot.bytes);
  if (!view) Raise(UDB_FILE_CORRUPTED);
  return *view;
}

Entry WorkFile::EntryAt(TreePage page, std::size_t offset) {
  const auto found = page.At(offset);
  if (!found) Raise(UDB_FILE_CORRUPTED);
  return *found;
}

void WorkFile::WritePage(const PageSlot& slot) { WriteBytes(OffsetOf(slot.number), slot.bytes); }

void WorkFile::PatchLink(std::uint16_t neighbour, Link link, const PageSlot& from,
                         std::uint16_t to) {
  if (neighbour == 0) return;
  CheckPageNumber(neighbour);
  // The neighbour must be of the same kind and point back here; else the patch would spread damage.
  const std::size_t place = link == Link::Next ? 4 : 6;
  std::array<std::uint8_t, EntriesAt> head;
  ReadBytes(OffsetOf(neighbour), head);
  if (head[0] != from.bytes[0] || Load16(head.data() + place) != from.number) {
    Raise(UDB_FILE_CORRUPTED);
  }
  std::array<std::uint8_t, 2> value;
  Store16(value.data(), to);
  WriteBytes(OffsetOf(neighbour) + place, value, UDB_SYSTEM_ERROR);
  for (PageSlot* slot : {&slotA, &slotB}) {
    if (slot->Holds(neighbour)) Store16(slot->bytes.data() + place, to);
  }
}

void WorkFile::Mark(std::uint32_t first, std::uint32_t count, bool inUse) {
  if (!marked) pageBefore = slotH.bytes;
  marked = dirty = true;
  // freePages moves by the whole length once for each byte of the bitmap that the run touches: a
  // cautious figure for the test before an insertion, while the bitmap alone decides.
  const std::uint32_t touched = MarkRun(BitmapOf(slotH.bytes), first, count, inUse);
  const auto moved = static_cast<std::uint16_t>(touched * count);
  std::uint16_t& figure = entry->header.freePages;
  figure = static_cast<std::uint16_t>(inUse ? figure - moved : figure + moved);
  // Taken back, pages freed are in use again, and pages first freed and then taken are no loss.
  if (!inUse) figureToGiveBack = static_cast<std::uint16_t>(figureToGiveBack - moved);
  if (inUse && WereAllInUse(first, count)) {
    figureToGiveBack = static_cast<std::uint16_t>(figureToGiveBack + moved);
  }
}

bool WorkFile::WereAllInUse(std::uint32_t first, std::uint32_t count) const {
  for (std::uint32_t page = first; page < first + count; ++page) {
    if (!WasInUse(page)) return false;
  }
  return true;
}

bool WorkFile::WasInUse(std::uint32_t page) const {
  return page >= MaxPages || InUse(marked ? pageBefore : slotH.bytes, page);
}

std::uint16_t WorkFile::AllocateRun(std::uint32_t count) {
  const std::uint32_t first = FindFreeRun(BitmapOf(slotH.bytes), count);
  if (first == 0) Raise(UDB_CANNOT_ALLOCATE_RECORD);
  Mark(first, count, true);
  return static_cast<std::uint16_t>(first);
}

void WorkFile::FreeRun(std::uint16_t first, std::uint32_t count) {
  CheckPageNumber(first);
  if (count > MaxPages - first) Raise(UDB_FILE_CORRUPTED);
  Mark(first, count, false);
}

void WorkFile::AllocatePage(PageSlot& slot) {
  const std::uint16_t page = AllocateRun(1);
  // A damaged bitmap may offer a page of the tree; not the one that is just being split, at least.
  if (slotA.Holds(page) || slotB.Holds(page)) Raise(UDB_FILE_CORRUPTED);
  slot.bytes.fill(0);
  slot.number = page;
  slot.filled = true;
}

void WorkFile::SaveHeader() {
  if (!slotH.filled || (!dirty && entry->header.journal == 0)) return;
  entry->header.Store(slotH.bytes);
  WriteHeaderPage();
}

void WorkFile::WriteHeaderPage() {
  BeginUndo();
  undo.Announce(slotH.bytes);
  WriteBytes(0, slotH.bytes);
}

bool WorkFile::TakeBack() {
  if (!slotH.filled) return true;
  if (undo.Active() && !undo.PutBack(*entry->fd)) return false;
  Header& header = entry->header;
  header.root = headerBefore.root;
  header.firstLeaf = headerBefore.firstLeaf;
  header.depth = headerBefore.depth;
  header.recordCount = headerBefore.recordCount;
  if (!marked) return true;
  header.freePages = static_cast<std::uint16_t>(header.freePages + figureToGiveBack);
  figureToGiveBack = 0;
  const auto before = BitmapOf(static_cast<const Page&>(pageBefore));
  const auto now = BitmapOf(slotH.bytes);
  std::transform(now.begin(), now.end(), before.begin(), now.begin(),
                 [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a | b); });
  return true;
}

}  // namespace store
