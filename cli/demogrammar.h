// The grammar of `kvor log demo`: rules by which neighbouring words are joined into trees.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kvorlib/predicates.h"

namespace kvor {

// What a word hangs on in a tree; the root hangs on none.
struct Link {
  int head = -1;
  const char16_t* relation = u"";
};

// Words are given by the codes of their parts of speech, 0 for a word of none.
//
//   const Grammar grammar;
//   const std::vector<Link> links = grammar.Join({adjective, noun, verb});
class Grammar {
 public:
  struct Rule {
    const char16_t* relation;
    const char16_t* condition;  // of left.TERM and right.TERM, the words that may be joined
    bool leftIsHead;
  };
  static const std::vector<Rule>& Rules();

  // Reads the conditions. Throws Failure.
  // REQUIRES: the library is started.
  Grammar();
  ~Grammar();
  Grammar(const Grammar&) = delete;
  Grammar& operator=(const Grammar&) = delete;

  // Joins neighbours until no rule holds for any two; the first rule goes first. Words that hang on
  // others are no neighbours any more, and a word has one dependent of each relation. One root is
  // left, or several.
  std::vector<Link> Join(const std::vector<std::uint16_t>& words) const;

 private:
  class PairTree;
  std::vector<std::unique_ptr<PairTree>> conditions;
};

int RootsOf(const std::vector<Link>& links);

}  // namespace kvor
