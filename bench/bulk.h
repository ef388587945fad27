// What the short road costs: loading sorted records at once, making a file small, and what
// insertions cost in a full file afterwards.
#pragma once

#include <cstddef>
#include <string>

#include "workload.h"

namespace bench {

// Measures on our store alone and prints. Works in `dir`, which it empties before and after. Each
// figure is the median of so many rounds. Throws Failure.
void CompareFills(const Workload& work, const std::string& dir, std::size_t rounds);

}  // namespace bench
