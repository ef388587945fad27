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

  // REQUIRES: Serves(kd); the key is whole, and of at most MaxKey bytes.
  SoughtKey(const KEYDESCR& kd, Bytes key);

  Bytes Whole() const { return whole; }
  std::uint16_t Mark() const { return mark; }  // equal for equal keys
  // Eight bytes from `at` on as a number that orders as they do; zeros behind the key.
  // REQUIRES: at <= MaxKey.
  std::uint64_t Number(std::size_t at) const;
  // Where it stands to all keys that begin with `prefix`: -1 or 1, or 0 if it begins so itself.
  int To(Bytes prefix) const;
  const std::uint8_t* Ordered() const { return ordered.data(); }
  std::size_t Size() const { return size; }

 private:
  Bytes whole;
  std::size_t size;
  std::uint16_t mark;
  std::array<std::uint8_t, MaxKey + sizeof(std::uint64_t)> ordered;
};

// One stretch of memory: this head, then what it counts.
class PageDirectory {
 public:
  struct Free {
    void operator()(PageDirectory* directory) const { std::free(directory); }
  };
  using Pointer = std::unique_ptr<PageDirectory, Free>;

  // Null for a page that is not sound in every entry, for an empty leaf, and if there is no memory.
  // REQUIRES: SoughtKey::Serves(kd).
  static Pointer Of(const TreePage& page, const KEYDESCR& kd);

  bool IsLeaf() const { return leaf; }
  std::size_t Used() const { return used; }

  // The leaf's entry with this very key.
  std::optional<Entry> Find(const SoughtKey& key, const KEYDESCR& kd, Bytes entries) const;

  struct Place {
    std::size_t offset;   // of an entry, or the end of them all
    std::uint16_t child;  // of an internal page, for keys up to that entry's
  };
  // The first entry with a key not less. Nothing: the page is not what it was.
  std::optional<Place> FirstNotLess(const SoughtKey& key, const KEYDESCR& kd, Bytes entries) const;

  std::size_t Memory() const { return size; }

  std::uint64_t asOf = 0;  // for whoever keeps it

 private:
  friend class DirectoryBuilder;
  static constexpr std::size_t LeafStep = 8;
  // A slot has the offset of an entry, in fours, in its low bits, and bits of its key's mark above.
  static constexpr unsigned OffsetBits = 10;
  static constexpr std::uint16_t NoEntry = (1U << OffsetBits) - 1;

  PageDirectory() = default;

  std::size_t SlotCount() const { return std::size_t{slotMask} + 1; }
  const std::uint64_t* Numbers() const { return reinterpret_cast<const std::uint64_t*>(this + 1); }
  // Of the sampled entries.
  const std::uint16_t* Offsets() const {
    return reinterpret_cast<const std::uint16_t*>(Numbers() + samples);
  }
  // Leaf: where each entry is found by its key's mark. Internal page: the children.
  const std::uint16_t* Slots() const { return Offsets() + samples; }
  Bytes Prefix() const {
    return {reinterpret_cast<const std::uint8_t*>(Slots() + SlotCount()), prefix};
  }

  std::uint32_t size = 0;
  std::uint16_t used = 0;
  std::uint16_t samples = 0;   // entries with a number: all of an internal page, some of a leaf
  std::uint16_t slotMask = 0;  // internal page: as many, less one
  std::uint8_t prefix = 0;     // bytes that all keys begin with; the numbers are of what follows
  bool leaf = false;
};

}  // namespace store
