// Line breaks in the values of attributes. A parser turns those into blanks, so they are kept as a
// backslash and the letter n, and a backslash is doubled.
#pragma once

#include <string>
#include <string_view>

namespace xml {

std::u16string EncodeAttribute(std::u16string_view value);
std::u16string DecodeAttribute(std::u16string_view value);

}  // namespace xml
