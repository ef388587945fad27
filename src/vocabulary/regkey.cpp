// Keys: a term with a suffix of two characters, as text.
#include "kvorlib/encoding.h"
#include "kvorlib/languages.h"
#include "kvorlib/terms.h"

namespace {

constexpr std::size_t Characters = 2;
constexpr std::size_t ShortestText = 4;  // a name of one character, the point, the two characters

}  // namespace

bool RegKey::Set(const std::u16string& text) {
  if (text.size() < ShortestText) return false;
  // From the end, and each character is kept even if one before it turns out to be bad.
  for (std::size_t i = Characters; i-- > 0;) {
    const char16_t c = text[text.size() - Characters + i];
    if (c >= 0x80) return false;
    Suffix[i] = static_cast<char>(c);
  }
  const std::size_t point = text.size() - Characters - 1;
  if (text[point] != u'.') return false;
  Suffix[Characters] = 0;
  Code = TermCode(w_u8(text.data(), text.data() + point));
  return Code != 0;
}

std::u16string RegKey::wGetName() const {
  const std::string term = TermName(Code);
  std::u16string name = u8_w(term.data(), term.data() + term.size());
  if (Suffix[0] != 0) {
    name += u'.';
    for (std::size_t i = 0; i < Characters; ++i) name += static_cast<unsigned char>(Suffix[i]);
  }
  return name;
}
