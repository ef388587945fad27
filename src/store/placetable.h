// Where the entries of a file's leaves are, by marks of their keys: one look leads to a key that is
// there, however many pages lie between it and the root. Private to this process.
//
// Each place belongs to an edition of its page's places. Those of a former edition are dead: nobody
// goes by them, and their room is used again. Which they are is asked of whoever keeps the table.
//
// Sixteen tags that can be compared at once, and what belongs to twelve of them, fill one line of
// the processor's memory; a line that runs over goes on in the next one.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/byteruns.h"
#include "platform/prefetch.h"

namespace store {

class PlaceTable {
 public:
  struct Place {
    std::uint16_t page = 0;
    std::uint16_t offset = 0;  // of the entry, a multiple of four
    std::uint8_t edition = 0;  // from 1 to Editions
  };
  static constexpr std::uint8_t Editions = 63;

  // Room for so many; all memory is zeros that are not touched yet. False: there is none.
  bool Make(std::size_t places);
  bool IsMade() const { return count != 0; }
  static std::size_t MemoryFor(std::size_t places) { return LinesFor(places) * sizeof(Line); }
  std::size_t Memory() const { return count * sizeof(Line); }
  template <typename IsDead>
  std::size_t Living(IsDead isDead) const {
    std::size_t living = 0;
    for (const Line* line = lines; line != lines + count; ++line) {
      for (unsigned i = 0; i < line->taken; ++i) {
        if (!isDead(Unpacked(line->places[i]))) ++living;
      }
    }
    return living;
  }
  // Gives the memory back.
  void Clear();

  // Whether one of those who may have this mark is the one. REQUIRES: IsMade().
  template <typename IsIt>
  bool Find(std::uint32_t mark, IsIt isIt) const {
    for (std::size_t n = IndexOf(mark);; n = Behind(n)) {
      const Line& line = lines[n];
      for (unsigned likely = line.With(TagOf(mark)); likely != 0; likely &= likely - 1) {
        if (isIt(Unpacked(line.places[FirstOf(likely)]))) return true;
      }
      if ((line.ranOver & RunOf(mark)) == 0) return false;
    }
  }
  // Puts a place of a key that has no living one. False: the table is full. REQUIRES: IsMade().
  template <typename IsDead>
  bool Put(std::uint32_t mark, Place place, IsDead isDead) {
    if (taken >= Capacity() - count / 2 - 1) return false;  // a line with room ends each search
    for (std::size_t n = IndexOf(mark);; n = Behind(n)) {
      if (PutInto(lines[n], TagOf(mark), Packed(place), isDead)) return true;
      lines[n].ranOver |= RunOf(mark);
    }
  }
  // The line of the mark will be looked at.
  void Fetch(std::uint32_t mark) const { platform::Prefetch(&lines[IndexOf(mark)]); }
  // All places of the page are of no edition from now on.
  void Kill(std::uint16_t page);

 private:
  static constexpr unsigned Slots = 12;
  static constexpr unsigned Fill = 10;  // of these: less room stays in the caches, but runs over
  struct alignas(platform::CacheLine) Line {
    std::array<std::uint8_t, Slots> tags;  // 0: free, and so are all behind it
    std::uint8_t taken;
    std::uint8_t none;
    std::uint16_t ranOver;  // runs of marks of which some went on in the next line
    std::array<std::uint32_t, Slots> places;

    unsigned With(std::uint8_t tag) const {
      const auto* const begin = reinterpret_cast<const std::uint8_t*>(this);
      return platform::WhichAre(tag, begin) & ((1U << Slots) - 1);
    }
  };
  static_assert(sizeof(Line) == platform::CacheLine, "one look, one line");
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  static std::size_t LinesFor(std::size_t places) { return places / Fill + 1; }
  static std::uint8_t TagOf(std::uint32_t mark) {
    const auto tag = static_cast<std::uint8_t>(mark);
    return tag == 0 ? 1 : tag;
  }
  // One of sixteen runs of the mark, as a bit: few who look for a key go on for another's sake.
  static std::uint16_t RunOf(std::uint32_t mark) {
    return static_cast<std::uint16_t>(1U << (mark >> 8 & 15U));
  }
  static unsigned FirstOf(unsigned bits) { return static_cast<unsigned>(std::countr_zero(bits)); }
  static std::uint32_t Packed(Place place) {
    return std::uint32_t{place.page} << 16 | place.offset / 4U << 6 | place.edition;
  }
  static Place Unpacked(std::uint32_t packed) {
    return {static_cast<std::uint16_t>(packed >> 16),
            static_cast<std::uint16_t>((packed >> 6 & 0x3FFU) * 4),
            static_cast<std::uint8_t>(packed & Editions)};
  }
  std::size_t Capacity() const { return count * Slots; }
  std::size_t IndexOf(std::uint32_t mark) const { return std::uint64_t{mark} * count >> 32; }
  std::size_t Behind(std::size_t n) const { return n + 1 == count ? 0 : n + 1; }

  // A dead place of the very key, mostly, then a free one, then any dead one.
  template <typename IsDead>
  bool PutInto(Line& line, std::uint8_t tag, std::uint32_t place, IsDead isDead) {
    for (unsigned likely = line.With(tag); likely != 0; likely &= likely - 1) {
      std::uint32_t& former = line.places[FirstOf(likely)];
      if (!isDead(Unpacked(former))) continue;
      former = place;
      return true;
    }
    unsigned n = line.taken;
    if (n < Slots) {
      ++line.taken;
      ++taken;
    } else {
      n = 0;
      while (n < Slots && !isDead(Unpacked(line.places[n]))) ++n;
      if (n == Slots) return false;
    }
    line.tags[n] = tag;
    line.places[n] = place;
    return true;
  }

  std::unique_ptr<void, Free> memory;
  Line* lines = nullptr;
  std::size_t count = 0;
  std::size_t taken = 0;  // dead ones among them
};

}  // namespace store
