// The key descriptor: where the key lies inside each record of a keyed file.
#pragma once

#include <cstdint>

// Fixed when a file is created and stored in its header. The standard descriptors are the rows of
// `IndexFile::kdArray`.
struct KEYDESCR {
  // 0: 32-bit signed integer, little-endian, compared as a number.
  // 1, 3: `len` bytes, compared as unsigned bytes.
  // 2, 4: text up to and with the stop symbol `len`, compared as the bytes before it.
  std::uint8_t type = 0;
  std::uint8_t len = 0;     // length of a fixed key, or the stop symbol of a text key
  std::int16_t offset = 0;  // where the key begins inside a record

  KEYDESCR() = default;
  constexpr KEYDESCR(std::uint8_t keyType, std::uint8_t keyLen, std::int16_t keyOffset)
      : type(keyType), len(keyLen), offset(keyOffset) {}

  // Whether keys end with a stop symbol. Such a key, with its stop symbol, has at most 127 bytes.
  bool IsText() const { return type == 2 || type == 4; }

  friend bool operator==(const KEYDESCR&, const KEYDESCR&) = default;
};
