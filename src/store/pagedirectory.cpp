// Making of directories, and searching in them.
#include "store/pagedirectory.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/prefetch.h"
#include "store/countless.h"

namespace store {

namespace {

constexpr std::size_t CacheLine = 64;
constexpr std::uint64_t Mixer = 0x9E3779B97F4A7C15U;

std::uint64_t BigEndian(std::uint64_t v) {
  v = (v & 0x00FF00FF00FF00FFU) << 8 | (v >> 8 & 0x00FF00FF00FF00FFU);
  v = (v & 0x0000FFFF0000FFFFU) << 16 | (v >> 16 & 0x0000FFFF0000FFFFU);
  return v << 32 | v >> 32;
}

std::uint16_t MarkOf(Bytes key) {
  std::uint64_t h = key.size() * Mixer;
  for (; key.size() >= 8; key = key.subspan(8)) {
    h = (h ^ Load64(key.data())) * Mixer;
    h ^= h >> 32;
  }
  h = (h ^ LoadFewer(key.data(), key.size())) * Mixer;
  h = (h ^ h >> 32) * Mixer;
  return static_cast<std::uint16_t>(h >> 48);
}

// The bytes of an entry's key where the searched one would have its own.
Bytes KeyPlace(const Entry& entry, const KEYDESCR& kd, std::size_t length) {
  const Bytes payload = entry.Payload();
  const auto before = static_cast<std::size_t>(entry.Form() == EntryForm::Inline ? kd.offset : 0);
  if (before > payload.size() || length > payload.size() - before) return {};
  return payload.subspan(before, length);
}

}  // namespace

SoughtKey::SoughtKey(const KEYDESCR& kd, Bytes key)
    : whole(key), ordered(key.first(kd.IsText() ? key.size() - 1 : key.size())) {
  if (kd.type == 0) {
    // The sign turned over, and the highest byte first.
    number = {static_cast<std::uint8_t>(key[3] ^ 0x80U), key[2], key[1], key[0]};
    ordered = number;
  }
  mark = MarkOf(ordered);
}

std::uint64_t SoughtKey::Number(std::size_t at) const {
  if (at >= ordered.size()) return 0;
  const Bytes rest = ordered.subspan(at);
  return BigEndian(rest.size() >= 8 ? Load64(rest.data()) : LoadFewer(rest.data(), rest.size()));
}

// Walks over a page once.
class DirectoryBuilder {
 public:
  DirectoryBuilder(const TreePage& itsPage, const KEYDESCR& descr) : page(itsPage), kd(descr) {}

  // False if there is no sound page.
  bool Walk() {
    const Bytes entries = page.Entries();
    std::size_t at = 0;
    for (; at < entries.size(); ++count) {
      const auto entry = Entry::At(entries, at, page.IsLeaf());
      if (!entry || count == offsets.size()) return false;
      const auto key = entry->Key(kd);
      if (!key || key->size() > MaxKey) return false;
      if (count > 0 && CompareKeys(kd, keys[count - 1], *key) >= 0) return false;
      offsets[count] = static_cast<std::uint16_t>(at);
      keys[count] = *key;
      at += entry->Size();
    }
    return count > 0 || !page.IsLeaf();
  }

  PageDirectory::Pointer Fill() {
    PageDirectory head;
    head.shape.leaf = page.IsLeaf();
    head.shape.used = static_cast<std::uint16_t>(page.Used());
    head.prefix = count == 0 ? 0 : CommonPrefix({kd, keys[0]}, {kd, keys[count - 1]});
    const std::size_t step = head.shape.leaf ? PageDirectory::LeafStep : 1;
    head.samples = static_cast<std::uint16_t>((count + step - 1) / step);
    head.shape.slotMask =
        static_cast<std::uint16_t>(head.shape.leaf ? std::bit_ceil(2 * count) - 1 : count);
    head.size = sizeof head + 2 * (head.SlotSpace() + head.samples) +
                head.samples * sizeof(std::uint64_t) + head.prefix;
    void* const memory = std::malloc(head.size);
    if (memory == nullptr) return nullptr;
    PageDirectory::Pointer directory(new (memory) PageDirectory(head));  // NOLINT: lives there
    Store(*directory, step);
    return directory;
  }

 private:
  static std::uint8_t CommonPrefix(const SoughtKey& a, const SoughtKey& b) {
    const Bytes one = a.Ordered();
    const Bytes other = b.Ordered();
    const auto apart = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return static_cast<std::uint8_t>(apart.first - one.begin());
  }

  void Store(PageDirectory& d, std::size_t step) {
    auto* const slots = reinterpret_cast<std::uint16_t*>(&d + 1);
    auto* const numbers = reinterpret_cast<std::uint64_t*>(slots + d.SlotSpace());
    auto* const places = reinterpret_cast<std::uint16_t*>(numbers + d.samples);
    auto* const prefix = reinterpret_cast<std::uint8_t*>(places + d.samples);
    std::fill_n(slots, d.SlotSpace(), PageDirectory::NoEntry);
    for (std::size_t i = 0; i < count; ++i) {
      const SoughtKey key(kd, keys[i]);
      if (i % step == 0) {
        numbers[i / step] = key.Number(d.prefix);
        places[i / step] = offsets[i];
      }
      if (d.shape.leaf) {
        FillSlot(d, slots, key.Mark(), offsets[i]);
      } else {
        // Somebody may change the page since it was walked over; 0 is no child.
        const auto entry = Entry::At(page.Entries(), offsets[i], false);
        slots[i] = entry ? entry->Child() : std::uint16_t{0};
      }
      if (i == 0) std::copy_n(key.Ordered().begin(), d.prefix, prefix);
    }
    if (!d.shape.leaf) slots[count] = page.RightChild();
  }

  // More than half of the slots stay free: a search ends at the first of them.
  static void FillSlot(const PageDirectory& d, std::uint16_t* slots, std::uint16_t mark,
                       std::uint16_t offset) {
    std::size_t slot = mark & d.shape.slotMask;
    while (slots[slot] != PageDirectory::NoEntry) slot = (slot + 1) & d.shape.slotMask;
    slots[slot] = static_cast<std::uint16_t>((mark & ~PageDirectory::NoEntry) | offset / 4);
  }

  static constexpr std::size_t MostEntries = EntriesEnd / Rounded(EntryHead) + 2;
  const TreePage page;
  const KEYDESCR kd;
  std::size_t count = 0;
  std::array<std::uint16_t, MostEntries> offsets;
  std::array<Bytes, MostEntries> keys;
};

PageDirectory::Pointer PageDirectory::Of(const TreePage& page, const KEYDESCR& kd) {
  DirectoryBuilder builder(page, kd);
  return builder.Walk() ? builder.Fill() : nullptr;
}

PageDirectory::Place PageDirectory::Find(const Shape& looks, const SoughtKey& key,
                                         const KEYDESCR& kd, Bytes entries) const {
  const Bytes wanted = key.Whole();
  const unsigned mark = key.Mark();
  const std::uint16_t* const slots = Slots();
  for (std::size_t slot = mark & looks.slotMask; slots[slot] != NoEntry;
       slot = (slot + 1) & looks.slotMask) {
    if (((slots[slot] ^ mark) & ~unsigned{NoEntry}) != 0) continue;
    const std::uint32_t offset = 4U * (slots[slot] & NoEntry);
    platform::Prefetch(entries.data() + offset + CacheLine);  // its end, while its head is awaited
    const auto entry = Entry::At(entries, offset, true);
    if (!entry) continue;
    const Bytes there = KeyPlace(*entry, kd, wanted.size());
    if (!there.empty() && std::memcmp(there.data(), wanted.data(), wanted.size()) == 0) {
      return {true, 0, offset};
    }
  }
  return {};
}

// Where the key stands to all that begin with the prefix: -1 or 1, or 0 if it begins so itself.
int PageDirectory::Side(const SoughtKey& key) const {
  if (prefix == 0) return 0;
  const Bytes all = Prefix();
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
  if (!shape.leaf) {
    // Equal numbers: there the keys must tell.
    for (; sample < samples && side == 0 && numbers[sample] == number; ++sample) {
      const auto entry = Entry::At(entries, offsets[sample], false);
      const auto there = entry ? entry->Key(kd) : std::nullopt;
      if (!there) return {};
      if (CompareKeys(kd, *there, key.Whole()) >= 0) break;
    }
    return {true, Slots()[sample], sample < samples ? offsets[sample] : std::uint32_t{shape.used}};
  }
  // From the last sample that is less, over all that are.
  std::size_t at = sample == 0 ? 0 : offsets[sample - 1];
  const bool ends = sample < samples && (side < 0 || numbers[sample] > number);
  const std::size_t end = ends ? offsets[sample] : shape.used;
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
