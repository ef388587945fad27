// Paths between the interface, where they are wide, and the seam, where they are UTF-8.
#pragma once

#include <string>

#include "kvorlib/encoding.h"

namespace kb {

// Up to the first zero character, since the system would not see what is behind it either.
inline std::string NarrowPath(const std::u16string& path) {
  const char16_t* const text = path.c_str();
  return w_u8(text, text + std::char_traits<char16_t>::length(text));
}
inline std::u16string WidePath(const std::string& path) {
  return u8_w(path.data(), path.data() + path.size());
}

}  // namespace kb
