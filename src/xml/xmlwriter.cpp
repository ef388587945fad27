// What is escaped, marked, declared and cut off.
#include "xml/xmlwriter.h"

#include <limits>
#include <stdexcept>

#include "kvorlib/encoding.h"
#include "platform/codepage.h"
#include "platform/fdio.h"
#include "xml/attributeescapes.h"
#include "xml/saxerrorhandler.h"
#include "xml/saxresult.h"

using platform::SaxLocator;
using platform::SaxResult;

namespace {

constexpr int kUtf16CodePage = 1200;
constexpr char16_t kMark = u'\uFEFF';
constexpr char16_t kLastAscii = 0x7F;

// False when nothing converts under the code page.
bool Encode(const std::u16string& text, int codePage, std::string& bytes) {
  if (codePage == platform::kUtf8CodePage) {
    bytes = w_u8(text.data(), text.data() + text.size());
    return true;
  }
  if (codePage != kUtf16CodePage)
    return platform::EncodeCodePage(codePage, text, std::numeric_limits<std::size_t>::max(), bytes);
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return true;
}

}  // namespace

void IFileStream::Write(std::string_view bytes) {
  if (!platform::WriteAll(descriptor, bytes.data(), bytes.size()))
    throw std::runtime_error("Couldn't write file.");
}

SaxResult XMLWriter::error(const SaxLocator& place, const std::u16string& message, SaxResult code) {
  return document.GetErrorHandler()->error(place, message, code);
}

SaxResult XMLWriter::fatalError(const SaxLocator& place, const std::u16string& message,
                                SaxResult code) {
  return document.GetErrorHandler()->fatalError(place, message, code);
}

SaxResult XMLWriter::ignorableWarning(const SaxLocator& place, const std::u16string& message,
                                      SaxResult code) {
  return document.GetErrorHandler()->ignorableWarning(place, message, code);
}

void XMLWriter::ApplyFeatures(int features) { writer.SetIndent((features & XMLDoc::FORMAT) != 0); }

bool XMLWriter::WriteBody(std::u16string_view encoding) {
  writer.StartDocument(encoding);
  const DataConstr* const object = document.GetCallback(XMLDoc::DC_WRITE);
  const bool alternative = (document.GetFeatures() & XMLDoc::USER_DEFINED) != 0;
  if (object == nullptr || !(alternative ? object->StartWritingAlt() : object->StartWriting())) {
    document.GetErrorHandler()->Record(
        {{ErrData::ERR_FATAL, u"XML document could not be written"}, {}});
    return false;
  }
  writer.EndDocument();
  return true;
}

void XMLWriter::SetCodePage(int number) {
  codePage = number;
  replaced.clear();
}

// In some code pages the nearest to a character is a sign of markup (a guillemet in 866), or a
// control character, which a document cannot hold. So what will stand in the file is found before
// it is escaped.
std::u16string XMLWriter::InCodePage(std::u16string text) {
  if (codePage == platform::kUtf8CodePage || codePage == kUtf16CodePage) return text;
  for (char16_t& unit : text)
    if (unit > kLastAscii) unit = NearestTo(unit);
  return text;
}

// The unit itself, unless its nearest is ASCII.
char16_t XMLWriter::NearestTo(char16_t unit) {
  const auto [found, isNew] = replaced.try_emplace(unit, unit);
  std::string bytes;
  if (!isNew || !Encode({unit}, codePage, bytes) || bytes.size() != 1) return found->second;
  const auto byte = static_cast<unsigned char>(bytes.front());
  if (byte < u' ')
    found->second = u'?';
  else if (byte <= kLastAscii && byte != u'?')  // half of a pair stays what it is
    found->second = byte;
  return found->second;
}

bool XMLWriter::Save(int fd, int number) {
  if (!platform::Rewind(fd)) return false;
  SetCodePage(number);
  IFileStream stream(fd);
  std::string bytes;
  if (codePage == kUtf16CodePage || codePage == platform::kUtf8CodePage) {
    Encode({kMark}, codePage, bytes);
    stream.Write(bytes);
  }
  if (!WriteBody(codePage == kUtf16CodePage ? u"utf-16" : CP2chset(codePage))) return false;
  bytes.clear();
  if (!Encode(writer.Text(), codePage, bytes)) {
    document.GetErrorHandler()->ReportResult(xml::kInvalidArgument);
    return false;
  }
  stream.Write(bytes);
  return platform::CutHere(fd);
}

bool XMLWriter::Save(std::u16string& out) {
  SetCodePage(platform::kUtf8CodePage);
  if (!WriteBody({})) return false;
  out = writer.Text();
  return true;
}

void XMLWriter::StartElement(const std::u16string& name, const XMLAttrs& attrs) {
  XMLAttrs encoded;
  for (const auto& [attr, value] : attrs)
    encoded.emplace(attr, xml::EncodeAttribute(InCodePage(value)));
  writer.StartElement(name, encoded);
}

void XMLWriter::EndElement(const std::u16string& name) { writer.EndElement(name); }

void XMLWriter::Characters(const std::u16string& given) {
  if (given.empty()) return;
  const std::u16string text = InCodePage(given);
  if (text.find_first_of(u"<>&") == std::u16string::npos) return writer.RawText(text);
  std::u16string escaped;
  for (const char16_t unit : text) {
    if (unit == u'&')
      escaped += u"&amp;";
    else if (unit == u'<')
      escaped += u"&lt;";
    else if (unit == u'>')
      escaped += u"&gt;";
    else
      escaped += unit;
  }
  writer.RawText(escaped);
}
