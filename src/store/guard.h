// The locks that keep other processes and threads out of the store, as scopes.
#pragma once

#include <chrono>
#include <optional>

#include "store/failure.h"
#include "store/host.h"
#include "store/openfiles.h"
#include "store/undo.h"

namespace store {

class Lock {
 public:
  Lock() : host(CurrentHost()), had(host.Lock()) {}
  ~Lock() {
    if (had) host.Unlock();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  bool Had() const { return had; }

 private:
  Host& host;
  bool had;
};

using platform::Hold;

// The lock of one file, for those who have no mutex in common.
class FileLock {
 public:
  FileLock(VirtualFile& locked, Hold hold);
  FileLock(VirtualFile& locked, Hold hold, std::chrono::milliseconds patience);
  ~FileLock() {
    if (had) file.Unlock();
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool Had() const { return had; }
  // False: it is not had any more.
  bool Change(Hold hold);

 private:
  VirtualFile& file;
  bool had;
};

// The lock as operations take it. Behind it no file is half changed but those whose records are set
// aside; see WorkFile::Mend. Raises "TIMEOUT" if the lock cannot be had.
class Guard {
 public:
  // The mutex alone.
  explicit Guard(UndoLog& undo) { TakeMutex(undo); }
  // For work in this file: the mutex. A file that others read is locked, too, while it is changed;
  // one that others change is locked for whatever is done, and the mutex is none of its business:
  // nobody's other files wait while another user is at work here. What a process that died left
  // half done in it is taken back.
  Guard(UndoLog& undo, UdbFile& file, Hold hold);

 private:
  void TakeMutex(UndoLog& undo);

  std::optional<FileLock> ofFile;
  std::optional<Lock> mutex;
};

// Takes back what a process that died left in a tail of the file; nothing, if there is none. False
// if that cannot be done now. REQUIRES: the file's lock is held so, and is when it is done.
bool MendTail(UdbFile& file, FileLock& lock, Hold hold);

}  // namespace store
