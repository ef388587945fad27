// Whole texts as bytes in a numbered code page, and back: nothing is cut at zeros or at pieces.
#pragma once

#include <string>
#include <string_view>

namespace kvor {

constexpr int Utf16 = 1200;
constexpr int BigEndianUtf16 = 1201;
constexpr int Utf8 = 65001;
constexpr int Ascii = 20127;
constexpr int UnknownCodePage = 0;

// What the bytes of a text tell of themselves.
struct Guess {
  int codePage = UnknownCodePage;
  bool mark = false;  // a byte order mark stands in front
};
Guess GuessCodePage(std::string_view bytes);
constexpr const char* NothingTells = "nothing tells its code page; --from is needed";

// By its number, or by the name that it has on the web. Throws Failure.
int CodePageFrom(const std::string& text);
// "windows-1251"; empty for a code page without a name.
std::string CharsetOf(int codePage);

// UTF-16 as it stands, without half a unit at the end.
std::u16string UnitsOf(std::string_view bytes, bool highFirst);
// A mark in front is dropped. Throws as A2U does.
std::u16string Decode(std::string_view bytes, int codePage);
// Throws as CP2chset does.
std::string Encode(const std::u16string& text, int codePage, bool mark);

}  // namespace kvor
