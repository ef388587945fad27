// Nothing is lost on the way to a record: articles of one key are joined, and a cut headword stands
// whole in the article.
#include "records.h"

#include <cctype>
#include <unordered_map>

namespace dictd {
namespace {

bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// "1." and "2)" open a sense.
bool OpensSense(std::string_view line) {
  std::size_t digits = 0;
  while (digits < line.size() && std::isdigit(static_cast<unsigned char>(line[digits]))) ++digits;
  return digits > 0 && digits < line.size() && (line[digits] == '.' || line[digits] == ')');
}

void AppendLine(std::string& out, std::string_view line) {
  if (!out.empty()) out += OpensSense(line) ? " | " : " ";
  for (char c : line) out += IsBlank(c) ? ' ' : c;
}

}  // namespace

std::string KeyOf(std::string_view headword) {
  std::string key(Trimmed(headword));
  for (char& c : key) {
    if (IsBlank(c)) c = '_';
  }
  if (key.size() > maxKey) {
    std::size_t end = maxKey;
    while ((static_cast<unsigned char>(key[end]) & 0xC0) == 0x80) --end;
    key.resize(end);
  }
  return key;
}

std::string OneLine(std::string_view article, std::string_view headword) {
  std::string out;
  bool first = true;
  while (!article.empty()) {
    const std::size_t end = article.find('\n');
    const std::string_view line = Trimmed(article.substr(0, end));
    article.remove_prefix(end == article.npos ? article.size() : end + 1);
    const bool repeats = first && line == Trimmed(headword);
    first = false;
    if (!line.empty() && !repeats) AppendLine(out, line);
  }
  return out;
}

std::vector<Record> MakeRecords(const Dictionary& dictionary, Tally& tally) {
  std::vector<Record> records;
  std::unordered_map<std::string, std::size_t> places;
  for (const Entry& entry : dictionary.Entries()) {
    std::string key = KeyOf(entry.headword);
    if (entry.IsAboutDictionary() || key.empty()) {
      ++(key.empty() ? tally.wordless : tally.about);
      continue;
    }
    const std::string_view word = Trimmed(entry.headword);
    std::string article = OneLine(dictionary.Article(entry), word);
    if (word.size() > key.size()) {
      ++tally.cut;
      article = std::string(word) + ": " + article;
    }
    const auto [place, isNew] = places.try_emplace(key, records.size());
    if (isNew) {
      ++tally.records;
      records.push_back({std::move(key), std::move(article)});
    } else {
      ++tally.joined;
      records[place->second].article += " || " + article;
    }
  }
  return records;
}

}  // namespace dictd
