// One loop for each order of keys, with all tests of a step in it.
#include "store/pagesearch.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace store {

namespace {

// The bytes of an entry's payload from where its key begins, and how many there are; none if the
// entry is not sound.
struct KeyBytes {
  const std::uint8_t* begin = nullptr;
  std::size_t size = 0;
};

// Text in order of its bytes, the shorter of two equal beginnings first. What the first sixteen
// bytes tell is told by two words; most keys end there, or differ.
class TextIsLess {
 public:
  TextIsLess(const KEYDESCR& kd, Bytes key)
      : stop(kd.len), wanted(key.data()), length(key.size() - 1) {
    std::array<std::uint8_t, 2 * Word> start{};
    std::copy_n(wanted, std::min(key.size(), start.size()), start.begin());
    low = Load64(&start[0]);
    high = Load64(&start[Word]);
  }

  bool operator()(const KeyBytes& key) const {
    if (std::min(key.size, MaxKey) < 2 * Word) return IsLess(key);
    const std::uint64_t first = Load64(key.begin);
    const std::uint64_t second = Load64(key.begin + Word);
    const std::size_t there = FirstSet(Stops(first), Stops(second));
    if (there == 2 * Word) return IsLess(key);
    const std::size_t apart = FirstSet(first ^ low, second ^ high);
    if (apart >= std::min(there, length)) return there < length;
    return key.begin[apart] < wanted[apart];
  }

 private:
  static constexpr std::size_t Word = sizeof(std::uint64_t);

  // The byte of two words in which the lowest bit that is set lies, or their length.
  static std::size_t FirstSet(std::uint64_t one, std::uint64_t other) {
    const int bit = one != 0 ? std::countr_zero(one) : 64 + std::countr_zero(other);
    return static_cast<std::size_t>(bit) / 8;
  }
  // The lowest bit of it is in the first byte that is the stop symbol.
  std::uint64_t Stops(std::uint64_t word) const {
    constexpr std::uint64_t Each = 0x0101010101010101U;
    const std::uint64_t apart = word ^ Each * static_cast<std::uint8_t>(stop);
    return (apart - Each) & ~apart & Each << 7;
  }
  bool IsLess(const KeyBytes& key) const {
    const auto* const end =
        static_cast<const std::uint8_t*>(std::memchr(key.begin, stop, std::min(key.size, MaxKey)));
    if (end == nullptr) return false;
    const auto there = static_cast<std::size_t>(end - key.begin);
    const std::size_t common = std::min(there, length);
    for (std::size_t i = 0; i < common; ++i) {
      if (key.begin[i] != wanted[i]) return key.begin[i] < wanted[i];
    }
    return there < length;
  }

  int stop;
  const std::uint8_t* wanted;
  std::size_t length;
  std::uint64_t low;
  std::uint64_t high;
};

class BytesAreLess {
 public:
  BytesAreLess(const KEYDESCR& kd, Bytes key) : wanted(key.data()), length(kd.len) {}
  bool operator()(const KeyBytes& key) const {
    return key.size >= length && std::memcmp(key.begin, wanted, length) < 0;
  }

 private:
  const std::uint8_t* wanted;
  std::size_t length;
};

class NumberIsLess {
 public:
  explicit NumberIsLess(Bytes key) : wanted(static_cast<std::int32_t>(Load32(key.data()))) {}
  bool operator()(const KeyBytes& key) const {
    return key.size >= 4 && static_cast<std::int32_t>(Load32(key.begin)) < wanted;
  }

 private:
  std::int32_t wanted;
};

template <typename IsLess>
std::size_t StepOver(const TreePage& page, std::int16_t offset, const IsLess& isLess) {
  const Bytes entries = page.Entries();
  const bool leaf = page.IsLeaf();
  std::size_t at = 0;
  for (;;) {
    const auto entry = Entry::At(entries, at, leaf);
    if (!entry) return at;
    const Bytes payload = entry->Payload();
    const auto before = static_cast<std::size_t>(entry->Form() == EntryForm::Inline ? offset : 0);
    // A negative offset is a large number here.
    if (before > payload.size()) return at;
    if (!isLess(KeyBytes{payload.data() + before, payload.size() - before})) return at;
    at += entry->Size();
  }
}

}  // namespace

std::size_t StepOverLess(const TreePage& page, const KEYDESCR& kd, Bytes key) {
  if (kd.IsText()) return StepOver(page, kd.offset, TextIsLess(kd, key));
  // Numbers of other lengths, and orders in which all keys are equal, are left to the caller; keys
  // of no bytes are such, too.
  if ((kd.type == 1 || kd.type == 3) && kd.len != 0) {
    return StepOver(page, kd.offset, BytesAreLess(kd, key));
  }
  if (kd.type == 0 && kd.len == 4) return StepOver(page, kd.offset, NumberIsLess(key));
  return 0;
}

}  // namespace store
