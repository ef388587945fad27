// Reading a store file that nobody vouches for.
#include "store/check_source.h"

#include <algorithm>
#include <cerrno>

#include "store/udb.h"

namespace store {

std::string FailureWords(int error) {
  const int code = error == ENOENT   ? UDB_NONEXISTENT_FILE
                   : error == EMFILE ? UDB_TOO_MANY_OPEN_FILES
                                     : UDB_SYSTEM_ERROR;
  std::string words;
  udbCodeText(code, words);
  return words;
}

namespace {

// Opening a store file makes the store take back what a process that died has left half done in it.
void LetStoreRecover(const std::string& path) {
  std::string ignored;
  const int file = udbOpen(path.c_str(), 0, ignored);
  if (file >= 0) udbClose(file);
}

}  // namespace

std::unique_ptr<ExaminedFile> ExaminedFile::Open(const std::string& path, std::string& failure) {
  LetStoreRecover(path);
  int error = 0;
  auto file = CurrentHost().Open(path, platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  if (!file) {
    failure = FailureWords(error);
    return nullptr;
  }
  return Of(std::move(file), failure);
}

std::unique_ptr<ExaminedFile> ExaminedFile::Of(std::unique_ptr<VirtualFile> opened,
                                               std::string& failure) {
  const std::int64_t bytes = opened->Size();
  if (bytes < 0) {
    failure = FailureWords(opened->LastError());
    return nullptr;
  }
  return std::unique_ptr<ExaminedFile>(
      new ExaminedFile(std::move(opened), static_cast<std::uint64_t>(bytes)));
}

bool ExaminedFile::OthersMayChange(const std::string& path) {
  int error = 0;
  const auto file =
      CurrentHost().Open(path, platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  return file != nullptr && file->WhoElse() == platform::Company::Writers;
}

bool ExaminedFile::KeepOthersOut() {
  constexpr std::chrono::milliseconds Patience(10'000);
  if (file->WhoElse() != platform::Company::Writers) return true;
  const bool had = file->Lock(platform::Hold::Looking, Patience);
  const std::int64_t now = file->Size();
  if (now >= 0) size = static_cast<std::uint64_t>(now);
  return had;
}

std::uint32_t ExaminedFile::WholePages() const {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(size / PageSize, 65536));
}

bool ExaminedFile::Read(std::uint64_t offset, std::uint8_t* out, std::size_t n) {
  return file->Read(offset, out, n) == static_cast<std::ptrdiff_t>(n);
}

}  // namespace store
