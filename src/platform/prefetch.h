// A word to the processor about memory that is wanted soon. It changes nothing else, whatever the
// address is.
#pragma once

#include <cstddef>

namespace platform {

inline constexpr std::size_t CacheLine = 64;  // what is fetched at once

inline void Prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#endif
}

}  // namespace platform
