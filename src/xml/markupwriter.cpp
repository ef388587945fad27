// Tags, escapes and indentation.
#include "xml/markupwriter.h"

namespace xml {
namespace {

void AppendValue(std::u16string_view value, std::u16string& out) {
  for (const char16_t unit : value) {
    switch (unit) {
      case u'<':
        out += u"&lt;";
        break;
      case u'>':
        out += u"&gt;";
        break;
      case u'&':
        out += u"&amp;";
        break;
      case u'"':
        out += u"&quot;";
        break;
      default:
        out += unit;
    }
  }
}

}  // namespace

void MarkupWriter::StartDocument(std::u16string_view encoding) {
  out.clear();
  levels.clear();
  tagOpen = false;
  if (encoding.empty()) return;
  out += u"<?xml version=\"1.0\" encoding=\"";
  out += encoding;
  out += u"\" standalone=\"no\"?>\r\n";
}

void MarkupWriter::EndDocument() { FinishTag(); }

void MarkupWriter::StartElement(std::u16string_view name, const XMLAttrs& attrs) {
  FinishTag();
  if (indent && !InText()) BreakLine();
  out += u'<';
  out += name;
  for (const auto& [attr, value] : attrs) {
    out += u' ' + attr + u"=\"";
    AppendValue(value, out);
    out += u'"';
  }
  const bool inText = InText();
  if (!levels.empty()) levels.back().hasElement = true;
  levels.push_back({inText});
  tagOpen = true;
}

void MarkupWriter::EndElement(std::u16string_view name) {
  const bool breakLine = indent && !InText() && !levels.empty() && levels.back().hasElement;
  if (!levels.empty()) levels.pop_back();
  if (tagOpen) {
    out += u"/>";
    tagOpen = false;
    return;
  }
  if (breakLine) BreakLine();
  out += u"</";
  out += name;
  out += u'>';
}

void MarkupWriter::RawText(std::u16string_view text) {
  FinishTag();
  out += text;
  if (!levels.empty()) levels.back().inText = true;
}

void MarkupWriter::FinishTag() {
  if (tagOpen) out += u'>';
  tagOpen = false;
}

void MarkupWriter::BreakLine() {
  if (!out.empty() && out.back() != u'\n') out += u"\r\n";
  out.append(levels.size(), u'\t');
}

}  // namespace xml
