// kvor: the command line of the library. This file knows the frame: help, version, exit codes. The
// commands are in the files beside it.
#include <iostream>

#include "commands.h"
#include "environment.h"
#include "outcome.h"
#include "terminal.h"

namespace kvor {

CLI::App* AddCommand(CLI::App& store, Session& session, const std::string& name,
                     const std::string& description, const std::string& examples) {
  CLI::App* command = store.add_subcommand(name, description);
  command->add_flag("--json", session.json, "Print the answer as JSON, one object a line");
  if (!examples.empty()) command->footer("Examples:\n" + examples);
  return command;
}

CLI::Option* AddLayoutOption(CLI::App& command, int& layout) {
  return command.add_option("--key", layout, "Layout of keys, 0 to 8 (see `kvor store --help`)")
      ->type_name("N")
      ->check(CLI::Range(0, 8));
}

void AddLimitOption(CLI::App& command, std::uint64_t& limit) {
  const auto fault = [](const std::string& text) {
    const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
    return digits ? std::string() : text + " is no number of rows";
  };
  command.add_option("--limit", limit, "Print no more than N")->type_name("N")->check(fault);
}

namespace {

constexpr const char* Introduction =
    "kvor works on dictionaries of articles; on the store files that they are, sorted sets of\n"
    "records, each with a key that is part of it; and on knowledge bases and their terms.";

constexpr const char* ExitCodes =
    "Exit codes: 0 done; 1 done, but the answer is no (a name is absent, a line was refused,\n"
    "damage was found); 2 not done (a file, the input, the output or the command line is at "
    "fault).";

constexpr const char* StoreFooter =
    "Where a record's key is (the layout, --key N) is settled when a file is made:\n"
    "  0  text from byte 39 up to the first blank     5  32-bit integer at byte 2\n"
    "  1  text from byte 6 up to the first blank      6  text from byte 0 up to a zero byte\n"
    "  2  text from byte 4 up to the first blank      7  32-bit integer at byte 0\n"
    "  3  text from byte 0 up to the first blank      8  text from byte 0 up to a line feed\n"
    "  4  text from byte 2 up to a zero byte\n"
    "Lines of text are records. In layouts 0 to 3 the line is the record as it stands; in the\n"
    "others it is KEY<TAB>TEXT, and in 4 and 6 it may be a KEY alone. Use 3 for keys without\n"
    "blanks, 6 for keys with them, 7 for numbers.\n"
    "\n"
    "Examples:\n"
    "  printf 'cat a small animal\\ndog a friend\\n' | kvor store load words.kv --key 3\n"
    "  kvor store get words.kv cat\n"
    "  kvor store list words.kv --from d --limit 10\n"
    "  kvor store check words.kv\n"
    "`kvor store COMMAND --help` tells more about each command.\n";

void Build(CLI::App& app, Session& session) {
  app.description(Introduction);
  app.set_version_flag("--version", "kvor " KVOR_VERSION);
  app.require_subcommand(1);
  app.footer(ExitCodes);
  CLI::App* store = app.add_subcommand("store", "Make, fill, read, check and save store files");
  store->require_subcommand(1);
  store->footer(std::string(StoreFooter) + "\n" + ExitCodes);
  AddLoadCommand(*store, session);
  AddRecordCommands(*store, session);
  AddBatchCommand(*store, session);
  AddFileCommands(*store, session);
  AddRescueCommands(*store, session);
  AddBaseCommands(app, session);
  AddTermCommands(app, session);
  AddDictCommands(app, session);
  AddTextCommands(app, session);
  AddTableCommand(app, session);
  AddXmlCommands(app, session);
  AddErrorCommands(app, session);
  AddDigestCommand(app, session);
  AddLanguageCommands(app, session);
  AddCondCommand(app, session);
  AddLogCommand(app, session);
  for (const char* group : {"term", "dict", "text", "table", "xml"}) {
    CLI::App* const described = app.get_subcommand(group);
    described->footer(described->get_footer() + '\n' + ExitCodes);
  }
}

// The first argument that was left over, where a required one is missing, is what went wrong.
std::string Unknown(const std::string& argument) {
  return (argument.starts_with('-') ? "unknown option: " : "unknown command: ") + argument;
}

int Parse(CLI::App& app, int argc, char** argv, Session& session) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    session.out << app.help();
  } catch (const CLI::CallForAllHelp&) {
    session.out << app.help("", CLI::AppFormatMode::All);
  } catch (const CLI::CallForVersion& version) {
    session.out << version.what() << '\n';
  } catch (const CLI::ParseError& error) {
    const auto unknown = app.remaining(true);
    const bool required = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    Complain("",
             required && !unknown.empty() ? Unknown(unknown.front()) : std::string(error.what()));
    std::cerr << "Try `kvor --help`, `kvor GROUP --help` or `kvor GROUP COMMAND --help`.\n";
    return Failed;
  }
  return Fine;
}

int Run(int argc, char** argv) {
  Session session;
  CLI::App app;
  app.name("kvor");
  app.get_formatter()->label("TEXT", "");  // the type of what has a name that says more
  try {
    Build(app, session);
    int code = Parse(app, argc, argv, session);
    if (code == Fine && session.run) code = session.run();
    session.out.Flush();
    return code;
  } catch (const Failure& failure) {
    try {
      session.out.Flush();  // what was answered before the failure
    } catch (...) {         // NOLINT(bugprone-empty-catch): the first failure is the one to tell
    }
    Complain(failure.About(), failure.what());
  } catch (const OutputClosed&) {
  } catch (...) {
    Complain("", WordsOfException());
  }
  return Failed;
}

}  // namespace
}  // namespace kvor

int main(int argc, char** argv) {
  try {
    kvor::LetClosedStreamsFail();
    kvor::LetClosedPipesFail();
    return kvor::Run(argc, argv);
  } catch (...) {  // no memory even for the words
    return kvor::Failed;
  }
}
