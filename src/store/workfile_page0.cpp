// Page 0 of the current file as it is to become: the bitmap, which gives pages out and takes them
// back, and the header; and with it the end of an operation, which stands or is taken back.
#include <algorithm>

#include "store/bitmap.h"
#include "store/workfile.h"

namespace store {

void WorkFile::Mark(std::uint32_t first, std::uint32_t count, bool inUse) {
  const Bitmap bitmap = BitmapOf(OwnStartOfPage0(PageSize));
  changedLength = std::max<std::size_t>(changedLength, HeaderEnd + (first + count + 7) / 8);
  dirty = true;
  // freePages moves by the whole length once for each byte of the bitmap that the run touches: a
  // cautious figure for the test before an insertion, while the bitmap alone decides.
  const std::uint32_t touched = MarkRun(bitmap, first, count, inUse);
  const auto moved = static_cast<std::uint16_t>(touched * count);
  std::uint16_t& figure = entry->header.freePages;
  figure = static_cast<std::uint16_t>(inUse ? figure - moved : figure + moved);
  for (std::uint32_t page = first; page < first + count; ++page) {
    entry->seen.orders.Drop(static_cast<std::uint16_t>(page));  // a bitmap may be wrong
  }
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

std::uint16_t WorkFile::AllocateRun(std::uint32_t count) {
  const std::uint32_t first = FindFreeRun(BitmapOf(Page0Now()), count);
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
  slot.Fresh();
  slot.kept = false;
  slot.there = nullptr;
  slot.number = page;
  slot.filled = true;
  // One that was free before is of no value, and need not be kept.
  if (!slotH.IsInPlace() || !entry->OnlyOursToChange() || WasInUse(page)) return;
  BeginUndo();
  NeedSize(OffsetOf(page), PageSize);
  GrowAhead(OffsetOf(page) + PageSize);
  ChangeInPlace(slot);
}

Page& WorkFile::OwnHeaderPage() {
  changedLength = PageSize;
  return OwnStartOfPage0(PageSize);
}

Page& WorkFile::OwnStartOfPage0(std::size_t bytes) {
  if (ownedLength < bytes) {
    const Bytes rest = Bytes(slotH.Bytes()).first(bytes).subspan(ownedLength);
    std::copy(rest.begin(), rest.end(), &page0[ownedLength]);
    CheckSound();
    ownedLength = bytes;
  }
  return page0;
}

void WorkFile::SaveHeader() {
  if (!slotH.filled || (!dirty && entry->header.journal == 0)) return;
  entry->header.Store(OwnStartOfPage0(HeaderEnd));
  WriteHeaderPage();
}

// In one piece, up to the last byte that changed.
void WorkFile::WriteHeaderPage() {
  const Bytes start = Bytes(OwnStartOfPage0(HeaderEnd)).first(changedLength);
  BeginUndo();
  undo.Announce(start);
  const Bytes before = slotH.Bytes();
  if (!std::equal(&start[0], &start[RootEnd], &before[0])) NoteWrite(0);
  Write(0, start, UDB_FILE_ACCESS);
  entry->seen.page0Length = std::max(entry->seen.page0Length, changedLength);
}

void WorkFile::Commit() {
  if (!tail.Drop(*entry->fd)) Raise(UDB_SYSTEM_ERROR);
  undo.Drop(!takenBack);
}

bool WorkFile::TakeBack() {
  if (!slotH.filled) return true;
  entry->needed = neededBefore;
  takenBack = true;
  entry->seen.known.DropAll();
  if (undo.Active() && !undo.PutBack(*entry->fd)) {
    // What is kept in the file itself is found there.
    if (!entry->OnlyOursToChange()) undo.Drop();
    return false;
  }
  tail.WasCut();
  if (!entry->fd->Sound()) {
    const auto got = entry->fd->Read(0, slotH.Fresh().data(), PageSize);
    if (got != static_cast<std::ptrdiff_t>(PageSize)) return false;
  }
  Header& header = entry->header;
  header.root = headerBefore.root;
  header.firstLeaf = headerBefore.firstLeaf;
  header.depth = headerBefore.depth;
  header.recordCount = headerBefore.recordCount;
  if (ownedLength < PageSize) return true;
  header.freePages = static_cast<std::uint16_t>(header.freePages + figureToGiveBack);
  figureToGiveBack = 0;
  const auto before = BitmapOf(slotH.Bytes());
  const auto now = BitmapOf(page0);
  std::transform(now.begin(), now.end(), before.begin(), now.begin(),
                 [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a | b); });
  return true;
}

}  // namespace store
