// Codeset names to numbers of code pages.

#include "platform/posix/locale_codeset.h"

#include <charconv>
#include <string>

#include "platform/posix/codepage_rows.h"

namespace platform {
namespace {

struct NamedCodeset {
  std::string_view name;
  int codePage;
};

constexpr NamedCodeset kCodesets[] = {
    {"UTF8", 65001},    {"KOI8R", 20866}, {"KOI8U", 21866}, {"EUCJP", 51932}, {"EUCKR", 949},
    {"GB18030", 54936}, {"GBK", 936},     {"GB2312", 936},  {"EUCCN", 936},   {"BIG5", 950},
    {"SHIFTJIS", 932},  {"SJIS", 932},    {"TIS620", 874}};

// Names that are a word and the number of the page, and what to add to that number.
constexpr NamedCodeset kNumbered[] = {{"CP", 0}, {"IBM", 0}, {"WINDOWS", 0}, {"ISO8859", 28590}};

}  // namespace

int CodePageOfCodeset(std::string_view codeset) {
  std::string name;
  for (char c : codeset) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) name += c;
  }
  for (const NamedCodeset& known : kCodesets)
    if (name == known.name) return known.codePage;
  for (const NamedCodeset& family : kNumbered) {
    if (!name.starts_with(family.name)) continue;
    int number = 0;
    const char* digits = name.data() + family.name.size();
    std::from_chars(digits, name.data() + name.size(), number);
    if (number > 0 && number < 65000 && FindPageRow(number + family.codePage) != nullptr)
      return number + family.codePage;
  }
  return 0;
}

}  // namespace platform
