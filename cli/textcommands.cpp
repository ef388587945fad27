// kvor text detect, convert: which code page a text is in, and the same text in another one.
#include <algorithm>
#include <memory>

#include "codepages.h"
#include "commands.h"
#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "outcome.h"

namespace kvor {
namespace {

constexpr const char* TextFooter =
    "Code pages are given by number or by the name that they have on the web: 1251, windows-1251,\n"
    "932, shift_jis; 65001 is UTF-8, 1200 UTF-16 with the low byte first, 1201 with the high "
    "one.\n"
    "\n"
    "Examples:\n"
    "  kvor text detect *.txt\n"
    "  kvor text convert --from 1251 --to utf-8 old.txt > new.txt\n"
    "  kvor text convert --to shift_jis new.txt --output old.txt --replace\n";

struct TextOptions {
  std::vector<std::string> files;
  std::string from;
  std::string to = "65001";
  std::string output;
  bool mark = false;
  bool replace = false;
};

// ---- detect ----------------------------------------------------------------------------------

int DetectOne(Session& session, const InputFile& file) {
  const Guess guess = GuessCodePage(file.Content());
  const bool known = guess.codePage != UnknownCodePage;
  std::string charset = CharsetOf(guess.codePage);
  if (charset.empty()) charset = guess.codePage == Utf16 ? "utf-16le" : "utf-16be";
  if (session.json) {
    Json told("file", file.Name());
    told("known", known);
    if (known) told("codePage", guess.codePage)("charset", charset)("mark", guess.mark);
    session.out << told.Text() << '\n';
  } else if (known) {
    session.out << file.Name() << ": " << std::to_string(guess.codePage) << ' ' << charset
                << (guess.mark ? ", with a mark\n" : "\n");
  } else {
    session.out << file.Name() << ": unknown\n";
  }
  return known ? Fine : Negative;
}

int Detect(Session& session, const TextOptions& options) {
  return ForEachFile(session, options.files,
                     [&](const InputFile& file) { return DetectOne(session, file); });
}

// ---- convert ---------------------------------------------------------------------------------

int SourceCodePage(const TextOptions& options, const InputFile& file, const std::string& bytes) {
  if (!options.from.empty()) return CodePageFrom(options.from);
  const Guess guess = GuessCodePage(bytes);
  if (guess.codePage == UnknownCodePage) throw Failure(file.Name(), NothingTells);
  return guess.codePage == Ascii ? Utf8 : guess.codePage;
}

// Complains of each line that is no UTF-8.
int CheckSource(const InputFile& file, std::string_view bytes) {
  int outcome = Fine;
  for (int line = 1; !bytes.empty(); ++line) {
    const std::size_t n = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
    if (!IsUtf8(bytes.substr(0, n))) {
      Complain(file.At(line), "not valid UTF-8; what is not becomes U+FFFD");
      outcome = Negative;
    }
    bytes.remove_prefix(n);
  }
  return outcome;
}

// Complains of the first character of each line that has not come through.
int CheckResult(const InputFile& file, const std::u16string& text, const std::u16string& result,
                const std::string& to) {
  int outcome = Fine;
  std::size_t at = 0;
  std::size_t back = 0;
  for (int line = 1; at < text.size(); ++line) {
    const std::size_t end = std::min(text.find(u'\n', at), text.size());
    const std::size_t backEnd = std::min(result.find(u'\n', back), result.size());
    std::u16string_view given = std::u16string_view(text).substr(at, end - at);
    const std::u16string_view got = std::u16string_view(result).substr(back, backEnd - back);
    if (given != got) {
      given.remove_prefix(std::mismatch(given.begin(), given.end(), got.begin(), got.end()).first -
                          given.begin());
      const bool pair = given.size() > 1 && (given[0] & 0xFC00U) == 0xD800U;
      Complain(file.At(line), "'" + Narrow(std::u16string(given.substr(0, pair ? 2 : 1))) +
                                  "' is not in code page " + to + ", and is replaced");
      outcome = Negative;
    }
    at = end + 1;
    back = std::min(backEnd + 1, result.size());
  }
  return outcome;
}

class Converter {
 public:
  Converter(Session& output, const TextOptions& chosen)
      : session(output),
        options(chosen),
        to(CodePageFrom(chosen.to)),
        target(output.out, chosen.output, chosen.replace) {}

  int Run() {
    const int outcome = ForEachFile(session, options.files,
                                    [&](const InputFile& file) { return ConvertOne(file); });
    if (outcome != Failed) target.Finish();
    return outcome;
  }

 private:
  int ConvertOne(const InputFile& file) {
    const std::string source = file.Content();
    const int from = SourceCodePage(options, file, source);
    const std::u16string text = Decode(source, from);
    const std::string result = Encode(text, to, options.mark && first);
    first = false;
    int outcome = from == Utf8 ? CheckSource(file, source) : int{Fine};
    if (to != from || outcome == Fine)
      outcome = std::max(outcome, CheckResult(file, text, Decode(result, to), options.to));
    const bool toFile = !options.output.empty();
    if (toFile || !session.json) target.Write(result);
    if (session.json) {
      Json told("file", file.Name());
      told("from", from)("to", to)("whole", outcome == Fine);
      if (!toFile) told("text", result);
      session.out << told.Text() << '\n';
    }
    return outcome;
  }

  Session& session;
  const TextOptions& options;
  int to;
  Target target;
  bool first = true;
};

int Convert(Session& session, const TextOptions& options) {
  return Converter(session, options).Run();
}

}  // namespace

void AddTextCommands(CLI::App& app, Session& session) {
  CLI::App* const text = app.add_subcommand("text", "Tell and change the code page of texts");
  text->require_subcommand(1);
  text->footer(TextFooter);
  const auto options = std::make_shared<TextOptions>();
  const auto add = [&](const char* name, const char* description,
                       int (*command)(Session&, const TextOptions&)) {
    CLI::App* const added = AddCommand(*text, session, name, description, "");
    added->add_option("FILE", options->files, "The texts; - is standard input")->required();
    added->callback([&session, options, command] {
      session.run = [&session, options, command] { return command(session, *options); };
    });
    return added;
  };
  add("detect", "Tell which code page texts are in, as far as their bytes tell", Detect);
  CLI::App* const convert = add("convert", "Print texts in another code page", Convert);
  convert->add_option("--from", options->from, "The code page of the texts, if they do not tell it")
      ->type_name("CP");
  convert->add_option("--to", options->to, "The code page of the result, UTF-8 if not given")
      ->type_name("CP");
  convert->add_flag("--mark", options->mark, "Begin the result with a byte order mark");
  convert->add_option("--output", options->output, "Make this file")->type_name("TO");
  convert->add_flag("--replace", options->replace, "Write over TO if it exists");
}

}  // namespace kvor
