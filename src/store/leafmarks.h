// Where some of a leaf's entries begin, for the leaves that this process changes: a search for the
// place of an update begins at the last of these marks that stands before its key, not at the
// leaf's first entry. Unlike a directory (pagedirectory.h) they follow each change of a leaf.
//
// Marks change no answer. They are made by a walk that sees every entry sound and the keys
// ascending, and each update leaves them so: on such a leaf a search by any means ends where the
// walk from its first entry would. They hold for a state of the file as directories do.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/page.h"

namespace store {

class LeafMarks {
 public:
  // An offset in the leaf at which an entry begins that is less than the key, or 0. The leaf is
  // marked when it is searched again and again.
  std::size_t StartFor(std::uint16_t number, const TreePage& leaf, const KEYDESCR& kd, Bytes key);
  // The leaf's entries are changed: `removed` bytes, of one entry or none, give way to `added`, of
  // one entry or none; it has `used` bytes behind that.
  void Splice(std::uint16_t number, std::size_t offset, std::size_t removed, std::size_t added,
              std::size_t used);
  void Drop(std::uint16_t number) {
    if (Leaf* const known = Find(number)) *known = {};
  }
  void DropAll() { ++state; }
  // As DropAll, and gives the memory back.
  void Clear() {
    DropAll();
    leaves = std::vector<Leaf>();
  }

 private:
  static constexpr std::size_t Places = 4096;  // leaves that share one push each other out
  static constexpr std::size_t MostMarks = 14;
  static constexpr std::size_t Gap = 288;  // bytes from mark to mark, at least

  struct Leaf {
    std::uint64_t asOf = 0;
    std::uint16_t number = 0;  // 0: of no leaf
    bool marked = false;
    std::uint8_t count = 0;
    std::array<std::uint16_t, MostMarks> marks;  // ascending
  };

  Leaf* Find(std::uint16_t number) {
    const std::size_t place = number % Places;
    return place < leaves.size() && leaves[place].number == number ? &leaves[place] : nullptr;
  }
  Leaf& At(std::uint16_t number);
  static void Mark(Leaf& to, const TreePage& leaf, const KEYDESCR& kd);

  std::vector<Leaf> leaves;  // no more places than the leaves asked for need
  std::uint64_t state = 1;
};

}  // namespace store
