// The clock of the processor. A port owes exactly what this header says.
#pragma once

#include <cstdint>

namespace platform {

// How long the process has been running on processors, all its threads together, in milliseconds.
// It wraps around: after 24 days it goes on from the least number.
std::int32_t ProcessorMilliseconds();

}  // namespace platform
