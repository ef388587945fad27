// kvor store create, stat, clear, upgrade, copy: commands about whole files.
#include <cmath>
#include <filesystem>
#include <memory>
#include <system_error>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "kvorlib/recordpool.h"
#include "kvorlib/storetools.h"
#include "terminal.h"

namespace kvor {
namespace {

struct FileOptions {
  std::string file;
  std::string target;
  int layout = IndexFile::KD_STORED;
  bool replace = false;
  bool force = false;
};

int Create(Session& session, const FileOptions& options) {
  KeyedFile file = KeyedFile::Create(options.file, static_cast<IndexFile::KDTYPE>(options.layout));
  if (session.json) {
    session.out << Json("file", options.file)("layout", options.layout).Text() << '\n';
  }
  return Fine;
}

// ---- stat ------------------------------------------------------------------------------------

std::string LayoutText(const KEYDESCR& kd) {
  const auto standard = StandardLayout(kd);
  const std::string name =
      standard ? "layout " + std::to_string(*standard) : std::string("no standard layout");
  return name + ": " + DescribeLayout(kd);
}

std::string StatJson(const std::string& file, const StoreReport& r) {
  Json json("file", file);
  json("sound", r.state == StoreState::Sound)("fileSize", r.fileSize)("version", r.version);
  if (const auto layout = StandardLayout(r.key)) json("layout", static_cast<int>(*layout));
  json("keyType", int{r.key.type})("keyLen", int{r.key.len})("keyOffset", int{r.key.offset});
  json("records", r.records)("recordBytes", r.recordBytes)("longestRecord", r.longestRecord);
  json("externalRecords", r.externalRecords)("levels", r.levels)("depth", r.depth);
  json("leafPages", r.leafPages)("internalPages", r.internalPages)("runPages", r.runPages);
  json("leakedPages", r.leakedPages)("unmarkedPages", r.unmarkedPages);
  json("freePages", r.freePages)("leafFill", r.leafFill)("corruptedMark", r.corruptedMark);
  return json.Text();
}

std::string Percent(double part) { return std::to_string(std::lround(part * 100)) + " %"; }

void PrintStat(Output& out, const std::string& file, const StoreReport& r) {
  out << "file             " << file << '\n';
  out << "size             " << r.fileSize << " bytes\n";
  out << "version          " << std::uint64_t{r.version} << '\n';
  out << "keys             " << LayoutText(r.key) << '\n';
  out << "records          " << r.records << '\n';
  out << "record bytes     " << r.recordBytes << ", the longest record "
      << std::uint64_t{r.longestRecord} << '\n';
  out << "long records     " << r.externalRecords << ", in pages of their own\n";
  out << "tree             " << std::uint64_t{r.levels} << " levels above the leaves\n";
  out << "pages            " << std::uint64_t{r.leafPages} << " leaves, "
      << std::uint64_t{r.internalPages} << " internal, " << std::uint64_t{r.runPages}
      << " of long records\n";
  out << "leaves filled    " << Percent(r.leafFill) << '\n';
  out << "room for         " << std::uint64_t{r.unmarkedPages} << " more pages\n";
  if (r.leakedPages != 0) {
    out << "lost             " << std::uint64_t{r.leakedPages} << " pages\n";
  }
}

int Stat(Session& session, const FileOptions& options) {
  { const KeyedFile openable(options.file, KeyedFile::Access::Read); }
  const StoreReport report = CheckStore(options.file);
  if (report.state == StoreState::Unreadable)
    throw Failure(options.file, KeyedFile::Explained(report.failure, options.file));
  if (session.json) {
    session.out << StatJson(options.file, report) << '\n';
  } else {
    PrintStat(session.out, options.file, report);
  }
  if (report.state == StoreState::Sound) return Fine;
  Complain(options.file,
           "damaged, so that these figures are what could be reached; "
           "`kvor store check` tells more");
  return Negative;
}

// ---- clear, upgrade --------------------------------------------------------------------------

int Clear(Session& session, const FileOptions& options) {
  KeyedFile file(options.file, KeyedFile::Access::Write);
  const InterruptScope calm;
  if (!file.Index().Clear()) file.Fail();
  if (session.json) session.out << Json("file", options.file)("cleared", true).Text() << '\n';
  return Fine;
}

// The long records of a version-23 file cannot be read any more once it counts as version 24.
void RefuseToLoseRecords(const FileOptions& options) {
  const StoreReport report = CheckStore(options.file);
  if (report.version != 23 || report.externalRecords == 0 || options.force) return;
  throw Failure(options.file,
                Counted(report.externalRecords, "long record") +
                    " could not be read any more after an upgrade; `kvor store copy` "
                    "makes a file of version 24 with all of them (--force upgrades all the same)");
}

int Upgrade(Session& session, const FileOptions& options) {
  KeyedFile file(options.file, KeyedFile::Access::Write);
  RefuseToLoseRecords(options);
  if (!file.Index().ExtraCommand(2, nullptr, false)) {
    const std::string words = file.Words();
    throw Failure(options.file, words.empty() ? "could not be upgraded (is it marked as corrupted? "
                                                "`kvor store check` tells)"
                                              : words);
  }
  if (session.json) session.out << Json("file", options.file)("version", 24).Text() << '\n';
  return Fine;
}

// ---- copy ------------------------------------------------------------------------------------

// Stores all records of a file into another one, which is new. A walk that breaks off is a failure.
LoadReport CopyRecords(KeyedFile& source, const std::string& target) {
  RecordPool pool;
  source.Index().GetPool(pool);
  Progress progress("records");
  std::uint64_t count = 0;
  DataTransfer key;
  DataTransfer record;
  LoadReport report = LoadStore(target, [&]() -> std::optional<std::span<const unsigned char>> {
    if (InterruptScope::Requested() || !pool.GetNext(key, record)) return std::nullopt;
    progress.Show(++count);
    int size = 0;
    const unsigned char* const bytes = record.GetData(size);
    return std::span(bytes, static_cast<std::size_t>(size));
  });
  progress.Clear();
  if (report.done && source.Index().CheckError()) {
    report.done = false;
    report.failure = source.Words();
  }
  return report;
}

void RefuseTarget(const FileOptions& options) {
  std::error_code ignored;
  if (!std::filesystem::exists(options.target, ignored)) return;
  if (std::filesystem::equivalent(options.file, options.target, ignored)) {
    throw Failure(options.target, "is the file that is to be copied");
  }
  if (!options.replace) {
    throw Failure(options.target, "FILE ALREADY EXISTS (--replace copies over it)");
  }
  if (!std::filesystem::is_regular_file(options.target, ignored)) {
    throw Failure(options.target, "is no regular file, and stays");
  }
}

int Copy(Session& session, const FileOptions& options) {
  KeyedFile source(options.file, KeyedFile::Access::Read);
  const std::optional<IndexFile::KDTYPE> layout = StandardLayout(source.Layout());
  const long expected = source.Index().Size();
  if (expected < 0) source.Fail();
  if (!layout) throw Failure(options.file, "its layout of keys is none of the standard ones");
  RefuseTarget(options);
  if (options.replace) std::filesystem::remove(options.target);
  { const KeyedFile made = KeyedFile::Create(options.target, *layout); }

  const InterruptScope calm;
  const LoadReport report = CopyRecords(source, options.target);
  if (InterruptScope::Requested()) throw Failure(options.target, "interrupted; not all is copied");
  if (session.json) {
    session.out << Json("from", options.file)("to", options.target)("records", report.stored).Text()
                << '\n';
  } else {
    session.out << Counted(report.stored, "record") << " copied\n";
  }
  if (report.done && report.stored == static_cast<std::uint64_t>(expected)) return Fine;
  throw Failure(options.target, "Copy error: " + std::to_string(report.stored) + " of " +
                                    std::to_string(expected) +
                                    " records are copied; `kvor store salvage` may save more");
}

}  // namespace

void AddFileCommands(CLI::App& store, Session& session) {
  const auto options = std::make_shared<FileOptions>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*command)(Session&, const FileOptions&)) {
    CLI::App* app = AddCommand(store, session, name, description, examples);
    app->callback([&session, options, command] {
      session.run = [&session, options, command] { return command(session, *options); };
    });
    return app;
  };
  CLI::App* create = add("create", "Make a new, empty store file",
                         "  kvor store create words.kv --key 3\n", Create);
  create->add_option("FILE", options->file, "The file to make; it must not exist")->required();
  AddLayoutOption(*create, options->layout)->required();

  CLI::App* stat = add("stat", "Tell a file's layout, its number of records, its pages",
                       "  kvor store stat words.kv\n", Stat);
  stat->add_option("FILE", options->file, "The store file")->required();

  CLI::App* clear =
      add("clear", "Remove all records of a file", "  kvor store clear words.kv\n", Clear);
  clear->add_option("FILE", options->file, "The store file")->required();

  CLI::App* upgrade = add("upgrade", "Make a file of version 23 one of version 24",
                          "  kvor store upgrade words.kv\n", Upgrade);
  upgrade->add_option("FILE", options->file, "The store file")->required();
  upgrade->add_flag("--force", options->force, "Even if long records cannot be read afterwards");

  CLI::App* copy = add("copy", "Copy all records into a new file",
                       "  kvor store copy words.kv backup.kv\n", Copy);
  copy->add_option("FROM", options->file, "The file to read")->required();
  copy->add_option("TO", options->target, "The file to make")->required();
  copy->add_flag("--replace", options->replace, "Copy over TO if it exists");
}

}  // namespace kvor
