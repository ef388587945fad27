// A reader of XML by events. A port owes exactly what this header says.
//
// All text is UTF-8. The reader checks that the document is well-formed, expands the entities that
// the document defines, and never loads anything from outside of it: what stands outside is passed
// over in silence. It does not look at namespaces, and hands out no attribute that declares one
// (xmlns, xmlns:*).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Not negative: go on. Negative: the parse ends.
using SaxResult = std::int32_t;
constexpr SaxResult kSaxOk = 0;
constexpr SaxResult kSaxMalformed = -1;

// Where the event or the fault begins; inside of an entity's text, where the document names the
// entity. Both from 1. A column is a character; lines end with "\r\n", "\n" or a lone "\r".
class SaxLocator {
 public:
  virtual int getLineNumber() const = 0;
  virtual int getColumnNumber() const = 0;

 protected:
  ~SaxLocator() = default;
};

struct SaxAttribute {
  std::string_view name;
  std::string_view value;
};

// Views last as long as the call. What a handler throws ends the parse, and is thrown again by it.
class SaxContentHandler {
 public:
  // Null when the parse is over.
  virtual void putDocumentLocator(const SaxLocator* locator) = 0;
  virtual SaxResult startDocument() = 0;
  virtual SaxResult endDocument() = 0;
  virtual SaxResult startElement(std::string_view name, const std::vector<SaxAttribute>& attrs) = 0;
  virtual SaxResult endElement(std::string_view name) = 0;
  // Any piece of text, line ends being a single "\n".
  virtual SaxResult characters(std::string_view text) = 0;

 protected:
  ~SaxContentHandler() = default;
};

class SaxErrorHandler {
 public:
  virtual SaxResult error(const SaxLocator& place, const std::u16string& message,
                          SaxResult code) = 0;
  // Told of whatever ends the parse early: a fault, with kSaxMalformed, or a handler's negative
  // answer, with that answer.
  virtual SaxResult fatalError(const SaxLocator& place, const std::u16string& message,
                               SaxResult code) = 0;
  virtual SaxResult ignorableWarning(const SaxLocator& place, const std::u16string& message,
                                     SaxResult code) = 0;

 protected:
  ~SaxErrorHandler() = default;
};

// Each limit that is exceeded is a fault of the document. How far entities and default attributes
// may make it grow is the reader's to bound.
struct SaxLimits {
  int depth;        // levels of elements
  int entityDepth;  // levels of entities within entities, used or not
};

class SaxReader {
 public:
  virtual ~SaxReader() = default;

  // Reads a whole document, which does not begin with a mark. Bytes that are not UTF-8 are faults.
  // kSaxOk, or what ended it. Not to be called by a handler of its own parse.
  virtual SaxResult parse(std::string_view utf8, SaxContentHandler& content,
                          SaxErrorHandler& errors) = 0;

  // The encoding's name in the declaration of the latest document; empty if there is none.
  virtual const std::string& declaredEncoding() const = 0;
};

// Null when there is no memory for it.
std::unique_ptr<SaxReader> MakeSaxReader(SaxLimits limits);

}  // namespace platform
