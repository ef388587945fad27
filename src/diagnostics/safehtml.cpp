// Text made safe for HTML.
#include "kvorlib/loghtml.h"

namespace {

const char16_t* EntityOf(char16_t unit) {
  switch (unit) {
    case u'"':
      return u"&quot;";
    case u'&':
      return u"&amp;";
    case u'<':
      return u"&lt;";
    case u'>':
      return u"&gt;";
    default:
      return nullptr;
  }
}

}  // namespace

std::u16string ToSafeHtmlText(const std::u16string& text) {
  std::u16string safe;
  safe.reserve(text.size());
  for (const char16_t unit : text) {
    if (const char16_t* const entity = EntityOf(unit)) {
      safe += entity;
    } else {
      safe += unit;
    }
  }
  return safe;
}
