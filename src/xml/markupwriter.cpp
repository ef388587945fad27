// Tags, escapes and indentation.
#include "xml/markupwriter.h"

namespace xml {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

// Whether a document can hold the unit that begins the text.
bool IsCharacter(std::u16string_view text, char16_t before) {
  const auto isHigh = [](char16_t unit) { return (unit & 0xFC00) == 0xD800; };
  const auto isLow = [](char16_t unit) { return (unit & 0xFC00) == 0xDC00; };
  const char16_t unit = text.front();
  if (isHigh(unit)) return text.size() > 1 && isLow(text[1]);
  return isLow(unit) ? isHigh(before) : unit >= u' ' && unit < 0xFFFE;
}

// Tabs and lone line breaks stand as they are, and readers take them for blanks: that is how these
// files have always been written. What no document can hold would make all of it unreadable.
void AppendValue(std::u16string_view value, std::u16string& out) {
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char16_t unit = value[i];
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
      case u'\t':
      case u'\n':
      case u'\r':
        out += unit;
        break;
      default:
        out += IsCharacter(value.substr(i), i > 0 ? value[i - 1] : u'\0') ? unit : kReplacement;
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
