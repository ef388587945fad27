// Building a file from the left.
#include "store/bulkbuilder.h"

#include <algorithm>

#include "store/bitmap.h"
#include "store/pageeditor.h"
#include "store/udb.h"

namespace store {

namespace {

// Pages that one record, or the end, may take beyond those of its run: a leaf, and on each of six
// levels a page and a neighbour for it.
constexpr std::uint32_t Reserve = 1 + 2 * 6;

// Internal pages are a hundredth of a file. Some room in them keeps the first split of a leaf from
// going up to the root.
constexpr std::size_t InternalLimit = (EntriesEnd - 1) * 9 / 10;

}  // namespace

// ---- Pages -----------------------------------------------------------------------------------

std::uint32_t BuiltPages::Add(std::uint32_t pages) {
  const std::uint32_t first = count;
  count += pages;
  while (pieces.size() * PerPiece < count) pieces.push_back(std::make_unique<Piece>());
  return first;
}

Bytes BuiltPages::StretchFrom(std::uint32_t n) const {
  if (n >= count) return {};
  const std::uint32_t end = std::min(count, (n / PerPiece + 1) * PerPiece);
  return {At(n).data(), std::size_t{end - n} * PageSize};
}

void BuiltPages::Put(std::uint64_t offset, Bytes bytes) {
  while (!bytes.empty()) {
    const std::size_t within = offset % PageSize;
    const std::size_t n = std::min(bytes.size(), PageSize - within);
    std::copy_n(bytes.begin(), n,
                At(static_cast<std::uint32_t>(offset / PageSize)).begin() +
                    static_cast<std::ptrdiff_t>(within));
    bytes = bytes.subspan(n);
    offset += n;
  }
}

void BuiltPages::Get(std::uint64_t offset, std::span<std::uint8_t> out) const {
  while (!out.empty()) {
    const std::size_t within = offset % PageSize;
    const std::size_t n = std::min(out.size(), PageSize - within);
    const Page& page = At(static_cast<std::uint32_t>(offset / PageSize));
    std::copy_n(page.begin() + static_cast<std::ptrdiff_t>(within), n, out.begin());
    out = out.subspan(n);
    offset += n;
  }
}

// ---- Records ---------------------------------------------------------------------------------

BulkBuilder::BulkBuilder(const KEYDESCR& kd, Space kind, unsigned percent)
    : key(kd), space(kind), leafLimit((EntriesEnd - 1) * std::clamp(percent, 50U, 100U) / 100) {}

// As an insertion has it; and there are the pages in a row.
bool BulkBuilder::HasRoomFor(std::size_t length) const {
  const std::size_t inPages = (length + PageSize - 1) / PageSize;
  if (space == Space::AsInserted && inPages + 6 >= freePages) return false;
  const std::uint32_t run = length < FirstExternal ? 0 : RunPages(CurrentVersion, length);
  return pages.Count() + run + Reserve <= MaxPages;
}

BulkBuilder::Answer BulkBuilder::Add(Bytes record) {
  if (record.size() >= udbMaxRecord || !HasRoomFor(record.size())) return Answer::Full;
  const auto own = KeyIn(key, record);
  if (!own || own->size() > MaxKey) return Answer::Unfit;
  if (recordCount != 0) {
    const int order = CompareKeys(key, *own, lastKey);
    if (order == 0) return Answer::Present;
    if (order < 0) return Answer::OutOfOrder;
  }
  if (record.size() < FirstExternal) {
    staged.BuildInline(record);
  } else {
    staged.BuildKey(static_cast<std::uint16_t>(AddRun(record)), *own);
  }
  AddEntry(staged);
  lastKey.assign(own->begin(), own->end());
  ++recordCount;
  return Answer::Taken;
}

void BulkBuilder::Count(std::uint32_t first, std::uint32_t run) {
  const std::uint32_t touched = (first + run - 1) / 8 - first / 8 + 1;
  freePages = static_cast<std::uint16_t>(freePages - touched * run);
}

std::uint32_t BulkBuilder::AddRun(Bytes record) {
  const std::uint32_t run = RunPages(CurrentVersion, record.size());
  const std::uint32_t first = pages.Add(run);
  Count(first, run);
  std::array<std::uint8_t, 8> prefix;
  RunPrefix{static_cast<std::uint32_t>(record.size()), Checksum(record)}.Store(prefix.data(),
                                                                               CurrentVersion);
  pages.Put(std::uint64_t{first} * PageSize, prefix);
  pages.Put(std::uint64_t{first} * PageSize + prefix.size(), record);
  return first;
}

void BulkBuilder::AddEntry(const StagedEntry& entry) {
  std::size_t used = leaf == 0 ? 0 : TreePage::Of(pages.At(leaf))->Used();
  if (leaf == 0 || used + entry.Size() > leafLimit) {
    const std::uint32_t full = leaf;
    leaf = NewPage(LeafType, full);
    used = 0;
    if (full == 0) {
      firstLeaf = leaf;
    } else {
      StagedEntry separator;
      separator.BuildKey(static_cast<std::uint16_t>(full), lastKey);
      AddSeparator(0, separator);
    }
  }
  PageEditor(pages.At(leaf)).Insert(used, entry.Whole());
}

std::uint32_t BulkBuilder::NewPage(std::uint16_t type, std::uint32_t leftNeighbour) {
  const std::uint32_t page = pages.Add(1);
  Count(page, 1);
  PageEditor editor(pages.At(page));
  editor.SetType(type);
  editor.SetPrev(static_cast<std::uint16_t>(leftNeighbour));
  if (leftNeighbour != 0) {
    PageEditor(pages.At(leftNeighbour)).SetNext(static_cast<std::uint16_t>(page));
  }
  return page;
}

// ---- Levels above the leaves -----------------------------------------------------------------

void BulkBuilder::Append(Level& level, const StagedEntry& entry) {
  level.lastEntry = TreePage::Of(pages.At(level.page))->Used();
  PageEditor(pages.At(level.page)).Insert(level.lastEntry, entry.Whole());
}

void BulkBuilder::AddSeparator(std::size_t number, const StagedEntry& entry) {
  if (number == levels.size()) levels.push_back({NewPage(InternalType, 0)});
  if (levels[number].closed) {
    const StagedEntry above = levels[number].separator;
    AddSeparator(number + 1, above);
    levels[number].page = NewPage(InternalType, levels[number].page);
    levels[number].closed = false;
  }
  Level& level = levels[number];
  if (TreePage::Of(pages.At(level.page))->Used() + entry.Size() <= InternalLimit) {
    Append(level, entry);
    return;
  }
  const Entry last = *Entry::At(entry.Whole(), 0, false);
  PageEditor(pages.At(level.page)).SetRightChild(last.Child());
  level.separator.BuildKey(static_cast<std::uint16_t>(level.page), last.Payload());
  level.closed = true;
}

// The last child of a level gets its place. Returns the page of the level that it is in, which is
// the last one.
std::uint32_t BulkBuilder::FinishLevel(std::size_t number, std::uint32_t child) {
  if (levels[number].closed) {
    // The full page gives its rightmost child to a neighbour, so that no page is without entries.
    const std::uint32_t full = levels[number].page;
    PageEditor editor(pages.At(full));
    const Entry last = *TreePage::Of(pages.At(full))->At(levels[number].lastEntry);
    const std::uint16_t moved = TreePage::Of(pages.At(full))->RightChild();
    StagedEntry above;
    above.BuildKey(static_cast<std::uint16_t>(full), last.Payload());
    StagedEntry first;
    first.BuildKey(moved, Entry::At(levels[number].separator.Whole(), 0, false)->Payload());
    editor.SetRightChild(last.Child());
    editor.CutAt(levels[number].lastEntry);
    AddSeparator(number + 1, above);
    levels[number].page = NewPage(InternalType, full);
    Append(levels[number], first);
  }
  PageEditor(pages.At(levels[number].page)).SetRightChild(static_cast<std::uint16_t>(child));
  return levels[number].page;
}

void BulkBuilder::Finish() {
  root = leaf;
  for (std::size_t number = 0; number < levels.size(); ++number) root = FinishLevel(number, root);
}

void BulkBuilder::Describe(Header& header, Page& page0) const {
  header.root = static_cast<std::uint16_t>(root);
  header.firstLeaf = static_cast<std::uint16_t>(firstLeaf);
  header.depth = static_cast<std::uint16_t>(header.depth + Depth());
  header.freePages = freePages;
  header.recordCount = recordCount;
  MarkRun(BitmapOf(page0), 0, pages.Count(), true);
}

}  // namespace store
