// The escapes of attribute values.
#include "xml/attributeescapes.h"

#include <string_view>

namespace xml {

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
