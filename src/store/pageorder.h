// The order of the keys in the pages that updates of this process go through: for each entry where
// it begins and four bytes of its key as a number, so that a place is found by comparing numbers,
// and one key at its end. Unlike a directory (pagedirectory.h), which is made for reading alone, an
// order follows each change that this process makes to its page.
//
// Orders change no answer. They are made by a walk that sees every entry sound and the keys
// ascending, and each update leaves them so: on such a page a search by any means ends where the
// walk from its first entry would. One that does not fit a change of its page is forgotten. They
// hold for a state of the file as directories do.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "store/keptpages.h"
#include "store/page.h"
#include "store/soughtkey.h"

namespace store {

// One page's. One stretch of memory: this head, then a number for each entry, then where each
// begins.
class PageOrder {
 public:
  struct Free {
    void operator()(PageOrder* order) const { std::free(order); }
  };
  using Pointer = std::unique_ptr<PageOrder, Free>;

  // Null for a page that is not sound in every entry, and if there is no memory.
  // REQUIRES: OrderedKey::Serves(kd).
  static Pointer Of(const TreePage& page, const KEYDESCR& kd);

  struct Found {
    std::size_t offset;  // of the first entry with a key not less, or the end of them all
    bool isEqual;
  };
  // Nothing: the page is not what it was.
  std::optional<Found> Find(const TreePage& page, const KEYDESCR& kd, Bytes key) const;
  // The entries are changed: `removed` bytes, of one entry or none, give way to `entry`, or
  // nothing. False: that does not fit, and this is the order of no page any more.
  bool Splice(const KEYDESCR& kd, std::size_t offset, std::size_t removed, Bytes entry);
  // Takes out the entries below the offset. Their order; null if it could not be had.
  Pointer CutOff(std::size_t offset);

  void Prefetch() const;
  // Whether the numbers could tell more if they were taken anew.
  bool IsBlunt() const;
  std::size_t Memory() const { return MemoryFor(capacity); }

 private:
  static constexpr std::size_t MostPrefix = 23;

  PageOrder(std::size_t itsCapacity, bool isLeaf);
  static Pointer Make(std::size_t capacity, bool leaf);
  static std::size_t MemoryFor(std::size_t capacity) {
    return sizeof(PageOrder) + capacity * (sizeof(std::uint32_t) + sizeof(std::uint16_t));
  }
  static std::size_t CapacityFor(std::size_t count, std::size_t used);

  std::uint32_t* Numbers() { return reinterpret_cast<std::uint32_t*>(this + 1); }
  const std::uint32_t* Numbers() const { return const_cast<PageOrder*>(this)->Numbers(); }
  std::uint16_t* Offsets() { return reinterpret_cast<std::uint16_t*>(Numbers() + capacity); }
  const std::uint16_t* Offsets() const { return const_cast<PageOrder*>(this)->Offsets(); }
  std::size_t OffsetOf(std::size_t place) const { return place < count ? Offsets()[place] : used; }
  std::size_t PlaceOf(std::size_t offset) const;

  class Walk;
  bool Take(const Walk& walk, const KEYDESCR& kd);
  int Side(const OrderedKey& key) const;
  void ShortenTo(std::size_t length);
  void Close(std::size_t place);
  void Open(std::size_t place);

  std::uint16_t capacity;
  std::uint16_t count = 0;
  std::uint16_t used = 0;
  bool leaf;
  std::uint8_t prefixLength = 0;  // bytes that all keys begin with; the numbers are of what follows
  std::array<std::uint8_t, MostPrefix + 1> prefix;
};

// Those of one file, by pages.
class PageOrders final : public KeptPages {
 public:
  // By the order of this page. An internal page has one from the first search on, a leaf from the
  // second. REQUIRES: OrderedKey::Serves(kd).
  std::optional<PageOrder::Found> Find(std::uint16_t number, const TreePage& page,
                                       const KEYDESCR& kd, Bytes key);
  // The page will be searched next.
  void Prefetch(std::uint16_t number) const {
    if (number < pages.size() && pages[number].order != nullptr) pages[number].order->Prefetch();
  }
  void Splice(std::uint16_t number, const KEYDESCR& kd, std::size_t offset, std::size_t removed,
              Bytes entry);
  // The entries below the offset go to the page `left`.
  void Split(std::uint16_t number, std::uint16_t left, std::size_t offset);
  void Drop(std::uint16_t number) {
    if (number < pages.size()) pages[number].asOf = {};
  }
  // As DropAll, and gives the memory back.
  void Clear() override;

 private:
  struct Place {
    PageOrder::Pointer order;
    AsOf asOf;
    bool isUnfit = false;
  };

  PageOrder* Known(std::uint16_t number);
  Place& At(std::uint16_t number);
  void Put(std::uint16_t number, PageOrder::Pointer order);

  std::vector<Place> pages;
};

}  // namespace store
