// The bitmap of page 0: which pages of a file are in use.
#pragma once

#include <cstdint>
#include <span>

#include "store/page.h"

namespace store {

using Bitmap = std::span<std::uint8_t, BitmapBytes>;
using ConstBitmap = std::span<const std::uint8_t, BitmapBytes>;

// The first of the lowest `count` free pages in a row, or 0 when there is no such run. Page 0 is
// always in use, so that 0 can say that.
std::uint32_t FindFreeRun(ConstBitmap bitmap, std::uint32_t count);

// The page behind the last one in use.
std::uint32_t EndOfUse(ConstBitmap bitmap);

// Sets or clears the bits of a run. Returns how many bytes of the bitmap it touched.
// REQUIRES: the run lies within MaxPages.
std::uint32_t MarkRun(Bitmap bitmap, std::uint32_t first, std::uint32_t count, bool inUse);

}  // namespace store
