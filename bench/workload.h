// What the engines are fed with: two sets of records made of real dictionaries.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Item {
  std::string key;
  std::string value;
};

struct Workload {
  std::string name;
  std::string what;
  std::vector<Item> items;  // in the order of keys
  // The same in a random order, the same for every engine and run. Laid out in that order, so that
  // nobody's time is spent on waiting for what is to be asked next.
  std::vector<Item> mixed;
  std::vector<std::string> absent;  // keys that are not there, spread over the whole range
  std::size_t bytes = 0;            // of all keys and values

  // Another value of the same length.
  static std::string Updated(const std::string& value) { return {value.rbegin(), value.rend()}; }
};

// Many short records: each headword with the place of its article, as the index has it. At most
// `limit` of them, taken evenly. Throws dictd::Error.
Workload Headwords(const std::string& index, std::size_t limit);
// Fewer and longer ones, some beyond a page: each headword with its article.
Workload Articles(const std::string& index, const std::string& text, std::size_t limit);

// So many short records, of random words: what does not come from a dictionary is as many as one
// likes.
Workload RandomWords(std::size_t count);

}  // namespace bench
