// First-fit search and marking over the bitmap of page 0.
#include "store/bitmap.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace store {

namespace {

// From a byte whose pages are all in use: the last of such bytes in a row, or one of them.
std::uint32_t LastOfFull(ConstBitmap bitmap, std::uint32_t byte) {
  std::uint64_t eight = 0;
  while (byte + 1 + sizeof eight <= bitmap.size()) {
    std::memcpy(&eight, &bitmap[byte + 1], sizeof eight);
    if (eight != ~std::uint64_t{0}) break;
    byte += sizeof eight;
  }
  return byte;
}

}  // namespace

std::uint32_t FindFreeRun(ConstBitmap bitmap, std::uint32_t count) {
  std::uint32_t start = 0;
  std::uint32_t length = 0;
  for (std::uint32_t byte = 0; byte < bitmap.size(); ++byte) {
    if (bitmap[byte] == 0xFF) {
      length = 0;
      byte = LastOfFull(bitmap, byte);
      continue;
    }
    for (std::uint32_t bit = 0; bit < 8; ++bit) {
      if ((bitmap[byte] >> bit & 1) != 0) {
        length = 0;
        continue;
      }
      if (length == 0) start = byte * 8 + bit;
      if (++length == count) return start;
    }
  }
  return 0;
}

std::uint32_t EndOfUse(ConstBitmap bitmap) {
  const auto used =
      std::find_if(bitmap.rbegin(), bitmap.rend(), [](auto byte) { return byte != 0; });
  const auto bytes = static_cast<std::uint32_t>(bitmap.rend() - used);
  return bytes == 0 ? 0 : bytes * 8 - static_cast<std::uint32_t>(std::countl_zero(*used));
}

std::uint32_t MarkRun(Bitmap bitmap, std::uint32_t first, std::uint32_t count, bool inUse) {
  const std::uint32_t end = first + count;
  std::uint32_t touched = 0;
  for (std::uint32_t page = first; page < end; ++touched) {
    const std::uint32_t stop = std::min(end, (page / 8 + 1) * 8);
    const std::uint32_t mask = (0xFFU << page % 8) & (0xFFU >> (8 - (stop - page / 8 * 8)));
    std::uint8_t& byte = bitmap[page / 8];
    byte = static_cast<std::uint8_t>(inUse ? byte | mask : byte & ~mask);
    page = stop;
  }
  return touched;
}

}  // namespace store
