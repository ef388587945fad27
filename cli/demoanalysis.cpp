// The stages of the demonstration: words, readings, trees.
#include "demoanalysis.h"

#include <fstream>

#include "environment.h"
#include "kvorlib/encoding.h"
#include "kvorlib/languages.h"
#include "kvorlib/symbols.h"
#include "kvorlib/terms.h"
#include "outcome.h"
#include "treepicture.h"

namespace kvor {
namespace {

using Stamp = KV::TimeStamp;

// Name, part of speech, word, translation. Names that differ by a digit are homonyms.
constexpr const char* Articles[][4] = {
    {"the", "definite-article", "the", "этот"},
    {"a", "indefinite-article", "a", "некий"},
    {"old", "qualitative-adjective", "old", "старый"},
    {"old1", "substantivized-adjective", "old", "старое"},
    {"bat", "common-noun", "bat", "нетопырь"},
    {"bat1", "common-noun", "bat", "бита"},
    {"bat2", "full-verb", "bat", "отбивать"},
    {"saw", "common-noun", "saw", "пила"},
    {"saw1", "full-verb", "saw", "видеть"},
    {"cat", "common-noun", "cat", "кошка"},
    {"in", "preposition", "in", "в"},
    {"house", "common-noun", "house", "дом"},
    {"house1", "full-verb", "house", "вмещать"},
    {"he", "personal-pronoun", "he", "он"},
    {"старая", "qualitative-adjective", "старая", "old"},
    {"серую", "qualitative-adjective", "серую", "grey"},
    {"кошка", "common-noun", "кошка", "cat"},
    {"мышь", "common-noun", "мышь", "mouse"},
    {"видит", "full-verb", "видит", "sees"},
    {"спит", "full-verb", "спит", "sleeps"},
    {"в", "preposition", "в", "in"},
    {"доме", "common-noun", "доме", "house"},
};

std::u16string Figure(std::size_t number) { return Wide(std::to_string(number)); }

std::u16string TermOf(std::uint16_t code) {
  return code != 0 ? Wide(TermName(code)) : std::u16string(u"unknown");
}

std::u16string ItemKind(int code) {
  constexpr int Separator = 2;
  constexpr int Identifier = 3;
  if (code == Separator) return u"separator";
  return code == Identifier ? u"identifier" : u"other word";
}

}  // namespace

const std::vector<std::u16string>& Analysis::Sentences() {
  static const std::vector<std::u16string> sentences = {
      u"The old bat saw a cat in the house.",
      u"Старая кошка видит серую мышь.",
      u"Кoт спит в доме.",  // the second letter is a Latin one
      u"He saw the bat <\"&\">.",
  };
  return sentences;
}

Analysis::Analysis(LogHTML& owner, DictFile& words) : log(owner), dictionary(words) {
  const Section section(log, u"What the analysis works with");
  FillDictionary();
  TellGrammar();
  if (!GetSymbControl()->Load(nullptr)) Complain(u"The letters of languages could not be read.");
}

void Analysis::FillDictionary() {
  DictFile::Record first;
  dictionary.Start("");
  const bool isEmpty = !dictionary.Next(first);
  Say(u"Dictionary " + Wide(dictionary.Path()) +
      (isEmpty ? u": filled with " + Figure(std::size(Articles)) + u" articles.\r\n"
               : std::u16string(u": as it was found.\r\n")));
  if (!isEmpty) return;
  for (const auto& [name, term, word, translation] : Articles) {
    Article article;
    article.Name = name;
    article.Type = 'B';
    article.Pos = article.KPos = TermCode(term);
    article.KText = word;
    article.MText = translation;
    std::string reason;
    dictionary.Add(article, reason);
    dictionary.FailOnError();
  }
}

void Analysis::TellGrammar() {
  const Section section(log, u"Rules of the grammar", true);
  for (const Grammar::Rule& rule : Grammar::Rules())
    Say(std::u16string(rule.relation) + u": " + rule.condition +
        (rule.leftIsHead ? u" the left word is the head" : u" the right word is the head") +
        u"\r\n");
}

void Analysis::Run(const std::u16string& sentence, bool aside) {
  const Section section(log, sentence);
  counts.sections = section.Id();
  std::vector<Word> words = TakeApart(sentence);
  const std::uint16_t language = AutoDetermineLanguage(sentence);
  Say(u"Language: " + TermOf(language) + u"\r\n");
  {
    const Section looking(log, u"Words");
    const Stamp stamp(stage::LookingUp);
    for (Word& word : words) LookUp(word, language);
  }
  const Stamp stamp(stage::Joining);
  TellTree(words, BestTree(words, aside), aside);
}

std::vector<Analysis::Word> Analysis::TakeApart(const std::u16string& sentence) {
  const Section section(log, u"Items of the text", true);
  const Stamp stamp(stage::TakingApart);
  SimpleParser<char16_t> lexer(nullptr, u".,\"<>&", nullptr, nullptr);
  DefText<char16_t> text(BASE_STRING<char16_t>(sentence.data(), static_cast<int>(sentence.size())));
  text.SetTextParser(&lexer);
  std::vector<Word> words;
  BASE_STRING<char16_t> item;
  constexpr int White = 1;
  constexpr int Separator = 2;
  constexpr int End = 4;
  for (int code; (code = text.GetItem(item)) != End;) {
    if (code == White) continue;
    std::u16string found(item.ptr, static_cast<std::size_t>(item.len));
    Say(ItemKind(code) + u"\t" + found + u"\r\n");
    if (code != Separator) words.push_back({std::move(found), {}});
  }
  return words;
}

void Analysis::LookUp(Word& word, std::uint16_t language) {
  const Section section(log, word.text);
  const int foreign = GetSymbControl()->CheckLexem(language, to_lower(word.text));
  if (foreign >= 0) {
    ++counts.errors;
    log.LegendError(u"The character " + Figure(static_cast<std::size_t>(foreign) + 1) + u" of «" +
                    word.text + u"» is no letter of the language " + TermOf(language) + u".");
    Say(u"\r\n");
  }
  dictionary.Articles().GetHoms(to_lower(word.text), word.readings);
  dictionary.FailOnError();
  for (const Reading& reading : word.readings)
    Say(reading.Name + u": " + TermOf(reading.KPos) + u", " + reading.MText + u"\r\n");
  if (!word.readings.empty()) return;
  Complain(u"«" + word.text + u"» is not in the dictionary.");
  word.readings.push_back({});
}

Analysis::Tree Analysis::BestTree(const std::vector<Word>& words, bool aside) {
  std::size_t combinations = 1;
  for (const Word& word : words) combinations *= word.readings.size();
  const Section section(log, u"Readings: " + Figure(combinations), combinations > 4);
  const Stamp stamp(stage::GoingThroughReadings);
  if (aside) log.altThreshold = 5;
  Tree best;
  for (std::size_t i = 0; i < combinations; ++i) {
    log.SwitchAltLogger();
    Tree tree = TreeOf(words, i);
    const int parts = RootsOf(tree.links);
    const Section reading(
        log, u"Reading " + Figure(i + 1) + (parts == 1 ? u": a tree" : u": no tree of all words"));
    for (std::size_t at = 0; at < words.size(); ++at)
      Say(words[at].text + u" (" + tree.notes[at] + u") ");
    Say(u"\r\n");
    for (std::size_t at = 0; at < words.size(); ++at)
      if (tree.links[at].head < 0) Say(Bracketed(words, tree, static_cast<int>(at)) + u"\r\n");
    if (i == 0 || parts < RootsOf(best.links)) best = std::move(tree);
  }
  log.ResetAlternatives(true);
  return best;
}

Analysis::Tree Analysis::TreeOf(const std::vector<Word>& words, std::size_t combination) {
  Tree tree;
  tree.reading = combination + 1;
  std::vector<std::uint16_t> codes;
  for (const Word& word : words) {
    codes.push_back(word.readings[combination % word.readings.size()].KPos);
    combination /= word.readings.size();
    tree.notes.push_back(TermOf(codes.back()));
  }
  tree.links = grammar.Join(codes);
  return tree;
}

void Analysis::TellTree(const std::vector<Word>& words, const Tree& tree, bool aside) {
  const Section section(log, u"Tree");
  if (aside) Draw(words, tree);
  Say(u"Reading: " + Figure(tree.reading) + u"\r\n");
  for (std::size_t at = 0; at < words.size(); ++at) {
    const Link& link = tree.links[at];
    Say(words[at].text + u": " +
        (link.head < 0 ? std::u16string(u"root")
                       : link.relation + std::u16string(u" of ") +
                             words[static_cast<std::size_t>(link.head)].text) +
        u"\r\n");
  }
  const int roots = RootsOf(tree.links);
  if (roots > 1)
    Complain(u"No tree for the whole sentence: " + Figure(roots) + u" parts are left.");
}

void Analysis::Draw(const std::vector<Word>& words, const Tree& tree) {
  const Stamp stamp(stage::SavingTrees);
  std::vector<std::u16string> texts;
  texts.reserve(words.size());
  for (const Word& word : words) texts.push_back(word.text);
  const std::string name = Narrow(log.GetImageFileName(u"svg"));
  std::ofstream picture(name, std::ios::binary);
  picture << TreePicture(texts, tree.notes, tree.links);
  picture.close();
  if (!picture) throw Failure(name, "cannot be written");
  log.InsertImageRef(u"svg");
  ++counts.pictures;
}

std::u16string Analysis::Bracketed(const std::vector<Word>& words, const Tree& tree, int root) {
  std::u16string text = u"[";
  for (std::size_t at = 0; at < words.size(); ++at) {
    const auto place = static_cast<int>(at);
    if (place == root) {
      text += (text.size() > 1 ? u" " : u"") + words[at].text;
    } else if (tree.links[at].head == root) {
      text += (text.size() > 1 ? u" " : u"") + Bracketed(words, tree, place);
    }
  }
  return text + u"]";
}

// What goes to a side page is as safe as what goes to the page.
void Analysis::Say(const std::u16string& text) {
  const SafeModeGuard safe(true);
  written = log.LogStringMessage(MC_LOG, text) && written;
}

void Analysis::Complain(const std::u16string& text) {
  ++counts.errors;
  log.Error(ToSafeHtmlText(text));
}

const Analysis::Counts& Analysis::Reached() const {
  if (!written) throw Failure(Narrow(log.CloseLog()), "cannot be written");
  return counts;
}

}  // namespace kvor
