// The letters of words, and stretches of a foreign script in a text.
#include "kvorlib/symbols.h"

#include <algorithm>
#include <utility>

#include "kvorlib/encoding.h"
#include "kvorlib/terms.h"

namespace {

// The language of the script in the table.
constexpr std::uint16_t Arabic = 0x2707;

BASE_STRING<char16_t> Slice(const char16_t* begin, std::size_t length) {
  return {begin, static_cast<std::int32_t>(length)};
}

std::u16string LanguageMark() {
  const std::string name = TermName(Arabic);
  return u8_w(name.data(), name.data() + name.size());
}

std::u16string Translated(const TransArray<char16_t>& table, BASE_STRING<char16_t> text) {
  std::u16string result;
  table.Translate(text, result);
  return result;
}

TransArray<char16_t> Reversed(TransArray<char16_t> table) {
  std::vector<STRINGPAIR<char16_t>>& pairs = table.GetArray();
  for (STRINGPAIR<char16_t>& pair : pairs) std::swap(pair.first, pair.second);
  table.SetArray(pairs.data(), static_cast<int>(pairs.size()));
  return table;
}

}  // namespace

SymbControl::~SymbControl() = default;

void SymbControl::Unload() {
  alphabets.clear();
  transliteration.Clear();
  loaded = false;
}

int SymbControl::CheckLexem(std::uint16_t language, const std::u16string& text) {
  if (!loaded) return -1;
  const std::size_t foreign = text.find_first_not_of(alphabets[language]);
  return foreign != text.npos ? static_cast<int>(foreign) : -1;
}

std::u16string SymbControl::Translit(const std::u16string& text) {
  if (!loaded || !translitMode) return text;
  std::u16string out, mark;
  BASE_STRING<char16_t> rest = Slice(text.data(), text.size()), run;
  while (GetFirstElement(rest, transliteration, run, mark)) {
    out.append(rest.ptr, run.ptr);
    out += mark + u'{' + Translated(transliteration, run) + u'}';
    rest += static_cast<std::int32_t>(run.ptr - rest.ptr) + run.len;
  }
  return out.append(rest.ptr, rest.ptr + rest.len);
}

std::string SymbControl::Translit(const std::string& text) {
  const std::u16string out = Translit(u8_w(text.data(), text.data() + text.size()));
  return w_u8(out.data(), out.data() + out.size());
}

std::u16string SymbControl::Detranslit(const std::u16string& text) {
  if (!loaded) return text;
  const TransArray<char16_t> table = Reversed(transliteration);
  const std::u16string mark = LanguageMark() + u"&#{";
  std::u16string out;
  for (std::size_t start = 0;;) {
    const std::size_t at = text.find(mark, start);
    out += text.substr(start, at - start);
    if (at == text.npos) return out;
    const std::size_t body = at + mark.size();
    const std::size_t close = text.find(u'}', body);
    const std::size_t end = std::min(close, text.size() + 1);
    // One less than there is before the brace. Empty braces have nothing to drop.
    const std::size_t length = end > body ? end - body - 1 : 0;
    out += Translated(table, Slice(text.data() + body, length));
    if (close == text.npos) return out;
    start = close;  // the brace itself is text
  }
}

bool SymbControl::SetTranslitMode(bool on) { return std::exchange(translitMode, on); }

bool SymbControl::GetFirstElement(BASE_STRING<char16_t> text, TransArray<char16_t>& table,
                                  BASE_STRING<char16_t>& run, std::u16string& mark) {
  STRINGPAIR<char16_t> found;
  const char16_t* const first = table.GetFirstElement(text, found);
  if (first == nullptr) return false;
  text += static_cast<std::int32_t>(first - text.ptr);
  // By single characters, however long the entry is that begins there.
  do ++text;
  while (text.len > 0 && table.CheckFirstPos(text, found));
  run = Slice(first, static_cast<std::size_t>(text.ptr - first));
  mark = LanguageMark();
  return true;
}

SymbControl* GetSymbControl() {
  static SymbControl instance;
  return &instance;
}
