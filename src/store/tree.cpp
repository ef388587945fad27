// Searching the tree and walking its leaves.
#include "store/tree.h"

#include "store/pagesearch.h"

namespace store {

namespace {

// An offset that was kept from before may lie inside an entry now; such a place has no entry.
std::optional<Entry> EntryBeginningAt(const TreePage& page, std::size_t offset) {
  for (std::size_t at = 0; at < page.Used();) {
    const auto entry = page.At(at);
    if (!entry || at == offset) return entry;
    at += entry->Size();
  }
  return std::nullopt;
}

}  // namespace

void Tree::SetCursor(std::uint16_t page, std::size_t offset) {
  UdbFile& file = work.File();
  file.SetCursor(page, offset);
  Seen& seen = file.seen;
  seen.KnowCursor(seen.header, seen.count != nullptr ? seen.count->VersionOf(page) : Seen::Never);
  seen.leaf = {};
}

Bytes Tree::KeyOf(const Entry& entry) {
  const KEYDESCR& kd = work.KeyDescr();
  if (const auto key = entry.Key(kd)) return *key;
  // Told apart as for keys handed in: text that runs on without its stop symbol is a wrong key.
  const std::size_t before =
      entry.Form() == EntryForm::Inline && kd.offset > 0 ? static_cast<std::size_t>(kd.offset) : 0;
  const bool runsOn = kd.IsText() && kd.offset >= 0 && entry.Payload().size() >= before + MaxKey;
  work.Raise(runsOn ? UDB_WRONG_KEY : UDB_FILE_CORRUPTED);
}

PageSlot& Tree::FetchLeaf(std::uint16_t page, PageSlot& preferred) {
  PageSlot& slot = work.Fetch(page, preferred);
  if (!work.ViewOf(slot).IsLeaf()) work.Raise(UDB_FILE_CORRUPTED);
  return slot;
}

std::size_t Tree::Scan(const TreePage& page, Bytes key) {
  std::size_t at = StepOverLess(page, work.KeyDescr(), key);
  while (at < page.Used()) {
    const Entry entry = work.EntryAt(page, at);
    if (CompareKeys(work.KeyDescr(), KeyOf(entry), key) >= 0) break;
    at += entry.Size();
  }
  return at;
}

std::size_t Tree::Search(const PageSlot& slot, const TreePage& page, Bytes key) {
  const auto known = work.KnownPlace(slot, page, key);
  foundEqual = known ? std::optional(known->isEqual) : std::nullopt;
  return known ? known->offset : Scan(page, key);
}

void Tree::Push(Step step) {
  if (pathLength == path.size()) work.Raise(UDB_INDEX_DEPTH_OVERFLOW);
  path[pathLength++] = step;
}

void Tree::CheckNotOnPath(std::uint16_t page) {
  for (std::size_t i = 0; i < pathLength; ++i) {
    if (path[i].page == page) work.Raise(UDB_FILE_CORRUPTED);
  }
}

// Nobody has changed the file since, nor taken back what was done here: then the tree is as that
// insertion left it, and the descent for a greater key would end behind its entry.
bool Tree::GoesBehindEnd(Bytes key) {
  const Seen& seen = work.File().seen;
  if (end.file != &work.File() || seen.header != end.state + 2 ||
      seen.orders.State() != end.orders) {
    return false;
  }
  const TreePage leaf = work.ViewOf(FetchLeaf(end.last.page, work.slotB));
  const auto last = leaf.At(end.last.offset);
  const auto there = last ? last->Key(work.KeyDescr()) : std::nullopt;
  if (!there || end.last.offset + last->Size() != leaf.Used() ||
      CompareKeys(work.KeyDescr(), *there, key) >= 0) {
    return false;
  }
  SetCursor(end.last.page, leaf.Used());
  return true;
}

void Tree::NoteEnd(Step last) {
  const Seen& seen = work.File().seen;
  if (seen.header != Seen::Never) end = {&work.File(), seen.header, seen.orders.State(), last};
}

bool Tree::Descend(Bytes key, Match match) {
  if (GoesBehindEnd(key)) return false;
  end.file = nullptr;
  atRightEnd = true;
  pathLength = 0;
  if (work.Head().root == 0) return false;
  std::uint16_t page = work.Head().root;
  PageSlot* slot = &work.Fetch(page, work.slotA);
  for (;;) {
    const TreePage view = work.ViewOf(*slot);
    const std::size_t at = Search(*slot, view, key);
    const bool found = at < view.Used();
    atRightEnd = atRightEnd && !found;
    const bool goesOn = !found && match == Match::AtOrAfter && view.Next() != 0;
    if (view.IsLeaf() && !goesOn) {
      atRightEnd = atRightEnd && view.Next() == 0;
      SetCursor(page, at);
      return found;
    }
    Push({page, static_cast<std::uint16_t>(at)});
    const bool hops = view.IsLeaf();
    page = hops ? view.Next() : found ? work.EntryAt(view, at).Child() : view.RightChild();
    work.Prefetch(page);
    CheckNotOnPath(page);
    slot = hops ? &FetchLeaf(page, work.slotB) : &work.Fetch(page, work.slotB);
  }
}

Entry Tree::Current() {
  const PageSlot& slot = work.Fetch(Cursor().page, work.slotB);
  return work.EntryAt(work.ViewOf(slot), Cursor().offset);
}

bool Tree::CurrentHas(Bytes key) {
  return foundEqual ? *foundEqual : CompareKeys(work.KeyDescr(), KeyOf(Current()), key) == 0;
}

void Tree::PlaceCursor() {
  UdbFile& file = work.File();
  if (file.missedSize == 0 || work.Head().root == 0) return;  // in an empty file it stands nowhere
  const std::array<std::uint8_t, MaxKey> key = file.missed;
  const std::size_t size = file.missedSize;
  file.missedSize = 0;
  Descend(Bytes(key).first(size), Match::Exact);
}

bool Tree::Advance() {
  PlaceCursor();
  const Step from = Cursor();
  const bool fromStart = from.page == 0;
  PageSlot* slot = &FetchLeaf(fromStart ? work.Head().firstLeaf : from.page, work.slotA);
  const TreePage view = work.ViewOf(*slot);
  // Other operations may have moved entries since the cursor was set: entries are stepped over from
  // the page's start then, so that the cursor never lands inside one.
  const Seen& seen = work.File().seen;
  const bool asItWas = !fromStart && seen.header != Seen::Never && seen.cursor == seen.header;
  std::size_t at = asItWas ? from.offset : 0;
  while (at < view.Used() && !fromStart && at <= from.offset) at += work.EntryAt(view, at).Size();
  if (at >= view.Used()) {
    slot = NextLeaf(*slot);
    if (slot == nullptr) return false;
    at = 0;
  }
  work.EntryAt(work.ViewOf(*slot), at);
  SetCursor(slot->number, at);
  return true;
}

PageSlot* Tree::NextLeaf(PageSlot& leaf) {
  const std::uint16_t number = work.ViewOf(leaf).Next();
  if (number == 0) return nullptr;
  PageSlot& next = FetchLeaf(number, work.OtherThan(leaf));
  if (&next == &leaf || work.ViewOf(next).Used() == 0) work.Raise(UDB_FILE_CORRUPTED);
  CheckAscends(leaf, next);
  return &next;
}

// A chain of leaves that ran in a circle would have to step down somewhere. A page that was freed
// under the cursor may do so too; it is no part of the chain.
void Tree::CheckAscends(PageSlot& leaf, PageSlot& next) {
  const TreePage view = work.ViewOf(leaf);
  if (view.Used() == 0 || !work.WasInUse(leaf.number)) return;
  std::size_t last = 0;
  for (std::size_t at = 0; at < view.Used(); at += work.EntryAt(view, at).Size()) last = at;
  const Bytes lastKey = KeyOf(work.EntryAt(view, last));
  const Bytes firstKey = KeyOf(work.EntryAt(work.ViewOf(next), 0));
  if (CompareKeys(work.KeyDescr(), lastKey, firstKey) >= 0) work.Raise(UDB_FILE_CORRUPTED);
}

std::optional<Entry> Tree::Probe(std::uint16_t page, std::uint16_t offset) {
  if (page == 0 || page >= MaxPages) return std::nullopt;
  PageSlot& slot = work.slotA;
  slot.filled = false;
  const auto read =
      work.File().fd->Read(std::uint64_t{page} * PageSize, slot.Fresh().data(), PageSize);
  if (read != static_cast<std::ptrdiff_t>(PageSize)) return std::nullopt;
  const auto view = TreePage::Of(slot.Bytes());
  if (!view || !view->IsLeaf()) return std::nullopt;
  return EntryBeginningAt(*view, offset);
}

std::optional<Entry> Tree::AtCursor() {
  PlaceCursor();
  if (Cursor().page == 0 || work.Head().root == 0) return std::nullopt;
  const TreePage view = work.ViewOf(FetchLeaf(Cursor().page, work.slotB));
  return EntryBeginningAt(view, Cursor().offset);
}

bool Tree::RootHasRoom() {
  const Header& header = work.Head();
  // A count that trees emptied before have brought past six says nothing of this one; should it
  // grow too deep after all, its growth is what fails.
  if (header.depth != path.size() || header.root == 0) return true;
  const std::size_t longest = header.key.IsText() ? MaxKey : header.key.len;
  const TreePage root = work.ViewOf(work.Fetch(header.root, work.slotA));
  return root.Used() + EntryHead + longest < EntriesEnd;
}

}  // namespace store
