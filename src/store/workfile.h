// The file that an operation works on: its header, its page slots, its bitmap, and the way every
// failure is raised. One object serves all files in turn; nothing read survives an operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "store/failure.h"
#include "store/openfiles.h"
#include "store/page.h"
#include "store/tailundo.h"
#include "store/undo.h"

namespace store {

// A page at hand, with the number it has in the file: where it lies in the file, or a copy.
class PageSlot {
 public:
  PageSlot() = default;
  PageSlot(const PageSlot&) = delete;
  PageSlot& operator=(const PageSlot&) = delete;

  std::uint16_t number = 0;
  bool filled = false;
  bool kept = false;      // what it was before this operation is kept for taking it back
  Page* there = nullptr;  // where it lies in the file, to be changed there

  bool Holds(std::uint16_t page) const { return filled && number == page; }
  // Whether the bytes lie in the file, and change with it.
  bool IsInPlace() const { return at != &copy; }
  const Page& Bytes() const { return *at; }
  // To be filled or changed. What it held is not in it.
  Page& Fresh() {
    at = &copy;
    return copy;
  }
  // To be changed: the bytes as they are, in a copy from now on.
  Page& Own() {
    if (at != &copy) copy = *at;
    return Fresh();
  }
  void LookAt(const Page& page) { at = &page; }
  // What was got for a change: where it lies, or a copy, of which WritePage makes the file's.
  Page& Changing() { return there != nullptr ? *there : Own(); }

 private:
  const Page* at = &copy;
  Page copy;
};

class WorkFile {
 public:
  // Makes the entry the current one. Nothing is read.
  void Attach(UdbFile& entry);
  // Takes back what a process left half done in this file and nobody could take back so far. Raises
  // SYSTEM ERROR when it cannot be done now either. REQUIRES: the lock is held.
  void Mend();
  // Reads page 0 anew: the header in the file, not the table's copy, is the truth.
  void LoadHeader();
  // What is known of the file from earlier is kept if nobody has changed it since, and what was
  // just read counts as known from here on. REQUIRES: the lock is held, and was when page 0 was
  // read.
  void Learn();
  // The same after this operation's own changes, which are whole now.
  void LearnOwnChanges();

  UdbFile& File() { return *entry; }
  Header& Head() { return entry->header; }
  const KEYDESCR& KeyDescr() const { return entry->header.key; }
  // Raises FILE CORRUPTED when only the first byte of the version is one of a store file.
  std::uint32_t Version();
  // Page 0 as it is to become, for changing it.
  Page& OwnHeaderPage();
  UndoLog& Undo() { return undo; }

  // ---- Failing ----

  // Never returns. UDB_FILE_ACCESS travels as what errno makes of it. UDB_FILE_CORRUPTED on a file
  // opened for writing sets the mark in the table's copy of the header.
  [[noreturn]] void Raise(int code);
  // Raises SYSTEM ERROR if pages looked at where they lie turned out not to be there; to be called
  // before anything is made of them that outlives the operation.
  void CheckSound();
  // Whether this operation has set that mark.
  bool FoundDamage() const { return foundDamage; }

  // ---- Bytes and pages ----

  void ReadBytes(std::uint64_t offset, std::span<std::uint8_t> out);
  // `codeOfFailure`: raised when the file does not take the bytes.
  void WriteBytes(std::uint64_t offset, Bytes bytes, int codeOfFailure = UDB_FILE_ACCESS);

  // The tree page, from the slot that holds it or got into the preferred one.
  PageSlot& Fetch(std::uint16_t page, PageSlot& preferred);
  // The same for changing it; what it was is kept for taking it back.
  PageSlot& FetchForChange(std::uint16_t page, PageSlot& preferred);
  // Puts the entry, or nothing, in the place of `removed` bytes of entries: in the file at once,
  // keeping no more than what changes. What the entries leave behind is zero.
  // Raises FILE CORRUPTED if the page has not such bytes, or not so much room.
  // REQUIRES: the slot has the file's bytes.
  void Splice(PageSlot& slot, std::size_t offset, std::size_t removed, Bytes entry);
  // The page will be fetched and searched next.
  void Prefetch(std::uint16_t page) const;
  PageSlot& OtherThan(const PageSlot& slot) { return &slot == &slotA ? slotB : slotA; }
  TreePage ViewOf(const PageSlot& slot);
  Entry EntryAt(TreePage page, std::size_t offset);
  // Where the page's first entry with a key not less begins, or the end of all its entries, if that
  // is known without a walk.
  std::optional<PageOrder::Found> KnownPlace(const PageSlot& slot, const TreePage& view, Bytes key);
  // To follow what becomes of a page's entries; Splice does so itself.
  PageOrders& Orders() { return entry->seen.orders; }
  // The page's order is for the caller to follow.
  void WritePage(const PageSlot& slot);
  // A page number out of a link or an entry: none that a file can have raises FILE CORRUPTED.
  void CheckPageNumber(std::uint16_t page);

  enum class Link { Next, Prev };
  // Points a neighbour's link, which so far led to `from`, to `to`, by a write of two bytes.
  void PatchLink(std::uint16_t neighbour, Link link, const PageSlot& from, std::uint16_t to);

  // ---- Space ----

  // Marks the lowest `count` free pages in a row; "CANNOT ALLOCATE RECORD" if there are none.
  std::uint16_t AllocateRun(std::uint32_t count);
  // Raises FILE CORRUPTED for a run that does not lie within the bitmap.
  void FreeRun(std::uint16_t first, std::uint32_t count);
  // A page of its own in the slot, with nothing in it that means anything.
  void AllocatePage(PageSlot& slot);
  // Whether the page was in use before this operation.
  bool WasInUse(std::uint32_t page) const;

  // Cuts off what the file was made longer than it needs, so far as it is free. What cannot be cut
  // stays and does no harm. REQUIRES: the lock is held, and no operation goes on.
  void CutToNeed(UdbFile& file);

  // ---- Ends of an operation ----

  void WriteHeaderPage();
  // Writes page 0, header and bitmap together, if anything in it changed or the file is journaled.
  void SaveHeader();
  void MarkDirty() { dirty = true; }
  // The operation stands: what was kept for taking it back is dropped.
  void Commit();
  // The operation failed: tree pages and counts become what they were. Pages that it had allocated
  // stay marked in use, so that nothing is given out twice; runs that it had freed are in use
  // again. False if the file could not be put back.
  bool TakeBack();

  // To be called ahead of the first store to the page, and behind the keeping of what it was. What
  // is known of it counts no more, here and for others.
  void NoteChange(std::uint32_t page);
  // The same, but for its order, which the caller follows.
  void NoteWrite(std::uint32_t page);

  PageSlot slotA;
  PageSlot slotB;

 private:
  void FillFrom(std::uint16_t page, PageSlot& slot);
  void Write(std::uint64_t offset, Bytes bytes, int codeOfFailure);
  void Mark(std::uint32_t first, std::uint32_t count, bool inUse);
  void ChangeInPlace(PageSlot& slot);
  bool WereAllInUse(std::uint32_t first, std::uint32_t count) const;
  const platform::FileIdentity& Identity();
  void NeedSize(std::uint64_t offset, std::size_t n);
  void GrowAhead(std::uint64_t end);
  void BeginUndo();
  void Keep(std::uint64_t offset, Bytes bytes);
  std::size_t LengthOfPage0();
  Page& OwnStartOfPage0(std::size_t bytes);
  const Page& Page0Now() const { return ownedLength == PageSize ? page0 : slotH.Bytes(); }
  void BeginTail();

  UdbFile* entry = nullptr;
  std::uint32_t version = CurrentVersion;
  PageSlot slotH;  // page 0 as the file has it
  bool dirty = false;
  UndoLog undo;
  TailUndo tail;                  // of what `undo` has, for a file that others change
  Header headerBefore;            // as it was when page 0 was loaded
  Page page0;                     // as it is to become
  std::size_t ownedLength = 0;    // so much of it is valid
  std::size_t changedLength = 0;  // and so much of that may differ from the file's
  bool foundDamage = false;
  std::uint64_t neededBefore = 0;
  bool takenBack = false;              // what this operation did
  std::uint16_t figureToGiveBack = 0;  // what freePages gets when the operation is taken back
};

}  // namespace store
