// Turns dictionary entries into rows of a table of articles, for `kvor dict import`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "dictd.h"

namespace dictd {

// A row of the table. Side K is the English headword, side M its first Russian translation in one
// sense; blanks are underscores.
struct Article {
  std::string name;
  std::size_t number = 0;  // of the entry
  std::string term;        // the part of speech of the headword; empty if the entry has no mark
  std::string ktext;
  std::string mtext;  // empty if the entry only refers to another word
};

// A numbered sense of an entry.
struct Sense {
  std::string term;
  std::string translation;
};

// The senses that have a translation.
std::vector<Sense> SensesOf(std::string_view article);

// An article for the first sense of each headword, and homonyms (name1 … name9) for the next ones.
// Further senses are counted in `dropped`.
std::vector<Article> MakeArticles(const Dictionary& dictionary, std::size_t& dropped);

// name, number, type, pos, kpos, ktext, mtext.
std::string RowOf(const Article& article);

}  // namespace dictd
