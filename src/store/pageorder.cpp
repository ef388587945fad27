// Making of orders, searching in them, and following the changes of their pages.
#include "store/pageorder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "platform/prefetch.h"
#include "store/countless.h"

namespace store {

namespace {

// Four bytes from `at` on, zeros behind the last, the first one highest.
std::uint32_t NumberAt(Bytes bytes, std::size_t at) {
  if (at >= bytes.size()) return 0;
  const Bytes rest = bytes.subspan(at);
  const auto v = rest.size() >= 4 ? Load32(rest.data())
                                  : static_cast<std::uint32_t>(LoadFewer(rest.data(), rest.size()));
  return v << 24 | (v & 0xFF00U) << 8 | (v >> 8 & 0xFF00U) | v >> 24;
}

std::size_t CommonLength(Bytes a, Bytes b) {
  return static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first -
                                  a.begin());
}

constexpr std::size_t MostEntries = EntriesEnd / Rounded(EntryHead) + 1;

}  // namespace

// ---- One page's ----

PageOrder::PageOrder(std::size_t itsCapacity, bool isLeaf)
    : capacity(static_cast<std::uint16_t>(itsCapacity)), leaf(isLeaf) {}

PageOrder::Pointer PageOrder::Make(std::size_t capacity, bool leaf) {
  void* const memory = std::malloc(MemoryFor(capacity));
  if (memory == nullptr) return nullptr;
  return Pointer(new (memory) PageOrder(capacity, leaf));  // NOLINT: lives there
}

// For as many entries as the page may come to have if they stay as long as they are.
std::size_t PageOrder::CapacityFor(std::size_t count, std::size_t used) {
  const std::size_t full = used == 0 ? 0 : count * EntriesEnd / used;
  return std::min(full + full / 8 + 8, MostEntries);
}

// The entries of a page as one walk finds them.
class PageOrder::Walk {
 public:
  // False unless every entry is sound and has a whole key.
  bool Over(const TreePage& page, const KEYDESCR& kd) {
    entries = page.Entries();
    for (std::size_t at = 0; at < entries.size(); ++count) {
      const auto entry = Entry::At(entries, at, page.IsLeaf());
      const auto key = entry ? entry->Key(kd) : std::nullopt;
      if (!key || key->size() > MaxKey) return false;
      offsets[count] = static_cast<std::uint16_t>(at);
      keys[count] = {static_cast<std::uint16_t>(key->data() - entries.data()),
                     static_cast<std::uint16_t>(key->size())};
      at += entry->Size();
    }
    return true;
  }
  Bytes Key(std::size_t i) const { return entries.subspan(keys[i].at, keys[i].size); }

  std::size_t count = 0;
  std::array<std::uint16_t, MostEntries> offsets;

 private:
  struct Stretch {
    std::uint16_t at;
    std::uint16_t size;
  };
  std::array<Stretch, MostEntries> keys;
  Bytes entries;
};

PageOrder::Pointer PageOrder::Of(const TreePage& page, const KEYDESCR& kd) {
  Walk walk;
  if (!walk.Over(page, kd)) return nullptr;
  Pointer order = Make(CapacityFor(walk.count, page.Used()), page.IsLeaf());
  if (order == nullptr) return nullptr;
  order->used = static_cast<std::uint16_t>(page.Used());
  return order->Take(walk, kd) ? std::move(order) : nullptr;
}

// False unless the keys ascend.
bool PageOrder::Take(const Walk& walk, const KEYDESCR& kd) {
  count = static_cast<std::uint16_t>(walk.count);
  if (count == 0) return true;
  std::copy_n(walk.offsets.begin(), count, Offsets());
  const OrderedKey first(kd, walk.Key(0));
  const OrderedKey last(kd, walk.Key(count - 1U));
  prefixLength = static_cast<std::uint8_t>(
      std::min(CommonLength(first.Ordered(), last.Ordered()), MostPrefix));
  std::copy_n(first.Ordered().begin(), prefixLength, prefix.begin());
  std::uint32_t* const numbers = Numbers();
  for (std::size_t i = 0; i < count; ++i) {
    const OrderedKey key(kd, walk.Key(i));
    if (Side(key) != 0) return false;
    numbers[i] = NumberAt(key.Ordered(), prefixLength);
    if (i == 0 || numbers[i - 1] < numbers[i]) continue;
    if (CompareKeys(kd, walk.Key(i - 1), walk.Key(i)) >= 0) return false;
  }
  return true;
}

// Where the key stands to all that begin with the prefix: -1 or 1, or 0 if it begins so itself.
int PageOrder::Side(const OrderedKey& key) const {
  const std::size_t common = std::min<std::size_t>(key.Ordered().size(), prefixLength);
  const int order = common == 0 ? 0 : std::memcmp(key.Ordered().data(), prefix.data(), common);
  if (order != 0) return order < 0 ? -1 : 1;
  return common < prefixLength ? -1 : 0;
}

std::optional<PageOrder::Found> PageOrder::Find(const TreePage& page, const KEYDESCR& kd,
                                                Bytes key) const {
  if (page.Used() != used) return std::nullopt;
  const OrderedKey sought(kd, key);
  const int side = Side(sought);
  if (side != 0) return Found{side < 0 ? 0U : std::size_t{used}, false};
  const std::uint32_t number = NumberAt(sought.Ordered(), prefixLength);
  const std::uint32_t* const numbers = Numbers();
  std::size_t first = CountLess(numbers, count, number);
  std::size_t equal = first;
  while (equal < count && numbers[equal] == number) ++equal;
  // Among equal numbers the keys must tell, the last one first: keys that come in order go behind
  // it.
  bool lastFirst = equal == count;
  for (std::size_t n = equal - first; n > 0; lastFirst = false) {
    const std::size_t half = lastFirst ? n - 1 : n / 2;
    const auto entry = page.At(Offsets()[first + half]);
    const auto there = entry ? entry->Key(kd) : std::nullopt;
    if (!there) return std::nullopt;
    const int order = CompareKeys(kd, *there, key);
    if (order == 0) return Found{OffsetOf(first + half), true};
    first = order < 0 ? first + half + 1 : first;
    n = order < 0 ? n - half - 1 : half;
  }
  return Found{OffsetOf(first), false};
}

void PageOrder::Prefetch() const {
  constexpr std::size_t Most = 8 * platform::CacheLine;  // what one search waits for, as a rule
  const auto* const start = reinterpret_cast<const std::byte*>(this);
  for (std::size_t at = 0; at < Most; at += platform::CacheLine) platform::Prefetch(start + at);
}

std::size_t PageOrder::PlaceOf(std::size_t offset) const {
  const std::uint16_t* const offsets = Offsets();
  return static_cast<std::size_t>(std::lower_bound(offsets, offsets + count, offset) - offsets);
}

// The prefix is part of every key, so that the numbers of a shorter one are known without them.
void PageOrder::ShortenTo(std::size_t length) {
  const std::size_t bytes = prefixLength - length;
  const std::uint32_t high = NumberAt(Bytes(prefix).first(prefixLength), length);
  for (std::size_t i = 0; i < count; ++i) {
    Numbers()[i] = bytes >= 4 ? high : high | Numbers()[i] >> 8 * bytes;
  }
  prefixLength = static_cast<std::uint8_t>(length);
}

void PageOrder::Close(std::size_t place) {
  std::copy(Numbers() + place + 1, Numbers() + count, Numbers() + place);
  std::copy(Offsets() + place + 1, Offsets() + count, Offsets() + place);
  --count;
}

void PageOrder::Open(std::size_t place) {
  std::copy_backward(Numbers() + place, Numbers() + count, Numbers() + count + 1);
  std::copy_backward(Offsets() + place, Offsets() + count, Offsets() + count + 1);
  ++count;
}

bool PageOrder::Splice(const KEYDESCR& kd, std::size_t offset, std::size_t removed, Bytes bytes) {
  const std::size_t place = PlaceOf(offset);
  const std::size_t behind = removed != 0 ? place + 1 : place;
  if (behind > count || OffsetOf(place) != offset || OffsetOf(behind) != offset + removed) {
    return false;
  }
  const auto longer = static_cast<std::uint16_t>(bytes.size() - removed);
  std::uint16_t* const offsets = Offsets();
  for (std::size_t i = behind; longer != 0 && i < count; ++i) {
    offsets[i] = static_cast<std::uint16_t>(offsets[i] + longer);
  }
  used = static_cast<std::uint16_t>(used + longer);
  if (bytes.empty()) {
    if (removed != 0) Close(place);
    return true;
  }
  const auto entry = Entry::At(bytes, 0, leaf);
  const auto key = entry ? entry->Key(kd) : std::nullopt;
  if (!key || (removed == 0 && count == capacity)) return false;
  const OrderedKey added(kd, *key);
  if (Side(added) != 0) ShortenTo(CommonLength(added.Ordered(), Bytes(prefix).first(prefixLength)));
  if (removed == 0) Open(place);
  const std::uint32_t number = NumberAt(added.Ordered(), prefixLength);
  Numbers()[place] = number;
  offsets[place] = static_cast<std::uint16_t>(offset);
  return (place == 0 || Numbers()[place - 1] <= number) &&
         (place + 1 == count || number <= Numbers()[place + 1]);
}

PageOrder::Pointer PageOrder::CutOff(std::size_t offset) {
  const std::size_t cut = PlaceOf(offset);
  if (OffsetOf(cut) != offset) return nullptr;
  Pointer below = Make(std::max<std::size_t>(CapacityFor(cut, offset), cut), leaf);
  if (below == nullptr) return nullptr;
  below->count = static_cast<std::uint16_t>(cut);
  below->used = static_cast<std::uint16_t>(offset);
  below->prefixLength = prefixLength;
  below->prefix = prefix;
  std::copy_n(Numbers(), cut, below->Numbers());
  std::copy_n(Offsets(), cut, below->Offsets());
  std::copy(Numbers() + cut, Numbers() + count, Numbers());
  count = static_cast<std::uint16_t>(count - cut);
  std::transform(Offsets() + cut, Offsets() + cut + count, Offsets(),
                 [offset](std::uint16_t at) { return static_cast<std::uint16_t>(at - offset); });
  used = static_cast<std::uint16_t>(used - offset);
  return below;
}

// More than a byte is the same in all numbers.
bool PageOrder::IsBlunt() const {
  return count == 0 || (prefixLength < MostPrefix &&
                        std::countl_zero(Numbers()[0] ^ Numbers()[count - 1U]) >= 16);
}

// ---- Those of a file ----

PageOrder* PageOrders::Known(std::uint16_t number) {
  return number < pages.size() && Confirm(pages[number].asOf, number) ? pages[number].order.get()
                                                                      : nullptr;
}

PageOrders::Place& PageOrders::At(std::uint16_t number) {
  if (number >= pages.size()) {
    const std::size_t more = std::min<std::size_t>(MaxPages, number + number / 2U + 8U);
    Hold(Held() + (more - pages.size()) * sizeof(pages[0]));
    pages.resize(more);
  }
  return pages[number];
}

void PageOrders::Put(std::uint16_t number, PageOrder::Pointer order) {
  Place& place = At(number);
  const std::size_t before = place.order != nullptr ? place.order->Memory() : 0;
  place = {std::move(order), Now(number), false};
  Hold(Held() - before + (place.order != nullptr ? place.order->Memory() : 0));
}

std::optional<PageOrder::Found> PageOrders::Find(std::uint16_t number, const TreePage& page,
                                                 const KEYDESCR& kd, Bytes key) {
  if (const PageOrder* const known = Known(number)) {
    const auto found = known->Find(page, kd, key);
    if (!found) Drop(number);
    return found;
  }
  MakeRoom();
  Place& place = At(number);
  const bool isFirst = !Confirm(place.asOf, number);
  if (isFirst && page.IsLeaf()) Put(number, nullptr);
  if (place.isUnfit || (isFirst && page.IsLeaf())) return std::nullopt;
  // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the place owns it
  Put(number, PageOrder::Of(page, kd));
  place.isUnfit = place.order == nullptr;
  return place.order == nullptr ? std::nullopt : place.order->Find(page, kd, key);
}

void PageOrders::Splice(std::uint16_t number, const KEYDESCR& kd, std::size_t offset,
                        std::size_t removed, Bytes entry) {
  PageOrder* const known = Known(number);
  if (known == nullptr) return;
  if (!known->Splice(kd, offset, removed, entry)) Put(number, nullptr);
  pages[number].asOf = Now(number);
}

void PageOrders::Split(std::uint16_t number, std::uint16_t left, std::size_t offset) {
  MakeRoom();
  PageOrder* const known = Known(number);
  Drop(left);
  if (known == nullptr) return;
  PageOrder::Pointer below = known->CutOff(offset);
  if (below == nullptr) {
    Drop(number);
    return;
  }
  // Those that are left as if they had been searched once are taken anew at their next search.
  Put(left, below->IsBlunt() ? nullptr : std::move(below));
  if (known->IsBlunt()) Put(number, nullptr);
  pages[number].asOf = Now(number);
}

void PageOrders::Clear() {
  DropAll();
  pages = std::vector<Place>();
  Hold(0);
}

}  // namespace store
