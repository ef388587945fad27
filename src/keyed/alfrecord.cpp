// AlfFile: how an article is written as a record and read again, and how its two widths are turned
// into each other.
#include "keyed/alfrecord.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <utility>

#include "keyed/utf8.h"
#include "kvorlib/terms.h"
#include "util/utf8.h"

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

bool IsWhite(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What is no UTF-8 made good, in the text as a whole, for it may lie across a word's end.
std::string Repaired(std::string_view text) {
  std::u16string const wide = u8_w(text.data(), text.data() + text.size());
  return w_u8(wide.data(), wide.data() + wide.size());
}

// Words that are parted by blanks.
class Words {
 public:
  explicit Words(std::string_view all) : text(all) {}

  // The next word, empty for "#" and behind the last one.
  std::string_view Next() {
    while (text.starts_with(' ')) text.remove_prefix(1);
    std::string_view const word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word == emptyField ? std::string_view() : word;
  }

 private:
  std::string_view text;  // not handed out so far
};

// The leading decimal number; one that is too large counts as the largest.
std::int32_t LeadingNumber(std::string_view word) {
  if (word.starts_with('+') && !word.starts_with("+-")) word.remove_prefix(1);
  std::int32_t number = 0;
  auto const [end, fault] = std::from_chars(word.data(), word.data() + word.size(), number);
  using Limits = std::numeric_limits<std::int32_t>;
  if (fault != std::errc::result_out_of_range) return number;
  return word.starts_with('-') ? Limits::min() : Limits::max();
}

void AssignWide(std::u16string& target, std::string_view word) {
  target.resize(word.size());
  char16_t const* const end = util::DecodeUtf8(word, target.data());
  target.resize(static_cast<std::size_t>(end - target.data()));
}

std::uint16_t CodeOf(std::string_view term) { return TermCode(std::string(term)); }

}  // namespace

namespace keyed {

// Words are parted by ASCII white space alone: a byte of a UTF-8 letter may look like a blank to
// some locale. The fields behind an unknown letter are read, those behind N are not: so a record
// that was made by somebody else's rules is not impoverished by being rewritten.
bool ArticleFields::Read(std::string_view record) {
  record = record.substr(0, record.find('\0'));
  util::Utf8Traits const traits = util::TraitsOf(record);
  if (!traits.valid || traits.hasControls) {
    repaired = traits.valid ? std::string(record) : Repaired(record);
    std::replace_if(repaired.begin(), repaired.end(), IsWhite, ' ');
    record = repaired;
  }
  Words words(record);
  name = words.Next();
  if (name.empty()) return false;
  number = LeadingNumber(words.Next());
  std::string_view const letter = words.Next();
  type = letter == "K" || letter == "M" || letter == "B" ? letter[0] : 'N';
  if (letter.size() != 1 || letter == "N") return true;
  pos = CodeOf(words.Next());
  kPos = CodeOf(words.Next());
  kText = words.Next();
  mText = words.Next();
  return true;
}

void ArticleFields::FillIn() {
  if (kText.empty()) kText = mText;
}

template <class T>
void ArticleFields::GiveRest(BASIC_ALFSTAT<T>& article) const {
  article.Number = number;
  article.Pos = pos;
  article.KPos = kPos;
  article.Type = type;
}

void ArticleFields::GiveTo(BASIC_ALFSTAT<char>& article) const {
  article.Name = name;
  article.KText = kText;
  article.MText = mText;
  GiveRest(article);
}

void ArticleFields::GiveTo(BASIC_ALFSTAT<char16_t>& article) const {
  AssignWide(article.Name, name);
  AssignWide(article.KText, kText);
  AssignWide(article.MText, mText);
  GiveRest(article);
}

}  // namespace keyed

bool AlfFile::FillBuf(BASIC_ALFSTAT<char> const& article, std::string& record) {
  std::string text = article.Name + ' ' + std::to_string(article.Number) + ' ' + article.Type;
  AppendField(text, TermField(article.Pos));
  AppendField(text, TermField(article.KPos));
  AppendField(text, article.KText);
  AppendField(text, article.MText);
  record = std::move(text);
  return true;
}

// The article is changed when nothing more can be thrown for want of terms.
bool AlfFile::FillStruct(BASIC_ALFSTAT<char>& article, std::string const& record) {
  keyed::ArticleFields fields;
  if (!fields.Read(record)) {
    article.Name.clear();
    return false;
  }
  fields.GiveTo(article);
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
