// Case by the user's locale.

#include "kvorlib/encoding.h"
#include "platform/locale.h"

const std::locale& user_locale() {
  static const std::locale locale = platform::UserLocale();
  return locale;
}

// No locale of the standard library has a facet for 16-bit characters, and none that maps unit by
// unit would give another answer in another language: the mappings come from the platform.
std::u16string to_lower(std::u16string text) {
  for (char16_t& unit : text) unit = platform::ToLower(unit);
  return text;
}

std::u16string to_upper(std::u16string text) {
  for (char16_t& unit : text) unit = platform::ToUpper(unit);
  return text;
}

std::u16string to_title(std::u16string text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = i == 0 ? platform::ToUpper(text[i]) : platform::ToLower(text[i]);
  return text;
}
