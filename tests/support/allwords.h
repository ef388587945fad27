// Every word over an alphabet, for comparing with a naive model.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Calls `visit` with every word of up to `longest` letters, the empty one first.
template <class Visit>
void ForEachWord(std::string_view alphabet, std::size_t longest, Visit visit,
                 const std::string& word = {}) {
  visit(word);
  if (word.size() == longest) return;
  for (const char letter : alphabet) ForEachWord(alphabet, longest, visit, word + letter);
}
