// Putting an entry into the tree: into its leaf, and a separator into each parent above a split.
#include "store/pageeditor.h"
#include "store/split.h"
#include "store/tree.h"

namespace store {

void Tree::Insert(StagedEntry& staged, std::size_t removed) {
  if (work.Head().root == 0) {
    StartTree(staged);
    return;
  }
  Step at = Cursor();
  const std::size_t removedHere = removed;
  bool isCursor = true;
  // The count of levels in page 0 may be damaged; with one more, no descent would end in a leaf.
  const bool mayGrow = pathLength < path.size();
  while (InsertInto(at, staged, removed, isCursor)) {
    if (pathLength == 0) {
      if (!mayGrow) work.Raise(UDB_INDEX_DEPTH_OVERFLOW);
      GrowRoot(staged);
      return;
    }
    at = path[--pathLength];
    isCursor = false;
    removed = 0;
  }
  if (isCursor && removedHere == 0 && atRightEnd) NoteEnd(at);
}

void Tree::StartTree(const StagedEntry& staged) {
  PageSlot& slot = work.slotB;
  work.AllocatePage(slot);
  slot.Changing().fill(0);
  PageEditor leaf(slot.Changing(), 0);
  leaf.SetType(LeafType);
  leaf.Insert(0, staged.Whole());
  work.WritePage(slot);
  work.Head().root = work.Head().firstLeaf = slot.number;
}

void Tree::GrowRoot(const StagedEntry& separator) {
  Header& header = work.Head();
  PageSlot& slot = work.slotB;
  work.AllocatePage(slot);
  slot.Changing().fill(0);
  PageEditor root(slot.Changing(), 0);
  root.SetType(InternalType);
  root.SetRightChild(header.root);
  root.Insert(0, separator.Whole());
  work.WritePage(slot);
  header.root = slot.number;
  ++header.depth;
}

// True if the page split: then `staged` has become the separator for the level above.
bool Tree::InsertInto(Step& at, StagedEntry& staged, std::size_t removed, bool isCursor) {
  PageSlot& slot = work.Fetch(at.page, work.slotB);
  const std::size_t used = work.ViewOf(slot).Used();
  if (at.offset + removed > used) work.Raise(UDB_FILE_CORRUPTED);
  if (used - removed + staged.Size() < EntriesEnd) {
    work.Splice(slot, at.offset, removed, staged.Whole());
    return false;
  }
  work.FetchForChange(at.page, slot);
  PageEditor(slot.Changing(), used).Remove(at.offset, removed);
  if (removed != 0) work.Orders().Splice(at.page, work.KeyDescr(), at.offset, removed, {});
  Split(slot, at, staged);
  if (isCursor) SetCursor(at.page, at.offset);
  return true;
}

// The new page becomes the left half, so that the parent's entry, which leads to the old page,
// stays right. `at` follows the new entry.
void Tree::Split(PageSlot& old, Step& at, StagedEntry& staged) {
  const TreePage before = work.ViewOf(old);
  const auto choice = ChooseSplit(before, at.offset, staged.Size());
  if (!choice || choice->offset > before.Used()) work.Raise(UDB_FILE_CORRUPTED);
  const std::size_t rest = before.Used() - choice->offset;
  const std::size_t leftSize = choice->offset + (choice->newEntryGoesLeft ? staged.Size() : 0);
  const std::size_t rightSize = rest + (choice->newEntryGoesLeft ? 0 : staged.Size());
  if (leftSize == 0 || leftSize >= EntriesEnd || rightSize >= EntriesEnd) {
    work.Raise(UDB_FILE_CORRUPTED);
  }

  PageSlot& left = work.OtherThan(old);
  work.AllocatePage(left);
  PageEditor leftPage(left.Changing(), choice->offset);
  PageEditor rightPage(old.Changing(), before.Used());
  const std::uint16_t leftNeighbour = before.Prev();
  work.PatchLink(leftNeighbour, WorkFile::Link::Next, old, left.number);
  leftPage.CopyFrom(old.Bytes(), before.Used());
  leftPage.SetNext(old.number);
  rightPage.Remove(0, choice->offset);
  rightPage.SetPrev(left.number);
  work.Orders().Split(old.number, left.number, choice->offset);

  if (choice->newEntryGoesLeft) {
    leftPage.Insert(at.offset, staged.Whole());
    at.page = left.number;
  } else {
    at.offset = static_cast<std::uint16_t>(at.offset - choice->offset);
    rightPage.Insert(at.offset, staged.Whole());
  }
  work.Orders().Splice(at.page, work.KeyDescr(), at.offset, 0, staged.Whole());
  RaiseSeparator(left, staged);
  if (work.ViewOf(left).IsLeaf() && leftNeighbour == 0) work.Head().firstLeaf = left.number;
  work.WritePage(old);
  work.WritePage(left);
}

// Stages the separator for the left page: the key of its last entry. An internal page's last entry
// leaves the page for it, and its child becomes the rightmost one.
void Tree::RaiseSeparator(PageSlot& left, StagedEntry& separator) {
  const TreePage view = work.ViewOf(left);
  std::size_t last = 0;
  for (std::size_t at = 0; at < view.Used(); at += work.EntryAt(view, at).Size()) last = at;
  const Entry entry = work.EntryAt(view, last);
  separator.BuildKey(left.number, KeyOf(entry));
  if (view.IsLeaf()) return;
  PageEditor editor(left.Changing(), view.Used());
  editor.SetRightChild(entry.Child());
  editor.CutAt(last);
  work.Orders().Splice(left.number, work.KeyDescr(), last, entry.Size(), {});
}

}  // namespace store
