// Names of terms as identifiers, and the header made of them.
#include "vocabulary/termheader.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "kvorlib/encoding.h"

namespace vocabulary {

namespace {

constexpr std::size_t NameWidth = 25;

constexpr const char* Opening =
    "#ifndef __TERM__LOADED\n"
    "#define __TERM__LOADED   1\n";

constexpr const char16_t* Comments =
    u"\n\n//Головной файл с описанием термов\n\n"
    u"//Преобразование недопустимых символов:\n"
    u"//Кириллица - траннслитерируется;\n"
    u"//\"-\"  ->   \"_\"        ;   \"'\"  ->  \"__A__\"\n"
    u"//\"#\"  ->   \"__DIEZ__\"   ;   \"!\"  ->  \"__EXCL__\"\n"
    u"//\"*\"  ->   \"__AST__\"    ;   \"=\"  ->  \"__RAV__\"\n"
    u"//\"+\"  ->   \"__PLUS__\"   ;   \"@\"  ->  \"__AT__\"\n"
    u"//\">\"  ->   \"__GT__\"     ;   \"<\"  ->  \"__LT__\"\n\n";

// Of the capitals from U+0410 on; the letter between Е and Ж is not among them, and small letters
// are not either.
constexpr char16_t FirstCapital = u'А';
constexpr std::array<std::string_view, 32> Latin = {
    "A", "B", "V", "G", "D", "E", "ZH", "Z",  "I",  "J",    "K", "L", "M", "N",  "O",  "P",
    "R", "S", "T", "U", "F", "X", "TS", "CH", "SH", "CHSH", "7", "Y", "6", "AE", "JU", "JA"};

constexpr std::array<std::pair<char, std::string_view>, 11> Signs = {{{'-', "_"},
                                                                      {'\'', "__A__"},
                                                                      {'#', "__DIEZ__"},
                                                                      {'!', "__EXCL__"},
                                                                      {'*', "__AST__"},
                                                                      {'=', "__RAV__"},
                                                                      {'+', "__PLUS__"},
                                                                      {'@', "__AT__"},
                                                                      {'>', "__GT__"},
                                                                      {'<', "__LT__"},
                                                                      {'~', "__TLD__"}}};

char LowByte(char16_t unit) { return static_cast<char>(unit & 0xFF); }

std::string LowBytes(const std::u16string& name) {
  std::string bytes;
  for (const char16_t unit : name) bytes += LowByte(unit);
  return bytes;
}

std::string Transliterated(const std::u16string& name) {
  std::string text;
  for (const char16_t unit : name) {
    const auto row = static_cast<std::size_t>(unit - FirstCapital);
    if (unit >= FirstCapital && row < Latin.size())
      text += Latin[row];
    else
      text += LowByte(unit);
  }
  return text;
}

std::string WithoutSigns(const std::string& name) {
  std::string text;
  for (const char c : name) {
    std::string_view shown(&c, 1);
    for (const auto& [sign, words] : Signs) {
      if (sign == c) shown = words;
    }
    text += shown;
  }
  return text;
}

}  // namespace

// The low byte of a small Cyrillic letter may be a sign or a digit: it is treated as one.
std::string MangledName(const std::u16string& name) {
  const std::string latin = Transliterated(name);
  const bool changed = latin != LowBytes(name);
  return (changed ? "R__" : "") + WithoutSigns(latin);
}

std::string HeaderText(const std::vector<Term*>& entries) {
  std::string text = Opening + U2A(Comments, 1251);
  for (const Term* entry : entries) {
    std::string name = MangledName(entry->name);
    if (name.size() < NameWidth) name.resize(NameWidth, ' ');
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "0x%04x", unsigned{entry->code});
    text += "#define T_" + name + "\t\t" + code.data() + "\n";
  }
  return text + "#endif\n";
}

}  // namespace vocabulary
