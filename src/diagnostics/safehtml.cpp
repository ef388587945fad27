// Text made safe for HTML, and text with parts of it replaced.
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

std::u16string Replace(std::u16string text, const std::u16string& from, const std::u16string& to) {
  if (from.empty()) return text;
  for (std::size_t at = 0; (at = text.find(from, at)) != std::u16string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}
