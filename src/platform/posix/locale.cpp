// Locales by the C library, case by ICU's simple mappings.

#include "platform/locale.h"

#include <langinfo.h>
#include <locale.h>
#include <unicode/uchar.h>

#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "platform/codepage.h"
#include "platform/posix/codepage_rows.h"
#include "platform/posix/locale_codeset.h"

namespace platform {
namespace {

// What the environment calls the user's locale; it need not be installed.
std::string_view EnvironmentLocale() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"})
    if (const char* value = std::getenv(variable); value != nullptr && *value != '\0') return value;
  return "C";
}

// "ru_RU" of "ru_RU.KOI8-R@latin".
std::string_view Language(std::string_view locale) {
  return locale.substr(0, locale.find_first_of(".@"));
}

// "KOI8-R" of "ru_RU.KOI8-R@latin".
std::string_view Codeset(std::string_view locale) {
  const auto dot = locale.find('.');
  if (dot == std::string_view::npos) return {};
  return locale.substr(dot + 1, locale.find('@', dot) - dot - 1);
}

int EnvironmentCodePage() {
  int codePage = 0;
  if (locale_t user = newlocale(LC_CTYPE_MASK, "", nullptr); user != nullptr) {
    codePage = CodePageOfCodeset(nl_langinfo_l(CODESET, user));
    freelocale(user);
  } else {
    codePage = CodePageOfCodeset(Codeset(EnvironmentLocale()));
  }
  return codePage != 0 ? codePage : kUtf8CodePage;
}

std::string NameWithCodePage(std::string_view language, int codePage) {
  return std::string(language) + '.' + std::to_string(codePage);
}

bool Converts(int codePage) {
  std::u16string nothing;
  return DecodeCodePage(codePage, {}, nothing);
}

// A locale that is named by the environment but not installed leaves the process's as it is: its
// code page is what callers are after.
std::string SetEnvironmentLocale(int codePage) {
  setlocale(LC_ALL, "");
  return NameWithCodePage(Language(EnvironmentLocale()), codePage);
}

}  // namespace

int SystemCodePage() {
  static const int codePage = EnvironmentCodePage();
  return codePage;
}

std::optional<std::string> SetProcessLocale(const char* name) {
  const std::string_view wanted = name != nullptr ? name : "";
  if (wanted == ".ACP") return SetEnvironmentLocale(SystemCodePage());
  if (wanted.starts_with('.')) {
    int codePage = 0;
    const char* end = wanted.data() + wanted.size();
    const auto read = std::from_chars(wanted.data() + 1, end, codePage);
    if (read.ec != std::errc() || read.ptr != end || !Converts(codePage)) return std::nullopt;
    return SetEnvironmentLocale(codePage);
  }
  if (setlocale(LC_ALL, name) == nullptr) return std::nullopt;
  const std::string language(Language(setlocale(LC_CTYPE, nullptr)));
  const int codePage = CodePageOfCodeset(nl_langinfo(CODESET));
  return codePage != 0 ? NameWithCodePage(language, codePage) : language;
}

std::locale UserLocale() {
  try {
    return std::locale("");
  } catch (const std::runtime_error&) {
    return std::locale::classic();
  }
}

char16_t ToLower(char16_t unit) {
  const UChar32 lower = u_tolower(unit);
  return lower <= 0xFFFF ? static_cast<char16_t>(lower) : unit;
}

char16_t ToUpper(char16_t unit) {
  const UChar32 upper = u_toupper(unit);
  return upper <= 0xFFFF ? static_cast<char16_t>(upper) : unit;
}

}  // namespace platform
