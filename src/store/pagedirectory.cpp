// Making of directories, and searching in them.
#include "store/pagedirectory.h"

#include <algorithm>
#include <cstring>

#include "platform/byteruns.h"
#include "platform/prefetch.h"
#include "store/countless.h"

namespace store {

namespace {

constexpr std::uint64_t Mixer = 0x9E3779B97F4A7C15U;

std::uint64_t BigEndian(std::uint64_t v) {
  v = (v & 0x00FF00FF00FF00FFU) << 8 | (v >> 8 & 0x00FF00FF00FF00FFU);
  v = (v & 0x0000FFFF0000FFFFU) << 16 | (v >> 16 & 0x0000FFFF0000FFFFU);
  return v << 32 | v >> 32;
}

// The last word of a key of eight bytes or more is its last eight, some of them for a second time.
std::uint32_t MarkOf(Bytes key) {
  std::uint64_t h = key.size() * Mixer;
  const std::uint64_t last =
      key.size() < 8 ? LoadFewer(key.data(), key.size()) : Load64(key.data() + key.size() - 8);
  for (; key.size() > 8; key = key.subspan(8)) {
    h = (h ^ Load64(key.data())) * Mixer;
    h ^= h >> 32;
  }
  h = (h ^ last) * Mixer;
  h = (h ^ h >> 32) * Mixer;
  return static_cast<std::uint32_t>(h >> 32);
}

// The first sixteen bytes, the first one highest, zeros behind the last.
std::array<std::uint64_t, 2> BeginOf(Bytes key) {
  if (key.size() < 8) {
    const std::uint64_t few = LoadFewer(key.data(), key.size());
    return {BigEndian(few), 0};
  }
  // The second eight with some of the first in front of them, which are shifted out; in two steps,
  // since it may be all of them.
  const std::size_t more = std::min<std::size_t>(key.size() - 8, 8);
  const std::uint64_t second = BigEndian(Load64(key.data() + more));
  return {BigEndian(Load64(key.data())), second << 4 * (8 - more) << 4 * (8 - more)};
}

// The bytes of an entry from where its key begins.
Bytes FromKeyOn(const Entry& entry, const KEYDESCR& kd) {
  const Bytes payload = entry.Payload();
  const auto before = static_cast<std::size_t>(entry.Form() == EntryForm::Inline ? kd.offset : 0);
  return before > payload.size() ? Bytes() : payload.subspan(before);
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
  begin = BeginOf(ordered);
}

std::uint64_t SoughtKey::NumberFar(std::size_t at) const {
  if (at >= ordered.size()) return 0;
  const Bytes rest = ordered.subspan(at);
  return BigEndian(rest.size() >= 8 ? Load64(rest.data()) : LoadFewer(rest.data(), rest.size()));
}

// Works on a copy: what lies in the file may be changed meanwhile, and behind this there is more to
// be read.
class DirectoryBuilder {
 public:
  DirectoryBuilder(const TreePage& page, const KEYDESCR& descr)
      : entries(copy.data(), page.Used()),
        leaf(page.IsLeaf()),
        rightChild(page.RightChild()),
        kd(descr) {
    std::memcpy(copy.data(), page.Entries().data(), page.Used());
  }

  // False if there is no sound page.
  bool Walk() {
    Bytes before;
    for (std::size_t at = 0; at < entries.size(); ++count) {
      const auto entry = Entry::At(entries, at, leaf);
      if (!entry || count == offsets.size()) return false;
      const Bytes key = KeyOf(*entry);
      if (key.empty() || (count > 0 && !IsLess(before, key))) return false;
      offsets[count] = static_cast<std::uint16_t>(at);
      if (leaf) marks[count] = SoughtKey(kd, key).Mark();
      before = key;
      at += entry->Size();
    }
    return count > 0 || !leaf;
  }

  PageDirectory::Pointer Fill() {
    PageDirectory head;
    head.shape.leaf = leaf;
    head.shape.used = static_cast<std::uint16_t>(entries.size());
    head.prefix = count == 0 ? 0 : CommonPrefix({kd, KeyAt(0)}, {kd, KeyAt(count - 1)});
    head.begin = count == 0 ? 0 : SoughtKey(kd, KeyAt(0)).Number(0);
    const std::size_t step = head.shape.leaf ? PageDirectory::LeafStep : 1;
    head.samples = static_cast<std::uint16_t>((count + step - 1) / step);
    if (head.shape.leaf) {
      head.shape.groups = static_cast<std::uint8_t>(count / PageDirectory::GroupFill + 1);
      head.shape.lines =
          static_cast<std::uint8_t>(entries.size() / count / platform::CacheLine + 1);
    }
    head.size = sizeof head + 2 * (head.SlotSpace() + head.samples) +
                head.samples * sizeof(std::uint64_t) + head.prefix;
    void* const memory = std::malloc(head.size);
    if (memory == nullptr) return nullptr;
    PageDirectory::Pointer directory(new (memory) PageDirectory(head));  // NOLINT: lives there
    Store(*directory, step);
    return directory;
  }

 private:
  // None: there is no whole key.
  Bytes KeyOf(const Entry& entry) const {
    if (!kd.IsText()) {
      const auto key = entry.Key(kd);
      return key && key->size() <= MaxKey ? *key : Bytes();
    }
    const Bytes there = FromKeyOn(entry, kd);
    const std::size_t reach = std::min(there.size(), MaxKey);
    const std::size_t stop = platform::PlaceOf(kd.len, there.data(), reach);
    return stop < reach ? there.first(stop + 1) : Bytes();
  }
  Bytes KeyAt(std::size_t n) const { return KeyOf(*Entry::At(entries, offsets[n], leaf)); }

  bool IsLess(Bytes a, Bytes b) const {
    if (!kd.IsText()) return CompareKeys(kd, a, b) < 0;
    const std::size_t common = std::min(a.size(), b.size()) - 1;
    const std::size_t same = platform::SameBytes(a.data(), b.data(), common);
    return same == common ? a.size() < b.size() : a[same] < b[same];
  }

  static std::uint8_t CommonPrefix(const SoughtKey& a, const SoughtKey& b) {
    const Bytes one = a.Ordered();
    const Bytes other = b.Ordered();
    const auto apart = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return static_cast<std::uint8_t>(apart.first - one.begin());
  }

  void Store(PageDirectory& d, std::size_t step) const {
    auto* const slots = reinterpret_cast<std::uint16_t*>(&d + 1);
    auto* const numbers = reinterpret_cast<std::uint64_t*>(slots + d.SlotSpace());
    auto* const places = reinterpret_cast<std::uint16_t*>(numbers + d.samples);
    auto* const prefix = reinterpret_cast<std::uint8_t*>(places + d.samples);
    if (d.prefix != 0) std::copy_n(SoughtKey(kd, KeyAt(0)).Ordered().begin(), d.prefix, prefix);
    for (std::size_t i = 0; i < count; i += step) {
      numbers[i / step] = SoughtKey(kd, KeyAt(i)).Number(d.prefix);
      places[i / step] = offsets[i];
    }
    if (leaf) {
      FillGroups(d.shape.groups, slots);
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        slots[i] = Entry::At(entries, offsets[i], false)->Child();
      }
      slots[count] = rightChild;
    }
  }

  void FillGroups(std::size_t groups, std::uint16_t* slots) const {
    std::fill_n(slots, groups * PageDirectory::GroupSize, PageDirectory::NoEntry);
    std::array<std::uint8_t, MostGroups> taken;
    std::fill_n(taken.begin(), groups, std::uint8_t{0});
    for (std::size_t i = 0; i < count; ++i) {
      std::size_t group = PageDirectory::GroupOf(marks[i], static_cast<std::uint32_t>(groups));
      while (taken[group] == PageDirectory::GroupSize) group = group + 1 == groups ? 0 : group + 1;
      slots[group * PageDirectory::GroupSize + taken[group]++] =
          static_cast<std::uint16_t>(PageDirectory::SlotBits(marks[i]) | offsets[i] / 4);
    }
  }

  static constexpr std::size_t MostEntries = EntriesEnd / Rounded(EntryHead) + 2;
  static constexpr std::size_t MostGroups = MostEntries / PageDirectory::GroupFill + 1;
  std::array<std::uint8_t, PageSize + platform::ReadAhead> copy;
  const Bytes entries;
  const bool leaf;
  const std::uint16_t rightChild;
  const KEYDESCR kd;
  std::size_t count = 0;
  std::array<std::uint16_t, MostEntries> offsets;
  std::array<std::uint32_t, MostEntries> marks;
};

PageDirectory::Pointer PageDirectory::Of(const TreePage& page, const KEYDESCR& kd) {
  DirectoryBuilder builder(page, kd);
  return builder.Walk() ? builder.Fill() : nullptr;
}

PageDirectory::Place PageDirectory::Find(const Shape& looks, const SoughtKey& key,
                                         const KEYDESCR& kd, Bytes entries) const {
  const Bytes wanted = key.Whole();
  const std::uint16_t bits = SlotBits(key.Mark());
  std::uint32_t group = GroupOf(key.Mark(), looks.groups);
  for (;;) {
    const std::uint16_t* const slots = Slots() + group * GroupSize;
    const platform::EightSlots all(slots);
    for (auto likely = all.Like(bits, NoEntry & ~OffsetMask); !likely.IsEmpty();
         likely.DropFirst()) {
      const std::uint32_t offset = 4U * (slots[likely.First()] & OffsetMask);
      for (unsigned line = 1; line <= looks.lines; ++line) {  // while its head is awaited
        platform::Prefetch(entries.data() + offset + line * platform::CacheLine);
      }
      const auto entry = Entry::At(entries, offset, true);
      if (!entry) continue;
      const Bytes there = FromKeyOn(*entry, kd);
      if (there.size() >= wanted.size() &&
          std::memcmp(there.data(), wanted.data(), wanted.size()) == 0) {
        return {true, 0, offset};
      }
    }
    if (!all.Like(NoEntry, NoEntry).IsEmpty()) return {};
    group = group + 1 == looks.groups ? 0 : group + 1;
  }
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
