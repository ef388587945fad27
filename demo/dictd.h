// Reads a dictionary in the format of dictd: an index of headwords, and one gzip-compressed text
// that holds all articles.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace dictd {

// What is wrong with a file, beginning with the file's name.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A line of the index: where the article of a headword lies in the text.
struct Entry {
  std::string headword;
  std::size_t offset = 0;
  std::size_t length = 0;

  // "00-database-info" and its like tell of the dictionary and are no words.
  bool IsAboutDictionary() const;
};

class Dictionary {
 public:
  // Throws Error when a file cannot be read, an index line is malformed, an article reaches beyond
  // the text, or the text is not UTF-8.
  Dictionary(const std::string& indexPath, const std::string& textPath);

  const std::vector<Entry>& Entries() const { return entries; }
  // The article as it stands, line breaks included. Valid as long as the dictionary.
  std::string_view Article(const Entry& entry) const;

 private:
  std::vector<Entry> entries;
  std::string text;
};

// The index alone, where the articles do not matter. Throws Error.
std::vector<Entry> ReadIndex(const std::string& path);

}  // namespace dictd
