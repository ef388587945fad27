// UTF-8 sixteen bytes at a time, as far as that goes.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace util {

struct Widened {
  std::size_t bytes = 0;
  std::size_t units = 0;
};

// Converts what is in front of the text, up to the first byte that is bad or needs a closer look.
// That may be the very first: always, where the processor lacks what is wanted.
// REQUIRES: room for as many units as there are bytes, and 16 more.
Widened WidenLetters(std::string_view text, char16_t* room);

// Whether there is nothing but letters, if that can be told at such a glance.
std::optional<bool> AreLetters(std::string_view text);

}  // namespace util
