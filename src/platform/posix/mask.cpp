// Masks of file names in UTF-8. One star is remembered at a time: when what follows it does not
// fit, it takes one character more, so that no mask costs more than the product of the lengths.
#include "platform/posix/mask.h"

#include <cstddef>

namespace platform {
namespace {

// The position behind the character that begins at `at`.
std::size_t BehindCharacter(std::string_view text, std::size_t at) {
  do ++at;
  while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U);
  return at;
}

bool FitsWhole(std::string_view name, std::string_view mask) {
  std::size_t n = 0;
  std::size_t m = 0;
  std::size_t star = std::string_view::npos;
  std::size_t starTakes = 0;  // up to here in the name
  while (n < name.size()) {
    if (m < mask.size() && mask[m] == '*') {
      star = m++;
      starTakes = n;
    } else if (m < mask.size() && mask[m] == '?') {
      n = BehindCharacter(name, n);
      ++m;
    } else if (m < mask.size() && mask[m] == name[n]) {
      ++n;
      ++m;
    } else if (star != std::string_view::npos) {
      n = starTakes = BehindCharacter(name, starTakes);
      m = star + 1;
    } else {
      return false;
    }
  }
  return mask.find_first_not_of('*', m) == std::string_view::npos;
}

}  // namespace

bool FitsMask(std::string_view name, std::string_view mask) {
  constexpr std::string_view anyExtension = ".*";
  return FitsWhole(name, mask) ||
         (mask.size() > anyExtension.size() && mask.ends_with(anyExtension) &&
          FitsWhole(name, mask.substr(0, mask.size() - anyExtension.size())));
}

}  // namespace platform
