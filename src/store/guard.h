// The lock that keeps other processes and threads out of the store, as a scope.
#pragma once

#include "store/failure.h"
#include "store/host.h"
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

// The lock as operations take it. Behind it no file is half changed but those whose records are set
// aside; see WorkFile::Mend. Raises "TIMEOUT" if the lock cannot be had.
class Guard {
 public:
  explicit Guard(UndoLog& undo) {
    if (!lock.Had()) throw StoreFailure{UDB_TIMEOUT};
    if (!undo.Settle(CurrentHost())) throw StoreFailure{UDB_SYSTEM_ERROR};
  }

 private:
  Lock lock;
};

}  // namespace store
