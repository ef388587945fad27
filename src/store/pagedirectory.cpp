// Making of directories, and searching in them.
#include "store/pagedirectory.h"

#include <algorithm>
#include <cstring>

#include "store/countless.h"

namespace store {

namespace {

std::uint8_t CommonPrefix(Bytes one, Bytes other) {
  const auto apart = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  return static_cast<std::uint8_t>(apart.first - one.begin());
}

}  // namespace

PageDirectory::Pointer PageDirectory::Of(const SoundPage& page) {
  PageDirectory head;
  head.leaf = page.IsLeaf();
  head.used = page.Used();
  if (page.Count() != 0) {
    const SoughtKey first(page.KeyDescr(), page.Key(0));
    const SoughtKey last(page.KeyDescr(), page.Key(page.Count() - 1));
    head.prefix = CommonPrefix(first.Ordered(), last.Ordered());
    head.begin = first.Number(0);
  }
  const std::size_t step = head.leaf ? LeafStep : 1;
  head.samples = static_cast<std::uint16_t>((page.Count() + step - 1) / step);
  head.size = sizeof head + 2 * (head.ChildSpace() + head.samples) +
              head.samples * sizeof(std::uint64_t) + head.prefix;
  void* const memory = std::malloc(head.size);
  if (memory == nullptr) return nullptr;
  Pointer directory(new (memory) PageDirectory(head));  // NOLINT: lives there
  directory->Fill(page, step);
  return directory;
}

void PageDirectory::Fill(const SoundPage& page, std::size_t step) {
  for (std::size_t i = 0; i < samples; ++i) {
    const SoughtKey key(page.KeyDescr(), page.Key(i * step));
    Numbers()[i] = key.Number(prefix);
    Offsets()[i] = page.Offset(i * step);
    if (i == 0) std::copy_n(key.Ordered().begin(), prefix, Prefix());
  }
  if (leaf) return;
  for (std::size_t i = 0; i < samples; ++i) Children()[i] = page.At(i).Child();
  Children()[samples] = page.RightChild();
}

// Where the key stands to all that begin with the prefix: -1 or 1, or 0 if it begins so itself.
int PageDirectory::Side(const SoughtKey& key) const {
  if (prefix == 0) return 0;
  if (prefix < sizeof begin) {
    // Zeros behind a shorter key may pass for bytes of the prefix: then all numbers are more, or
    // the keys themselves are asked.
    const unsigned rest = 64 - 8 * prefix;
    const std::uint64_t there = key.Number(0) >> rest;
    return there == begin >> rest ? 0 : there < begin >> rest ? -1 : 1;
  }
  const Bytes all(Prefix(), prefix);
  const std::size_t common = std::min(key.Ordered().size(), all.size());
  const int order = common == 0 ? 0 : std::memcmp(key.Ordered().data(), all.data(), common);
  if (order != 0) return order < 0 ? -1 : 1;
  return common < all.size() ? -1 : 0;
}

PageDirectory::Place PageDirectory::FirstNotLess(const SoughtKey& key, const KEYDESCR& kd,
                                                 Bytes entries) const {
  const int side = Side(key);
  const std::uint64_t number = key.Number(prefix);
  const std::uint64_t* const numbers = Numbers();
  const std::uint16_t* const offsets = Offsets();
  std::size_t sample = side == 0  ? CountLess<std::uint64_t>(numbers, samples, number)
                       : side > 0 ? samples
                                  : 0;
  if (!leaf) {
    // Equal numbers: there the keys must tell.
    for (; sample < samples && side == 0 && numbers[sample] == number; ++sample) {
      const auto entry = Entry::At(entries, offsets[sample], false);
      const auto there = entry ? entry->Key(kd) : std::nullopt;
      if (!there) return {};
      if (CompareKeys(kd, *there, key.Whole()) >= 0) break;
    }
    return {true, Children()[sample], sample < samples ? offsets[sample] : std::uint32_t{used}};
  }
  // From the last sample that is less, over all that are.
  std::size_t at = sample == 0 ? 0 : offsets[sample - 1];
  const bool ends = sample < samples && (side < 0 || numbers[sample] > number);
  const std::size_t end = ends ? offsets[sample] : used;
  while (at < end) {
    const auto entry = Entry::At(entries, at, true);
    const auto there = entry ? entry->Key(kd) : std::nullopt;
    if (!there) return {};
    if (CompareKeys(kd, *there, key.Whole()) >= 0) break;
    at += entry->Size();
  }
  return {true, 0, static_cast<std::uint32_t>(at)};
}

}  // namespace store
