// An article as the tool takes and shows it. What is refused here would be stored by the library
// and read back as something else.
#include "dictcolumns.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "json.h"
#include "kvorlib/terms.h"
#include "output.h"

namespace kvor {
namespace {

// With the blank that ends it a key has 127 bytes at most.
constexpr std::size_t LongestName = 126;
// What the record of an article has in the place of an empty text.
constexpr const char* EmptyMark = "#";

bool HasWhiteSpace(const std::string& text) {
  return text.find_first_of(" \t\n\v\f\r") != std::string::npos;
}

std::string Fault(const char* column, const std::string& text, const std::string& wrong,
                  const std::string& expected) {
  return std::string(column) + " '" + text + "' " + wrong + "; expected " + expected;
}

std::string WordFault(const char* column, const std::string& text) {
  if (!IsUtf8(text)) return Fault(column, text, "is no UTF-8", "a text in UTF-8");
  if (HasWhiteSpace(text)) {
    return Fault(column, text, "has white space in it", "a single word (a_b for a b)");
  }
  if (text == EmptyMark) return Fault(column, text, "reads back as empty", "another word");
  return {};
}

std::string SetName(Article& article, const std::string& text) {
  article.Name = text;
  return NameFault(text);
}

std::string SetNumber(Article& article, const std::string& text) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, article.Number);
  if (error == std::errc() && stop == end) return {};
  return Fault("number", text, "is none", "a whole number from -2147483648 to 2147483647");
}

std::string SetType(Article& article, const std::string& text) {
  if (text.size() != 1 || std::string_view("NKMB").find(text) == std::string_view::npos) {
    return Fault("type", text, "is unknown", "N, K, M or B");
  }
  article.Type = text[0];
  return {};
}

// A term is stored by its name, which need not be the text that it was found by.
std::string SetTerm(std::uint16_t& field, const char* column, const std::string& text) {
  constexpr const char* expected = "the name of a term, or nothing";
  field = 0;
  if (text.empty()) return {};
  const std::uint16_t code = TermCode(text);
  const std::string stored = TermName(code);
  if (code == 0 || stored == "UNKNOWN") return Fault(column, text, "is an unknown term", expected);
  if (!WordFault(column, stored).empty() || TermCode(stored) != code) {
    return Fault(column, text, "is a term that no article can hold", expected);
  }
  field = code;
  return {};
}

std::string SetPos(Article& article, const std::string& text) {
  return SetTerm(article.Pos, "pos", text);
}

std::string SetKPos(Article& article, const std::string& text) {
  return SetTerm(article.KPos, "kpos", text);
}

std::string SetKText(Article& article, const std::string& text) {
  article.KText = text;
  return WordFault("ktext", text);
}

std::string SetMText(Article& article, const std::string& text) {
  article.MText = text;
  return WordFault("mtext", text);
}

std::string NameOfTerm(std::uint16_t code) {
  if (code == 0) return {};
  std::string name = TermName(code);
  return name == "UNKNOWN" ? std::string() : name;
}

std::string GetName(const Article& article) { return article.Name; }
std::string GetNumber(const Article& article) { return std::to_string(article.Number); }
std::string GetType(const Article& article) { return {article.Type}; }
std::string GetPos(const Article& article) { return NameOfTerm(article.Pos); }
std::string GetKPos(const Article& article) { return NameOfTerm(article.KPos); }
std::string GetKText(const Article& article) { return article.KText; }
std::string GetMText(const Article& article) { return article.MText; }

std::string NamesOfColumns() {
  std::string names;
  for (const Column& column : Columns())
    names += (names.empty() ? "" : ", ") + std::string(column.name);
  return names;
}

}  // namespace

const std::array<Column, 7>& Columns() {
  static constexpr std::array<Column, 7> all = {{{"name", SetName, GetName},
                                                 {"number", SetNumber, GetNumber},
                                                 {"type", SetType, GetType},
                                                 {"pos", SetPos, GetPos},
                                                 {"kpos", SetKPos, GetKPos},
                                                 {"ktext", SetKText, GetKText},
                                                 {"mtext", SetMText, GetMText}}};
  return all;
}

std::string NameFault(const std::string& name) {
  if (name.empty()) return "the name is empty; expected a word";
  if (name.size() > LongestName) {
    return Fault("name", name, "has " + Counted(name.size(), "byte"),
                 std::to_string(LongestName) + " at most");
  }
  return WordFault("name", name);
}

std::string ArticleFault(const Article& article) {
  const bool bare =
      article.KText.empty() && article.MText.empty() && article.Pos == 0 && article.KPos == 0;
  if (article.Type != 'N' || bare) return {};
  return "an article of type N with terms or texts, which it cannot hold; expected type K, M or B, "
         "or empty columns";
}

std::string ReadRow(const std::string& line, Article& article) {
  if (line.find('\0') != std::string::npos || !IsUtf8(line)) {
    return "no text (a zero, or a character cut in pieces); expected UTF-8 or UTF-16";
  }
  const auto tabs = static_cast<std::size_t>(std::count(line.begin(), line.end(), '\t'));
  if (tabs + 1 != Columns().size()) {
    return Counted(tabs + 1, "column") + "; expected " + std::to_string(Columns().size()) +
           ", parted by tabs: " + NamesOfColumns();
  }
  std::size_t at = 0;
  for (const Column& column : Columns()) {
    const std::size_t end = std::min(line.find('\t', at), line.size());
    std::string fault = column.set(article, line.substr(at, end - at));
    if (!fault.empty()) return fault;
    at = end + 1;
  }
  return ArticleFault(article);
}

std::string RowOf(const Article& article) {
  std::string row;
  for (const Column& column : Columns()) row += (row.empty() ? "" : "\t") + column.get(article);
  return row;
}

std::string JsonOf(const Article& article) {
  Json json;
  for (const Column& column : Columns()) {
    if (column.get == GetNumber) {
      json(column.name, article.Number);
    } else {
      json(column.name, column.get(article));
    }
  }
  return json.Text();
}

}  // namespace kvor
