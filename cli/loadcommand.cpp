// kvor store load: lines of text become records.
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "linereader.h"
#include "terminal.h"

namespace kvor {
namespace {

struct LoadOptions {
  std::string file;
  std::string input = "-";
  int layout = IndexFile::KD_STORED;
  bool replace = false;
  bool hex = false;
};

struct Counts {
  std::uint64_t stored = 0;
  std::uint64_t present = 0;  // left alone: the key was there
  std::uint64_t refused = 0;
};

// Opens the file, or makes it when it is missing and a layout is given.
std::unique_ptr<KeyedFile> OpenOrCreate(const LoadOptions& options) {
  const auto layout = static_cast<IndexFile::KDTYPE>(options.layout);
  std::error_code ignored;
  if (std::filesystem::exists(options.file, ignored)) {
    return std::make_unique<KeyedFile>(options.file, KeyedFile::Access::Write, layout);
  }
  if (layout == IndexFile::KD_STORED) {
    throw Failure(options.file, "NONEXISTENT FILE (with --key N it is made)");
  }
  { const KeyedFile made = KeyedFile::Create(options.file, layout); }
  return std::make_unique<KeyedFile>(options.file, KeyedFile::Access::Write, layout);
}

bool RecordOf(const TextForm& form, const std::string& line, bool hex, std::string& record,
              std::string& reason) {
  if (!hex) return form.ToRecord(line, record, reason);
  if (!line.empty() && FromHex(line, record)) return true;
  reason = "not an even number of hexadecimal digits";
  return false;
}

void StoreLine(KeyedFile& file, const TextForm& form, const LoadOptions& options,
               const LineReader& input, const std::string& line, Counts& counts,
               Progress& progress) {
  std::string record;
  std::string reason;
  auto answer = KeyedFile::Answer::Refused;
  if (RecordOf(form, line, options.hex, record, reason)) {
    answer = file.Put(record, options.replace, reason);
  }
  if (answer == KeyedFile::Answer::Yes) ++counts.stored;
  if (answer == KeyedFile::Answer::No) ++counts.present;
  if (answer != KeyedFile::Answer::Refused) return;
  ++counts.refused;
  progress.Clear();
  Complain(input.Name() + ":" + std::to_string(input.Number()), reason);
}

void PrintCounts(Session& session, const LoadOptions& options, const Counts& counts) {
  if (session.json) {
    session.out << Json("file", options.file)("stored", counts.stored)("present", counts.present)(
                       "refused", counts.refused)
                       .Text()
                << '\n';
    return;
  }
  session.out << Counted(counts.stored, "record") << " stored";
  if (counts.present != 0) session.out << ", " << counts.present << " left alone: the key is there";
  if (counts.refused != 0) session.out << ", " << Counted(counts.refused, "line") << " refused";
  session.out << '\n';
}

int Load(Session& session, const LoadOptions& options) {
  LineReader input(options.input);
  const auto file = OpenOrCreate(options);
  const TextForm form = file->Form();
  const InterruptScope calm;
  Progress progress("lines");
  Counts counts;
  std::string line;
  try {
    while (!InterruptScope::Requested() && input.Next(line, session.out)) {
      StoreLine(*file, form, options, input, line, counts, progress);
      progress.Show(input.Number());
    }
  } catch (const Failure&) {
    progress.Clear();
    PrintCounts(session, options, counts);
    throw;
  }
  progress.Clear();
  PrintCounts(session, options, counts);
  if (InterruptScope::Requested()) throw Failure(options.file, "interrupted; what is stored stays");
  return counts.present + counts.refused == 0 ? Fine : Negative;
}

}  // namespace

void AddLoadCommand(CLI::App& store, Session& session) {
  const auto options = std::make_shared<LoadOptions>();
  CLI::App* load =
      AddCommand(store, session, "load", "Store each line of a text (UTF-8) as a record",
                 "  kvor store load words.kv words.txt --key 3\n"
                 "  sort words.txt | kvor store load words.kv --replace\n"
                 "  kvor store list old.kv --hex | kvor store load new.kv --key 3 --hex\n");
  load->add_option("FILE", options->file, "The store file; made if missing and --key is given")
      ->required();
  load->add_option("INPUT", options->input, "A text file, or - for standard input (the default)");
  AddLayoutOption(*load, options->layout);
  load->add_flag("--replace", options->replace, "Replace records whose key is there already");
  load->add_flag("--hex", options->hex, "Each line is a record's bytes in hexadecimal");
  load->callback([&session, options] {
    session.run = [&session, options] { return Load(session, *options); };
  });
}

}  // namespace kvor
