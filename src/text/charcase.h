// Case of single characters, as the comparisons of this folder see it.
#pragma once

#include <cctype>

#include "platform/locale.h"

namespace text {

// Two characters are equal without regard to case when they fold to the same. A fold by character
// in place of a collation: it needs no locale for wide text, and two texts that it calls equal have
// the same length, which is what a search for a prefix relies on.
inline char Fold(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
inline char16_t Fold(char16_t c) { return platform::ToLower(c); }

// The upper-case form, or the lower-case one of a character without it, by the 8-bit functions of
// the process's locale. Wide characters beyond them are their own other form.
inline char OtherCase(char c) {
  const auto byte = static_cast<unsigned char>(c);
  const int upper = std::toupper(byte);
  return static_cast<char>(upper != byte ? upper : std::tolower(byte));
}
inline char16_t OtherCase(char16_t c) {
  return c > 0xFF ? c : static_cast<unsigned char>(OtherCase(static_cast<char>(c)));
}

}  // namespace text
