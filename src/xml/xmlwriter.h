// Writing a document out: to a file, in an encoding, or to a string.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include "kvorlib/xmldoc.h"
#include "platform/codepage.h"
#include "platform/saxreader.h"
#include "xml/markupwriter.h"

// The output to a descriptor, which is not owned.
class IFileStream {
 public:
  explicit IFileStream(int fd) : descriptor(fd) {}

  // Throws: std::runtime_error "Couldn't write file.", unless all is written.
  void Write(std::string_view bytes);

 private:
  int descriptor;
};

class XMLWriter {
 public:
  explicit XMLWriter(const XMLDoc& owner) : document(owner) {}

  // To the document's own error handler. Nothing calls them: this writer finds no faults.
  virtual platform::SaxResult error(const platform::SaxLocator& place,
                                    const std::u16string& message, platform::SaxResult code);
  virtual platform::SaxResult fatalError(const platform::SaxLocator& place,
                                         const std::u16string& message, platform::SaxResult code);
  virtual platform::SaxResult ignorableWarning(const platform::SaxLocator& place,
                                               const std::u16string& message,
                                               platform::SaxResult code);
  virtual ~XMLWriter() = default;

  void ApplyFeatures(int features);

  bool Save(int fd, int codePage);
  bool Save(std::u16string& out);

  void StartElement(const std::u16string& name, const XMLAttrs& attrs);
  void EndElement(const std::u16string& name);
  void Characters(const std::u16string& text);

 private:
  void SetCodePage(int number);
  bool WriteBody(std::u16string_view encoding);
  std::u16string InCodePage(std::u16string text);
  char16_t NearestTo(char16_t unit);

  xml::MarkupWriter writer;
  const XMLDoc& document;
  int codePage = platform::kUtf8CodePage;           // of the document that is being written
  std::unordered_map<char16_t, char16_t> replaced;  // what NearestTo found so far
};
