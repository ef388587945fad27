// Numbers at the front of a wide text, as far as their digits go. They are taken modulo 2 to the
// power of 32, so that no text overflows; no digits give 0.
#pragma once

#include <cstdint>
#include <string_view>

namespace vocabulary {

// Blanks and a sign may stand in front.
std::uint32_t DecimalValue(std::u16string_view text);
// "0x" may stand there, too.
std::uint32_t HexadecimalValue(std::u16string_view text);

constexpr std::uint16_t Cut16(std::uint32_t value) { return static_cast<std::uint16_t>(value); }

}  // namespace vocabulary
