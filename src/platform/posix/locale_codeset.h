// The names by which locales call their code pages.
#pragma once

#include <string_view>

namespace platform {

// The number of the code page that a locale calls `codeset` ("UTF-8", "KOI8-R", "CP1251"), whatever
// its case and punctuation; 0 when it has no number, and for plain ASCII, which is what a locale
// says that says nothing.
int CodePageOfCodeset(std::string_view codeset);

}  // namespace platform
