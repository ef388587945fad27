// Paths between the interface, where they are wide, and the seam, where they are UTF-8.
#pragma once

#include <string>

#include "kvorlib/encoding.h"

namespace kb {

inline std::string NarrowPath(const std::u16string& path) {
  return w_u8(path.data(), path.data() + path.size());
}
inline std::u16string WidePath(const std::string& path) {
  return u8_w(path.data(), path.data() + path.size());
}

}  // namespace kb
