// The frame around every operation: select the file, take the lock, see the file as it is now,
// work, and turn what was raised into an answer, all at one place.
#pragma once

#include <atomic>
#include <exception>

#include "store/guard.h"
#include "store/openfiles.h"
#include "store/quickreads.h"
#include "store/records.h"
#include "store/tree.h"
#include "store/workfile.h"

// Writes page 0 if the operation changed anything in it; see WorkFile::SaveHeader.
void udbSaveHeader(UdbFile& file);

enum class UdbUpdate { Insert = 0, Update = 1, Erase = 2 };

// Runs at the end of each update, failed ones (`result` -1) included, under the lock. `bytes` is
// the record, for an erasure the key. It saves the header and gives `result` back. Whoever writes a
// journal finds here the operation, its data and its outcome.
int udbUpdateHook(UdbFile& file, UdbKey bytes, UdbUpdate operation, int result);

namespace store {

// The working state of the engine; one for all files in turn.
struct Engine {
  OpenFiles files;
  WorkFile work;
  Records records{work};
  Tree tree{work, records};
  QuickReads quick;
};

Engine& MakeEngine();
inline std::atomic<Engine*> madeEngine = nullptr;
inline Engine& TheEngine() {
  Engine* const made = madeEngine.load(std::memory_order_acquire);
  return made != nullptr ? *made : MakeEngine();
}

// Makes the file current and reads its header, ahead of the lock or without it. Operations that
// take the lock see the header behind it and do without this; where an answer needs no lock, the
// header that the entry still has from before tells only whether it is worth a look. A file that
// others change is always seen under its lock. False: there
// is no such file, or its page 0 cannot be read; then the entry's lastError tells why.
bool Select(int file);
// The same, where nothing but the entry's copy of the header is wanted.
bool SeeHeader(int file);

// Runs the body, which answers 0, 1 or -1, and keeps the code of what it raised in the entry.
template <typename Body>
int Attempt(UdbFile& entry, Body body) {
  int code = UDB_SUCCESS;
  int answer = -1;
  try {
    answer = body();
  } catch (const StoreFailure& failure) {
    code = failure.code;
  } catch (const std::exception&) {
    code = UDB_SYSTEM_ERROR;
  }
  entry.lastError = static_cast<std::uint16_t>(code);
  return answer;
}

// As Attempt, under the lock and on the file as it is behind the lock. `afterFailure` runs when the
// tree has been taken back and may raise in turn; the newer code then counts.
template <typename Body, typename AfterFailure>
int AttemptGuarded(UdbFile& entry, Hold hold, Body body, AfterFailure afterFailure) {
  return Attempt(entry, [&] {
    WorkFile& work = TheEngine().work;
    const Guard guard(work.Undo(), entry, hold);
    work.Attach(entry);
    work.Mend();
    work.LoadHeader();
    work.Learn();
    try {
      const int answer = body();
      work.CheckSound();
      work.Commit();
      work.LearnOwnChanges();
      return answer;
    } catch (...) {
      entry.seen.Forget();  // the cursor, too, may stand in what is now taken back
      // What cannot be put back stays kept, for whoever takes the lock next to try again.
      if (!work.TakeBack()) throw StoreFailure{UDB_SYSTEM_ERROR};
      afterFailure();
      work.Commit();
      throw;
    }
  });
}

// A failed read has nothing to save but the mark of damage; not in a file where others look
// meanwhile.
template <typename Body>
int AttemptRead(UdbFile& entry, Body body) {
  return AttemptGuarded(entry, Hold::Looking, body, [&] {
    if (TheEngine().work.FoundDamage() && entry.OnlyOursToChange()) udbSaveHeader(entry);
  });
}

}  // namespace store
