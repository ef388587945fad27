// TermCode for slices of text.
#pragma once

#include <cstdint>
#include <string_view>

namespace vocabulary {

std::uint16_t CodeOf(std::string_view utf8);
std::uint16_t CodeOf(std::u16string_view name);

}  // namespace vocabulary
