// Texts in code pages, by the library's conversions.
#include "codepages.h"

#include <algorithm>
#include <charconv>

#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "kvorlib/xmldoc.h"
#include "outcome.h"

namespace kvor {
namespace {

constexpr std::string_view Utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view LowFirstMark = "\xFF\xFE";
constexpr std::string_view HighFirstMark = "\xFE\xFF";

std::string_view MarkOf(int codePage) {
  if (codePage == Utf8) return Utf8Mark;
  if (codePage == Utf16) return LowFirstMark;
  return codePage == BigEndianUtf16 ? HighFirstMark : std::string_view();
}

bool IsWide(int codePage) { return codePage == Utf16 || codePage == BigEndianUtf16; }

std::string ToUnits(const std::u16string& text, bool highFirst) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFFU);
    const char high = static_cast<char>(unit >> 8U);
    bytes += highFirst ? high : low;
    bytes += highFirst ? low : high;
  }
  return bytes;
}

// How much of `bytes` the library converts as one piece without cutting a character: bytes below
// '0' are no second half of a character in any code page.
std::size_t WholePiece(std::string_view bytes) {
  constexpr std::size_t most = 60000;
  if (bytes.size() <= most) return bytes.size();
  for (std::size_t n = most; n > 0; --n)
    if (static_cast<std::uint8_t>(bytes[n - 1]) < '0') return n;
  return most;
}

// The writer of documents knows code pages of several bytes, which U2A refuses, and writes names as
// they are: the text goes in as a tag.
std::string EncodeAsMarkup(const std::u16string& text, int codePage) {
  struct Tag : DataConstr {
    explicit Tag(const std::u16string& text) : name(text) {}
    bool StartWriting() const override { return WriteStartElement(name) && WriteEndElement(name); }
    const std::u16string& name;
  } tag(text);
  const NamelessFile file(std::filesystem::temp_directory_path().string(), "temporary file");
  XMLDoc document;
  document.SetCP(codePage);
  document.SetCallback(&tag, XMLDoc::DC_WRITE);
  if (!document.SaveFile(Wide(file.Path()))) throw Failure("temporary file", "cannot be written");
  const std::string bytes = InputFile(file.Path()).Content();
  const std::size_t begin = bytes.find('<', bytes.find("?>")) + 1;
  return bytes.substr(begin, bytes.rfind("/>") - begin);
}

}  // namespace

Guess GuessCodePage(std::string_view bytes) {
  for (const int codePage : {Utf8, Utf16, BigEndianUtf16})
    if (bytes.starts_with(MarkOf(codePage))) return {codePage, true};
  const bool zeros = bytes.find('\0') != bytes.npos;
  const bool utf8 = IsUtf8(bytes);
  const std::size_t looked = std::min<std::size_t>(bytes.size(), 1U << 20U) & ~std::size_t{1};
  if ((zeros || !utf8) && CheckUnicode(bytes.data(), static_cast<int>(looked))) return {Utf16};
  if (!utf8) return {};
  const auto ascii = [](char c) { return static_cast<std::uint8_t>(c) < 0x80; };
  return {std::all_of(bytes.begin(), bytes.end(), ascii) ? Ascii : Utf8};
}

int CodePageFrom(const std::string& text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  try {
    if (!whole) number = chset2CP(Wide(text));
    if (!IsWide(number)) CP2chset(number);
  } catch (const Except&) {
    throw Failure("", text + ": no such code page");
  }
  try {
    if (!IsWide(number)) A2U({}, number);
  } catch (const Except&) {
    throw Failure("", text + ": no text can be converted under this code page");
  }
  return number;
}

std::string CharsetOf(int codePage) {
  try {
    return Narrow(CP2chset(codePage));
  } catch (const Except&) {
    return {};
  }
}

std::u16string UnitsOf(std::string_view bytes, bool highFirst) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<std::uint8_t>(bytes[i]);
    const auto second = static_cast<std::uint8_t>(bytes[i + 1]);
    text += static_cast<char16_t>(highFirst ? first << 8 | second : second << 8 | first);
  }
  return text;
}

std::u16string Decode(std::string_view bytes, int codePage) {
  const std::string_view mark = MarkOf(codePage);
  if (!mark.empty() && bytes.starts_with(mark)) bytes.remove_prefix(mark.size());
  if (IsWide(codePage)) {
    const std::u16string text = UnitsOf(bytes, codePage == BigEndianUtf16);
    return bytes.size() % 2 == 0 ? text : text + u'\uFFFD';
  }
  if (codePage == Utf8) return u8_w(bytes.data(), bytes.data() + bytes.size());
  std::u16string text;
  while (!bytes.empty()) {
    const std::size_t zero = std::min(bytes.find('\0'), bytes.size());
    const std::size_t n = WholePiece(bytes.substr(0, zero));
    text += A2U(std::string(bytes.substr(0, n)), codePage);
    bytes.remove_prefix(n);
    if (n == zero && !bytes.empty()) {
      text += u'\0';
      bytes.remove_prefix(1);
    }
  }
  return text;
}

std::string Encode(const std::u16string& text, int codePage, bool mark) {
  std::string bytes(mark ? MarkOf(codePage) : std::string_view());
  if (IsWide(codePage)) return bytes + ToUnits(text, codePage == BigEndianUtf16);
  if (codePage == Utf8) return bytes + Narrow(text);
  try {
    if (text.find(u'\0') == text.npos) return U2A(text, codePage);
  } catch (const Except&) {  // NOLINT(bugprone-empty-catch): there is the other way
  }
  return EncodeAsMarkup(text, codePage);
}

}  // namespace kvor
