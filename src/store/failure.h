// The one failure path inside the store: what is raised below an operation ends in its frame, which
// turns it into -1 and the code kept in the table entry.
#pragma once

#include "store/udb.h"

namespace store {

// Carries a code of UdbCode. Nothing in the store catches it but the frames of operations.
struct StoreFailure {
  int code;
};

}  // namespace store
