// Which encoding a document is in, and its text out of that encoding.
#include "xml/documenttext.h"

#include <algorithm>
#include <utility>

#include "kvorlib/encoding.h"
#include "platform/codepage.h"

namespace xml {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr char kNoUtf8 = '\xFF';

bool IsUtf16Page(int codePage) { return codePage == 1200 || codePage == 1201; }

bool IsNameSign(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '_' || c == '-';
}

// The name of the encoding in the declaration, a part of `text`; empty when there is none, or none
// that could be a name: then it is for the parser to judge the declaration.
std::string_view DeclaredEncoding(std::string_view text) {
  constexpr std::string_view start = "<?xml";
  constexpr std::string_view word = "encoding";
  text = text.substr(0, text.find("?>"));
  if (!text.starts_with(start) || text.find_first_of(kBlanks) != start.size()) return {};
  std::size_t at = text.find(word, start.size());
  if (at == std::string_view::npos || kBlanks.find(text[at - 1]) == std::string_view::npos)
    return {};
  at = text.find_first_not_of(kBlanks, at + word.size());
  if (at == std::string_view::npos || text[at] != '=') return {};
  at = text.find_first_not_of(kBlanks, at + 1);
  if (at == std::string_view::npos || (text[at] != '"' && text[at] != '\'')) return {};
  const std::size_t end = text.find(text[at], at + 1);
  if (end == std::string_view::npos) return {};
  const std::string_view name = text.substr(at + 1, end - at - 1);
  return std::all_of(name.begin(), name.end(), IsNameSign) ? name : std::string_view();
}

enum class Width { Bytes, LowFirst, HighFirst };

Width WidthOf(std::string_view bytes) {
  using namespace std::string_view_literals;
  const std::string_view head = bytes.substr(0, 2);
  if (head == "\xFF\xFE" || head == "<\0"sv) return Width::LowFirst;
  if (head == "\xFE\xFF" || head == "\0<"sv) return Width::HighFirst;
  return Width::Bytes;
}

// Half a unit at the end is no character.
std::string DecodeUtf16(std::string_view bytes, Width width) {
  const std::size_t low = width == Width::LowFirst ? 0 : 1;
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i + low]) |
                                   static_cast<unsigned char>(bytes[i + 1 - low]) << 8);
  std::string text = DecodeWide(units);
  if (bytes.size() % 2 != 0) text += kNoUtf8;
  return text;
}

// False when nothing converts under the code page; then `text` is untouched.
bool Recode(int codePage, std::string& text) {
  const auto valid = platform::ValidLength(codePage, text);
  if (!valid.has_value()) return false;
  std::u16string units;
  platform::DecodeCodePage(codePage, std::string_view(text).substr(0, *valid), units);
  const bool whole = *valid == text.size();
  text = DecodeWide(units);
  if (!whole) text += kNoUtf8;
  return true;
}

}  // namespace

DocumentText DecodeDocument(std::string bytes) {
  DocumentText text;
  const Width width = WidthOf(bytes);
  const bool marked = bytes.starts_with(kUtf8Mark);
  if (marked) bytes.erase(0, kUtf8Mark.size());
  text.utf8 = width == Width::Bytes ? std::move(bytes) : DecodeUtf16(bytes, width);

  const std::string_view encoding = DeclaredEncoding(text.utf8);
  if (encoding.empty()) return text;
  text.faultAt = static_cast<std::size_t>(encoding.data() - text.utf8.data());
  const int codePage = chset2CP({encoding.begin(), encoding.end()});
  const bool isUtf8 = codePage == platform::kUtf8CodePage;
  if (IsUtf16Page(codePage) != (width != Width::Bytes) || (marked && !isUtf8))
    text.fault = u"document is not in the encoding of its XML declaration";
  else if (width == Width::Bytes && !isUtf8 && !Recode(codePage, text.utf8))
    text.fault = u"encoding of the XML declaration is not supported";
  return text;
}

std::string DecodeWide(std::u16string_view text) {
  if (text.starts_with(u'\uFEFF')) text.remove_prefix(1);
  const auto isHigh = [&](std::size_t i) { return (text[i] & 0xFC00) == 0xD800; };
  const auto isLow = [&](std::size_t i) { return (text[i] & 0xFC00) == 0xDC00; };
  std::string utf8;
  utf8.reserve(text.size());
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHigh(i) && i + 1 < text.size() && isLow(i + 1)) {
      ++i;
    } else if (isHigh(i) || isLow(i)) {
      utf8 += w_u8(text.data() + start, text.data() + i) + kNoUtf8;
      start = i + 1;
    }
  }
  return utf8 += w_u8(text.data() + start, text.data() + text.size());
}

LineAndColumn PlaceOf(std::string_view utf8, std::size_t at) {
  LineAndColumn place;
  for (std::size_t i = 0; i < at; ++i) {
    const bool lineEnd = utf8[i] == '\n' || (utf8[i] == '\r' && utf8.substr(i + 1, 1) != "\n");
    const bool inCharacter = (static_cast<unsigned char>(utf8[i]) & 0xC0) == 0x80;
    if (!inCharacter) ++place.column;
    if (lineEnd) place = {place.line + 1, 1};
  }
  return place;
}

}  // namespace xml
