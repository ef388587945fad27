// Storing what was built in memory.
#pragma once

#include "store/bulkbuilder.h"

namespace store {

// Puts a finished build into the open file, by one operation. 0: done. 1: nothing is done, because
// the file is not empty or is to take each record by itself. -1: failure, udbErrorText has the
// words; nothing is done.
int StoreBuilt(int file, const BulkBuilder& built);

}  // namespace store
