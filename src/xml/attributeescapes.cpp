// The escapes of attribute values.
#include "xml/attributeescapes.h"

namespace xml {

// A lone line feed or carriage return is not kept.
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
std::u16string DecodeAttribute(std::u16string value) {
  for (std::size_t at = value.find(u'\\'); at != std::u16string::npos && at + 1 < value.size();) {
    const char16_t next = value[at + 1];
    const std::u16string_view meant = next == u'\\' ? u"\\" : next == u'n' ? u"\r\n" : u"";
    if (!meant.empty()) value.replace(at, 2, meant);
    at = value.find(u'\\', at + (meant.empty() ? 1 : meant.size()));
  }
  return value;
}

}  // namespace xml
