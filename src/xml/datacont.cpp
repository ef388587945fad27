// The generic node: built from events, written as events, or printed without a document.
#include "kvorlib/datacont.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

void Put(std::basic_ostream<char16_t>& stream, std::u16string_view text) {
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

// Empty: the character stands for itself.
std::u16string_view EscapeOf(char16_t unit, bool attr) {
  if (unit == u'&') return u"&amp;";
  if (unit == u'<') return u"&lt;";
  if (!attr) return {};
  switch (unit) {
    case u'>':
      return u"&gt;";
    case u'"':
      return u"&quot;";
    case u'\'':
      return u"&apos;";
    case u'\t':
      return u"&#x09;";
    case u'\n':
      return u"&#x0a;";
    case u'\r':
      return u"&#x0d;";
    default:
      return {};
  }
}

}  // namespace

datacont::datacont(const datacont& other)
    : DataConstr(other),
      type(other.type),
      tag(other.tag),
      text(other.text),
      attrs(other.attrs),
      nodes(other.nodes) {
  SetXMLDoc(nullptr);
}

datacont& datacont::operator=(const datacont& other) {
  datacont copy(other);  // the other may be one of this node's own
  swap(copy);
  return *this;
}

bool datacont::ReadStartElement(const std::u16string& name, const XMLAttrs& startAttrs) {
  if (tag.empty()) {
    tag = name;
    attrs = startAttrs;
    return true;
  }
  if (!text.empty()) nodes.emplace_back(CT_TEXT).text.swap(text);
  datacont& child = nodes.emplace_back();
  PutToXMLDoc(&child);
  return child.ReadStartElement(name, startAttrs);
}

bool datacont::ReadEndElement(const std::u16string& /*name*/) {
  PushFromXMLDoc();
  return true;
}

bool datacont::ReadCharacters(const std::u16string& more) {
  text += more;
  return true;
}

bool datacont::StartWriting() const {
  if (GetXMLDoc() == nullptr) return false;
  if (type == CT_TEXT) {
    WriteCharacters(text);
    return true;
  }
  if (type != CT_ELEMENT) return false;
  WriteStartElement(tag, attrs);
  for (const datacont& node : nodes) {
    node.SetXMLDoc(GetXMLDoc());
    node.StartWriting();
  }
  WriteCharacters(text);
  WriteEndElement(tag);
  return true;
}

void datacont::swap(datacont& other) {
  type = other.type;
  const bool around = other.IsIn(nodes);
  const bool inside = IsIn(other.nodes);
  tag.swap(other.tag);
  text.swap(other.text);
  attrs.swap(other.attrs);
  nodes.swap(other.nodes);
  // The inner node now holds what holds itself: a ring that nobody else would ever free.
  std::list<datacont> ring;
  if (around) ring.swap(other.nodes);
  if (inside) ring.swap(nodes);
}

bool datacont::IsIn(const std::list<datacont>& tree) const {
  return std::any_of(tree.begin(), tree.end(),
                     [this](const datacont& node) { return &node == this || IsIn(node.nodes); });
}

void datacont::clear() {
  text.clear();
  attrs.clear();
  nodes.clear();
}

void datacont::Dump(std::basic_ostream<char16_t>& stream) const {
  if (type == CT_TEXT || type == CT_RAW) return PutString(stream, text, false);
  Put(stream, u"<" + tag);
  for (const auto& [name, value] : attrs) {
    Put(stream, u" " + name + u"=\"");
    PutString(stream, value, true);
    Put(stream, u"\"");
  }
  if (nodes.empty() && text.empty()) return Put(stream, u"/>");
  Put(stream, u">");
  for (const datacont& node : nodes) node.Dump(stream);
  PutString(stream, text, false);
  Put(stream, u"</" + tag + u">");
}

void datacont::ConvString(std::u16string& out, const std::u16string& in, bool attr) {
  std::u16string escaped;
  escaped.reserve(in.size());
  for (const char16_t unit : in) {
    const std::u16string_view escape = EscapeOf(unit, attr);
    escaped += escape.empty() ? std::u16string_view(&unit, 1) : escape;
  }
  out = std::move(escaped);
}

void datacont::PutString(std::basic_ostream<char16_t>& stream, const std::u16string& in,
                         bool attr) {
  std::u16string escaped;
  ConvString(escaped, in, attr);
  Put(stream, escaped);
}

bool datacont::operator==(const datacont& other) const {
  return type == other.type && tag == other.tag && text == other.text && attrs == other.attrs &&
         nodes == other.nodes;
}
