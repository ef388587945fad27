// An article as the tool takes and shows it: seven columns of text, parted by tabs in a table.
#pragma once

#include <array>
#include <string>

#include "kvorlib/alffile.h"

namespace kvor {

using Article = BASIC_ALFSTAT<char>;

// One of name, number, type, pos, kpos, ktext, mtext. Terms stand there by name.
struct Column {
  const char* name;
  // Sets the field. Answers what is wrong with the text and what was expected; empty if it is good.
  // A text is good when the article gives it back after it was stored.
  std::string (*set)(Article& article, const std::string& text);
  std::string (*get)(const Article& article);
};

const std::array<Column, 7>& Columns();

// What keeps `name` from being the name of an article; empty if nothing does.
std::string NameFault(const std::string& name);
// What would be lost if the article were stored; empty if nothing would.
std::string ArticleFault(const Article& article);

// Reads a row of a table. Answers the first fault of it, as above.
std::string ReadRow(const std::string& line, Article& article);
std::string RowOf(const Article& article);
std::string JsonOf(const Article& article);

}  // namespace kvor
