// The process's locale, the user's one, and the case of single units. A port owes exactly what this
// header says.
#pragma once

#include <locale>
#include <optional>
#include <string>

namespace platform {

// Sets the process's locale in all categories and answers its name, with the decimal number of its
// code page behind the first '.', or without any '.' when it has none. Nothing when the platform
// does not know `name`; the locale is then as before. A null name changes nothing and asks for the
// present locale. Names are those of the platform, and everywhere:
//   ".ACP"    the locale of the user's environment, with the system's code page; never fails
//   ".N"      the locale of the user's environment, with code page N
std::optional<std::string> SetProcessLocale(const char* name);

// The locale of the user's environment; the classic one where it cannot be had.
std::locale UserLocale();

// Simple case mapping, the same in every language; a unit without a single counterpart stays.
char16_t ToLower(char16_t unit);
char16_t ToUpper(char16_t unit);

}  // namespace platform
