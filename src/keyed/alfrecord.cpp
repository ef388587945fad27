// AlfFile: how an article is written as a record and read again, and how its two widths are turned
// into each other.
#include "keyed/alfrecord.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <utility>

#include "keyed/utf8.h"
#include "kvorlib/terms.h"
#include "platform/gaps.h"
#include "util/utf8.h"
#include "vocabulary/termcode.h"

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

// Words that are parted by ASCII white space, and by nothing else: a byte of a UTF-8 letter may
// look like a blank to some locale. A zero ends them all.
template <class T>
class Words {
 public:
  using Text = std::basic_string_view<T>;

  explicit Words(Text all) : text(all) { Look(0); }

  // The next word, empty for "#" and behind the last one.
  Text Next() {
    while (at < text.size() && IsWhite(text[at])) ++at;
    std::size_t const begin = at;
    at = EndFrom(begin);
    Text const word = text.substr(begin, at - begin);
    return word.size() == 1 && word[0] == '#' ? Text() : word;
  }

 private:
  static constexpr std::size_t Window = 64;

  static bool IsWhite(T c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

  std::size_t EndFrom(std::size_t from) {
    for (;; ++from) {
      from = NextGap(from);
      if (from == text.size() || IsWhite(text[from])) return from;
      if (text[from] == 0) text = text.substr(0, from);
    }
  }

  // The first blank or control character from there on, or the end.
  std::size_t NextGap(std::size_t from) {
    while (from < text.size()) {
      if (from >= looked + Window) Look(from);
      std::uint64_t const left = gaps >> (from - looked);
      if (left != 0) from += static_cast<std::size_t>(std::countr_zero(left));
      if (left != 0) break;
      from = looked + Window;
    }
    return std::min(from, text.size());
  }

  void Look(std::size_t from) {
    looked = from;
    gaps = 0;
    for (std::size_t i = 0; i < Window && from + i < text.size(); i += platform::GapStride) {
      gaps |= std::uint64_t{GapsFrom(from + i)} << i;
    }
  }

  std::uint32_t GapsFrom(std::size_t from) const {
    Text const rest = text.substr(from);
    if (rest.size() >= platform::GapStride) return platform::Gaps(rest.data());
    std::array<T, platform::GapStride> last{};
    std::copy(rest.begin(), rest.end(), last.begin());
    return platform::Gaps(last.data());
  }

  Text text;
  std::size_t at = 0;      // what is in front has been handed out
  std::size_t looked = 0;  // where the window begins
  std::uint64_t gaps = 0;  // in the window
};

// The leading decimal number; one that is too large counts as the largest.
template <class T>
std::int32_t LeadingNumber(std::basic_string_view<T> word) {
  using Limits = std::numeric_limits<std::int32_t>;
  bool const isNegative = !word.empty() && word[0] == '-';
  if (isNegative || (!word.empty() && word[0] == '+')) word.remove_prefix(1);
  std::int64_t number = 0;
  for (T const c : word) {
    if (c < '0' || c > '9') break;
    number = std::min<std::int64_t>(number * 10 + (c - '0'), std::int64_t{Limits::max()} + 1);
  }
  number = isNegative ? -number : number;
  return static_cast<std::int32_t>(std::min<std::int64_t>(number, Limits::max()));
}

// What a record tells, in place.
template <class T>
struct Fields {
  using Text = std::basic_string_view<T>;

  // False: there is no name. The fields behind an unknown letter are read, those behind N are not:
  // so a record that was made by somebody else's rules is not impoverished by being rewritten.
  bool Read(Text record) {
    Words<T> words(record);
    name = words.Next();
    if (name.empty()) return false;
    number = LeadingNumber(words.Next());
    Text const word = words.Next();
    bool const isLetter = word.size() == 1 && static_cast<std::make_unsigned_t<T>>(word[0]) < 0x80;
    T const letter = isLetter ? word[0] : T{'N'};
    if (letter == 'K' || letter == 'M' || letter == 'B') type = static_cast<char>(letter);
    if (letter == 'N') return true;
    pos = vocabulary::CodeOf(words.Next());
    kPos = vocabulary::CodeOf(words.Next());
    kText = words.Next();
    mText = words.Next();
    return true;
  }

  void GiveTo(BASIC_ALFSTAT<T>& article) const {
    article.Name = name;
    article.KText = kText;
    article.MText = mText;
    article.Number = number;
    article.Pos = pos;
    article.KPos = kPos;
    article.Type = type;
  }

  Text name;
  Text kText;
  Text mText;
  std::int32_t number = 0;
  std::uint16_t pos = 0;
  std::uint16_t kPos = 0;
  char type = 'N';
};

template <class T>
bool ReadText(std::basic_string_view<T> record, bool fillIn, BASIC_ALFSTAT<T>& article) {
  Fields<T> fields;
  if (!fields.Read(record)) return false;
  if (fillIn && fields.kText.empty()) fields.kText = fields.mText;
  fields.GiveTo(article);
  return true;
}

}  // namespace

bool keyed::ReadRecord(std::string_view record, bool fillIn, BASIC_ALFSTAT<char>& article) {
  bool isRead = false;
  if (util::IsUtf8(record)) {
    isRead = ReadText(record, fillIn, article);
  } else {
    std::u16string const repaired = u8_w(record.data(), record.data() + record.size());
    isRead = ReadText<char>(util::Utf8Text(repaired).View(), fillIn, article);
  }
  if (!isRead) article.Name.clear();
  return isRead;
}

bool keyed::ReadRecord(std::string_view record, bool fillIn, BASIC_ALFSTAT<char16_t>& article) {
  return ReadText(util::WideText(record).View(), fillIn, article);
}

bool AlfFile::FillBuf(BASIC_ALFSTAT<char> const& article, std::string& record) {
  std::string text = article.Name + ' ' + std::to_string(article.Number) + ' ' + article.Type;
  AppendField(text, TermField(article.Pos));
  AppendField(text, TermField(article.KPos));
  AppendField(text, article.KText);
  AppendField(text, article.MText);
  record = std::move(text);
  return true;
}

bool AlfFile::FillStruct(BASIC_ALFSTAT<char>& article, std::string const& record) {
  return keyed::ReadRecord(record, false, article);
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
