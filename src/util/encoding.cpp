// Conversions between wide text and code pages: one step, and the walk over a long text in pieces.

#include "kvorlib/encoding.h"

#include <cstring>
#include <string_view>

#include "kvorlib/errors.h"
#include "platform/codepage.h"
#include "util/currentcodepage.h"

namespace {

constexpr std::size_t kPiece = 64000;

// Puts a code page argument in force for the time of one step, whichever way the step ends.
class CodePageScope {
 public:
  explicit CodePageScope(int codePage) : changed(codePage != 0) {
    if (changed) former = SetCP(codePage);
  }
  ~CodePageScope() {
    if (changed) SetCP(former);
  }
  CodePageScope(const CodePageScope&) = delete;
  CodePageScope& operator=(const CodePageScope&) = delete;

 private:
  bool changed;
  int former = 0;
};

void AppendWide(std::string_view text, int codePage, std::u16string& out) {
  const CodePageScope scope(codePage);
  if (util::EffectiveCodePage() == platform::kUtf8CodePage)
    out += u8_w(text.data(), text.data() + text.size());
  else if (!platform::DecodeCodePage(util::EffectiveCodePage(), text, out))
    Except::Win32ErrorReport("ANSI to UTF16 conversion error");
}

// There is room for one byte a unit, no more: callers know pages of two bytes to fail here.
void AppendNarrow(std::u16string_view text, int codePage, std::string& out) {
  const CodePageScope scope(codePage);
  if (util::EffectiveCodePage() == platform::kUtf8CodePage)
    out += w_u8(text.data(), text.data() + text.size());
  else if (!platform::EncodeCodePage(util::EffectiveCodePage(), text, text.size(), out))
    Except::Win32ErrorReport("UTF16 to ANSI conversion error");
}

bool IsContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// A 13 before each 10 that has none before it.
std::string WithCarriageReturns(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  char before = '\0';
  for (char c : text) {
    if (c == '\n' && before != '\r') result += '\r';
    result += c;
    before = c;
  }
  return result;
}

void DropCarriageReturns(std::string& text) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') text[kept++] = text[i];
  text.resize(kept);
}

bool NamesUtf8(int codePage) { return codePage == -1 || codePage == platform::kUtf8CodePage; }

std::u16string ConvertPieces(const std::string& text, int codePage) {
  const bool keepWhole = NamesUtf8(codePage);
  if (keepWhole && text.size() <= kPiece)
    return u8_w(text.c_str(), text.c_str() + std::strlen(text.c_str()));
  std::u16string result;
  result.reserve(text.size());
  std::size_t position = 0;
  while (position + kPiece < text.size()) {
    std::size_t n = kPiece;
    while (keepWhole && position + n < text.size() && IsContinuationByte(text[position + n])) ++n;
    AppendWide(std::string_view(text).substr(position, n), codePage, result);
    position += n;
  }
  // Up to the terminator, the text's own or an earlier zero.
  AppendWide(text.c_str() + position, codePage, result);
  return result;
}

}  // namespace

std::u16string A2U(const std::string& text, int codePage, bool fixEol) {
  return fixEol && text.find('\n') != text.npos ? ConvertPieces(WithCarriageReturns(text), codePage)
                                                : ConvertPieces(text, codePage);
}

std::string U2A(const std::u16string& text, int codePage, bool fixEol) {
  std::string result;
  if (NamesUtf8(codePage) && text.size() <= kPiece) {
    result = w_u8(text.c_str(), text.c_str() + std::char_traits<char16_t>::length(text.c_str()));
  } else {
    result.reserve(text.size());
    std::size_t position = 0;
    for (; position + kPiece < text.size(); position += kPiece)
      AppendNarrow(std::u16string_view(text).substr(position, kPiece), codePage, result);
    AppendNarrow(text.c_str() + position, codePage, result);
  }
  if (fixEol) DropCarriageReturns(result);
  return result;
}

const char* MBSTR2STR(const char* utf8) {
  static std::string result;
  std::u16string wide;
  if (!platform::DecodeCodePage(platform::kUtf8CodePage, utf8, wide))
    Except::Win32ErrorReport("UTF8 to UTF16 conversion error");
  std::string converted;
  AppendNarrow(wide, 0, converted);
  return (result = std::move(converted)).c_str();
}

const char* TSTR2STR(const char16_t* text) {
  static std::string result;
  std::string converted;
  AppendNarrow(text, 0, converted);
  return (result = std::move(converted)).c_str();
}

const char16_t* STR2TSTR(const char* text) {
  static std::u16string result;
  std::u16string converted;
  AppendWide(text, 0, converted);
  return (result = std::move(converted)).c_str();
}

bool CheckUnicode(const void* data, int size) {
  return size > 0 && platform::LooksLikeUtf16(data, static_cast<std::size_t>(size));
}
