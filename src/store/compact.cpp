// CompactStore: a file's records, built anew in memory, written beside it and put in its place.
#include <cerrno>
#include <filesystem>

#include "kvorlib/storetools.h"
#include "store/bulkbuilder.h"
#include "store/check_source.h"
#include "store/check_tree.h"
#include "store/operations.h"
#include "store/tailundo.h"
#include "store/udb.h"

namespace store {
namespace {

std::string WordsOf(int code) {
  std::string words;
  udbCodeText(code, words);
  return words;
}

// Where the file itself lies, so that a link to it stays one.
std::string Resolved(const std::string& path) {
  std::error_code failed;
  const std::u8string name(path.begin(), path.end());
  const std::u8string real = std::filesystem::canonical(name, failed).u8string();
  return failed ? path : std::string(real.begin(), real.end());
}

class Compaction {
 public:
  Compaction(const std::string& path, CompactReport& result, unsigned percent)
      : report(result), target(Resolved(path)), part(target + ".part"), fill(percent) {}

  bool Run() { return OpenAlone() && Examined() && Build() && WriteBeside() && PutInPlace(); }

 private:
  bool Fail(const std::string& words) {
    report.failure = words;
    return false;
  }
  template <typename Question>
  bool WithUndo(VirtualFile& file, Question question);
  bool OpenAlone();
  bool Examined();
  bool Build();
  bool AddRecord(const Entry& entry);
  bool WriteBeside();
  bool WritePages(VirtualFile& file);
  bool PutInPlace();

  CompactReport& report;
  std::string target;
  std::string part;
  unsigned fill;
  std::unique_ptr<ExaminedFile> source;  // held alone until the new file has the name
  Page page0{};
  std::optional<BulkBuilder> builder;
  std::vector<std::uint8_t> record;
};

// Asks the undo log about the file, under the lock.
template <typename Question>
bool Compaction::WithUndo(VirtualFile& file, Question question) {
  try {
    UndoLog& undo = TheEngine().work.Undo();
    const Guard guard(undo);
    platform::FileIdentity identity;
    return (file.Identity(identity) && question(undo, identity)) || Fail(WordsOf(UDB_SYSTEM_ERROR));
  } catch (const StoreFailure& failure) {
    return Fail(WordsOf(failure.code));
  }
}

// Whoever else has the file open, or opens it from now on, is refused. What a process that died has
// left half done is put back while nobody looks.
bool Compaction::OpenAlone() {
  int error = 0;
  auto file =
      CurrentHost().Open(target, platform::OpenMode::ReadWrite, platform::Sharing::None, error);
  if (file == nullptr && error == EACCES) {
    return Fail("somebody has the file open, or it may not be written");
  }
  if (file == nullptr) return Fail(FailureWords(error));
  const auto mend = [&](UndoLog& undo, const platform::FileIdentity& identity) {
    return undo.Mend(identity, file.get(), target);
  };
  if (!WithUndo(*file, mend)) return false;
  if (TailUndo::IsIn(*file) && !TailUndo::TakeBackIn(*file)) {
    return Fail(WordsOf(UDB_SYSTEM_ERROR));
  }
  source = ExaminedFile::Of(std::move(file), report.failure);
  return source != nullptr;
}

bool Compaction::Examined() {
  report.bytesBefore = source->Size();
  const StoreReport found = ExamineStore(*source);
  report.records = found.records;
  report.state = found.state;
  if (found.state == StoreState::Unreadable) return Fail(found.failure);
  if (found.state == StoreState::Damaged) return Fail(WordsOf(UDB_FILE_CORRUPTED));
  return source->ReadPage(0, page0) || Fail(WordsOf(UDB_SYSTEM_ERROR));
}

bool Compaction::Build() {
  const Header header = Header::Load(page0);
  builder.emplace(header.key, BulkBuilder::Space::ToTheLastPage, fill);
  Page page;
  for (std::uint16_t n = header.firstLeaf; n != 0;) {
    const auto view = source->ReadPage(n, page) ? TreePage::Of(page) : std::nullopt;
    if (!view) return Fail(WordsOf(UDB_SYSTEM_ERROR));
    for (std::size_t at = 0; at < view->Used();) {
      const auto entry = view->At(at);
      if (!entry || !AddRecord(*entry)) return Fail(WordsOf(UDB_CANNOT_ALLOCATE_RECORD));
      at += entry->Size();
    }
    n = view->Next();
  }
  builder->Finish();
  return builder->Records() == report.records || Fail(WordsOf(UDB_FILE_CORRUPTED));
}

bool Compaction::AddRecord(const Entry& entry) {
  Bytes bytes = entry.Payload();
  if (entry.Form() == EntryForm::Key) {
    const std::uint32_t version = *VersionOf(page0);
    const std::uint64_t at = std::uint64_t{entry.Child()} * PageSize;
    std::array<std::uint8_t, 8> head{};
    if (!source->Read(at, head.data(), head.size())) return false;
    record.resize(RunPrefix::Load(head.data(), version).length);
    if (!source->Read(at + RunPrefix::SizeFor(version), record.data(), record.size())) return false;
    bytes = record;
  }
  return builder->Add(bytes) == BulkBuilder::Answer::Taken;
}

bool Compaction::WriteBeside() {
  int error = 0;
  std::unique_ptr<VirtualFile> file;
  for (;; part += '~') {
    file = CurrentHost().Open(part, platform::OpenMode::CreateNew, platform::Sharing::None, error);
    if (file != nullptr || error != EEXIST) break;
  }
  if (file == nullptr) return Fail(FailureWords(error));
  const auto forget = [](UndoLog& undo, const platform::FileIdentity& identity) {
    undo.Forget(identity);
    return true;
  };
  if (WithUndo(*file, forget) && WritePages(*file)) return true;
  file.reset();
  CurrentHost().Remove(part);
  return report.failure.empty() ? Fail(WordsOf(UDB_SYSTEM_ERROR)) : false;
}

bool Compaction::WritePages(VirtualFile& file) {
  Header header = Header::Load(page0);
  header.depth = 0;
  Page page{};
  SetVersion(page, CurrentVersion);
  builder->Describe(header, page);
  header.Store(page);
  const BuiltPages& pages = builder->Pages();
  report.bytesAfter = std::uint64_t{pages.Count()} * PageSize;
  for (std::uint32_t n = 1; n < pages.Count();) {
    const Bytes stretch = pages.StretchFrom(n);
    if (!file.Write(std::uint64_t{n} * PageSize, stretch.data(), stretch.size())) return false;
    n += static_cast<std::uint32_t>(stretch.size() / PageSize);
  }
  return file.Write(0, page.data(), page.size());
}

bool Compaction::PutInPlace() {
  const int error = CurrentHost().Replace(part, target);
  if (error == 0) return true;
  CurrentHost().Remove(part);
  return Fail(error == EPERM ? "its owner and group cannot be kept" : FailureWords(error));
}

}  // namespace
}  // namespace store

CompactReport CompactStore(const std::string& path, unsigned fill) {
  CompactReport report;
  report.done = store::Compaction(path, report, fill).Run();
  return report;
}
