// The one formatter of wide text in the style of printf.
#pragma once

#include <cstdarg>
#include <string>

namespace util {

// Formats `args` by `format`, to any length. `%s %ls %ws %c` take wide text and characters,
// `%hs %S %hc %C` narrow ones in the current code page. Numbers: `%d %i %u %o %x %X %e %E %f %F %g
// %G %a %A`, flags, width, precision and `*` as usual, sizes `h hh l ll w z t j I I32 I64`. `%p` is
// 16 hexadecimal digits, `%%` a percent sign, `%n` is nothing at all. The decimal sign is always a
// point. A null text is "(null)". What is no directive is copied as it stands.
// REQUIRES: `args` fit `format`, as for printf; `long` has the size of the platform's C library.
std::u16string FormatWide(const char16_t* format, va_list args);

}  // namespace util
