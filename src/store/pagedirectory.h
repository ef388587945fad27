// A directory of one tree page, private to this process: where its entries begin, and enough of
// their keys as numbers to find a place in their order without walking over them. It changes no
// answer, since it is made of a page on which a search by any means ends where the walk would.
//
// What is asked of a directory is looked up in the page as well, and bounds are tested there again:
// the page may be changed by another process just then. The answer is worth nothing in that case,
// but nothing outside of the page is read for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "store/soughtkey.h"
#include "store/soundpage.h"

namespace store {

// One stretch of memory: this head, then what it counts.
class alignas(16) PageDirectory {
 public:
  struct Free {
    void operator()(PageDirectory* directory) const { std::free(directory); }
  };
  using Pointer = std::unique_ptr<PageDirectory, Free>;

  // Null if there is no memory. REQUIRES: the page is sound, and SoughtKey serves its keys.
  static Pointer Of(const SoundPage& page);

  struct Place {
    bool found = false;
    std::uint16_t child = 0;   // of an internal page, for keys up to that entry's
    std::uint32_t offset = 0;  // of an entry, or the end of them all
  };
  // The first entry with a key not less. Not found: the page is not what it was.
  Place FirstNotLess(const SoughtKey& key, const KEYDESCR& kd, Bytes entries) const;

  // REQUIRES: of an internal page.
  std::span<const std::uint16_t> ChildPages() const { return {Children(), samples + 1U}; }

  std::size_t Memory() const { return size; }

 private:
  static constexpr std::size_t LeafStep = 8;

  PageDirectory() = default;

  int Side(const SoughtKey& key) const;

  void Fill(const SoundPage& page, std::size_t step);

  // An internal page's; what follows is aligned.
  std::uint16_t* Children() { return reinterpret_cast<std::uint16_t*>(this + 1); }
  std::size_t ChildSpace() const { return leaf ? 0 : (samples + 4U) & ~3U; }
  std::uint64_t* Numbers() { return reinterpret_cast<std::uint64_t*>(Children() + ChildSpace()); }
  // Of the entries with a number.
  std::uint16_t* Offsets() { return reinterpret_cast<std::uint16_t*>(Numbers() + samples); }
  std::uint8_t* Prefix() { return reinterpret_cast<std::uint8_t*>(Offsets() + samples); }
  const std::uint16_t* Children() const { return const_cast<PageDirectory*>(this)->Children(); }
  const std::uint64_t* Numbers() const { return const_cast<PageDirectory*>(this)->Numbers(); }
  const std::uint16_t* Offsets() const { return const_cast<PageDirectory*>(this)->Offsets(); }
  const std::uint8_t* Prefix() const { return const_cast<PageDirectory*>(this)->Prefix(); }

  std::uint64_t size = 0;
  std::uint64_t begin = 0;    // the prefix as a number, if it is short
  std::uint16_t samples = 0;  // entries with a number: all of an internal page, some of a leaf
  std::uint16_t used = 0;     // bytes of entries
  std::uint8_t prefix = 0;    // bytes that all keys begin with; the numbers are of what follows
  bool leaf = false;
};

}  // namespace store
