// What is nearest to a character that a page of single bytes lacks.
#pragma once

#include <vector>

namespace platform {

struct BestFit {
  char16_t unit;
  unsigned char byte;
};

// The substitutes under the page, for units that it may have or lack. Exact for the Russian pages
// 866, 1251 and 20866; in others letters lose their marks and full-width forms become narrow, which
// is most of what Windows does there.
std::vector<BestFit> BestFitsOf(int codePage);

}  // namespace platform
