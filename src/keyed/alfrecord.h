// The record of an article as it is read.
#pragma once

#include <string_view>

#include "kvorlib/alffile.h"

namespace keyed {

// Fills the article from its record, in which bad UTF-8 is made good, a zero is the end, and words
// that are missing at the end count as empty. With `fillIn` the word of side M stands in place of a
// missing one of side K. False: there is no name. Then the article is left alone, but the narrow
// one loses its name. Throws: as TermCode, the article being as it was.
bool ReadRecord(std::string_view record, bool fillIn, BASIC_ALFSTAT<char>& article);
bool ReadRecord(std::string_view record, bool fillIn, BASIC_ALFSTAT<char16_t>& article);

}  // namespace keyed
