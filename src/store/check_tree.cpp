// Walking a tree that may be damaged: every page once, every entry, every link.
#include "store/check_tree.h"

#include <algorithm>

namespace store {

void TreeCheck::Walk(std::uint16_t root) {
  Visit(root, 0, {}, {0, 10});
  for (const auto& level : levels) CheckLinks(level);
  if (leafLevel) exam.report.levels = static_cast<std::uint32_t>(*leafLevel);
  if (exam.report.leafPages != 0) {
    exam.report.leafFill = static_cast<double>(leafBytes) /
                           (static_cast<double>(exam.report.leafPages) * (EntriesEnd - 1));
  }
}

std::optional<std::uint32_t> TreeCheck::LeftmostLeaf() const {
  if (!leafLevel) return std::nullopt;
  const Member& first = levels[*leafLevel].front();
  return first.page == Unknown ? std::nullopt : std::optional(first.page);
}

// A page that cannot be walked leaves a gap in its level and in every level below.
void TreeCheck::Lose(std::uint32_t number, std::size_t level) {
  levels[level].push_back({number, false, 0, 0});
  for (std::size_t below = level + 1; below < levels.size(); ++below) {
    levels[below].push_back({Unknown, false, 0, 0});
  }
}

bool TreeCheck::Claim(std::uint32_t number, const Place& parent) {
  if (number == 0 || number >= MaxPages || !exam.file.Holds(number, 1)) {
    exam.findings.Damage(
        parent.page, parent.offset,
        Words("the link leads to page ", number,
              number == 0 ? ", which is no tree page" : ", which the file does not have"));
    return false;
  }
  if (exam.used.test(number)) {
    exam.findings.Damage(parent.page, parent.offset,
                         Words("the link leads to page ", number, ", which is in use elsewhere"));
    return false;
  }
  exam.used.set(number);
  exam.expectedFree -= 1;
  if (!InUse(exam.page0, number)) {
    exam.findings.Damage(number, 0, "the page is part of the tree, and the bitmap calls it free");
  }
  return true;
}

std::optional<TreePage> TreeCheck::ReadTreePage(std::uint32_t number, Page& page) {
  if (!exam.file.ReadPage(number, page)) {
    exam.findings.Damage(number, 0, "the page cannot be read");
    return std::nullopt;
  }
  const auto view = TreePage::Of(page);
  if (!view) {
    const bool known = page[0] == LeafType || page[0] == InternalType;
    exam.findings.Damage(number, known ? 2 : 0,
                         known ? Words("the page claims ", Load16(&page[2]), " bytes of entries")
                               : Words("the page is of no known kind (", page[0], ")"));
  } else if (page[1] != 0) {
    exam.findings.Note(number, 1, "the second byte of the page's kind is not zero");
  }
  return view;
}

bool TreeCheck::TestLevel(const TreePage& view, std::uint32_t number, std::size_t level) {
  if (view.IsLeaf()) {
    if (!leafLevel) leafLevel = level;
    if (*leafLevel == level) return true;
    exam.findings.Damage(
        number, 0,
        Words("a leaf under ", level, " internal pages, where others lie under ", *leafLevel));
    return false;
  }
  if (level < MaxLevels && (!leafLevel || level < *leafLevel)) return true;
  exam.findings.Damage(number, 0,
                       level == MaxLevels ? "an internal page below six others"
                                          : "an internal page where others are leaves");
  return false;
}

void TreeCheck::Visit(std::uint32_t number, std::size_t level, const Range& range,
                      const Place& parent) {
  if (!Claim(number, parent)) {
    Lose(Unknown, level);
    return;
  }
  Page page;
  const auto view = ReadTreePage(number, page);
  if (!view || !TestLevel(*view, number, level)) {
    Lose(number, level);
    return;
  }
  levels[level].push_back({number, true, view->Next(), view->Prev()});
  if (view->IsLeaf()) {
    VisitLeaf(*view, number, range);
  } else {
    VisitInternal(*view, number, level, range);
  }
}

// The entry's key, when it is whole and in its place; complains otherwise.
std::optional<Bytes> TreeCheck::TestKey(const Entry& entry, const Range& range,
                                        const Place& place) {
  if (!exam.keysKnown) return std::nullopt;
  const auto key = entry.Key(exam.key);
  if (!key) {
    exam.findings.Damage(place.page, place.offset, "the entry does not hold its key whole");
    return std::nullopt;
  }
  if (entry.Form() == EntryForm::Key && key->size() != entry.Payload().size()) {
    exam.findings.Damage(place.page, place.offset, "the entry holds more than its key");
  }
  if (range.above && CompareKeys(exam.key, *key, *range.above) <= 0) {
    exam.findings.Damage(place.page, place.offset, "the key is not above the one in front of it");
  } else if (!rangeTold && range.upTo && CompareKeys(exam.key, *key, *range.upTo) > 0) {
    rangeTold = true;  // all keys behind it in this page lie above as well
    exam.findings.Damage(place.page, place.offset,
                         "the key is above the separator that leads to its page");
  }
  return key;
}

void TreeCheck::CheckRecord(const Entry& entry, const Place& place) {
  ++exam.report.records;
  if (entry.Form() == EntryForm::Key) {
    CheckRun(exam, entry, place.page, place.offset);
    return;
  }
  const Bytes record = entry.Payload();
  exam.report.recordBytes += record.size();
  exam.report.longestRecord =
      std::max(exam.report.longestRecord, static_cast<std::uint32_t>(record.size()));
  if (Checksum(record) != entry.Checksum()) {
    exam.findings.Damage(place.page, place.offset, "the checksum of the record is wrong");
  }
}

void TreeCheck::VisitLeaf(const TreePage& view, std::uint32_t number, const Range& range) {
  ++exam.report.leafPages;
  leafBytes += view.Used();
  if (view.Used() == 0) exam.findings.Damage(number, 2, "a leaf with no entry");
  rangeTold = false;
  Range left = range;
  for (std::size_t at = 0; at < view.Used();) {
    const auto entry = view.At(at);
    if (!entry) {
      exam.findings.Damage(number, EntriesAt + at,
                           "no sound entry here, nor any known behind it in this leaf");
      return;
    }
    const Place place{number, EntriesAt + at};
    if (const auto key = TestKey(*entry, left, place)) left.above = key;
    CheckRecord(*entry, place);
    at += entry->Size();
  }
}

void TreeCheck::VisitInternal(const TreePage& view, std::uint32_t number, std::size_t level,
                              const Range& range) {
  ++exam.report.internalPages;
  Range left = range;
  for (std::size_t at = 0; at < view.Used();) {
    const auto entry = view.At(at);
    const Place place{number, EntriesAt + at};
    if (!entry) {
      exam.findings.Damage(number, place.offset,
                           "no sound entry here, nor any known behind it in this internal page");
      Lose(Unknown, level + 1);
      break;
    }
    rangeTold = false;
    const auto separator = TestKey(*entry, left, place);
    Visit(entry->Child(), level + 1, {left.above, separator ? separator : range.upTo}, place);
    if (separator) left.above = separator;
    at += entry->Size();
  }
  Visit(view.RightChild(), level + 1, left, {number, 8});
}

void TreeCheck::CheckLinks(const std::vector<Member>& level) {
  for (std::size_t i = 0; i < level.size(); ++i) {
    const Member& member = level[i];
    if (!member.readable) continue;
    const std::uint32_t prev = i == 0 ? 0 : level[i - 1].page;
    const std::uint32_t next = i + 1 == level.size() ? 0 : level[i + 1].page;
    if (next != Unknown && member.next != next) {
      exam.findings.Damage(
          member.page, 4,
          Words("the right neighbour is page ", next, ", and the link says ", member.next));
    }
    if (prev != Unknown && member.prev != prev) {
      exam.findings.Damage(
          member.page, 6,
          Words("the left neighbour is page ", prev, ", and the link says ", member.prev));
    }
  }
}

}  // namespace store
