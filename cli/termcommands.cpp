// kvor term code, name, tree, belongs, header: questions to the vocabulary of a knowledge base.
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "commands.h"
#include "environment.h"
#include "json.h"
#include "kvorlib/terms.h"
#include "outcome.h"
#include "wholefile.h"

namespace kvor {
namespace {

constexpr const char* TermFooter =
    "Codes are 1 to 4 hexadecimal digits, with or without 0x in front, and are printed as 4. Where "
    "a\n"
    "term is asked for, its name will do, too; what is both a name and a code is the name, unless\n"
    "0x stands in front.\n"
    "\n"
    "Examples:\n"
    "  kvor term code common-noun dative 7\n"
    "  kvor term name 1011 2703\n"
    "  kvor term tree part-of-speech\n"
    "  kvor term belongs common-noun part-of-speech\n"
    "  kvor term header terms.h\n";

struct TermOptions {
  std::string kb;
  std::vector<std::string> asked;
  std::string term;
  std::string group;
  std::string file;
};

bool IsKnown(std::uint16_t code) { return IsTerm(code) || IsGroup(code); }

std::string CodeText(std::uint16_t code) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%04X", unsigned{code});
  return text.data();
}

std::optional<std::uint16_t> CodeFrom(std::string text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.erase(0, 2);
  const bool digits = text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (text.empty() || text.size() > 4 || !digits) return std::nullopt;
  return static_cast<std::uint16_t>(std::stoul(text, nullptr, 16));
}

// By its name or its code; none for a text that is neither.
std::optional<std::uint16_t> TermFrom(const std::string& text) {
  const Term* const named = GetTerm(Wide(text));
  return named != nullptr ? named->code : CodeFrom(text);
}

int Unknown(Session& session, const std::string& text) {
  session.out.Flush();
  Complain("", text + ": no such term");
  return Negative;
}

// ---- code, name ------------------------------------------------------------------------------

// `answer` is empty for an unknown one.
int Tell(Session& session, const std::string& asked, const Json& told, const std::string& answer) {
  if (session.json) {
    session.out << told.Text() << '\n';
  } else if (!answer.empty()) {
    session.out << answer << '\n';
  }
  return answer.empty() ? Unknown(session, asked) : Fine;
}

int Code(Session& session, const TermOptions& options) {
  int outcome = Fine;
  for (const std::string& name : options.asked) {
    const std::uint16_t code = TermCode(name);
    Json told("name", name);
    told("found", code != 0);
    if (code != 0) told("code", CodeText(code));
    if (Tell(session, name, told, code != 0 ? CodeText(code) : "") != Fine) outcome = Negative;
  }
  return outcome;
}

int Name(Session& session, const TermOptions& options) {
  int outcome = Fine;
  for (const std::string& text : options.asked) {
    const auto code = CodeFrom(text);
    if (!code) throw Failure("", text + ": no code: 1 to 4 hexadecimal digits are expected");
    const std::string name = TermName(*code);
    const bool known = IsKnown(*code);
    Json told("code", CodeText(*code));
    told("found", known);
    if (known) told("name", name);
    if (Tell(session, text, told, known ? name : "") != Fine) outcome = Negative;
  }
  return outcome;
}

// ---- tree ------------------------------------------------------------------------------------

// All entries by the codes that they are found under.
class Tree {
 public:
  explicit Tree(Session& output) : session(output) {
    for (unsigned number = 0; number <= 0xFFFF; ++number) {
      const auto code = static_cast<std::uint16_t>(number);
      if (IsKnown(code)) members[GroupOf(code)].push_back(code);
    }
  }

  void PrintAll() {
    for (const std::uint16_t code : members[Top]) Print(code, 0);
    for (const auto& [group, codes] : members) {  // what lies in itself, and nowhere else
      for (const std::uint16_t code : codes) Print(code, 0);
    }
  }
  // Each entry once. A file may give a code to a group and again inside that group: by the codes
  // there is then no top and no end.
  void Print(std::uint16_t code, std::size_t level) {
    if (!printed.insert(code).second) return;
    if (session.json) {
      Json told("code", CodeText(code));
      told("name", TermName(code))("group", IsGroup(code))("level", level);
      session.out << told.Text() << '\n';
    } else {
      session.out << std::string(2 * level, ' ') << CodeText(code) << ' ' << TermName(code) << '\n';
    }
    const auto inside = members.find(code);
    if (inside == members.end()) return;
    for (const std::uint16_t member : inside->second) Print(member, level + 1);
  }

 private:
  static constexpr int Top = -1;

  // An entry without a code has 0, which is also said to be around those at the top.
  static int GroupOf(std::uint16_t code) {
    const int group = TermGroup(code);
    return group == 0 && (code == 0 || !Belong(code, 0, 1)) ? Top : group;
  }

  Session& session;
  std::map<int, std::vector<std::uint16_t>> members;
  std::set<std::uint16_t> printed;
};

int PrintTree(Session& session, const TermOptions& options) {
  TermName(0);  // what only looks at the table does not load it
  Tree tree(session);
  if (options.group.empty()) {
    tree.PrintAll();
    return Fine;
  }
  const auto group = TermFrom(options.group);
  if (!group || !IsKnown(*group)) return Unknown(session, options.group);
  tree.Print(*group, 0);
  return Fine;
}

// ---- belongs, header -------------------------------------------------------------------------

int Belongs(Session& session, const TermOptions& options) {
  const auto code = TermFrom(options.term);
  const auto group = TermFrom(options.group);
  const bool answer = code && group && Belong(*code, *group, -1);
  if (!answer && (!code || !IsKnown(*code))) return Unknown(session, options.term);
  if (!answer && (!group || !IsKnown(*group))) return Unknown(session, options.group);
  if (session.json) {
    Json told("code", CodeText(*code));
    session.out << told("group", CodeText(*group))("belongs", answer).Text() << '\n';
  } else {
    session.out << (answer ? "yes\n" : "no\n");
  }
  return answer ? Fine : Negative;
}

int Header(Session& session, const TermOptions& options) {
  WholeFile file(options.file);
  if (!CreateHeader(file.Place().c_str())) throw Failure(options.file, "cannot be written");
  file.Finish();
  if (session.json) session.out << Json("file", options.file).Text() << '\n';
  return Fine;
}

}  // namespace

void AddTermCommands(CLI::App& app, Session& session) {
  CLI::App* const term = app.add_subcommand("term", "Look up terms and their codes");
  term->require_subcommand(1);
  term->footer(TermFooter);
  const auto options = std::make_shared<TermOptions>();
  const auto add = [&](const char* name, const char* description,
                       int (*command)(Session&, const TermOptions&)) {
    CLI::App* const added = AddCommand(*term, session, name, description, "");
    AddBaseOption(*added, options->kb);
    added->callback([&session, options, command] {
      session.run = [&session, options, command] {
        const Environment environment(options->kb);
        return command(session, *options);
      };
    });
    return added;
  };
  add("code", "Print the codes of these names", Code)
      ->add_option("NAME", options->asked, "Names, or numbers from 1 on")
      ->required();
  add("name", "Print the names of these codes", Name)
      ->add_option("CODE", options->asked, "Codes, in hexadecimal")
      ->required();
  add("tree", "Print a group with all that is in it, or everything, in the order of codes",
      PrintTree)
      ->add_option("GROUP", options->group, "A name or a code");
  CLI::App* const belongs =
      add("belongs", "Tell whether a term is in a group, at any depth", Belongs);
  belongs->add_option("TERM", options->term, "A name or a code")->required();
  belongs->add_option("GROUP", options->group, "A name or a code")->required();
  add("header", "Write a C header with a constant for each term", Header)
      ->add_option("FILE", options->file, "The file to write")
      ->required();
}

}  // namespace kvor
