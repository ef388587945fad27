// A key to be found, made ready for comparing with many.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "store/page.h"

namespace store {

inline Bytes WithoutStop(const KEYDESCR& kd, Bytes key) {
  return key.first(kd.IsText() ? key.size() - 1 : key.size());
}

// A number of the key's bytes, equal for equal keys, whose bits are spread evenly.
// REQUIRES: the key is whole.
std::uint32_t KeyMark(const KEYDESCR& kd, Bytes key);

// A whole key as bytes that order as its kind of keys does, the shorter of two equal beginnings
// first.
class OrderedKey {
 public:
  // Whether this can be done with such keys.
  static bool Serves(const KEYDESCR& kd) {
    if (kd.type == 0) return kd.len == 4;
    return kd.IsText() || ((kd.type == 1 || kd.type == 3) && kd.len > 0 && kd.len <= MaxKey);
  }

  // REQUIRES: Serves(kd); the key is whole, of at most MaxKey bytes, and stays where it is.
  OrderedKey(const KEYDESCR& kd, Bytes key) : ordered(WithoutStop(kd, key)) {
    if (kd.type != 0) return;
    // The sign turned over, and the highest byte first.
    number = {static_cast<std::uint8_t>(key[3] ^ 0x80U), key[2], key[1], key[0]};
    ordered = number;
  }
  OrderedKey(const OrderedKey&) = delete;
  OrderedKey& operator=(const OrderedKey&) = delete;

  Bytes Ordered() const { return ordered; }

 private:
  std::array<std::uint8_t, 4> number;
  Bytes ordered;
};

// One that is compared with many.
class SoughtKey : public OrderedKey {
 public:
  SoughtKey(const KEYDESCR& kd, Bytes key);

  Bytes Whole() const { return whole; }
  // Eight bytes from `at` on as a number that orders as they do; zeros behind the key.
  std::uint64_t Number(std::size_t at) const {
    if (at >= sizeof(std::uint64_t)) return NumberFar(at);
    // In two steps, since a number cannot be shifted by its whole length.
    return begin[0] << 8 * at | begin[1] >> 1 >> (63 - 8 * at);
  }

 private:
  std::uint64_t NumberFar(std::size_t at) const;

  Bytes whole;
  std::array<std::uint64_t, 2> begin;  // the first sixteen bytes, as Number has them
};

}  // namespace store
