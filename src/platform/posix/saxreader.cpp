// The reader is expat. Its callbacks are C functions: nothing is thrown through them, but held,
// and thrown again when the parser has been left.
#include "platform/saxreader.h"

#include <expat.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/posix/saxentities.h"

namespace platform {
namespace {

// Expat counts in int, and a piece must not be small: each one that ends in the middle of a long
// tag or comment has it read again from its beginning.
constexpr std::size_t kPiece = std::size_t{1} << 30;

// How far default attributes may make a document grow: the parser's own bounds for entities.
constexpr std::size_t kGrowthFactor = 100;
constexpr std::size_t kGrowthAlwaysGranted = std::size_t{8} << 20;
constexpr const char16_t* kGrowsTooMuch = u"The DTD makes the document grow too much";

struct Place final : SaxLocator {
  int getLineNumber() const override { return line; }
  int getColumnNumber() const override { return column; }
  int line = 1;
  int column = 1;
};

struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<XML_ParserStruct, ParserDeleter>;

std::u16string Widen(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

bool DeclaresNamespace(std::string_view attribute) {
  return attribute == "xmlns" || attribute.starts_with("xmlns:");
}

constexpr const char16_t* kBadBytes = u"bytes that are no character in the document's encoding";

// Negative when the bytes there are not UTF-8; a blank at the end.
UChar32 CharacterAt(std::string_view utf8, std::size_t at) {
  UChar32 point = ' ';
  if (at < utf8.size()) U8_NEXT(utf8.data(), at, utf8.size(), point);
  return point;
}

// The parser does not take what is at `at`: why?
std::u16string DescribeBadToken(std::string_view utf8, std::size_t at) {
  const UChar32 point = CharacterAt(utf8, at);
  if (point < 0) return kBadBytes;
  return point == 0 ? u"zero character" : Widen(XML_ErrorString(XML_ERROR_INVALID_TOKEN));
}

// For declarations that stand outside of the document. While they are unread, those behind the
// place where they are named would not count.
int ReadAsNothing(XML_Parser outer, const char*, const char*, const char*, const char*) {
  const Parser inner(XML_ExternalEntityParserCreate(outer, nullptr, "UTF-8"));
  if (inner == nullptr) return XML_STATUS_ERROR;
  return XML_Parse(inner.get(), "", 0, static_cast<int>(true));
}

// One parse.
class Run final : public SaxLocator {
 public:
  Run(XML_Parser expat, SaxLimits readerLimits, SaxContentHandler& contentHandler)
      : parser(expat),
        limits(readerLimits),
        content(contentHandler),
        entities(readerLimits.entityDepth) {}

  SaxResult Parse(std::string_view utf8, SaxErrorHandler& errors);
  const std::string& DeclaredEncoding() const { return encoding; }

  int getLineNumber() const override { return static_cast<int>(XML_GetCurrentLineNumber(parser)); }
  int getColumnNumber() const override {
    return static_cast<int>(XML_GetCurrentColumnNumber(parser)) + 1;
  }

 private:
  template <typename Call>
  void Guarded(Call call);
  void Stop(SaxResult result);
  SaxResult Fault(const std::u16string& words);

  void InstallHandlers();
  void CheckBeginning(std::string_view utf8);
  void Feed(std::string_view utf8);
  std::u16string DescribeParserError(std::string_view utf8) const;
  SaxResult Start(const char* name, const char** attrs);
  SaxResult Declare(char kind, const char* name, std::string_view text);

  static Run& Of(void* userData) { return *static_cast<Run*>(userData); }

  XML_Parser parser;
  SaxLimits limits;
  SaxContentHandler& content;
  EntityDepths entities;
  std::string encoding;
  int depth = 0;
  std::size_t defaulted = 0;  // bytes that default attributes would have taken, so far
  std::size_t maxDefaulted = 0;

  SaxResult outcome = kSaxOk;
  std::u16string message;  // of a fault
  Place place;             // of what ended the parse
  std::exception_ptr held;
};

// After a stop the parser may still make some calls; they go nowhere.
template <typename Call>
void Run::Guarded(Call call) {
  if (outcome < 0) return;
  try {
    const SaxResult result = call();
    if (result < 0) Stop(result);
  } catch (...) {
    held = std::current_exception();
    Stop(kSaxMalformed);
  }
}

void Run::Stop(SaxResult result) {
  if (outcome < 0) return;
  outcome = result;
  place.line = getLineNumber();
  place.column = getColumnNumber();
  XML_StopParser(parser, XML_FALSE);
}

SaxResult Run::Fault(const std::u16string& words) {
  message = words;
  Stop(kSaxMalformed);
  return kSaxMalformed;
}

SaxResult Run::Start(const char* name, const char** attrs) {
  if (++depth > limits.depth)
    return Fault(u"Elements nested deeper than " + Widen(std::to_string(limits.depth)) +
                 u" levels");
  std::vector<SaxAttribute> list;
  const int specified = XML_GetSpecifiedAttributeCount(parser);
  for (int i = 0; attrs[i] != nullptr; i += 2) {
    const SaxAttribute attr = {attrs[i], attrs[i + 1]};
    if (i >= specified) defaulted += sizeof " =''" - 1 + attr.name.size() + attr.value.size();
    if (!DeclaresNamespace(attr.name)) list.push_back(attr);
  }
  if (defaulted > maxDefaulted) return Fault(kGrowsTooMuch);
  return content.startElement(name, list);
}

SaxResult Run::Declare(char kind, const char* name, std::string_view text) {
  if (entities.Declare(kind, name, text)) return kSaxOk;
  return Fault(u"Entities nested deeper than " + Widen(std::to_string(limits.entityDepth)) +
               u" levels");
}

void Run::InstallHandlers() {
  XML_SetUserData(parser, this);
  XML_SetParamEntityParsing(parser, XML_PARAM_ENTITY_PARSING_ALWAYS);
  XML_SetExternalEntityRefHandler(parser, ReadAsNothing);
  // From here on there are only entities that need not be read; with a handler, each of them would
  // have all declared ones looked through.
  XML_SetEndDoctypeDeclHandler(
      parser, [](void* run) { XML_SetExternalEntityRefHandler(Of(run).parser, nullptr); });
  XML_SetXmlDeclHandler(parser, [](void* run, const char*, const char* name, int) {
    if (name != nullptr) Of(run).Guarded([&] { return Of(run).encoding = name, kSaxOk; });
  });
  XML_SetStartElementHandler(parser, [](void* run, const char* name, const char** attrs) {
    Of(run).Guarded([&] { return Of(run).Start(name, attrs); });
  });
  XML_SetEndElementHandler(parser, [](void* run, const char* name) {
    --Of(run).depth;
    Of(run).Guarded([&] { return Of(run).content.endElement(name); });
  });
  XML_SetCharacterDataHandler(parser, [](void* run, const char* text, int length) {
    const std::string_view piece(text, static_cast<std::size_t>(length));
    Of(run).Guarded([&] { return Of(run).content.characters(piece); });
  });
  XML_SetEntityDeclHandler(
      parser, [](void* run, const char* name, int isParameter, const char* text, int length,
                 const char*, const char*, const char*, const char*) {
        if (text == nullptr) return;  // it stands outside of the document
        const std::string_view replacement(text, static_cast<std::size_t>(length));
        const char kind = isParameter != 0 ? '%' : '&';
        Of(run).Guarded([&] { return Of(run).Declare(kind, name, replacement); });
      });
}

// The parser was told of UTF-8, but takes some first bytes for UTF-16 and would go on with that.
// None of them are UTF-8.
void Run::CheckBeginning(std::string_view utf8) {
  using namespace std::string_view_literals;
  const int at = utf8.starts_with("<\0"sv) ? 1 : 0;
  if (outcome < 0 || CharacterAt(utf8, static_cast<std::size_t>(at)) > 0) return;
  Fault(DescribeBadToken(utf8, static_cast<std::size_t>(at)));
  place.column += at;
}

void Run::Feed(std::string_view utf8) {
  bool last = false;
  while (!last && outcome >= 0) {
    const std::string_view piece = utf8.substr(0, kPiece);
    utf8.remove_prefix(piece.size());
    last = utf8.empty();
    if (XML_Parse(parser, piece.data(), static_cast<int>(piece.size()), static_cast<int>(last)) !=
        XML_STATUS_OK)
      return;
  }
}

std::u16string Run::DescribeParserError(std::string_view utf8) const {
  const XML_Error code = XML_GetErrorCode(parser);
  if (code == XML_ERROR_PARTIAL_CHAR) return kBadBytes;
  if (code == XML_ERROR_INVALID_TOKEN)
    return DescribeBadToken(utf8, static_cast<std::size_t>(XML_GetCurrentByteIndex(parser)));
  if (code == XML_ERROR_AMPLIFICATION_LIMIT_BREACH) return kGrowsTooMuch;
  return Widen(XML_ErrorString(code));
}

SaxResult Run::Parse(std::string_view utf8, SaxErrorHandler& errors) {
  InstallHandlers();
  maxDefaulted = std::max(kGrowthAlwaysGranted, utf8.size() * kGrowthFactor);
  Guarded([&] { return content.startDocument(); });
  CheckBeginning(utf8);
  Feed(utf8);
  if (held != nullptr) std::rethrow_exception(held);
  if (outcome >= 0 && XML_GetErrorCode(parser) != XML_ERROR_NONE) Fault(DescribeParserError(utf8));
  if (outcome >= 0) return content.endDocument();
  errors.fatalError(place, message, outcome);
  return outcome;
}

class ExpatReader final : public SaxReader {
 public:
  ExpatReader(Parser expat, SaxLimits readerLimits)
      : parser(std::move(expat)), limits(readerLimits) {}

  SaxResult parse(std::string_view utf8, SaxContentHandler& content,
                  SaxErrorHandler& errors) override {
    // The name overrides what the document declares.
    XML_ParserReset(parser.get(), "UTF-8");
    encoding.clear();
    Run run(parser.get(), limits, content);
    struct Locating {
      Locating(SaxContentHandler& handler, const SaxLocator* locator) : content(handler) {
        content.putDocumentLocator(locator);
      }
      ~Locating() { content.putDocumentLocator(nullptr); }
      SaxContentHandler& content;
    } const locating(content, &run);
    const SaxResult result = run.Parse(utf8, errors);
    encoding = run.DeclaredEncoding();
    return result;
  }

  const std::string& declaredEncoding() const override { return encoding; }

 private:
  Parser parser;
  SaxLimits limits;
  std::string encoding;
};

}  // namespace

std::unique_ptr<SaxReader> MakeSaxReader(SaxLimits limits) {
  Parser parser(XML_ParserCreate("UTF-8"));
  if (parser == nullptr) return nullptr;
  return std::make_unique<ExpatReader>(std::move(parser), limits);
}

}  // namespace platform
