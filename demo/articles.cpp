// An entry is a headword on a line of its own, then its senses: "_I", "1.", "1)" and "а)" open one.
// Words between underscore and full stop are marks ("_n.", "_разг."); brackets hold the sound and
// remarks.
#include "articles.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>

#include "records.h"

namespace dictd {
namespace {

// The marks of parts of speech, and the terms of the knowledge base for them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> marks = {
    {{"_n.", "noun"}, {"_v.", "verb"}, {"_a.", "adjective"}, {"_adv.", "adverb"}}};

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return Trimmed(line);
}

// Takes "12. ", "3) " or "_II " away from the front; false if there is nothing of the kind.
bool TakeNumber(std::string_view& line) {
  const std::size_t end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  const bool roman =
      word.size() > 1 && word[0] == '_' && word.find_first_not_of("IVX", 1) == word.npos;
  const bool arabic = word.size() > 1 && (word.back() == '.' || word.back() == ')') &&
                      word.find_first_not_of("0123456789") == word.size() - 1;
  if (!roman && !arabic) return false;
  line = Trimmed(line.substr(end));
  return true;
}

// The text without brackets and what is in them.
std::string WithoutBrackets(std::string_view text) {
  std::string out;
  int depth = 0;
  for (const char c : text) {
    if (c == '[' || c == '(' || c == '{') ++depth;
    if (depth == 0) out += c;
    if ((c == ']' || c == ')' || c == '}') && depth > 0) --depth;
  }
  return out;
}

bool BeginsWithRussian(std::string_view text) {
  return text.starts_with('\xD0') || text.starts_with('\xD1');
}

// The sense of a text without its number. A mark holds until the next one of its kind.
Sense Read(std::string_view text, std::string& term) {
  const std::string plain = WithoutBrackets(text);
  std::string_view rest = Trimmed(plain);
  while (rest.starts_with('_')) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    for (const auto& [mark, name] : marks) {
      if (rest.substr(0, end) == mark) term = name;
    }
    rest = Trimmed(rest.substr(end));
  }
  if (!BeginsWithRussian(rest)) return {};
  std::string_view word = Trimmed(rest.substr(0, rest.find_first_of(",;:.!?=")));
  return {term, KeyOf(word)};
}

// The name itself, or with the first digit that is free; empty if there is none.
std::string FreeName(std::unordered_set<std::string>& names, const std::string& name) {
  if (names.insert(name).second) return name;
  for (const char digit : std::string_view("123456789")) {
    if (names.insert(name + digit).second) return name + digit;
  }
  return {};
}

}  // namespace

std::vector<Sense> SensesOf(std::string_view article) {
  std::vector<Sense> senses;
  std::string term;
  std::string text;
  const auto finish = [&] {
    Sense sense = Read(text, term);
    if (!sense.translation.empty()) senses.push_back(std::move(sense));
    text.clear();
  };
  while (!article.empty()) {
    std::string_view line = TakeLine(article);
    if (TakeNumber(line)) finish();
    text += std::string(line) + ' ';
  }
  finish();
  return senses;
}

std::vector<Article> MakeArticles(const Dictionary& dictionary, std::size_t& dropped) {
  std::vector<Article> articles;
  std::unordered_set<std::string> names;
  std::size_t number = 0;
  for (const Entry& entry : dictionary.Entries()) {
    const std::string name = KeyOf(entry.headword);
    if (entry.IsAboutDictionary() || name.empty()) continue;
    std::string_view text = dictionary.Article(entry);
    const std::string ktext = KeyOf(TakeLine(text));
    std::vector<Sense> senses = SensesOf(text);
    if (senses.empty()) senses.emplace_back();
    ++number;
    for (Sense& sense : senses) {
      std::string own = FreeName(names, name);
      if (own.empty()) {
        ++dropped;
        continue;
      }
      articles.push_back(
          {std::move(own), number, std::move(sense.term), ktext, std::move(sense.translation)});
    }
  }
  return articles;
}

std::string RowOf(const Article& article) {
  const std::string numbered = article.name + '\t' + std::to_string(article.number);
  const std::string words = article.term + '\t' + article.ktext + '\t' + article.mtext;
  if (article.mtext.empty()) return numbered + "\tK\t\t" + words;
  return numbered + "\tB\t" + article.term + '\t' + words;
}

}  // namespace dictd
