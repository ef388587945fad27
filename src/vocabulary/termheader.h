// The C header of a table of terms.
#pragma once

#include <string>
#include <vector>

#include "kvorlib/terms.h"

namespace vocabulary {

// Bytes: the comment lines are in code page 1251.
std::string HeaderText(const std::vector<Term*>& entries);
// The name of a term behind "T_".
std::string MangledName(const std::u16string& name);

}  // namespace vocabulary
