// Turns dictionary entries into records of a store file that is keyed by the text up to the first
// blank: "headword article", on one line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "dictd.h"

namespace dictd {

// A key together with the blank that ends it has at most 127 bytes.
inline constexpr std::size_t maxKey = 126;

struct Record {
  std::string key;
  std::string article;
};

// Every entry ends up in exactly one of the first four.
struct Tally {
  std::size_t records = 0;   // entries that opened a record of their own
  std::size_t joined = 0;    // entries whose article was joined to an earlier one of the same key
  std::size_t about = 0;     // entries about the dictionary, left out
  std::size_t wordless = 0;  // entries with an empty headword, left out
  std::size_t cut = 0;       // keys cut to the longest that a store takes; the article then
                             // begins with the whole headword
};

// The headword with its blanks turned into underscores, cut to maxKey at the border of a character.
std::string KeyOf(std::string_view headword);

// The article on one line: line breaks become blanks, or " | " before a numbered sense. A first
// line that only repeats the headword is dropped.
std::string OneLine(std::string_view article, std::string_view headword);

// The records in the order of the index.
std::vector<Record> MakeRecords(const Dictionary& dictionary, Tally& tally);

}  // namespace dictd
