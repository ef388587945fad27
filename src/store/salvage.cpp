// SalvageStore: first the chain of leaves, then every other page that may be a leaf.
#include <array>
#include <cerrno>

#include "kvorlib/storetools.h"
#include "store/salvage_pages.h"
#include "store/udb.h"

namespace store {
namespace {

bool Fail(SalvageReport& report, const std::string& path, const std::string& words) {
  report.failure = words;
  report.failedFile = path;
  return false;
}

// A file that is there, or whose absence cannot be told, is never written over.
bool IsAbsent(const std::string& path, SalvageReport& report) {
  int error = 0;
  const auto there =
      CurrentHost().Open(path, platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  if (!there && error == ENOENT) return true;
  std::string words;
  udbCodeText(UDB_FILE_ALREADY_EXISTS, words);
  return Fail(report, path, there ? words : FailureWords(error));
}

bool IsStandardKind(const KEYDESCR& key) {
  if (key.type > 4) return false;
  return key.IsText() || (key.len <= MaxKey && (key.type != 0 || key.len == 4));
}

// Makes the new file, closing it when all is done.
class NewFile {
 public:
  NewFile(const std::string& path, const KEYDESCR& key, std::string& failure)
      : file(udbCreate(path.c_str(), key, failure)) {}
  ~NewFile() {
    if (file >= 0) udbClose(file);
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  int Number() const { return file; }

 private:
  int file;
};

bool Salvage(ExaminedFile& from, const std::string& fromPath, const std::string& toPath,
             const SalvageOptions& options, SalvageReport& report) {
  Page page0{};
  const bool whole = from.ReadPage(0, page0);
  const auto version = whole ? VersionOf(page0) : std::nullopt;
  if (!version && !options.key) {
    return Fail(report, fromPath, "the header is lost: the layout of keys must be given");
  }
  const Header header = Header::Load(page0);
  const KEYDESCR key = options.key.value_or(header.key);
  if (!IsStandardKind(key)) {
    return Fail(report, fromPath,
                "the header names no known kind of key: the layout of keys must be given");
  }
  std::string failure;
  const NewFile to(toPath, key, failure);
  if (to.Number() < 0) return Fail(report, toPath, failure);
  RecordSaver saver(from, to.Number(), version.value_or(CurrentVersion), key, report);
  PageSearch search(from, version ? &page0 : nullptr, saver, options, report);
  if (version) report.expected = header.recordCount;
  if (!search.Run()) {
    report.failedFile = toPath;
    return false;
  }
  return true;
}

}  // namespace
}  // namespace store

SalvageReport SalvageStore(const std::string& from, const std::string& to,
                           const SalvageOptions& options) {
  using namespace store;
  SalvageReport report;
  const auto file = ExaminedFile::Open(from, report.failure);
  if (!file) {
    report.failedFile = from;
    return report;
  }
  report.done = IsAbsent(to, report) && Salvage(*file, from, to, options, report);
  return report;
}
