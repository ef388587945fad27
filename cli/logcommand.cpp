// kvor log: the foldable log, shown with an analysis that the tool makes for it.
#include <filesystem>
#include <memory>
#include <system_error>

#include "commands.h"
#include "demoanalysis.h"
#include "environment.h"
#include "json.h"
#include "kvorlib/knowledgebase.h"
#include "outcome.h"

namespace kvor {
namespace {

namespace fs = std::filesystem;

constexpr const char* DemoFooter =
    "FOLDER gets analysis.html, to be opened in a browser, what the page needs, and words.dat,\n"
    "the dictionary of the analysis. A further run takes the dictionary as it is then:\n"
    "  kvor log demo /tmp/trace\n"
    "  kvor dict rename /tmp/trace/words.dat cat kitten\n"
    "  kvor log demo /tmp/trace\n";

constexpr const char* Page = "analysis.html";

struct DemoOptions {
  std::string kb;
  std::string folder;
  int sections = 0;
};

// The timer of the process, on for the time of a scope.
struct Timing {
  Timing() { KV::Timer::SetMode(true); }
  ~Timing() { KV::Timer::SetMode(false); }
  Timing(const Timing&) = delete;
  Timing& operator=(const Timing&) = delete;
};

std::string FolderFor(const std::string& path) {
  WidePath(fs::absolute(path).string());  // before anything is made
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw Failure(path, error.message());
  return path + (path.ends_with('/') ? "" : "/");
}

std::string TemplateFolder() { return Narrow(KBEnv::GetKBMap()->GetDir(KBEnv::DIR_CONFIG, u"")); }

// Complains of the first template that is missing, and tells what comes of it.
bool TemplatesAreThere() {
  const std::string folder = TemplateFolder();
  const auto isThere = [&](const char* name, const char* consequence) {
    std::error_code ignored;
    if (fs::exists(folder + name, ignored)) return true;
    Complain(folder + name, std::string("missing; ") + consequence);
    return false;
  };
  if (!isThere("header.html", "the log is plain text under the name of a page")) return false;
  for (const char* name : {"plus.png", "minus.png", "none.png", "nada.png", "kvor.js", "kvor.css"})
    if (!isThere(name, "the page goes without it and what is copied behind it")) return false;
  return isThere("footer.html", "the page is not closed");
}

// A log begins with the removal of what earlier ones left in the current folder. That is to be the
// log's own, not where the user happens to be with files of like names.
bool Begin(LogHTML& log, const std::string& folder) {
  const fs::path here = fs::current_path();
  const bool stays = fs::path(TemplateFolder()).is_relative();
  const std::u16string page = Wide(fs::absolute(folder).string() + Page);
  if (!stays) fs::current_path(folder);
  const bool begun = log.OpenLog(page, true, 'S', nullptr);
  fs::current_path(here);
  return begun;
}

DictFile Dictionary(const std::string& path) {
  std::error_code ignored;
  if (!fs::exists(path, ignored)) DictFile::Create(path);
  return {path, KeyedFile::Access::Write};
}

Analysis::Counts Analyse(LogHTML& log, const DemoOptions& options, const std::string& folder) {
  DictFile words = Dictionary(folder + "words.dat");
  Analysis analysis(log, words);
  bool first = true;
  do {
    for (const std::u16string& sentence : Analysis::Sentences()) analysis.Run(sentence, first);
    first = false;
  } while (analysis.Reached().sections < options.sections);
  return analysis.Reached();
}

int Run(Session& session, const DemoOptions& options) {
  const Timing timing;
  KV::TimeStamp whole(stage::WholeRun);
  KV::TimeStamp vocabulary(stage::ReadingVocabulary);
  const Environment environment(options.kb);
  vocabulary.TimeProc();
  const std::string folder = FolderFor(options.folder);
  const bool complete = TemplatesAreThere();
  MessLogger* const complaining = MessLogger::GetMessLogger();
  LogHTML log;
  const std::string page = folder + Page;
  if (!Begin(log, folder)) throw Failure(page, "cannot be written");
  const Analysis::Counts counts = Analyse(log, options, folder);
  whole.TimeProc();
  const std::u16string report = KV::Timer::GetTimer()->Report();
  {
    const Section section(log, u"Times");
    log.LogStringMessage(MC_LOG, u"Of the processor, in seconds:\r\n" + report);
  }
  log.CloseLog();
  MessLogger::SetMessLogger(complaining);
  if (session.json) {
    session.out << Json("page", page)("errors", counts.errors)("pictures", counts.pictures)(
                       "report", Narrow(report))
                       .Text()
                << '\n';
  } else {
    session.out << page << ": a log for a browser, with "
                << Counted(static_cast<std::uint64_t>(counts.errors), "error")
                << " of the sentences\nTimes of the processor, in seconds:\n";
    for (const char c : Narrow(report))
      if (c != '\r') session.out << c;
  }
  return complete ? Fine : Negative;
}

}  // namespace

void AddLogCommand(CLI::App& app, Session& session) {
  const auto options = std::make_shared<DemoOptions>();
  CLI::App* const log = app.add_subcommand("log", "Show the foldable log of an analysis");
  log->require_subcommand(1);
  CLI::App* const demo = AddCommand(
      *log, session, "demo", "Analyse some sentences, and write the log of it to a folder", "");
  demo->footer(DemoFooter);
  AddBaseOption(*demo, options->kb);
  demo->add_option("FOLDER", options->folder, "Where the log goes; made if it is missing")
      ->required();
  demo->add_option("--sections", options->sections,
                   "Go on with the same sentences until the page has about N sections")
      ->type_name("N")
      ->check(CLI::Range(0, 100'000'000));
  demo->callback([&session, options] {
    session.run = [&session, options] { return Run(session, *options); };
  });
}

}  // namespace kvor
