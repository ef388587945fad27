// The names of code pages on the web and their descriptions.

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/codepage.h"

namespace platform {
namespace {

constexpr CodePageInfo kCatalogue[] = {
    {437, "ibm437", "OEM United States"},
    {737, "ibm737", "Greek (DOS)"},
    {775, "ibm775", "Baltic (DOS)"},
    {850, "ibm850", "Western European (DOS)"},
    {852, "ibm852", "Central European (DOS)"},
    {855, "ibm855", "OEM Cyrillic"},
    {857, "ibm857", "Turkish (DOS)"},
    {860, "ibm860", "Portuguese (DOS)"},
    {861, "ibm861", "Icelandic (DOS)"},
    {862, "dos-862", "Hebrew (DOS)"},
    {863, "ibm863", "French Canadian (DOS)"},
    {864, "ibm864", "Arabic (864)"},
    {865, "ibm865", "Nordic (DOS)"},
    {866, "cp866", "Cyrillic (DOS)"},
    {869, "ibm869", "Greek, Modern (DOS)"},
    {874, "ibm-thai", "Thai (Windows)"},
    {932, "shift_jis", "Japanese (Shift-JIS)"},
    {936, "gb2312", "Chinese Simplified (GB2312)"},
    {949, "ks_c_5601-1987", "Korean"},
    {950, "big5", "Chinese Traditional (Big5)"},
    {1200, "unicode", "Unicode"},
    {1250, "windows-1250", "Central European (Windows)"},
    {1251, "windows-1251", "Cyrillic (Windows)"},
    {1252, "windows-1252", "Western European (Windows)"},
    {1253, "windows-1253", "Greek (Windows)"},
    {1254, "windows-1254", "Turkish (Windows)"},
    {1255, "windows-1255", "Hebrew (Windows)"},
    {1256, "windows-1256", "Arabic (Windows)"},
    {1257, "windows-1257", "Baltic (Windows)"},
    {1258, "windows-1258", "Vietnamese (Windows)"},
    {10000, "macintosh", "Western European (Mac)"},
    {10001, "x-mac-japanese", "Japanese (Mac)"},
    {10006, "x-mac-greek", "Greek (Mac)"},
    {10007, "x-mac-cyrillic", "Cyrillic (Mac)"},
    {10029, "x-mac-ce", "Central European (Mac)"},
    {20127, "us-ascii", "US-ASCII"},
    {20866, "koi8-r", "Cyrillic (KOI8-R)"},
    {21866, "koi8-u", "Cyrillic (KOI8-U)"},
    {28591, "iso-8859-1", "Western European (ISO)"},
    {28592, "iso-8859-2", "Central European (ISO)"},
    {28593, "iso-8859-3", "Latin 3 (ISO)"},
    {28594, "iso-8859-4", "Baltic (ISO)"},
    {28595, "iso-8859-5", "Cyrillic (ISO)"},
    {28596, "iso-8859-6", "Arabic (ISO)"},
    {28597, "iso-8859-7", "Greek (ISO)"},
    {28598, "iso-8859-8", "Hebrew (ISO-Visual)"},
    {28599, "iso-8859-9", "Turkish (ISO)"},
    {28603, "iso-8859-13", "Estonian (ISO)"},
    {28605, "iso-8859-15", "Latin 9 (ISO)"},
    {50220, "iso-2022-jp", "Japanese (JIS)"},
    {50221, "csISO2022JP", "Japanese (JIS-Allow 1 byte Kana)"},
    {51932, "euc-jp", "Japanese (EUC)"},
    {51949, "euc-kr", "Korean (EUC)"},
    {54936, "GB18030", "Chinese Simplified (GB18030)"},
    {65000, "utf-7", "Unicode (UTF-7)"},
    {65001, "utf-8", "Unicode (UTF-8)"},
};

struct Alias {
  const char* charset;
  int codePage;
};

// Labels that texts bear beside the names above, and beside "cp" with a number of the catalogue.
constexpr Alias kAliases[] = {
    {"utf-16", 1200}, {"utf-16le", 1200}, {"utf-16be", 1201}, {"iso-10646-ucs-2", 1200},
    {"ascii", 20127}, {"gbk", 936},       {"x-gbk", 936},     {"ibm866", 866},
    {"koi8", 20866},  {"latin1", 28591},  {"latin2", 28592},  {"windows-874", 874},
    {"tis-620", 874}, {"sjis", 932},      {"x-sjis", 932},    {"windows-31j", 932}};

// The letters in lower case, and the digits: "utf8" is "UTF-8".
std::string Essence(std::u16string_view name) {
  std::string essence;
  for (const char16_t unit : name) {
    const bool upper = unit >= 'A' && unit <= 'Z';
    if (unit != '-' && unit != '_')
      essence += unit < 0x80 ? static_cast<char>(upper ? unit + 32 : unit) : '?';
  }
  return essence;
}

std::string Essence(std::string_view name) {
  return Essence(std::u16string(name.begin(), name.end()));
}

}  // namespace

const CodePageInfo* FindCodePage(int codePage) {
  const auto* entry = std::find_if(std::begin(kCatalogue), std::end(kCatalogue),
                                   [=](const CodePageInfo& e) { return e.codePage == codePage; });
  return entry != std::end(kCatalogue) ? entry : nullptr;
}

std::optional<int> FindCharset(std::u16string_view charset) {
  const std::string wanted = Essence(charset);
  for (const CodePageInfo& entry : kCatalogue)
    if (wanted == Essence(entry.webCharset) || wanted == "cp" + std::to_string(entry.codePage))
      return entry.codePage;
  for (const Alias& alias : kAliases)
    if (wanted == Essence(alias.charset)) return alias.codePage;
  return std::nullopt;
}

}  // namespace platform
