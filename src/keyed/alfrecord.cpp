// AlfFile: how an article is written as a record and read again, and how its two widths are turned
// into each other.
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

constexpr char const* emptyField = "#";
constexpr char const* noTerm = "UNKNOWN";

void AppendField(std::string& record, std::string const& text) {
  record += ' ';
  record += text.empty() ? emptyField : text;
}

std::string TermField(std::uint16_t code) {
  std::string name = TermName(code);
  return name == noTerm ? std::string() : name;
}

// The words of a record, up to its first zero. They are parted by ASCII white space in the wide
// text: a byte of a UTF-8 letter may look like a blank to some locale. The text is converted as a
// whole, not by pieces that may cut a character in two.
class Words {
 public:
  explicit Words(std::string const& record)
      : text(u8_w(record.data(), record.data() + std::min(record.find('\0'), record.size()))) {}

  // The next word, empty for "#" and behind the last one.
  std::string Next() {
    constexpr std::u16string_view whiteSpace = u" \t\n\v\f\r";
    std::size_t const first = std::min(text.find_first_not_of(whiteSpace, at), text.size());
    at = std::min(text.find_first_of(whiteSpace, first), text.size());
    std::string word = w_u8(text.data() + first, text.data() + at);
    if (word == emptyField) word.clear();
    return word;
  }

 private:
  std::u16string text;
  std::size_t at = 0;
};

// The leading decimal number; one that is too large counts as the largest.
std::int32_t LeadingNumber(std::string const& word) {
  long const number = std::strtol(word.c_str(), nullptr, 10);
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
// by somebody else's rules is not impoverished by being rewritten.
bool AlfFile::FillStruct(BASIC_ALFSTAT<char>& article, std::string const& record) {
  Words words(record);
  BASIC_ALFSTAT<char> read;
  read.Name = words.Next();
  if (read.Name.empty()) {
    article.Name.clear();
    return false;
  }
  read.Number = LeadingNumber(words.Next());
  std::string const type = words.Next();
  if (type.size() == 1 && type != "N") {
    if (type == "K" || type == "M" || type == "B") read.Type = type[0];
    read.Pos = TermCode(words.Next());
    read.KPos = TermCode(words.Next());
    read.KText = words.Next();
    read.MText = words.Next();
  }
  article = std::move(read);
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
