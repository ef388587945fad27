// UTF-8 to UTF-16 without a string for each piece of text; the exported forms are in encoding.h.
#pragma once

#include <string>
#include <string_view>

namespace util {

struct Utf8Traits {
  bool valid = false;
  bool hasControls = false;  // bytes below the blank
};
Utf8Traits TraitsOf(std::string_view text);

// As u8_w. The room is for as many units as there are bytes. Answers the end of what was written.
char16_t* DecodeUtf8(std::string_view text, char16_t* room);

}  // namespace util
