// AlfFile: how an article is written as a record and read again, and how its two widths are turned
// into each other.
#include <utf8.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

#include "keyed/utf8.h"
#include "kvorlib/alffile.h"
#include "kvorlib/terms.h"

using keyed::Narrow;
using keyed::OrEmpty;
using keyed::utf8Page;

namespace {

constexpr std::string_view emptyField = "#";
constexpr char const* noTerm = "UNKNOWN";

void AppendField(std::string& record, std::string const& text) {
  record += ' ';
  record += text.empty() ? emptyField : std::string_view(text);
}

std::string TermField(std::uint16_t code) {
  std::string name = TermName(code);
  return name == noTerm ? std::string() : name;
}

// The words of a record, up to its first zero. They are parted by ASCII white space alone: a byte
// of a UTF-8 letter may look like a blank to some locale. What is no UTF-8 is made good first, in
// the text as a whole, for it may lie across a word's end.
class Words {
 public:
  explicit Words(std::string const& record)
      : text(std::string_view(record).substr(0, record.find('\0'))) {
    if (utf8::is_valid(text.begin(), text.end())) return;
    std::u16string const wide = u8_w(text.data(), text.data() + text.size());
    text = repaired = w_u8(wide.data(), wide.data() + wide.size());
  }
  Words(Words const&) = delete;
  Words& operator=(Words const&) = delete;

  // The next word, empty for "#" and behind the last one.
  std::string_view Next() {
    auto const isWhite = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    auto const first = std::find_if_not(text.begin(), text.end(), isWhite);
    auto const last = std::find_if(first, text.end(), isWhite);
    std::string_view const word(first, last);
    text.remove_prefix(static_cast<std::size_t>(last - text.begin()));
    return word == emptyField ? std::string_view() : word;
  }

 private:
  std::string repaired;
  std::string_view text;  // not handed out so far
};

// The leading decimal number; one that is too large counts as the largest.
std::int32_t LeadingNumber(std::string_view word) {
  long const number = std::strtol(std::string(word).c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(
      number, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

bool AlfFile::FillBuf(BASIC_ALFSTAT<char> const& article, std::string& record) {
  std::string text = article.Name + ' ' + std::to_string(article.Number) + ' ' + article.Type;
  AppendField(text, TermField(article.Pos));
  AppendField(text, TermField(article.KPos));
  AppendField(text, article.KText);
  AppendField(text, article.MText);
  record = std::move(text);
  return true;
}

// The fields behind an unknown letter are read, those behind N are not: so a record that was made
// by somebody else's rules is not impoverished by being rewritten. The article is changed when
// nothing more can be thrown for want of terms; its texts keep their blocks.
bool AlfFile::FillStruct(BASIC_ALFSTAT<char>& article, std::string const& record) {
  Words words(record);
  std::string_view const name = words.Next();
  if (name.empty()) {
    article.Name.clear();
    return false;
  }
  std::int32_t const number = LeadingNumber(words.Next());
  std::string_view const type = words.Next();
  bool const hasFields = type.size() == 1 && type != "N";
  bool const isKnown = type == "K" || type == "M" || type == "B";
  std::uint16_t const pos = hasFields ? TermCode(std::string(words.Next())) : std::uint16_t{0};
  std::uint16_t const kPos = hasFields ? TermCode(std::string(words.Next())) : std::uint16_t{0};
  article.Name = name;
  article.Number = number;
  article.Type = isKnown ? type[0] : 'N';
  article.Pos = pos;
  article.KPos = kPos;
  article.KText = hasFields ? words.Next() : std::string_view();
  article.MText = hasFields ? words.Next() : std::string_view();
  return true;
}

void AlfFile::Convert(BASIC_ALFSTAT<char16_t>& target, BASIC_ALFSTAT<char> const& source) {
  target.Name = A2U(source.Name, utf8Page, true);
  target.KText = A2U(source.KText, utf8Page, true);
  target.MText = A2U(source.MText, utf8Page, true);
  target.Number = source.Number;
  target.Pos = source.Pos;
  target.KPos = source.KPos;
  target.Type = source.Type;
}

void AlfFile::Convert(BASIC_ALFSTAT<char>& target, BASIC_ALFSTAT<char16_t> const& source) {
  target.Name = U2A(source.Name, utf8Page, true);
  target.KText = U2A(source.KText, utf8Page, true);
  target.MText = U2A(source.MText, utf8Page, true);
  target.Number = source.Number;
  target.Pos = source.Pos;
  target.KPos = source.KPos;
  target.Type = source.Type;
}

std::uint16_t AlfFile::NumberStrToBin(char const* text) {
  constexpr std::ptrdiff_t longest = 6;
  char const* const first = OrEmpty(text);
  char* end = nullptr;
  unsigned long const number = std::strtoul(first, &end, 10);
  return end - first > longest ? std::uint16_t{0} : static_cast<std::uint16_t>(number);
}

std::uint16_t AlfFile::NumberStrToBin(char16_t const* text) {
  return NumberStrToBin(Narrow(text).c_str());
}
