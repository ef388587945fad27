// kvor errors show: the diagnostics that another tool has left in a file.
#include <memory>

#include "commands.h"
#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "kvorlib/errorfile.h"
#include "outcome.h"
#include "terminal.h"

namespace kvor {
namespace {

constexpr const char* ErrorFooter =
    "The code is 1 if there is an error among the diagnostics.\n"
    "\n"
    "Examples:\n"
    "  kvor errors show rules.err\n"
    "  kvor errors show --json *.err\n";

struct ErrorOptions {
  std::vector<std::string> files;
  std::string color = "auto";
};

struct Level {
  const char* word;
  const char* color;
};

Level LevelOf(ErrData::ERRTYPE type) {
  switch (type) {
    case ErrData::ERR_WARNING:
      return {"warning", "\033[35m"};
    case ErrData::ERR_ERROR:
      return {"error", "\033[31m"};
    case ErrData::ERR_FATAL:
      return {"fatal error", "\033[1;31m"};
    default:
      return {"note", "\033[36m"};
  }
}

// An error file that breaks off may yet count as read: what was refused is seen here.
class Reader : public PermanentErrProc {
 public:
  bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) override {
    return Kept(PermanentErrProc::ReadStartElement(name, attrs));
  }
  bool ReadEndElement(const std::u16string& name) override {
    return Kept(PermanentErrProc::ReadEndElement(name));
  }

  // Throws Failure.
  void Read(const InputFile& file) {
    whole = false;
    const bool read = ReadDataFromDisk(WidePath(file.Path()));
    if (read && whole) return;
    const ErrDescr& error = GetXMLDoc()->GetLastError();
    const std::string words = OneLine(error.GetEMessage());
    throw Failure(file.At(error.GetELine()), words.empty() ? "Wrong data in error file" : words);
  }

 private:
  bool Kept(bool fits) {
    whole = fits;
    return fits;
  }

  bool whole = false;
};

std::string LineOf(const ErrDescr& error, bool colored) {
  const Level level = LevelOf(error.GetEType());
  std::string line = Narrow(error.GetEName());
  const bool hasLine = error.GetELine() >= 0;
  const bool hasColumn = error.GetEColumn() >= 0;
  if (hasLine) line += '(' + std::to_string(error.GetELine()) + (hasColumn ? "" : ")");
  if (hasColumn) line += (hasLine ? ',' : '(') + std::to_string(error.GetEColumn()) + ')';
  if (!line.empty()) line += ": ";
  line += colored ? level.color + std::string(level.word) + ":\033[0m "
                  : level.word + std::string(": ");
  return line + OneLine(error.GetEMessage());
}

std::string JsonOf(const ErrDescr& error) {
  Json told("type", LevelOf(error.GetEType()).word);
  told("message", Narrow(error.GetEMessage()));
  if (!error.GetEName().empty()) told("name", Narrow(error.GetEName()));
  if (error.GetELine() >= 0) told("line", error.GetELine());
  if (error.GetEColumn() >= 0) told("column", error.GetEColumn());
  if (error.GetELength() >= 0) told("length", error.GetELength());
  return told.Text();
}

int Show(Session& session, const ErrorOptions& options) {
  const bool colored = options.color == "always" || (options.color == "auto" && StdoutIsTerminal());
  return ForEachFile(session, options.files, [&](const InputFile& file) {
    Reader errors;
    errors.Read(file);
    int outcome = Fine;
    for (int i = 0; i < static_cast<int>(errors.GetENum()); ++i) {
      const ErrDescr& error = errors.GetError(i);
      if (error.GetEType() >= ErrData::ERR_ERROR) outcome = Negative;
      session.out << (session.json ? JsonOf(error) : LineOf(error, colored)) << '\n';
    }
    return outcome;
  });
}

}  // namespace

void AddErrorCommands(CLI::App& app, Session& session) {
  CLI::App* const errors = app.add_subcommand("errors", "Look at files of diagnostics");
  errors->require_subcommand(1);
  errors->footer(ErrorFooter);
  const auto options = std::make_shared<ErrorOptions>();
  CLI::App* const show =
      AddCommand(*errors, session, "show", "Print diagnostics, NAME(LINE,COLUMN) in front", "");
  show->add_option("FILE", options->files, "The files; - is standard input")->required();
  show->add_option("--color", options->color, "auto (on a terminal), always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  show->callback([&session, options] {
    session.run = [&session, options] { return Show(session, *options); };
  });
}

}  // namespace kvor
