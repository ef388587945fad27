// From the bytes of a document to its text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xml {

// What the parser gets: UTF-8 without a mark. Where the document has bytes that are no character of
// its encoding, there is a byte that UTF-8 does not have, so that the parser stops at that place,
// after the events before it.
struct DocumentText {
  std::string utf8;
  std::u16string fault;     // why it cannot be read at all; empty if it can be tried
  std::size_t faultAt = 0;  // in `utf8`; of use with a fault only
};

// The encoding is UTF-16 when there is its mark, or a zero beside the first "<"; otherwise it is
// what the declaration names, and UTF-8 if that names none.
// Throws: Except, when chset2CP does not know the name.
DocumentText DecodeDocument(std::string bytes);

// Lone surrogates become bytes that are not UTF-8.
std::string DecodeWide(std::u16string_view text);

// The place of a byte: both from 1.
struct LineAndColumn {
  int line = 1;
  int column = 1;
};
LineAndColumn PlaceOf(std::string_view utf8, std::size_t at);

}  // namespace xml
