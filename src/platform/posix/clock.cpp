// The clock of the processor.
#include "platform/clock.h"

#include <ctime>

namespace platform {

std::int32_t ProcessorMilliseconds() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<std::int32_t>(
      static_cast<std::uint32_t>(static_cast<std::uint64_t>(used.tv_sec) * 1000 +
                                 static_cast<std::uint64_t>(used.tv_nsec) / 1000000));
}

}  // namespace platform
