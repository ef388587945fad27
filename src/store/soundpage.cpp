// The walk.
#include "store/soundpage.h"

#include <algorithm>
#include <cstring>

namespace store {

SoundPage::SoundPage(const TreePage& page, const KEYDESCR& descr)
    : entries(copy.data(), page.Used()),
      leaf(page.IsLeaf()),
      rightChild(page.RightChild()),
      kd(descr) {
  std::memcpy(copy.data(), page.Entries().data(), entries.size());
  sound = Walk();
}

bool SoundPage::Walk() {
  Bytes before;
  for (std::size_t at = 0; at < entries.size(); ++count) {
    const auto entry = Entry::At(entries, at, leaf);
    if (!entry || count == places.size()) return false;
    const Bytes key = KeyOf(*entry);
    if (key.empty() || (count > 0 && !IsLess(before, key))) return false;
    places[count] = {static_cast<std::uint16_t>(at),
                     static_cast<std::uint16_t>(key.data() - copy.data()),
                     static_cast<std::uint8_t>(key.size())};
    before = key;
    at += entry->Size();
  }
  return count > 0 || !leaf;
}

// None: there is no whole key.
Bytes SoundPage::KeyOf(const Entry& entry) const {
  if (!kd.IsText()) {
    const auto key = entry.Key(kd);
    return key && key->size() <= MaxKey ? *key : Bytes();
  }
  const Bytes there = entry.FromKeyOn(kd);
  const std::size_t reach = std::min(there.size(), MaxKey);
  const std::size_t stop = platform::PlaceOf(kd.len, there.data(), reach);
  return stop < reach ? there.first(stop + 1) : Bytes();
}

bool SoundPage::IsLess(Bytes a, Bytes b) const {
  if (!kd.IsText()) return CompareKeys(kd, a, b) < 0;
  const std::size_t common = std::min(a.size(), b.size()) - 1;
  const std::size_t same = platform::SameBytes(a.data(), b.data(), common);
  return same == common ? a.size() < b.size() : a[same] < b[same];
}

}  // namespace store
