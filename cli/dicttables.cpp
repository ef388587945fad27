// kvor dict import, export, list: articles as tables, one row an article.
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <system_error>

#include "commands.h"
#include "dictfile.h"
#include "dictload.h"
#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "linereader.h"
#include "terminal.h"

namespace kvor {
namespace {

struct TableOptions {
  std::string kb;
  std::string file;
  std::string table = "-";
  std::string from;
  std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
  bool replace = false;
};

// "FILE:LINE: error: WORDS", as compilers do, so that editors find the place.
void PrintError(const LineReader& table, const std::string& words) {
  const std::string line =
      table.Name() + ":" + std::to_string(table.Number()) + ": error: " + words + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

// ---- import ----------------------------------------------------------------------------------

class Import {
 public:
  Import(Session& theSession, const TableOptions& theOptions)
      : session(theSession),
        options(theOptions),
        table(options.table, LineReader::Content::AnyText),
        dictionary(options.file, KeyedFile::Access::Write) {}

  int Run() {
    const InterruptScope calm;
    std::string row;
    try {
      try {
        while (!InterruptScope::Requested() && table.Next(row, session.out)) {
          Store(row);
          progress.Show(table.Number());
        }
      } catch (...) {
        StoreCollected();
        throw;
      }
      StoreCollected();
    } catch (const Failure&) {
      Sum();
      throw;
    }
    Sum();
    if (InterruptScope::Requested())
      throw Failure(options.file, "interrupted; what is stored stays");
    return refused == 0 ? Fine : Negative;
  }

 private:
  void Store(const std::string& row) {
    Article article;
    const std::string fault = ReadRow(row, article);
    if (!fault.empty()) return Refuse(fault);
    std::string reason = "name '" + article.Name + "' exists; expected a new one";
    switch (collected.Take(article)) {
      case DictLoad::Answer::Taken:
        return;
      case DictLoad::Answer::Present:
        return Refuse(reason);
      case DictLoad::Answer::Declined:
        StoreCollected();
        break;
    }
    if (dictionary.Add(article, reason) != KeyedFile::Answer::Yes) return Refuse(reason);
    ++stored;
  }

  void StoreCollected() {
    const LoadReport report = collected.Finish();
    stored += report.stored;
    const std::uint64_t unfit = report.present + report.refused;
    refused += unfit;
    if (unfit != 0) {
      Complain(options.file, Counted(unfit, "row") + " refused: their names are there by now");
    }
    if (!report.done)
      throw Failure(options.file, KeyedFile::Explained(report.failure, options.file));
  }

  void Refuse(const std::string& fault) {
    ++refused;
    progress.Clear();
    if (session.json) {
      session.out << Json("line", table.Number())("error", fault).Text() << '\n';
    } else {
      PrintError(table, fault);
    }
  }

  void Sum() {
    progress.Clear();
    if (session.json) {
      session.out << Json("file", options.file)("stored", stored)("refused", refused).Text()
                  << '\n';
      return;
    }
    session.out << Counted(stored, "article") << " stored";
    if (refused != 0) session.out << ", " << Counted(refused, "row") << " refused";
    session.out << '\n';
  }

  Session& session;
  const TableOptions& options;
  LineReader table;
  DictFile dictionary;
  DictLoad collected{dictionary};
  Progress progress{"rows"};
  std::uint64_t stored = 0;
  std::uint64_t refused = 0;
};

// ---- export, list ----------------------------------------------------------------------------

// Where rows go: standard output, or a file that is there under its name only when it is whole.
class TableWriter {
 public:
  TableWriter(Output& output, const TableOptions& options)
      : target(output, options.table == "-" ? "" : options.table, options.replace) {
    std::error_code ignored;
    if (std::filesystem::equivalent(options.table, options.file, ignored))
      throw Failure(options.table, "is the dictionary itself");
  }

  void Write(const std::string& row) {
    // A mark in front of a name in the first row would be taken for that of the table.
    const bool marked = first && row.starts_with(Mark);
    first = false;
    target.Write((marked ? std::string(Mark) + row : row) + '\n');
  }
  void Finish() { target.Finish(); }

 private:
  static constexpr std::string_view Mark = "\xEF\xBB\xBF";

  Target target;
  bool first = true;
};

// Says what a row cannot tell. Answers whether there is a row at all.
bool Check(const TableOptions& options, const DictFile::Record& record) {
  if (record.exact) return true;
  Complain(options.file,
           "record '" + record.key + "' " +
               (record.named ? "holds more than its article (`kvor store get` shows it)"
                             : "has no name, and is left out"));
  return record.named;
}

int Export(Session& session, const TableOptions& options) {
  DictFile dictionary(options.file, KeyedFile::Access::Read);
  TableWriter table(session.out, options);
  const InterruptScope calm;
  const bool toFile = options.table != "-";
  Progress progress("articles");
  std::uint64_t written = 0;
  std::uint64_t inexact = 0;
  DictFile::Record record;
  dictionary.Start(options.from);
  while (written < options.limit && !InterruptScope::Requested() && dictionary.Next(record)) {
    if (!record.exact) {
      ++inexact;
      progress.Clear();
      session.out.Flush();
    }
    if (!Check(options, record)) continue;
    table.Write(session.json && !toFile ? JsonOf(record.article) : RowOf(record.article));
    if (toFile) progress.Show(written);
    ++written;
  }
  progress.Clear();
  if (InterruptScope::Requested()) throw Failure(options.file, "interrupted; not all is exported");
  table.Finish();
  if (toFile && session.json) {
    session.out << Json("file", options.file)("table", options.table)("articles", written)(
                       "inexact", inexact)
                       .Text()
                << '\n';
  } else if (toFile) {
    session.out << Counted(written, "article") << " exported";
    if (inexact != 0) session.out << ", " << Counted(inexact, "record") << " reported";
    session.out << '\n';
  }
  return inexact == 0 ? Fine : Negative;
}

int RunImport(Session& session, const TableOptions& options) {
  return Import(session, options).Run();
}

}  // namespace

void AddDictTableCommands(CLI::App& dict, Session& session) {
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*run)(Session&, const TableOptions&)) {
    const auto options = std::make_shared<TableOptions>();
    CLI::App* command = AddCommand(dict, session, name, description, examples);
    command->add_option("FILE", options->file, "The dictionary")->required();
    AddBaseOption(*command, options->kb);
    command->callback([&session, options, run] {
      session.run = [&session, options, run] {
        const Environment started(options->kb);
        return run(session, *options);
      };
    });
    return std::pair(command, options);
  };
  const auto [import, importOptions] = add(
      "import", "Add an article for each row of a table",
      "  kvor dict import animals.dat animals.txt\n"
      "  printf 'cat\\t0\\tB\\tnoun\\tnoun\\tcat\\tкошка\\n' | kvor dict import animals.dat -\n",
      RunImport);
  import
      ->add_option("TABLE", importOptions->table,
                   "A text in UTF-8 or UTF-16, or - for standard input")
      ->required();

  const auto [exportTo, exportOptions] = add("export", "Write all articles as a table",
                                             "  kvor dict export animals.dat animals.txt\n"
                                             "  kvor dict export animals.dat | grep кошка\n",
                                             Export);
  exportTo->add_option("TABLE", exportOptions->table,
                       "The file to make; standard output if not given");
  exportTo->add_flag("--replace", exportOptions->replace, "Write over TABLE if it exists");

  const auto [list, listOptions] =
      add("list", "Print articles in the order of their names",
          "  kvor dict list animals.dat --from ca --limit 20\n", Export);
  list->add_option("--from", listOptions->from, "Begin with the first name that is not below NAME")
      ->type_name("NAME");
  AddLimitOption(*list, listOptions->limit);
}

}  // namespace kvor
