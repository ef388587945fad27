// The journal that a file can carry beside it, and the hook from which records for it could be
// written. A journal that fails never fails the store file.
#pragma once

#include <cstdint>
#include <string>

#include "store/openfiles.h"

namespace store {

// The path up to its first dot, a folder's dot included, then ".jou".
std::string JournalName(const std::string& path);

// Opens the journal beside the file if the entry's copy of the header says that it has one. At an
// opening that copy is still what the entry's former file left there.
void OpenJournal(UdbFile& entry);

}  // namespace store
