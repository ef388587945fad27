// The analysis that `kvor log demo` shows: sentences are taken apart, their words looked up, and
// the readings of the words joined into trees. All of it is traced to an HTML log.
#pragma once

#include <string>
#include <vector>

#include "demogrammar.h"
#include "dictfile.h"
#include "kvorlib/loghtml.h"
#include "kvorlib/timers.h"

namespace kvor {

// The numbers of the stages that are timed, as the timer's report names them.
namespace stage {
using Number = KV::Timer::t_type;
inline constexpr Number WholeRun = Number::WHOLE_TIME;
inline constexpr Number LookingUp{3};
inline constexpr Number Joining{6};
inline constexpr Number GoingThroughReadings{13};
inline constexpr Number SavingTrees{14};
inline constexpr Number ReadingVocabulary{47};
inline constexpr Number TakingApart{48};
}  // namespace stage

// A section of the log for the time of a scope.
class Section {
 public:
  Section(LogHTML& owner, const std::u16string& title, bool folded = false) : log(owner) {
    log.foldNext = folded;
    id = log.OpenDiv(title, u"", u"header");
  }
  ~Section() { log.CloseDiv(id, 0); }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  int Id() const { return id; }

 private:
  LogHTML& log;
  int id;
};

class Analysis {
 public:
  static const std::vector<std::u16string>& Sentences();

  // Fills `words` with the demonstration's articles if it is empty. Throws Failure.
  // REQUIRES: the library is started, and `log` is open.
  Analysis(LogHTML& log, DictFile& words);

  // With `aside`, trees are drawn and groups of many readings go to side pages, files beside the
  // page; without, everything stands in the page.
  void Run(const std::u16string& sentence, bool aside);

  struct Counts {
    int sections = 0;
    int errors = 0;
    int pictures = 0;
  };
  // What the page has by now. Throws Failure if it could not be written.
  const Counts& Reached() const;

 private:
  using Reading = BASIC_ALFSTAT<char16_t>;
  struct Word {
    std::u16string text;
    std::vector<Reading> readings;
  };
  struct Tree {
    std::vector<std::u16string> notes;  // the part of speech of each word
    std::vector<Link> links;
    std::size_t reading = 0;  // whose tree it is, from 1
  };

  void FillDictionary();
  void TellGrammar();
  std::vector<Word> TakeApart(const std::u16string& sentence);
  void LookUp(Word& word, std::uint16_t language);
  Tree BestTree(const std::vector<Word>& words, bool aside);
  Tree TreeOf(const std::vector<Word>& words, std::size_t combination);
  void TellTree(const std::vector<Word>& words, const Tree& tree, bool aside);
  void Draw(const std::vector<Word>& words, const Tree& tree);

  void Say(const std::u16string& text);
  void Complain(const std::u16string& text);
  static std::u16string Bracketed(const std::vector<Word>& words, const Tree& tree, int root);

  LogHTML& log;
  DictFile& dictionary;
  Grammar grammar;
  Counts counts;
  bool written = true;
};

}  // namespace kvor
