// Which lock an operation takes, by who else may use its file.
#include "store/guard.h"

#include "store/tailundo.h"

namespace store {

namespace {

constexpr std::chrono::milliseconds Patience(10'000);

// Without memory that others would find: what an update of a file of several users overwrites is
// kept in the file.
class NoMemory final : public Host {
 public:
  std::unique_ptr<VirtualFile> Open(const std::string&, platform::OpenMode, platform::Sharing,
                                    int&) override {
    return nullptr;
  }
  int Remove(const std::string&) override { return 0; }
  int Replace(const std::string&, const std::string&) override { return 0; }
  bool Lock() override { return true; }
  void Unlock() override {}
  std::byte* LockedMemory(unsigned, std::size_t) override { return nullptr; }
  void TrimLockedMemory(unsigned, std::size_t) override {}
};

Host& OwnMemoryOnly() {
  static NoMemory host;
  return host;
}

// Through a handle of its own: this one may only read.
bool MendThroughPath(const UdbFile& entry) {
  int error = 0;
  const auto file =
      CurrentHost().Open(entry.path, platform::OpenMode::ReadWrite, platform::Sharing::All, error);
  platform::FileIdentity identity;
  if (file == nullptr || !file->Identity(identity) || identity != entry.identity) return false;
  const FileLock lock(*file, Hold::Changing);
  return lock.Had() && (!TailUndo::IsIn(*file) || TailUndo::TakeBackIn(*file));
}

}  // namespace

FileLock::FileLock(VirtualFile& locked, Hold hold) : FileLock(locked, hold, Patience) {}

FileLock::FileLock(VirtualFile& locked, Hold hold, std::chrono::milliseconds patience)
    : file(locked), had(locked.Lock(hold, patience)) {}

bool FileLock::Change(Hold hold) {
  if (had) file.Unlock();
  had = file.Lock(hold, Patience);
  return had;
}

void Guard::TakeMutex(UndoLog& undo) {
  mutex.emplace();
  if (!mutex->Had()) throw StoreFailure{UDB_TIMEOUT};
  if (!undo.Settle(CurrentHost())) throw StoreFailure{UDB_SYSTEM_ERROR};
}

Guard::Guard(UndoLog& undo, UdbFile& file, Hold hold) {
  const bool ours = file.OnlyOursToChange();
  if (file.writable == 0) hold = Hold::Looking;
  if (!ours && file.isHeld && hold == Hold::Looking) {
    undo.StartAnew(OwnMemoryOnly());
    return;
  }
  if (!ours || (file.company == platform::Company::Readers && hold == Hold::Changing)) {
    ofFile.emplace(*file.fd, hold);
    if (!ofFile->Had()) throw StoreFailure{UDB_TIMEOUT};
  }
  if (ours) {
    TakeMutex(undo);
    return;
  }
  if (!MendTail(file, *ofFile, hold)) throw StoreFailure{UDB_SYSTEM_ERROR};
  // What is owed to the file stands in its tail; others may have changed it since our last update.
  undo.StartAnew(OwnMemoryOnly());
}

bool MendTail(UdbFile& file, FileLock& lock, Hold hold) {
  if (!TailUndo::IsIn(*file.fd)) return true;
  if (hold == Hold::Changing) return TailUndo::TakeBackIn(*file.fd);
  if (file.writable == 0) {
    file.fd->Unlock();
    const bool mended = MendThroughPath(file);
    return lock.Change(hold) && mended;
  }
  return lock.Change(Hold::Changing) &&
         (!TailUndo::IsIn(*file.fd) || TailUndo::TakeBackIn(*file.fd));
}

}  // namespace store
