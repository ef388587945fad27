// The texts of keyed files are UTF-8; their wide forms go through these.
#pragma once

#include <string>

#include "kvorlib/encoding.h"

namespace keyed {

inline constexpr int utf8Page = 65001;

inline std::u16string Wide(std::string const& text) { return A2U(text, utf8Page); }
inline std::string Narrow(std::u16string const& text) { return U2A(text, utf8Page); }
// No text at all counts as an empty one.
inline std::string Narrow(char16_t const* text) {
  if (text == nullptr) return {};
  return w_u8(text, text + std::char_traits<char16_t>::length(text));
}
inline char const* OrEmpty(char const* text) { return text != nullptr ? text : ""; }
inline char16_t const* OrEmpty(char16_t const* text) { return text != nullptr ? text : u""; }

}  // namespace keyed
