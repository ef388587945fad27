// A directory of one tree page, private to this process: where its entries begin, and enough of
// their keys as numbers to find a place without walking over them. It changes no answer. It is made
// by one walk that sees that every entry is sound, has a whole key and that keys ascend: on such a
// page a search by any means ends where the walk would.
//
// What is asked of a directory is looked up in the page as well, and bounds are tested there again:
// the page may be changed by another process just then. The answer is worth nothing in that case,
// but nothing outside of the page is read for it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include "platform/eightslots.h"
#include "store/page.h"

namespace store {

// A key to be found, made ready for comparing with many: as bytes that order as its kind of keys
// does, the shorter of two equal beginnings first.
class SoughtKey {
 public:
  // Whether there are directories for such keys.
  static bool Serves(const KEYDESCR& kd) {
    if (kd.type == 0) return kd.len == 4;
    return kd.IsText() || ((kd.type == 1 || kd.type == 3) && kd.len > 0 && kd.len <= MaxKey);
  }

  // REQUIRES: Serves(kd); the key is whole, of at most MaxKey bytes, and stays where it is.
  SoughtKey(const KEYDESCR& kd, Bytes key);
  SoughtKey(const SoughtKey&) = delete;
  SoughtKey& operator=(const SoughtKey&) = delete;

  Bytes Whole() const { return whole; }
  std::uint32_t Mark() const { return mark; }  // equal for equal keys
  // Eight bytes from `at` on as a number that orders as they do; zeros behind the key.
  std::uint64_t Number(std::size_t at) const {
    if (at >= sizeof(std::uint64_t)) return NumberFar(at);
    // In two steps, since a number cannot be shifted by its whole length.
    return begin[0] << 8 * at | begin[1] >> 1 >> (63 - 8 * at);
  }
  Bytes Ordered() const { return ordered; }

 private:
  std::uint64_t NumberFar(std::size_t at) const;

  Bytes whole;
  Bytes ordered;
  std::array<std::uint64_t, 2> begin;  // the first sixteen bytes, as Number has them
  std::uint32_t mark;
  std::array<std::uint8_t, 4> number;
};

// One stretch of memory: this head, then what it counts.
class alignas(16) PageDirectory {
 public:
  struct Free {
    void operator()(PageDirectory* directory) const { std::free(directory); }
  };
  using Pointer = std::unique_ptr<PageDirectory, Free>;

  // Null for a page that is not sound in every entry, for an empty leaf, and if there is no memory.
  // REQUIRES: SoughtKey::Serves(kd).
  static Pointer Of(const TreePage& page, const KEYDESCR& kd);

  // What a search wants to know first.
  struct Shape {
    std::uint16_t used = 0;
    std::uint8_t groups = 0;  // leaf: of slots
    std::uint8_t lines = 0;   // leaf: of the processor's memory, behind the first of an entry
    bool leaf = false;
  };
  const Shape& Looks() const { return shape; }

  struct Place {
    bool found = false;
    std::uint16_t child = 0;   // of an internal page, for keys up to that entry's
    std::uint32_t offset = 0;  // of an entry, or the end of them all
  };
  // The leaf's entry with this very key.
  Place Find(const Shape& looks, const SoughtKey& key, const KEYDESCR& kd, Bytes entries) const;
  // The first entry with a key not less. Not found: the page is not what it was.
  Place FirstNotLess(const SoughtKey& key, const KEYDESCR& kd, Bytes entries) const;

  std::size_t Memory() const { return size; }

 private:
  friend class DirectoryBuilder;
  static constexpr std::size_t LeafStep = 8;
  // A slot has the offset of an entry, in fours, in its low bits, and bits of its key's mark above.
  static constexpr unsigned OffsetBits = 10;
  static constexpr std::uint16_t OffsetMask = (1U << OffsetBits) - 1;
  static constexpr std::uint16_t NoEntry = 0xFFFF;  // no entry begins so far behind
  // Slots are filled and searched group by group, from the one that the mark leads to until one has
  // a free slot. Few are free: what is never looked at takes no room in the processor's caches.
  static constexpr std::size_t GroupSize = platform::SlotsAtOnce;
  static constexpr std::size_t GroupFill = 6;

  PageDirectory() = default;

  int Side(const SoughtKey& key) const;

  static std::uint32_t GroupOf(std::uint32_t mark, std::uint32_t groups) {
    return static_cast<std::uint32_t>(std::uint64_t{mark} * groups >> 32);
  }
  static std::uint16_t SlotBits(std::uint32_t mark) {
    return static_cast<std::uint16_t>(mark << OffsetBits);
  }

  // Leaf: where each entry is found by its key's mark. Internal page: the children.
  const std::uint16_t* Slots() const { return reinterpret_cast<const std::uint16_t*>(this + 1); }
  std::size_t SlotSpace() const {  // what follows is aligned
    return shape.leaf ? shape.groups * GroupSize : (samples + 4U) & ~3U;
  }
  const std::uint64_t* Numbers() const {
    return reinterpret_cast<const std::uint64_t*>(Slots() + SlotSpace());
  }
  // Of the entries with a number.
  const std::uint16_t* Offsets() const {
    return reinterpret_cast<const std::uint16_t*>(Numbers() + samples);
  }
  Bytes Prefix() const {
    return {reinterpret_cast<const std::uint8_t*>(Offsets() + samples), prefix};
  }

  std::uint64_t size = 0;
  std::uint64_t begin = 0;  // the prefix as a number, if it is short
  Shape shape;
  std::uint16_t samples = 0;  // entries with a number: all of an internal page, some of a leaf
  std::uint8_t prefix = 0;    // bytes that all keys begin with; the numbers are of what follows
};

}  // namespace store
