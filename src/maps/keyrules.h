// How keys lie in records and what a key from outside must be like. Failures are thrown as ErrBuf.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "kvorlib/datatransfer.h"
#include "kvorlib/keydescr.h"

namespace maps {

using Bytes = std::span<unsigned char const>;

Bytes BytesOf(DataTransfer const& value);

// A key as the store wants it. A text key may be given bare, with its stop symbol or with a
// terminating zero in its place, and all three come out the same, with the stop symbol; only an
// empty one stays empty.
class StoreKey {
 public:
  // A key that is a record's own is bare, and a zero at its end is part of it: taken for another,
  // shorter one, it would put the record where that other key stands.
  enum class Ends { InAnyWay, Bare };

  // Throws: at `level`, what is wrong with a key that no record of this layout can have.
  StoreKey(KEYDESCR const& kd, DataTransfer const& given, int level, Ends ends = Ends::InAnyWay);

  Bytes Whole() const { return {bytes.data(), size}; }
  // False: with its stop symbol it is longer than any key in a file, which the store tells.
  bool CanStand() const { return size <= Longest; }

 private:
  static constexpr std::size_t Longest = 127;

  std::array<unsigned char, Longest + 1> bytes;
  std::size_t size;
};

// The key inside a record, without its stop symbol. A key of fixed length is found only if the
// record goes on behind it.
Bytes KeyOf(KEYDESCR const& kd, Bytes record);

// Throws unless the record may be stored under the key. The key counts exactly as given: bare, for
// with a stop symbol or a zero it is not the one in the record.
void CheckRecord(KEYDESCR const& kd, DataTransfer const& key, DataTransfer const& record);

}  // namespace maps
