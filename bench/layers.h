// What the layers above the engine add: the same articles, got through each of them.
#pragma once

#include <cstddef>
#include <string>

#include "workload.h"

namespace bench {

// Measures on our store alone and prints. Works in `dir`, which it empties before and after. Each
// figure is the median of so many rounds. Throws Failure.
void CompareLayers(const Workload& work, const std::string& dir, std::size_t rounds);

}  // namespace bench
