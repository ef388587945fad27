// Opening of journals, and the log of their failures.
#include "store/journal.h"

#include "store/host.h"

namespace store {

namespace {

constexpr const char* FailureLog = "journaling.err";

void Append(VirtualFile& file, const std::string& text) {
  const std::int64_t end = file.Size();
  if (end >= 0) file.Write(static_cast<std::uint64_t>(end), text.data(), text.size());
}

// What cannot be logged is not: the update goes on in any case.
void JournalFailed(UdbFile& entry, const std::string& words) {
  int error = 0;
  const auto log = CurrentHost().Open(FailureLog, platform::OpenMode::CreateAppend,
                                      platform::Sharing::All, error);
  if (log != nullptr) {
    Append(*log, "Journaling error for file " + entry.name + "\n" +
                     (words.empty() ? std::string() : words + "\n"));
  }
  entry.journalFd.reset();
}

}  // namespace

std::string JournalName(const std::string& path) { return path.substr(0, path.find('.')) + ".jou"; }

void OpenJournal(UdbFile& entry) {
  entry.journalFd.reset();
  if (entry.header.journal == 0) return;
  int error = 0;
  entry.journalFd = CurrentHost().Open(JournalName(entry.name), platform::OpenMode::CreateAppend,
                                       platform::Sharing::None, error);
  if (entry.journalFd == nullptr) JournalFailed(entry, "Open file fault");
}

}  // namespace store
