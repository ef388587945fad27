// From the parser's events to calls of the object on top of the read stack.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kvorlib/xmldoc.h"
#include "platform/saxreader.h"
#include "xml/saxerrorhandler.h"

class SAXContentHandlerImpl : public platform::SaxContentHandler {
 public:
  explicit SAXContentHandlerImpl(const XMLDoc& owner) : document(owner) {}
  virtual ~SAXContentHandlerImpl() = default;

  // Makes the reader; false when that fails.
  bool Init();
  platform::SaxResult Parse(std::string_view utf8, SAXErrorHandlerImpl& errorHandler);
  const std::string& DeclaredEncoding() const { return reader->declaredEncoding(); }

  void putDocumentLocator(const platform::SaxLocator* place) override { locator = place; }
  platform::SaxResult startDocument() override;
  platform::SaxResult endDocument() override;
  platform::SaxResult startElement(std::string_view name,
                                   const std::vector<platform::SaxAttribute>& attrs) override;
  platform::SaxResult endElement(std::string_view name) override;
  platform::SaxResult characters(std::string_view text) override;

 private:
  DataConstr* Top() const { return document.GetCallback(XMLDoc::DC_READ); }
  template <typename Call>
  platform::SaxResult CallTag(Call call);
  void DeliverLine();
  void Deliver(const std::u16string& text);

  const platform::SaxLocator* locator = nullptr;  // not owned; null outside of a parse
  const XMLDoc& document;
  std::unique_ptr<platform::SaxReader> reader;
  SAXErrorHandlerImpl* errors = nullptr;  // of the parse
  std::string line;  // the text so far that neither a line feed nor a tag has ended
};
