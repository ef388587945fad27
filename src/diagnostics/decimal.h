// Whole numbers as wide text.
#pragma once

#include <string>

namespace diagnostics {

inline std::u16string Decimal(int n) {
  const std::string digits = std::to_string(n);
  return {digits.begin(), digits.end()};
}

}  // namespace diagnostics
