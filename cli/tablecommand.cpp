// kvor table show: the rows of a table as the library reads them.
#include <algorithm>
#include <memory>

#include "codepages.h"
#include "commands.h"
#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"
#include "kvorlib/tables.h"
#include "outcome.h"

namespace kvor {
namespace {

constexpr const char* TableFooter =
    "UTF-16, and UTF-8 with a mark, are known by themselves; other texts are in UTF-8, or in the\n"
    "code page that --from names.\n"
    "\n"
    "Examples:\n"
    "  kvor table show terms.txt\n"
    "  kvor table show prices.csv --separator ';' --columns 3 --from 1251\n";

constexpr int MostCells = 4096;  // in one line of the library's

using Row = std::vector<std::u16string>;

struct TableOptions {
  std::string file;
  std::string separator = "\t";
  int columns = -1;
  std::string from;
};

int CodePageOf(const InputFile& input, const TableOptions& options) {
  if (!options.from.empty()) return CodePageFrom(options.from);
  const std::string bytes = input.Content();
  const int guess = GuessCodePage(bytes).codePage;
  if (guess == UnknownCodePage) throw Failure(input.Name(), NothingTells);
  const int looked = static_cast<int>(std::min<std::size_t>(bytes.size(), 512));
  if ((guess == Utf16 || guess == BigEndianUtf16) && !CheckUnicode(bytes.data(), looked))
    throw Failure(input.Name(),
                  "UTF-16 that tables are not read from: it is cut, or the high byte "
                  "comes first (`kvor text convert` makes UTF-8 of it)");
  return Utf8;
}

// A row that is refused and the end of the file have the same answer; the message parts them.
class Reader {
 public:
  Reader(const InputFile& input, const TableOptions& options)
      : separator(Wide(options.separator)), table(separator.c_str()) {
    if (!IsUtf8(options.separator)) throw Failure("--separator", "not valid UTF-8");
    SetUserCallback([](const std::u16string&) { told = true; });
    const int former = SetCP(CodePageOf(input, options));
    const bool open = table.Open(WidePath(input.Path()), options.columns);
    SetCP(former);
    if (!open) throw Failure(input.Name(), "cannot be read as a table");
  }
  ~Reader() { SetUserCallback(nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  enum class Answer { Row, Refused, End };
  Answer Next(Row& row) {
    told = false;
    if (table.Read(row)) return Answer::Row;
    return told ? Answer::Refused : Answer::End;
  }

 private:
  inline static bool told = false;

  std::u16string separator;
  TxtRdTable table;
};

std::size_t WidthOf(const std::u16string& text) {
  const auto low = [](char16_t unit) { return (unit & 0xFC00U) == 0xDC00U; };
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), low));
}

void PrintAligned(Output& out, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    std::string gap;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += gap + Narrow(row[i]);
      gap = std::string(widths[i] - WidthOf(row[i]) + 2, ' ');
    }
    out << line << '\n';
  }
}

std::string JsonOf(int number, const Row& row) {
  std::string cells;
  for (const std::u16string& cell : row)
    cells += (cells.empty() ? "" : ",") + Json::Quoted(Narrow(cell));
  Json told("row", number);
  return told.Raw("cells", '[' + cells + ']').Text();
}

int Show(Session& session, const TableOptions& options) {
  const InputFile file(options.file);
  Reader reader(file, options);
  std::vector<Row> rows;
  Row row;
  int outcome = Fine;
  Reader::Answer answer = reader.Next(row);
  for (int number = 1; answer != Reader::Answer::End; answer = reader.Next(row), ++number) {
    if (answer == Reader::Answer::Refused) {
      outcome = Negative;
      const bool more = row.size() > static_cast<std::size_t>(options.columns);
      Complain(file.At(number),
               (more ? "more than " : Counted(row.size(), "cell") + "; expected ") +
                   Counted(static_cast<unsigned>(options.columns), "cell"));
    } else if (session.json) {
      session.out << JsonOf(number, row) << '\n';
    } else {
      rows.push_back(row);
    }
  }
  PrintAligned(session.out, rows);
  return outcome;
}

}  // namespace

void AddTableCommand(CLI::App& app, Session& session) {
  CLI::App* const table = app.add_subcommand("table", "Look at tables of text");
  table->require_subcommand(1);
  table->footer(TableFooter);
  const auto options = std::make_shared<TableOptions>();
  CLI::App* const show = AddCommand(*table, session, "show", "Print a table in even columns", "");
  show->add_option("FILE", options->file, "The table; - is standard input")->required();
  show->add_option("--separator", options->separator, "What parts the cells; a tab if not given")
      ->type_name("SEP");
  show->add_option("--columns", options->columns, "Refuse rows that have not N cells")
      ->type_name("N")
      ->check(CLI::Range(0, MostCells));
  show->add_option("--from", options->from, "The code page, if the text does not tell it")
      ->type_name("CP");
  show->callback([&session, options] {
    session.run = [&session, options] { return Show(session, *options); };
  });
}

}  // namespace kvor
