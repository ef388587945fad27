// Articles for an empty dictionary: collected, brought into the order of their names, and stored at
// once (SortedLoad), which is faster than one by one and leaves full pages.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>

#include "dictfile.h"
#include "kvorlib/storetools.h"

namespace kvor {

class DictLoad {
 public:
  // As much is collected at most; so much fits into a store file anyway.
  static constexpr std::size_t MostBytes = std::size_t{128} << 20;

  enum class Answer {
    Taken,
    Present,   // an article of this name was taken before
    Declined,  // it is to be stored by itself, behind what was taken
  };
  // Takes nothing from the beginning if the dictionary is not empty.
  explicit DictLoad(DictFile& dictionary);
  Answer Take(const Article& article);
  // Stores what was taken, and takes nothing from then on. What is not fit for the file, or is
  // there by now since somebody else works on it, is counted in the report.
  LoadReport Finish();

 private:
  DictFile& dictionary;
  bool takes;
  std::size_t bytes = 0;
  std::deque<std::string> records;             // which stay where they are
  std::unordered_set<std::string_view> names;  // in them
};

}  // namespace kvor
