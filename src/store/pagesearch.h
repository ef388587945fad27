// The walk over a page's entries to where a key stands, as quick as a walk can be.
#pragma once

#include <cstddef>

#include "store/page.h"

namespace store {

// Steps over sound entries with keys less than this one, from the first on. The offset behind
// them: that of an entry with a key not less, of one that is not sound or has no whole key,
// which is for the caller to judge, or the page's end.
std::size_t StepOverLess(const TreePage& page, const KEYDESCR& kd, Bytes key);

}  // namespace store
