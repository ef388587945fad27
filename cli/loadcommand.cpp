// kvor store load: lines of text become records. As long as they come in the order of their keys
// and the file was empty, they are collected and stored at once; see SortedLoad.
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "kvorlib/storetools.h"
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

class Loader {
 public:
  Loader(const LoadOptions& theOptions, const LineReader& theInput)
      : options(theOptions),
        input(theInput),
        file(OpenOrCreate(theOptions)),
        form(file->Form(theOptions.hex)) {
    // What a pipe by name holds back for long would be held back from the file as well.
    std::error_code ignored;
    if (options.input == "-" || std::filesystem::is_regular_file(options.input, ignored)) {
      sorted = std::make_unique<SortedLoad>(options.file);
    }
  }

  // Throws Failure when the file is at fault.
  void Load(const std::string& line);
  bool Collects() const { return sorted && sorted->Taken() != 0; }
  // Stores what was collected so far. From then on each record is stored by itself.
  void Store();

  const Counts& Told() const { return counts; }
  void ClearProgress() { progress.Clear(); }

 private:
  // False: it is to be stored by itself.
  bool Collect(const std::string& record);
  void Refuse(const std::string& reason);

  const LoadOptions& options;
  const LineReader& input;
  std::unique_ptr<KeyedFile> file;
  TextForm form;
  std::unique_ptr<SortedLoad> sorted;
  Counts counts;
  Progress progress{"lines"};
};

void Loader::Refuse(const std::string& reason) {
  ++counts.refused;
  progress.Clear();
  Complain(input.Name() + ":" + std::to_string(input.Number()), reason);
}

void Loader::Store() {
  if (!sorted) return;
  const LoadReport report = sorted->Finish();
  sorted.reset();
  counts.stored += report.stored;
  counts.present += report.present;
  if (!report.done) throw Failure(options.file, KeyedFile::Explained(report.failure, options.file));
}

bool Loader::Collect(const std::string& record) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(record.data());
  switch (sorted->Add({bytes, record.size()})) {
    case SortedLoad::Answer::Taken:
      return true;
    case SortedLoad::Answer::Present:
      // The later record of a key replaces the former one where that lies.
      if (options.replace) break;
      ++counts.present;
      return true;
    case SortedLoad::Answer::Refused:
      return false;  // with the words that the empty file has for it
    case SortedLoad::Answer::Declined:
      break;
  }
  Store();
  return false;
}

void Loader::Load(const std::string& line) {
  progress.Show(input.Number());
  std::string record;
  std::string reason;
  if (!form.ToRecord(line, record, reason)) return Refuse(reason);
  const DataTransfer data(record.data(), static_cast<int>(record.size()));
  DataTransfer key;
  if (sorted && file->Index().ExtractKey(data, key) && Collect(record)) return;
  switch (file->Put(record, options.replace, reason)) {
    case KeyedFile::Answer::Yes:
      ++counts.stored;
      break;
    case KeyedFile::Answer::No:
      ++counts.present;
      break;
    default:
      Refuse(reason);
  }
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
  Loader loader(options, input);
  const InterruptScope calm;
  const auto finish = [&] {
    loader.ClearProgress();
    PrintCounts(session, options, loader.Told());
  };
  std::string line;
  try {
    try {
      while (!InterruptScope::Requested()) {
        if (loader.Collects() && input.Stalls()) {
          loader.Store();
          continue;
        }
        if (!input.Next(line, session.out, loader.Collects())) break;
        loader.Load(line);
      }
    } catch (...) {
      loader.Store();
      throw;
    }
    loader.Store();
  } catch (const Failure&) {
    finish();
    throw;
  }
  finish();
  if (InterruptScope::Requested()) throw Failure(options.file, "interrupted; what is stored stays");
  return loader.Told().present + loader.Told().refused == 0 ? Fine : Negative;
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
