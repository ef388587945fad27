// kvor store check, salvage: looking at files that may be damaged; compact: writing a sound one
// anew.
#include <memory>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "kvorlib/storetools.h"
#include "terminal.h"

namespace kvor {
namespace {

struct RescueOptions {
  std::string file;
  std::string target;
  int layout = IndexFile::KD_STORED;
  bool skipFree = false;
  unsigned fill = 100;
};

const char* KindText(FindingKind kind) {
  switch (kind) {
    case FindingKind::Damage:
      return "damage";
    case FindingKind::Leak:
      return "leak";
    default:
      return "note";
  }
}

void PrintFinding(Session& session, const StoreFinding& finding) {
  if (session.json) {
    session.out << Json("kind", KindText(finding.kind))("page", finding.page)(
                       "offset", finding.offset)("fileOffset", finding.FileOffset())("words",
                                                                                     finding.words)
                       .Text()
                << '\n';
    return;
  }
  session.out << "page " << std::uint64_t{finding.page} << " offset "
              << std::uint64_t{finding.offset} << ": " << KindText(finding.kind) << ": "
              << finding.words << '\n';
}

// ---- check -----------------------------------------------------------------------------------

void PrintVerdict(Session& session, const std::string& file, const StoreReport& r) {
  const bool sound = r.state == StoreState::Sound;
  if (session.json) {
    session.out << Json("file", file)("sound", sound)("damages", r.damages)("leaks", r.leaks)(
                       "notes", r.notes)("records", r.records)("leakedPages", r.leakedPages)
                       .Text()
                << '\n';
    return;
  }
  const std::uint64_t found = r.damages + r.leaks + r.notes;
  if (found > r.findings.size()) {
    session.out << "... and " << found - r.findings.size() << " more\n";
  }
  session.out << file << ": " << (sound ? "sound" : "damaged") << ", "
              << Counted(r.records, "record");
  if (!sound) session.out << " reached, " << Counted(r.damages, "place") << " damaged";
  if (r.leakedPages != 0) session.out << ", " << Counted(r.leakedPages, "page") << " lost";
  session.out << '\n';
}

int Check(Session& session, const RescueOptions& options) {
  const StoreReport report = CheckStore(options.file);
  if (report.state == StoreState::Unreadable)
    throw Failure(options.file, KeyedFile::Explained(report.failure, options.file));
  for (const StoreFinding& finding : report.findings) PrintFinding(session, finding);
  PrintVerdict(session, options.file, report);
  return report.state == StoreState::Sound ? Fine : Negative;
}

// ---- salvage ---------------------------------------------------------------------------------

void PrintSalvage(Session& session, const SalvageReport& r) {
  if (session.json) {
    Json json("saved", r.Saved());
    json("byChain", r.byChain)("byScan", r.byScan)("fromFreePages", r.fromFreePages);
    json("older", r.older)("givenUp", r.givenUp)("done", r.done);
    if (r.expected) json("expected", *r.expected);
    session.out << json.Text() << '\n';
    return;
  }
  session.out << Counted(r.Saved(), "record") << " saved";
  if (r.expected)
    session.out << "; the damaged file's header counts " << std::uint64_t{*r.expected};
  session.out << '\n';
  const auto line = [&session](std::uint64_t count, const char* words) {
    if (count != 0) session.out << "  " << count << words << '\n';
  };
  line(r.byChain, " along the chain of leaves");
  line(r.byScan, " from pages in use that the chain did not reach");
  line(r.fromFreePages, " from room that counts as free: some may have been deleted on purpose");
  line(r.older, " left out: another of the same key was saved before");
  line(r.givenUp, " given up");
}

int Salvage(Session& session, const RescueOptions& options) {
  SalvageOptions how;
  if (options.layout != IndexFile::KD_STORED) {
    how.key = IndexFile::GetKDForType(static_cast<IndexFile::KDTYPE>(options.layout));
  }
  how.searchFreePages = !options.skipFree;
  Progress progress("pages");
  how.progress = [&progress](std::uint64_t done, std::uint64_t) { progress.Show(done); };
  const SalvageReport report = SalvageStore(options.file, options.target, how);
  progress.Clear();
  if (!report.done && report.Saved() == 0 && report.losses.empty()) {
    throw Failure(report.failedFile, KeyedFile::Explained(report.failure, report.failedFile));
  }
  for (const StoreFinding& loss : report.losses) PrintFinding(session, loss);
  PrintSalvage(session, report);
  if (!report.done) throw Failure(report.failedFile, report.failure);
  const bool missing = report.expected && *report.expected > report.Saved();
  return report.givenUp == 0 && !missing ? Fine : Negative;
}

// ---- compact ---------------------------------------------------------------------------------

int Compact(Session& session, const RescueOptions& options) {
  const CompactReport report = CompactStore(options.file, options.fill);
  if (!report.done) {
    const bool damaged = report.state == StoreState::Damaged;
    throw Failure(options.file, report.failure + (damaged ? " (`kvor store salvage` makes a new "
                                                            "file of what is whole)"
                                                          : ""));
  }
  if (session.json) {
    session.out << Json("file", options.file)("records", report.records)(
                       "bytesBefore", report.bytesBefore)("bytesAfter", report.bytesAfter)
                       .Text()
                << '\n';
  } else {
    session.out << Counted(report.records, "record") << ", " << report.bytesBefore
                << " bytes before, " << report.bytesAfter << " after\n";
  }
  return Fine;
}

}  // namespace

void AddRescueCommands(CLI::App& store, Session& session) {
  const auto options = std::make_shared<RescueOptions>();
  CLI::App* check = AddCommand(
      store, session, "check", "Test every page and record of a file",
      "  kvor store check words.kv\n"
      "\n"
      "Each finding is a line: the page, the byte within it, its kind and what it is. Damage "
      "means\n"
      "that records are or may become wrong or out of reach (exit code 1); a leak is space lost\n"
      "and nothing else; a note is no fault.\n");
  check->add_option("FILE", options->file, "The store file")->required();
  check->callback([&session, options] {
    session.run = [&session, options] { return Check(session, *options); };
  });

  CLI::App* salvage =
      AddCommand(store, session, "salvage", "Copy what is whole in a damaged file into a new one",
                 "  kvor store salvage broken.kv saved.kv\n"
                 "  kvor store salvage headless.kv saved.kv --key 3\n"
                 "\n"
                 "FROM is never written to. Exit code 1 if records are missing from TO.\n");
  salvage->add_option("FROM", options->file, "The damaged file")->required();
  salvage->add_option("TO", options->target, "The file to make; it must not exist")->required();
  AddLayoutOption(*salvage, options->layout);
  salvage->add_flag("--skip-free", options->skipFree,
                    "Leave out pages that count as free, and with them deleted records");
  salvage->callback([&session, options] {
    session.run = [&session, options] { return Salvage(session, *options); };
  });

  CLI::App* compact = AddCommand(
      store, session, "compact", "Write a file anew with full pages",
      "  kvor store compact words.kv\n"
      "  kvor store compact words.kv --fill 85\n"
      "\n"
      "The new file takes the place of the old one when it is whole. It is of version 24.\n");
  compact->add_option("FILE", options->file, "The store file, which nobody else has open")
      ->required();
  compact
      ->add_option("--fill", options->fill, "How full leaves get, of 100; less is room to insert")
      ->check(CLI::Range(50, 100));
  compact->callback([&session, options] {
    session.run = [&session, options] { return Compact(session, *options); };
  });
}

}  // namespace kvor
