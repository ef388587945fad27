// The order in which a damaged store file is searched for leaves: along the chain, then the pages
// in use that the chain did not reach, then what counts as free.
#include "store/salvage_pages.h"

#include <algorithm>

namespace store {
namespace {

bool LooksLikeLeaf(const Page& page) { return page[0] == LeafType; }

// What the page says it uses, or all of it when it claims more than it has.
Bytes EntriesOf(const Page& page) {
  const std::size_t used = Load16(&page[2]);
  return Bytes(page).subspan(EntriesAt, used < EntriesEnd ? used : EntriesEnd);
}

}  // namespace

PageSearch::PageSearch(ExaminedFile& source, const Page* header, RecordSaver& recordSaver,
                       const SalvageOptions& salvageOptions, SalvageReport& result)
    : from(source), page0(header), saver(recordSaver), options(salvageOptions), report(result) {}

bool PageSearch::Run() {
  if (page0 != nullptr) {
    if (!FollowChain()) return false;
    if (chainWhole && !Missing() && report.givenUp == 0) return true;
  }
  if (!ScanPages(true, true) || !ScanPages(true, false)) return false;
  if (!options.searchFreePages || !Missing()) return true;
  return (page0 == nullptr || ScanPages(false, true)) && SearchLeftovers();
}

// Whether the header counts more records than were saved or given up by name.
bool PageSearch::Missing() const {
  return !report.expected || *report.expected > report.Saved() + report.givenUp;
}

void PageSearch::Lose(std::uint32_t page, std::size_t offset, std::string reason) {
  ++report.givenUp;
  if (report.losses.size() >= StoreReport::MaxFindings) return;
  report.losses.push_back(
      {FindingKind::Damage, page, static_cast<std::uint32_t>(offset), std::move(reason)});
}

void PageSearch::Remark(std::uint32_t page, std::size_t offset, std::string words) {
  if (report.losses.size() >= StoreReport::MaxFindings) return;
  report.losses.push_back(
      {FindingKind::Note, page, static_cast<std::uint32_t>(offset), std::move(words)});
}

void PageSearch::LookedAt(std::uint32_t number) {
  leaves.set(number);
  if (options.progress && ++looked % 256 == 0) {
    options.progress(looked, std::max<std::uint64_t>(looked, from.WholePages()));
  }
}

// ---- The chain -------------------------------------------------------------------------------

// The header's word, or the leftmost path down from the root when that is no leaf.
std::uint32_t PageSearch::FirstLeaf(const Header& header) {
  Page page;
  if (header.firstLeaf != 0 && from.ReadPage(header.firstLeaf, page) && LooksLikeLeaf(page)) {
    return header.firstLeaf;
  }
  if (header.firstLeaf != 0 || header.root != 0) {
    Remark(0, 8, Words("the header's first leaf, page ", header.firstLeaf, ", is none"));
  }
  std::uint32_t number = header.root;
  for (int level = 0; level <= 6 && number != 0; ++level) {
    const auto view = from.ReadPage(number, page) ? TreePage::Of(page) : std::nullopt;
    if (!view) return 0;
    if (view->IsLeaf()) return number;
    const auto entry = view->At(0);
    number = entry ? entry->Child() : view->RightChild();
  }
  return 0;
}

// A split of the first leaf whose header was never written leaves the new left page in front of it.
std::uint32_t PageSearch::LeftEnd(std::uint32_t leaf) {
  PageSet seen;
  Page page;
  while (!seen.test(leaf) && from.ReadPage(leaf, page)) {
    seen.set(leaf);
    const std::uint32_t left = Load16(&page[6]);
    if (left == 0 || !from.ReadPage(left, page) || !LooksLikeLeaf(page) || Load16(&page[4]) != leaf)
      break;
    leaf = left;
  }
  return leaf;
}

// A link counts when the page behind it is a leaf that is in use or links back. Of another kind, it
// may be a leaf whose first byte is damaged: then it must do both.
bool PageSearch::MayFollow(std::uint32_t number, std::uint32_t behind, const Page& page) const {
  if (leaves.test(number)) return false;
  const bool mutual = Load16(&page[6]) == behind;
  return LooksLikeLeaf(page) ? Marked(number) || mutual : Marked(number) && mutual;
}

bool PageSearch::FollowChain() {
  const Header header = Header::Load(*page0);
  std::uint32_t number = FirstLeaf(header);
  chainWhole = number != 0 || header.recordCount == 0;
  if (number == 0) return true;
  number = LeftEnd(number);
  for (std::uint32_t behind = 0; number != 0;) {
    Page page;
    const bool read = from.ReadPage(number, page);
    if (!read || (behind != 0 && !MayFollow(number, behind, page))) {
      Remark(behind, 4, Words("the chain of leaves breaks: its link leads to page ", number));
      chainWhole = false;
      return true;
    }
    LookedAt(number);
    if (!SaveLeaf(number, page, report.byChain, true)) return false;
    behind = number;
    number = Load16(&page[4]);
  }
  return true;
}

// ---- All pages -------------------------------------------------------------------------------

// A page in the middle of a lost run may look like a leaf by chance, and a leaf whose first byte is
// damaged like anything. So whole records are taken from wherever they are, leaves first, and
// nothing is said of pages that hold none.
bool PageSearch::ScanPages(bool inUse, bool leavesOnly) {
  const std::uint32_t pages = from.WholePages();
  std::uint64_t& saved = inUse ? report.byScan : report.fromFreePages;
  Page page;
  for (std::uint32_t n = 1; n < pages; ++n) {
    if (leaves.test(n) || saver.RunPagesSaved().test(n)) continue;
    if (page0 != nullptr && Marked(n) != inUse) continue;
    if (!from.ReadPage(n, page)) {
      Remark(n, 0, "the page cannot be read");
      continue;
    }
    if (LooksLikeLeaf(page) != leavesOnly) continue;
    LookedAt(n);
    if (!SaveLeaf(n, page, saved, false)) return false;
  }
  return true;
}

// Behind the bytes that a leaf uses, earlier contents of the page may stand.
bool PageSearch::SearchLeftovers() {
  Page page;
  for (std::uint32_t n = 1; n < from.WholePages(); ++n) {
    if (!leaves.test(n) || !from.ReadPage(n, page)) continue;
    const std::size_t used = Rounded(EntriesOf(page).size());
    if (used >= EntriesEnd) continue;
    const Stretch rest{n, Bytes(page).subspan(EntriesAt + used), EntriesAt + used,
                       &report.fromFreePages, false};
    if (!SaveStretch(rest)) return false;
  }
  return true;
}

// ---- Entries ---------------------------------------------------------------------------------

bool PageSearch::SaveLeaf(std::uint32_t number, const Page& page, std::uint64_t& saved,
                          bool tellLosses) {
  if (tellLosses && !LooksLikeLeaf(page)) {
    Remark(number, 0, "the page is marked as no leaf, and taken for one");
  }
  if (tellLosses && Load16(&page[2]) >= EntriesEnd) {
    Remark(number, 2, Words("the leaf claims ", Load16(&page[2]), " bytes of entries"));
  }
  return SaveStretch({number, EntriesOf(page), EntriesAt, &saved, tellLosses});
}

namespace {

// Whether entries follow each other from here to the very end.
bool FramesFit(Bytes entries, std::size_t at) {
  while (at < entries.size()) {
    const auto entry = Entry::At(entries, at, true);
    if (!entry) return false;
    at += entry->Size();
  }
  return true;
}

}  // namespace

// Goes from entry to entry. Where one is not whole and its length does not lead on to others, the
// next is looked for at each place where an entry may begin.
bool PageSearch::SaveStretch(const Stretch& stretch) {
  bool lost = false;  // looking for the next whole entry
  for (std::size_t at = 0; at < stretch.entries.size();) {
    const auto entry = Entry::At(stretch.entries, at, true);
    std::string reason = "no sound entry here";
    const auto verdict = entry ? saver.Save(*entry, reason) : RecordSaver::Verdict::Broken;
    if (verdict == RecordSaver::Verdict::Stop) return false;
    if (verdict == RecordSaver::Verdict::Saved) ++*stretch.saved;
    if (verdict == RecordSaver::Verdict::Broken) {
      if (!lost && stretch.tellLosses) Lose(stretch.page, stretch.offset + at, reason);
      lost = lost || !entry || !FramesFit(stretch.entries, at + entry->Size());
    } else {
      lost = false;
    }
    at += lost ? 4 : entry->Size();
  }
  return true;
}

}  // namespace store
