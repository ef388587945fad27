// The escapes of attribute values.
#include "xml/attributeescapes.h"

namespace xml {

// A lone line feed or carriage return is left to the writer of the markup.
std::u16string EncodeAttribute(std::u16string_view value) {
  std::u16string encoded;
  encoded.reserve(value.size());
  for (std::size_t i = 0; i < value.size(); ++i) {
    const bool isBreak = value.substr(i, 2) == u"\r\n";
    if (isBreak || value[i] == u'\\') encoded += u'\\';
    encoded += isBreak ? u'n' : value[i];
    if (isBreak) ++i;
  }
  return encoded;
}

// A backslash before anything else stays, and so does one at the end.
std::u16string DecodeAttribute(std::u16string_view value) {
  std::u16string decoded;
  decoded.reserve(value.size());
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::u16string_view pair = value.substr(i, 2);
    if (pair == u"\\n")
      decoded += u"\r\n";
    else
      decoded += value[i];
    if (pair == u"\\n" || pair == u"\\\\") ++i;
  }
  return decoded;
}

}  // namespace xml
