// kvor translit, detranslit, lexem, lang: scripts and letters of languages.
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "commands.h"
#include "environment.h"
#include "json.h"
#include "kvorlib/languages.h"
#include "kvorlib/symbols.h"
#include "kvorlib/terms.h"
#include "linereader.h"
#include "outcome.h"

namespace kvor {
namespace {

struct TextOptions {
  std::string kb;
  std::string language;
  std::vector<std::string> texts;
};

using Command = int (*)(Session&, const TextOptions&, const std::string&);

// Each argument, or for "-" each line of standard input. The worst exit code.
int ForEachText(Session& session, const TextOptions& options, Command command) {
  int outcome = Fine;
  const auto run = [&](const std::string& text, const std::string& where) {
    if (!IsUtf8(text)) throw Failure(where, "not valid UTF-8");
    outcome = std::max(outcome, command(session, options, text));
  };
  for (const std::string& text : options.texts) {
    if (text != "-") {
      run(text, "");
      continue;
    }
    LineReader lines(text);
    for (std::string line; lines.Next(line, session.out);)
      run(line, lines.Name() + ':' + std::to_string(lines.Number()));
  }
  return outcome;
}

int Tell(Session& session, const std::string& text, const std::u16string& result) {
  if (session.json) {
    session.out << Json("text", text)("result", Narrow(result)).Text() << '\n';
  } else {
    session.out << Narrow(result) << '\n';
  }
  return Fine;
}

int Translit(Session& session, const TextOptions&, const std::string& text) {
  return Tell(session, text, GetSymbControl()->Translit(Wide(text)));
}

int Detranslit(Session& session, const TextOptions&, const std::string& text) {
  return Tell(session, text, GetSymbControl()->Detranslit(Wide(text)));
}

std::uint16_t LanguageOf(const TextOptions& options) {
  const std::uint16_t code = TermCode(options.language);
  if (code == 0) throw Failure("", options.language + ": no such language");
  return code;
}

int Lexem(Session& session, const TextOptions& options, const std::string& word) {
  const std::u16string text = Wide(word);
  const int at = GetSymbControl()->CheckLexem(LanguageOf(options), text);
  const bool fine = at < 0;
  std::u16string letter;
  std::size_t place = 0;  // in characters, from 1
  if (!fine && !text.empty()) {
    const auto start = static_cast<std::size_t>(at);
    const bool pair = (text[start] & 0xFC00U) == 0xD800U && start + 1 < text.size();
    letter = text.substr(start, pair ? 2 : 1);
    const auto low = [](char16_t unit) { return (unit & 0xFC00U) == 0xDC00U; };
    place = start + 1 - static_cast<std::size_t>(std::count_if(text.data(), &text[start], low));
  }
  if (session.json) {
    Json told("word", word);
    told("fine", fine);
    if (!fine) told("position", place)("letter", Narrow(letter));
    session.out << told.Text() << '\n';
  } else if (fine) {
    session.out << word << ": fine\n";
  } else {
    session.out << word << ": '" << Narrow(letter) << "' at " << std::uint64_t{place}
                << " is foreign\n";
  }
  return fine ? Fine : Negative;
}

int Language(Session& session, const TextOptions&, const std::string& text) {
  const std::uint16_t code = AutoDetermineLanguage(Wide(text));
  std::array<char, 8> number{};
  std::snprintf(number.data(), number.size(), "%04X", unsigned{code});
  const char16_t* const known = Code2Name(code);
  // The one answer that has no name of its own.
  const std::string name = known != nullptr ? Narrow(known) : "spanish";
  if (session.json) {
    session.out << Json("text", text)("code", number.data())("language", name).Text() << '\n';
  } else {
    session.out << number.data() << ' ' << name << '\n';
  }
  return Fine;
}

int RunWithSymbols(Session& session, const TextOptions& options, Command command) {
  const Environment environment(options.kb);
  if (!GetSymbControl()->Load(nullptr))
    throw Failure("", "the knowledge base has no good Config/symbols.dat");
  GetSymbControl()->SetTranslitMode(true);
  return ForEachText(session, options, command);
}

}  // namespace

void AddLanguageCommands(CLI::App& app, Session& session) {
  const auto options = std::make_shared<TextOptions>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       Command command) {
    CLI::App* const added = AddCommand(app, session, name, description, examples);
    if (command != Language) AddBaseOption(*added, options->kb);
    if (command == Lexem) {
      added->add_option("LANG", options->language, "A language, by the name of its term")
          ->required();
    }
    added->add_option("TEXT", options->texts, "Texts; - is the lines of standard input")
        ->required();
    added->callback([&session, options, command] {
      session.run = [&session, options, command] {
        if (command == Language) return ForEachText(session, *options, command);
        return RunWithSymbols(session, *options, command);
      };
    });
  };
  add("translit", "Write stretches of foreign letters out, as the knowledge base tells",
      "  kvor translit 'the word كتاب'\n  kvor translit - < notes.txt\n", Translit);
  add("detranslit", "Turn stretches that are written out back into their letters",
      "  kvor detranslit 'arabic&#{kitab}'\n", Detranslit);
  add("lexem", "Tell where the first letter stands that a language does not have",
      "  kvor lexem russian кот коt\n", Lexem);
  add("lang", "Guess the language of texts by their letters", "  kvor lang 'Съешь ещё булок'\n",
      Language);
}

}  // namespace kvor
