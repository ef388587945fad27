// The delivery of events. The stack is asked for its top before each call, since a callback may
// change it; with nothing on it, events go nowhere.
#include "xml/saxcontenthandler.h"

#include <utility>

#include "kvorlib/encoding.h"
#include "xml/attributeescapes.h"
#include "xml/saxresult.h"

using platform::SaxResult;

namespace {

std::u16string Wide(std::string_view utf8) { return u8_w(utf8.data(), utf8.data() + utf8.size()); }

}  // namespace

bool SAXContentHandlerImpl::Init() {
  reader = platform::MakeSaxReader({XMLDoc::MAX_DEPTH, XMLDoc::MAX_ENTITY_DEPTH});
  return reader != nullptr;
}

SaxResult SAXContentHandlerImpl::Parse(std::string_view utf8, SAXErrorHandlerImpl& errorHandler) {
  errors = &errorHandler;
  return reader->parse(utf8, *this, errorHandler);
}

SaxResult SAXContentHandlerImpl::startDocument() {
  line.clear();
  if (DataConstr* const top = Top()) top->ReadStartDocument();
  return platform::kSaxOk;
}

SaxResult SAXContentHandlerImpl::endDocument() { return platform::kSaxOk; }

// `call` answers whether to go on.
template <typename Call>
SaxResult SAXContentHandlerImpl::CallTag(Call call) {
  DeliverLine();
  DataConstr* const top = Top();
  if (top == nullptr) return platform::kSaxOk;
  try {
    return call(*top) ? platform::kSaxOk : xml::kStop;
  } catch (const XMLErrData& e) {
    errors->Report(*locator, {e.type, e.message});
    return xml::kStop;
  }
}

SaxResult SAXContentHandlerImpl::startElement(std::string_view name,
                                              const std::vector<platform::SaxAttribute>& attrs) {
  return CallTag([&](DataConstr& top) {
    XMLAttrs decoded;
    for (const auto& [attr, value] : attrs)
      decoded.emplace(Wide(attr), xml::DecodeAttribute(Wide(value)));
    return top.ReadStartElement(Wide(name), decoded);
  });
}

SaxResult SAXContentHandlerImpl::endElement(std::string_view name) {
  return CallTag([&](DataConstr& top) { return top.ReadEndElement(Wide(name)); });
}

// The parser's pieces end anywhere, at each entity for one; a line is kept until it is whole.
SaxResult SAXContentHandlerImpl::characters(std::string_view text) {
  for (std::size_t feed; (feed = text.find('\n')) != std::string_view::npos;) {
    line += text.substr(0, feed);
    text.remove_prefix(feed + 1);
    DeliverLine();
    Deliver(u"\n");
  }
  line += text;
  return platform::kSaxOk;
}

void SAXContentHandlerImpl::DeliverLine() {
  if (!line.empty()) Deliver(Wide(std::exchange(line, {})));
}

void SAXContentHandlerImpl::Deliver(const std::u16string& text) {
  if (DataConstr* const top = Top()) top->ReadCharacters(text);
}
