// A tree of words as a picture, which needs no program to draw it.
#pragma once

#include <string>
#include <vector>

#include "demogrammar.h"

namespace kvor {

// SVG, in UTF-8: the words in their order, each below what it hangs on, and the relation at the
// line between them. `notes` stand below the words, one for each.
std::string TreePicture(const std::vector<std::u16string>& words,
                        const std::vector<std::u16string>& notes, const std::vector<Link>& links);

}  // namespace kvor
