// Setting marks, following changes, finding the one to begin at.
#include "store/leafmarks.h"

#include <algorithm>

namespace store {

// A leaf with anything wrong gets none, and is walked over from its first entry.
void LeafMarks::Mark(Leaf& to, const TreePage& leaf, const KEYDESCR& kd) {
  to.marked = true;
  to.count = 0;
  std::size_t behindMark = Gap;
  Bytes before;
  for (std::size_t at = 0; at < leaf.Used();) {
    const auto entry = leaf.At(at);
    const auto key = entry ? entry->Key(kd) : std::nullopt;
    if (!key || (at > 0 && CompareKeys(kd, before, *key) >= 0)) {
      to.count = 0;
      return;
    }
    if (at >= behindMark && to.count < MostMarks) {
      to.marks[to.count++] = static_cast<std::uint16_t>(at);
      behindMark = at + Gap;
    }
    before = *key;
    at += entry->Size();
  }
}

LeafMarks::Leaf& LeafMarks::At(std::uint16_t number) {
  const std::size_t place = number % Places;
  if (place >= leaves.size()) leaves.resize(std::min(Places, 2 * place + 16));
  return leaves[place];
}

std::size_t LeafMarks::StartFor(std::uint16_t number, const TreePage& leaf, const KEYDESCR& kd,
                                Bytes key) {
  Leaf& known = At(number);
  if (known.asOf != state || known.number != number) {
    known = {};
    known.asOf = state;
    known.number = number;
    return 0;
  }
  if (!known.marked) Mark(known, leaf, kd);
  std::size_t start = 0;
  for (std::size_t first = 0, n = known.count; n > 0;) {
    const std::size_t half = n / 2;
    const std::size_t at = known.marks[first + half];
    const auto entry = leaf.At(at);
    const auto there = entry ? entry->Key(kd) : std::nullopt;
    if (!there) return 0;
    const bool less = CompareKeys(kd, *there, key) < 0;
    if (less) start = at;
    first = less ? first + half + 1 : first;
    n = less ? n - half - 1 : half;
  }
  return start;
}

void LeafMarks::Splice(std::uint16_t number, std::size_t offset, std::size_t removed,
                       std::size_t added, std::size_t used) {
  Leaf* const found = Find(number);
  if (found == nullptr || found->asOf != state || !found->marked) return;
  Leaf& known = *found;
  std::size_t before = 0;  // where the search for the new entry's place begins
  std::uint8_t kept = 0;
  for (std::size_t i = 0; i < known.count; ++i) {
    std::size_t at = known.marks[i];
    if (at > offset) at = at - removed + added;
    if (at >= used || (kept > 0 && at == known.marks[kept - 1U])) continue;
    known.marks[kept++] = static_cast<std::uint16_t>(at);
    if (at <= offset) before = at;
  }
  known.count = kept;
  if (added == 0 || offset < before + Gap) return;
  if (kept == MostMarks) {
    known.marked = false;  // they are set evenly again
    return;
  }
  const auto end = known.marks.begin() + kept;
  const auto place = std::upper_bound(known.marks.begin(), end, offset);
  std::copy_backward(place, end, end + 1);
  *place = static_cast<std::uint16_t>(offset);
  ++known.count;
}

}  // namespace store
