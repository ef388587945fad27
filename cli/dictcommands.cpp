// kvor dict create, add, get, homs, correct, rename, delete: commands about single articles. The
// tables are in dicttables.cpp.
#include <array>
#include <memory>
#include <vector>

#include "commands.h"
#include "dictfile.h"
#include "environment.h"
#include "json.h"
#include "terminal.h"

namespace kvor {
namespace {

struct DictOptions {
  std::string kb;
  std::string file;
  std::string name;
  std::string newName;
  std::string side;
  std::vector<std::string> names;
  // In the order of Columns(), of which the name is not among the options.
  std::array<std::string, 7> texts;
  std::array<CLI::Option*, 7> given{};

  bool Given(std::size_t column) const {
    return given[column] != nullptr && given[column]->count() > 0;
  }
};

enum Field : std::size_t { Number = 1, Type, Pos, KPos, KText, MText };

void CheckName(const std::string& name) {
  const std::string fault = NameFault(name);
  if (!fault.empty()) throw Failure("", fault);
}

void SetGiven(const DictOptions& options, Article& article) {
  for (std::size_t i = Number; i <= MText; ++i) {
    if (!options.Given(i)) continue;
    const std::string fault = Columns()[i].set(article, options.texts[i]);
    if (!fault.empty()) throw Failure("", fault);
  }
}

int Refuse(const DictOptions& options, const std::string& words) {
  Complain(options.file, words);
  return Negative;
}

constexpr const char* Loss =
    ": holds more than its article, which a change would lose (`kvor store get` shows it)";

void Print(Session& session, const Article& article) {
  session.out << (session.json ? JsonOf(article) : RowOf(article)) << '\n';
}

int Absent(Session& session, const DictOptions& options, const std::string& name) {
  if (session.json) session.out << Json("name", name)("found", false).Text() << '\n';
  session.out.Flush();
  return Refuse(options, name + ": absent");
}

int Create(Session& session, const DictOptions& options) {
  DictFile::Create(options.file);
  if (session.json) session.out << Json("file", options.file).Text() << '\n';
  return Fine;
}

int Add(Session& session, const DictOptions& options) {
  CheckName(options.name);
  Article article;
  article.Name = options.name;
  SetGiven(options, article);
  if (!options.Given(Type)) {
    const bool k = !article.KText.empty();
    const bool m = !article.MText.empty();
    article.Type = k && m ? 'B' : k ? 'K' : m ? 'M' : 'N';
  }
  std::string reason = ArticleFault(article);
  if (!reason.empty()) throw Failure("", reason);
  DictFile dictionary(options.file, KeyedFile::Access::Write);
  const InterruptScope calm;
  reason = "the name exists";
  if (dictionary.Add(article, reason) != KeyedFile::Answer::Yes) {
    return Refuse(options, options.name + ": " + reason);
  }
  if (session.json) Print(session, article);
  return Fine;
}

int Get(Session& session, const DictOptions& options) {
  DictFile dictionary(options.file, KeyedFile::Access::Read);
  int code = Fine;
  for (const std::string& name : options.names) {
    CheckName(name);
    Article article;
    if (dictionary.Articles().GetAlfArticle(name.c_str(), &article)) {
      Print(session, article);
      continue;
    }
    dictionary.FailOnError();
    code = Absent(session, options, name);
  }
  return code;
}

int Homonyms(Session& session, const DictOptions& options) {
  CheckName(options.name);
  DictFile dictionary(options.file, KeyedFile::Access::Read);
  std::vector<Article> homonyms;
  dictionary.Articles().GetHoms(options.name, homonyms);
  dictionary.FailOnError();
  for (const Article& article : homonyms) Print(session, article);
  return homonyms.empty() ? Absent(session, options, options.name) : Fine;
}

// ---- correct ---------------------------------------------------------------------------------

// What keeps the sides that were asked for from being corrected; empty if nothing does.
std::string SideFault(const DictOptions& options, const Article& stored) {
  const bool hasK = stored.Type == 'K' || stored.Type == 'B';
  const bool hasM = stored.Type == 'M' || stored.Type == 'B';
  if (options.Given(KPos) && !options.Given(KText) && !hasK) {
    return "there is no side K (--ktext gives it one)";
  }
  if (options.Given(Pos) && !options.Given(MText) && !hasM) {
    return "there is no side M (--mtext gives it one)";
  }
  return {};
}

// The sides to correct, one after the other. A number alone goes with a side that is there.
std::string SidesOf(const DictOptions& options, const Article& stored) {
  std::string sides;
  if (options.Given(KText) || options.Given(KPos)) sides += 'K';
  if (options.Given(MText) || options.Given(Pos)) sides += 'M';
  if (sides.empty()) sides = stored.Type == 'B' ? 'K' : stored.Type;
  return sides;
}

void CheckCorrection(const DictOptions& options) {
  bool any = false;
  for (std::size_t i = Number; i <= MText; ++i) any = any || options.Given(i);
  if (!any) throw Failure("", "nothing to correct: give one of the options");
  for (const std::size_t text : {KText, MText}) {
    if (!options.Given(text) || !options.texts[text].empty()) continue;
    throw Failure("", std::string(Columns()[text].name) +
                          " is empty; expected a word (`kvor dict delete` takes a side away)");
  }
}

int Correct(Session& session, const DictOptions& options) {
  CheckName(options.name);
  CheckCorrection(options);
  DictFile dictionary(options.file, KeyedFile::Access::Write);
  const InterruptScope calm;
  Article stored;
  if (!dictionary.Read(options.name, stored)) return Refuse(options, options.name + ": absent");
  if (dictionary.LosesByChange(options.name)) return Refuse(options, options.name + Loss);
  const std::string fault = SideFault(options, stored);
  if (!fault.empty()) return Refuse(options, options.name + ": " + fault);
  Article wanted = stored;
  SetGiven(options, wanted);
  for (const char side : SidesOf(options, stored)) {
    Article article = wanted;
    article.Type = side;
    if (side == 'K') article.Pos = stored.Pos;  // it goes with side M
    if (!dictionary.Articles().CorrArticle(&article)) {
      dictionary.FailOnError();
      return Refuse(options, options.name + ": not corrected");
    }
  }
  if (session.json && dictionary.Read(options.name, stored)) Print(session, stored);
  return Fine;
}

// ---- rename, delete --------------------------------------------------------------------------

int Rename(Session& session, const DictOptions& options) {
  CheckName(options.name);
  CheckName(options.newName);
  DictFile dictionary(options.file, KeyedFile::Access::Write);
  const InterruptScope calm;
  if (dictionary.LosesByChange(options.name)) return Refuse(options, options.name + Loss);
  std::string reason;
  if (dictionary.Rename(options.name, options.newName, reason) != KeyedFile::Answer::Yes) {
    return Refuse(options, reason);
  }
  if (session.json) {
    session.out << Json("name", options.newName)("oldName", options.name).Text() << '\n';
  }
  return Fine;
}

int Delete(Session& session, const DictOptions& options) {
  CheckName(options.name);
  DictFile dictionary(options.file, KeyedFile::Access::Write);
  const InterruptScope calm;
  if (dictionary.LosesByChange(options.name)) return Refuse(options, options.name + Loss);
  const bool deleted =
      dictionary.Articles().DeleteArticle(options.name.c_str(), options.side == "K");
  const std::string words = dictionary.Articles().ErrorMessage();
  if (!deleted) {
    const bool lacks = words == "Entry not found in dictionary";
    if (!lacks) dictionary.FailOnError();
    return Refuse(options, options.name + ": " +
                               (lacks ? words + " (it has no side " + options.side + ")"
                                      : std::string("absent")));
  }
  if (session.json) {
    session.out << Json("name", options.name)("side", options.side)("deleted", true).Text() << '\n';
  }
  return Fine;
}

// ---- the command line ------------------------------------------------------------------------

using Options = std::shared_ptr<DictOptions>;
using Command = int (*)(Session&, const DictOptions&);

struct Added {
  CLI::App& command;
  Options options;
};

Added AddDict(CLI::App& dict, Session& session, Command run, const char* name,
              const char* description, const char* examples) {
  auto options = std::make_shared<DictOptions>();
  CLI::App* command = AddCommand(dict, session, name, description, examples);
  command->add_option("FILE", options->file, "The dictionary")->required();
  if (run != Create) AddBaseOption(*command, options->kb);
  command->callback([&session, options, run] {
    session.run = [&session, options, run] {
      if (run == Create) return run(session, *options);
      const Environment started(options->kb);
      return run(session, *options);
    };
  });
  return {*command, options};
}

void AddField(const Added& added, Field field, const char* type, const char* description) {
  const std::string name = std::string("--") + Columns()[field].name;
  added.options->given[field] =
      added.command.add_option(name, added.options->texts[field], description)->type_name(type);
}

void AddFields(const Added& added) {
  AddField(added, Number, "N", "A number of your own; 0 at first");
  AddField(added, Pos, "TERM", "The term of side M");
  AddField(added, KPos, "TERM", "The term of side K");
  AddField(added, KText, "WORD", "The word of side K");
  AddField(added, MText, "WORD", "The word of side M");
}

void AddName(const Added& added) {
  added.command.add_option("NAME", added.options->name, "The name of an article")->required();
}

constexpr const char* Footer =
    "An article has a name, a number, a type, and two sides: the term and the word of side K\n"
    "(kpos, ktext) and of side M (pos, mtext). The type tells which sides there are: K, M, B for\n"
    "both, or N for none. Terms go by their names in the knowledge base (`kvor term tree`). NAME1\n"
    "to NAME9 are the homonyms of NAME. A table has a row an article, its columns parted by tabs:\n"
    "  name  number  type  pos  kpos  ktext  mtext\n"
    "\n"
    "Examples:\n"
    "  kvor dict create animals.dat\n"
    "  kvor dict import animals.dat animals.txt\n"
    "  kvor dict homs animals.dat bat\n"
    "  kvor dict correct animals.dat bat1 --mtext бита\n"
    "  kvor dict export animals.dat\n"
    "`kvor dict COMMAND --help` tells more about each command.\n";

}  // namespace

void AddDictCommands(CLI::App& app, Session& session) {
  CLI::App& dict =
      *app.add_subcommand("dict", "Make, fill, correct and read dictionaries of articles");
  dict.require_subcommand(1);
  dict.footer(Footer);
  const auto add = [&](Command run, const char* name, const char* description,
                       const char* examples) {
    return AddDict(dict, session, run, name, description, examples);
  };
  add(Create, "create", "Make a new, empty dictionary", "  kvor dict create animals.dat\n");
  AddDictTableCommands(dict, session);

  const Added article = add(Add, "add", "Add an article",
                            "  kvor dict add animals.dat cat --ktext cat --mtext кошка\n"
                            "  kvor dict add animals.dat bat1\n");
  AddName(article);
  AddField(article, Type, "N|K|M|B",
           "Which sides there are (none, K, M, both); told by the words if not given");
  AddFields(article);

  const Added get = add(Get, "get", "Print articles", "  kvor dict get animals.dat cat bat1\n");
  get.command.add_option("NAME", get.options->names, "Names of articles")->required();
  AddName(add(Homonyms, "homs", "Print an article and its homonyms, NAME1 to NAME9",
              "  kvor dict homs animals.dat bat\n"));

  const Added correct =
      add(Correct, "correct", "Correct one side or both, and keep what is not given",
          "  kvor dict correct animals.dat cat --mtext кот\n"
          "  kvor dict correct animals.dat bat1 --ktext bat --kpos noun\n");
  AddName(correct);
  AddFields(correct);

  const Added rename = add(Rename, "rename", "Give an article another name",
                           "  kvor dict rename animals.dat bat bat2\n");
  rename.command.add_option("OLD", rename.options->name, "Its name")->required();
  rename.command.add_option("NEW", rename.options->newName, "The new name; it must not exist")
      ->required();

  const Added remove = add(Delete, "delete", "Delete a side, and with its last side the article",
                           "  kvor dict delete animals.dat cat --side K\n");
  AddName(remove);
  remove.command.add_option("--side", remove.options->side, "The side to delete")
      ->type_name("K|M")
      ->required()
      ->check(CLI::IsMember({"K", "M"}));
}

}  // namespace kvor
