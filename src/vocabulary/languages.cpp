// The languages that are known without a term file, the guess at a text's language, and lists of
// features as text.
#include "kvorlib/languages.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "kvorlib/encoding.h"

namespace {

struct Language {
  const char16_t* name;
  std::uint16_t code;
};

constexpr std::uint16_t Russian = 0x2702;
constexpr std::uint16_t English = 0x2703;
constexpr std::uint16_t French = 0x2705;
constexpr std::uint16_t Interlingua = 0x2710;
// What a guess calls Spanish. Its term has another code, but callers know the guess by this one.
constexpr std::uint16_t GuessedSpanish = 0x2708;

constexpr Language Languages[] = {
    {u"russian", Russian}, {u"english", English}, {u"unl", Interlingua},
    {u"arabic", 0x2707},   {u"french", French},   {u"spanish", 0x0886},
};

// How many characters of a text are of each kind.
struct Counts {
  double latin = 0;
  double cyrillic = 0;
  double spanish = 0;
  double french = 0;
  double interlingua = 0;
};

bool IsOneOf(char16_t c, std::u16string_view set) { return set.find(c) != set.npos; }

// A character counts once, for the first kind that it is of. The six signs between the two Latin
// alphabets count as letters.
void Count(char16_t c, char16_t before, Counts& counts) {
  if (c >= u'A' && c <= u'z') {
    ++counts.latin;
  } else if (c >= u'А' && c <= u'я') {
    ++counts.cyrillic;
  } else if (IsOneOf(c, u"¡¿áíñó")) {
    ++counts.spanish;
  } else if (IsOneOf(c, u"àçéê")) {
    ++counts.french;
  } else if (IsOneOf(c, u"()>{}") || (c == u'@' && before == u'.')) {
    ++counts.interlingua;
  }
}

}  // namespace

std::uint16_t Name2Code(const std::u16string& name) {
  const std::u16string lower = to_lower(name);
  for (const Language& language : Languages)
    if (lower == language.name) return language.code;
  return 0;
}

std::uint16_t Name2Code(const std::string& name, int codePage) {
  return Name2Code(A2U(name, codePage));
}

const char16_t* Code2Name(std::uint16_t code) {
  for (const Language& language : Languages)
    if (code == language.code) return language.name;
  return nullptr;
}

std::uint16_t AutoDetermineLanguage(const std::u16string& text) {
  Counts counts;
  char16_t before = 0;
  for (const char16_t c : text) Count(c, std::exchange(before, c), counts);
  // Kinds are compared with each other only, so that one accented letter outweighs any number of
  // plain ones.
  if (counts.cyrillic > counts.latin) return Russian;
  if (counts.spanish > counts.french) return GuessedSpanish;
  if (counts.french > counts.spanish) return French;
  const auto length = static_cast<double>(text.size());
  if (counts.interlingua / length > 0.1 && counts.latin / length < 0.9) return Interlingua;
  return English;
}

void GetFeatFromString(const std::u16string& text, std::vector<std::u16string>& features,
                       const std::u16string& separator) {
  std::vector<std::u16string> found;  // the text may be one of the old features
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = separator.empty() ? text.npos : text.find(separator, start);
    found.push_back(text.substr(start, end - start));
    // Sought as a string, but passed over as a set.
    start = end == text.npos ? end : text.find_first_not_of(separator, end);
  }
  features = std::move(found);
}

void SetFeatToString(const std::vector<std::u16string>& features, std::u16string& text,
                     const std::u16string& separator) {
  std::u16string joined;  // the old text may be among the features
  for (const std::u16string& feature : features) {
    if (&feature != &features.front()) joined += separator;
    joined += feature;
  }
  text = std::move(joined);
}
