// Which converter holds the table of each numbered code page, and where Windows departs from it.
#pragma once

namespace platform {

enum class PageKind {
  SingleByte,
  DoubleByte,
  Streamed,  // characters of up to four bytes, or shift states: no table, converted as it comes
};

struct PageRow {
  int number;
  PageKind kind;
  const char* converter;  // ICU's name, which tells one vendor's variant from another
  // Departures, parted by blanks, in hexadecimal:
  //   D         bytes 00-1F and 7F are themselves
  //   80-85     these bytes are themselves
  //   E6>B5     byte E6 is U+00B5
  //   *>F8BB    bytes without a meaning are U+F8BB, U+F8BC, … in their order
  const char* patches;
};

// Null when no converter serves the page.
const PageRow* FindPageRow(int number);

}  // namespace platform
