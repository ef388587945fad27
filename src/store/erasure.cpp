// Taking entries out of the tree. Pages are never merged: a page with one entry stays until that
// entry goes, and then the page is freed and its parent loses the entry that led to it.
#include "store/pageeditor.h"
#include "store/tree.h"

namespace store {

std::size_t Tree::TakeOut() {
  const PageSlot& slot = work.Fetch(Cursor().page, work.slotB);
  const Entry entry = work.EntryAt(work.ViewOf(slot), Cursor().offset);
  if (entry.Form() == EntryForm::Key) {
    records.FreeRunAt(entry.Child());
    work.NoteWrite(slot.number);  // ahead of what may be written to the run's pages now
  }
  return entry.Size();
}

void Tree::Erase() {
  PageSlot* slot = RemoveFromLeaf();
  while (slot == nullptr && pathLength > 0) slot = RemoveFromParent(path[--pathLength]);
  if (slot == nullptr) {
    work.Head().root = work.Head().firstLeaf = 0;  // depth stays as it stands
  } else if (pathLength == 0) {
    DissolveRoot(*slot);
  }
}

// The leaf that lost the entry, or null if that was its last one and the leaf is freed.
PageSlot* Tree::RemoveFromLeaf() {
  PageSlot& slot = FetchLeaf(Cursor().page, work.slotB);
  const TreePage view = work.ViewOf(slot);
  const Entry entry = work.EntryAt(view, Cursor().offset);
  if (entry.Form() == EntryForm::Key) records.FreeRunAt(entry.Child());
  if (entry.Size() == view.Used()) {
    if (work.Head().firstLeaf == slot.number) work.Head().firstLeaf = view.Next();
    FreePage(slot);
    return nullptr;
  }
  work.Splice(slot, Cursor().offset, entry.Size(), {});
  return &slot;
}

// Takes out of an internal page what led to the page just freed. Null if nothing is left in it.
PageSlot* Tree::RemoveFromParent(Step at) {
  PageSlot& slot = work.Fetch(at.page, work.slotB);
  const TreePage view = work.ViewOf(slot);
  if (at.offset < view.Used()) {
    work.Splice(slot, at.offset, work.EntryAt(view, at.offset).Size(), {});
    return &slot;
  }
  if (view.Used() == 0) {
    FreePage(slot);
    return nullptr;
  }
  std::size_t last = 0;
  for (std::size_t i = 0; i < view.Used(); i += work.EntryAt(view, i).Size()) last = i;
  const std::uint16_t child = work.EntryAt(view, last).Child();
  work.FetchForChange(at.page, slot);
  PageEditor editor(slot.Changing(), view.Used());
  editor.SetRightChild(child);
  editor.CutAt(last);
  work.WritePage(slot);
  work.NoteChange(slot.number);
  return &slot;
}

// A root that has only its rightmost child left makes way for it: one level, once.
void Tree::DissolveRoot(PageSlot& root) {
  const TreePage view = work.ViewOf(root);
  if (view.IsLeaf() || view.Used() > 0) return;
  Header& header = work.Head();
  if (header.depth == 0) work.Raise(UDB_FILE_CORRUPTED);
  work.CheckPageNumber(view.RightChild());
  --header.depth;
  header.root = view.RightChild();
  FreePage(root);
}

void Tree::FreePage(PageSlot& slot) {
  const TreePage view = work.ViewOf(slot);
  work.FreeRun(slot.number, 1);
  work.NoteChange(slot.number);  // its bytes stay, and are nothing to stand on
  work.PatchLink(view.Prev(), WorkFile::Link::Next, slot, view.Next());
  work.PatchLink(view.Next(), WorkFile::Link::Prev, slot, view.Prev());
}

}  // namespace store
