// Making of directories, and searching in them.
#include "store/pagedirectory.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace store {

namespace {

constexpr std::uint64_t Mixer = 0x9E3779B97F4A7C15U;

std::uint64_t Load64(const std::uint8_t* p) {
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

std::uint64_t BigEndian(std::uint64_t v) {
  return std::endian::native == std::endian::little ? __builtin_bswap64(v) : v;
}

// Reads up to eight bytes behind the end, which count as they are: zeros, for a sought key.
std::uint16_t MarkOf(const std::uint8_t* p, std::size_t n) {
  std::uint64_t h = n;
  for (std::size_t i = 0; i < n; i += 8) {
    h = (h ^ Load64(p + i)) * Mixer;
    h ^= h >> 32;
  }
  return static_cast<std::uint16_t>((h * Mixer) >> 48);
}

// The bytes of an entry's key where the searched one would have its own.
Bytes KeyPlace(const Entry& entry, const KEYDESCR& kd, std::size_t length) {
  const Bytes payload = entry.Payload();
  const auto before = static_cast<std::size_t>(entry.Form() == EntryForm::Inline ? kd.offset : 0);
  if (before > payload.size() || length > payload.size() - before) return {};
  return payload.subspan(before, length);
}

}  // namespace

SoughtKey::SoughtKey(const KEYDESCR& kd, Bytes key) : whole(key) {
  size = kd.IsText() ? key.size() - 1 : key.size();
  if (kd.type == 0) {
    const std::uint32_t number =
        BigEndian(std::uint64_t{Load32(key.data()) ^ 0x80000000U} << 32) & 0xFFFFFFFFU;
    std::memcpy(ordered.data(), &number, sizeof number);
  } else {
    std::memcpy(ordered.data(), key.data(), size);
  }
  std::memset(ordered.data() + size, 0, sizeof(std::uint64_t));
  mark = MarkOf(ordered.data(), size);
}

std::uint64_t SoughtKey::Number(std::size_t at) const {
  return at < size ? BigEndian(Load64(ordered.data() + at)) : 0;
}

int SoughtKey::To(Bytes prefix) const {
  const std::size_t common = std::min(size, prefix.size());
  const int order = common == 0 ? 0 : std::memcmp(ordered.data(), prefix.data(), common);
  if (order != 0) return order < 0 ? -1 : 1;
  return size < prefix.size() ? -1 : 0;
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
    head.leaf = page.IsLeaf();
    head.used = static_cast<std::uint16_t>(page.Used());
    head.prefix = count == 0 ? 0 : CommonPrefix({kd, keys[0]}, {kd, keys[count - 1]});
    const std::size_t step = head.leaf ? PageDirectory::LeafStep : 1;
    head.samples = static_cast<std::uint16_t>((count + step - 1) / step);
    head.slotMask = static_cast<std::uint16_t>(head.leaf ? std::bit_ceil(2 * count) - 1 : count);
    head.size = static_cast<std::uint32_t>(sizeof head + head.samples * sizeof(std::uint64_t) +
                                           2 * (head.samples + head.SlotCount()) + head.prefix);
    void* const memory = std::malloc(head.size);
    if (memory == nullptr) return nullptr;
    PageDirectory::Pointer directory(new (memory) PageDirectory(head));  // NOLINT: lives there
    Store(*directory, step);
    return directory;
  }

 private:
  static std::uint8_t CommonPrefix(const SoughtKey& a, const SoughtKey& b) {
    const std::size_t n = std::min(a.Size(), b.Size());
    const auto apart = std::mismatch(a.Ordered(), a.Ordered() + n, b.Ordered());
    return static_cast<std::uint8_t>(apart.first - a.Ordered());
  }

  void Store(PageDirectory& d, std::size_t step) {
    auto* const numbers = reinterpret_cast<std::uint64_t*>(&d + 1);
    auto* const places = reinterpret_cast<std::uint16_t*>(numbers + d.samples);
    std::uint16_t* const slots = places + d.samples;
    std::fill_n(slots, d.SlotCount(), PageDirectory::NoEntry);
    for (std::size_t i = 0; i < count; ++i) {
      const SoughtKey key(kd, keys[i]);
      if (i % step == 0) {
        numbers[i / step] = key.Number(d.prefix);
        places[i / step] = offsets[i];
      }
      if (d.leaf) {
        FillSlot(d, slots, key.Mark(), offsets[i]);
      } else {
        slots[i] = Entry::At(page.Entries(), offsets[i], false)->Child();
      }
      if (i == 0) std::memcpy(slots + d.SlotCount(), key.Ordered(), d.prefix);
    }
    if (!d.leaf) slots[count] = page.RightChild();
  }

  // More than half of the slots stay free: a search ends at the first of them.
  static void FillSlot(const PageDirectory& d, std::uint16_t* slots, std::uint16_t mark,
                       std::uint16_t offset) {
    std::size_t slot = mark & d.slotMask;
    while (slots[slot] != PageDirectory::NoEntry) slot = (slot + 1) & d.slotMask;
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

std::optional<Entry> PageDirectory::Find(const SoughtKey& key, const KEYDESCR& kd,
                                         Bytes entries) const {
  const Bytes wanted = key.Whole();
  const std::uint16_t mark = key.Mark();
  const std::uint16_t* const slots = Slots();
  for (std::size_t slot = mark & slotMask; slots[slot] != NoEntry; slot = (slot + 1) & slotMask) {
    if (((slots[slot] ^ mark) & ~unsigned{NoEntry}) != 0) continue;
    const auto entry = Entry::At(entries, 4U * (slots[slot] & NoEntry), true);
    if (!entry) continue;
    const Bytes there = KeyPlace(*entry, kd, wanted.size());
    if (!there.empty() && std::memcmp(there.data(), wanted.data(), wanted.size()) == 0) {
      return entry;
    }
  }
  return std::nullopt;
}

std::optional<PageDirectory::Place> PageDirectory::FirstNotLess(const SoughtKey& key,
                                                                const KEYDESCR& kd,
                                                                Bytes entries) const {
  const int side = key.To(Prefix());
  const std::uint64_t number = key.Number(prefix);
  const std::uint64_t* const numbers = Numbers();
  const std::uint16_t* const offsets = Offsets();
  std::size_t sample = side > 0 ? samples : 0;
  for (std::size_t n = side == 0 ? samples : 0; n > 0;) {
    const std::size_t half = n / 2;
    const bool less = numbers[sample + half] < number;
    sample = less ? sample + half + 1 : sample;
    n = less ? n - half - 1 : half;
  }
  if (!leaf) {
    // Equal numbers: there the keys must tell.
    for (; sample < samples && side == 0 && numbers[sample] == number; ++sample) {
      const auto entry = Entry::At(entries, offsets[sample], false);
      const auto there = entry ? entry->Key(kd) : std::nullopt;
      if (!there) return std::nullopt;
      if (CompareKeys(kd, *there, key.Whole()) >= 0) break;
    }
    return Place{sample < samples ? offsets[sample] : std::size_t{used}, Slots()[sample]};
  }
  // From the last sample that is less, over all that are.
  std::size_t at = sample == 0 ? 0 : offsets[sample - 1];
  const bool ends = sample < samples && (side < 0 || numbers[sample] > number);
  const std::size_t end = ends ? offsets[sample] : used;
  while (at < end) {
    const auto entry = Entry::At(entries, at, true);
    const auto there = entry ? entry->Key(kd) : std::nullopt;
    if (!there) return std::nullopt;
    if (CompareKeys(kd, *there, key.Whole()) >= 0) break;
    at += entry->Size();
  }
  return Place{at, 0};
}

}  // namespace store
