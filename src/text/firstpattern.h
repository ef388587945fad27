// The first of many patterns in an 8-bit text, for the commands and the substitutions of the flat
// lexer alike.
#pragma once

#include <cstddef>
#include <string_view>

namespace text {

struct PatternHit {
  int index = -1;  // -1: there is none
  std::size_t place = 0;
  std::size_t length = 0;
};

// Of the `count` patterns `get(i)` the one that stands first, among those that begin at one of the
// places below `starts`, of which there is at least one; at one place the longest, of equals the
// last. `find(i, pattern, end)` tells where one stands, of which no more than the first one that
// ends by `end` is wanted; npos for nowhere. Null and empty patterns are nowhere: whoever found
// them would never get past them.
template <class Get, class Find>
PatternHit FirstPattern(std::size_t starts, int count, Get get, Find find) {
  PatternHit best;
  for (int i = 0; i < count; ++i) {
    const char* given = get(i);
    if (given == nullptr || *given == '\0') continue;
    const std::string_view pattern = given;
    // No later than the best so far.
    const std::size_t last = best.index < 0 ? starts - 1 : best.place;
    const std::size_t place = find(i, pattern, last + pattern.size());
    if (place > last) continue;
    if (best.index >= 0 && place == best.place && pattern.size() < best.length) continue;
    best = {i, place, pattern.size()};
  }
  return best;
}

template <class Get>
PatternHit FirstPattern(std::string_view text, std::size_t starts, int count, Get get) {
  return FirstPattern(starts, count, get,
                      [&](int /*index*/, std::string_view pattern, std::size_t end) {
                        return text.substr(0, end).find(pattern);
                      });
}

}  // namespace text
