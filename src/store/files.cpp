// Opening, making, clearing and closing of store files, and what the table of them answers.
#include <array>
#include <cerrno>
#include <chrono>
#include <optional>

#include "store/bitmap.h"
#include "store/journal.h"
#include "store/operations.h"
#include "store/tailundo.h"
#include "store/udb.h"

namespace store {

namespace {

constexpr std::array<const char*, 16> WordsOfCodes = {
    "SUCCESS",          "WRONG FILE NUMBER",      "FILE LIMIT OVERFLOW",
    "SYSTEM ERROR",     "FILE ALREADY EXISTS",    "INDEX DEPTH OVERFLOW",
    "NONEXISTENT FILE", "CANNOT ALLOCATE RECORD", "TOO MANY OPEN FILES",
    "WRONG KEY",        "WRONG RECORD LENGTH",    "UNKNOWN ERROR",
    "CHECKSUM ERROR",   "FILE CORRUPTED",         "UNKNOWN ERROR",
    "TIMEOUT",
};

// `len` and `offset` count as signed here.
bool MayBeCreated(const KEYDESCR& kd) {
  const auto len = static_cast<std::int8_t>(kd.len);
  const int reach = kd.IsText() ? kd.offset + 1 : len + kd.offset;
  return reach >= 0 && reach <= static_cast<int>(MaxEntry) &&
         (kd.IsText() || len <= static_cast<int>(MaxKey));
}

int CodeOfOpening(int error) {
  return error == ENOENT   ? UDB_NONEXISTENT_FILE
         : error == EMFILE ? UDB_TOO_MANY_OPEN_FILES
                           : UDB_SYSTEM_ERROR;
}

void OpenFor(UdbFile& entry, const std::string& path, platform::OpenMode mode) {
  int error = 0;
  entry.fd = CurrentHost().Open(path, mode, platform::Sharing::All, error);
  if (entry.fd == nullptr) throw StoreFailure{CodeOfOpening(error)};
  entry.writable = mode == platform::OpenMode::ReadOnly ? 0 : 1;
  entry.identity = {};
  entry.fd->Identity(entry.identity);
  TheEngine().work.Undo().ForgetStanding();
  entry.company = entry.fd->WhoElse();
}

void ResetEntry(UdbFile& entry) {
  entry.SetCursor(0, 0);
  entry.needed = 0;
  entry.matchMode = UDB_EXACT;
  entry.maxRead = udbMaxRecord;
}

// Makes the file of the entry's path, one page long, for those whom `rights` admit, if anybody's
// are told. A file that could not be given its page 0 is not left behind.
void MakeFile(UdbFile& entry, const KEYDESCR& kd, const platform::Rights& rights = {}) {
  OpenFor(entry, entry.path, platform::OpenMode::CreateNew);
  TheEngine().work.Undo().Forget(entry.identity);
  Page page{};
  SetVersion(page, CurrentVersion);
  Header header;
  header.key = kd;
  header.freePages = static_cast<std::uint16_t>(MaxPages);
  header.Store(page);
  MarkRun(BitmapOf(page), 0, 1, true);
  if (!entry.fd->Write(0, page.data(), page.size())) {
    const int error = entry.fd->LastError();
    entry.fd.reset();
    CurrentHost().Remove(entry.path);
    throw StoreFailure{CodeOfOpening(error)};
  }
  if (entry.fd->Grant(rights)) OpenFor(entry, entry.path, platform::OpenMode::ReadWrite);
  entry.header = header;
  ResetEntry(entry);
  OpenJournal(entry);
}

// A file that has become this user's alone may still have what another one's death left in it. The
// file's lock is enough: nobody changes the file ahead of this.
void MendAtOpening(UdbFile& entry) {
  const Hold hold = entry.writable != 0 ? Hold::Changing : Hold::Looking;
  FileLock lock(*entry.fd, hold);
  if (!lock.Had()) throw StoreFailure{UDB_TIMEOUT};
  if (!MendTail(entry, lock, hold)) throw StoreFailure{UDB_SYSTEM_ERROR};
}

void SeeFirst(UdbFile& entry) {
  WorkFile& work = TheEngine().work;
  work.Attach(entry);
  work.Mend();
  work.LoadHeader();
  entry.lastError = UDB_SUCCESS;
}

// Runs a body that fills a free entry. On failure the entry is free again.
template <typename Body>
int Enter(const char* path, std::string& failure, Body body) {
  Engine& engine = TheEngine();
  UdbFile* entry = nullptr;
  int code = UDB_SUCCESS;
  try {
    int file = -1;
    bool seen = false;
    {
      const Guard guard(engine.work.Undo());
      const auto name = NameForTable(path);
      if (!name) throw StoreFailure{UDB_LONG_NAME};
      file = engine.files.FreeNumber();
      if (file < 0) throw StoreFailure{UDB_FILE_LIMIT_OVERFLOW};
      entry = &engine.files.At(file);
      entry->name = *name;
      entry->path = CurrentHost().Absolute(path);
      body(*entry);
      seen = entry->OnlyOursToChange() && !TailUndo::IsIn(*entry->fd);
      if (seen) SeeFirst(*entry);
    }
    // Without the mutex: nobody waits for us while we wait for another user.
    if (!seen) {
      if (entry->OnlyOursToChange()) MendAtOpening(*entry);
      const Guard guard(engine.work.Undo(), *entry, Hold::Looking);
      SeeFirst(*entry);
    }
    return file;
  } catch (const StoreFailure& raised) {
    code = raised.code;
  } catch (const std::exception&) {
    code = UDB_SYSTEM_ERROR;
  }
  if (entry != nullptr) OpenFiles::Free(*entry);
  udbCodeText(code, failure);
  return -1;
}

}  // namespace

}  // namespace store

using namespace store;  // NOLINT: the face stands at top level

UdbFile& udbEntry(int file) { return TheEngine().files.At(file); }

void udbInit() {
  CurrentHost();  // there from now on, and still there when whoever began here closes its files
  TheEngine().files.FreeAll();
  TheEngine().tree.Forget();
}

int udbOpen(const char* path, int flags, std::string& failure) {
  return Enter(path, failure, [&](UdbFile& entry) {
    OpenFor(entry, entry.path,
            flags == 0 ? platform::OpenMode::ReadOnly : platform::OpenMode::ReadWrite);
    ResetEntry(entry);
    OpenJournal(entry);
  });
}

int udbCreate(const char* path, const KEYDESCR& kd, std::string& failure) {
  if (!MayBeCreated(kd)) {
    udbCodeText(UDB_WRONG_KEY, failure);
    return -1;
  }
  return Enter(path, failure, [&](UdbFile& entry) { MakeFile(entry, kd); });
}

int udbClose(int file) {
  // The number of a file that clearing lost is given back by closing it.
  if (file >= 0 && file < udbMaxFiles) udbEntry(file).lost = false;
  UdbFile* const entry = TheEngine().files.Find(file);
  if (entry == nullptr) return -1;
  // A close that fails closes all the same; but whoever did not have the lock may try again.
  if (!entry->OnlyOursToChange()) {
    OpenFiles::Free(*entry);  // nobody else's work is touched by that
    return 0;
  }
  const int answer = !Select(file) ? -1 : Attempt(*entry, [&] {
    WorkFile& work = TheEngine().work;
    // Others who read the file are not waited for: longer than it needs, it is sound as well.
    std::optional<FileLock> readers;
    if (entry->needed != 0 && entry->company == platform::Company::Readers) {
      readers.emplace(*entry->fd, Hold::Changing, std::chrono::milliseconds(100));
    }
    const Guard guard(work.Undo(), *entry, Hold::Looking);
    if (!readers || readers->Had()) work.CutToNeed(*entry);
    return 0;
  });
  if (answer == 0 || entry->lastError != UDB_TIMEOUT) OpenFiles::Free(*entry);
  return answer;
}

int udbClear(int file) {
  if (!Select(file)) return -1;
  UdbFile& entry = udbEntry(file);
  return Attempt(entry, [&] {
    WorkFile& work = TheEngine().work;
    const Guard guard(work.Undo());
    const KEYDESCR kd = entry.header.key;
    const platform::Rights rights = entry.fd->WhoMay();
    OpenFiles::Free(entry);
    entry.lost = true;
    const int error = CurrentHost().Remove(entry.path);
    if (error != 0 && error != ENOENT) return -1;
    MakeFile(entry, kd, rights);
    entry.lost = false;
    work.Attach(entry);
    if (entry.OnlyOursToChange()) work.LoadHeader();
    return 0;
  });
}

int udbGetKeyDescr(int file, KEYDESCR& kd) {
  if (!SeeHeader(file)) return -1;
  kd = udbEntry(file).header.key;
  return 0;
}

int udbGetFileName(int file, std::string& name) {
  if (!SeeHeader(file)) return -1;
  name = udbEntry(file).name;
  return 0;
}

// Behind the lock, so far as it can be had: without it the count may be one that is taken back.
int udbGetCount(int file, std::uint32_t& count) {
  Engine& engine = TheEngine();
  UdbFile* const entry = engine.files.Find(file);
  if (entry == nullptr) return -1;
  if (!engine.quick.KnowsHeader(*entry)) {
    const std::uint16_t before = entry->lastError;
    const bool seen = AttemptRead(*entry, [] { return 0; }) == 0;
    entry->lastError = before;
    if (!seen && !Select(file)) return -1;
  }
  count = entry->header.recordCount;
  return 0;
}

int udbSetMatchMode(int file, int mode) {
  if (!SeeHeader(file)) return -1;
  udbEntry(file).matchMode = mode;
  return 0;
}

void udbErrorText(int file, std::string& text) {
  const UdbFile* const entry = TheEngine().files.Find(file);
  udbCodeText(entry == nullptr ? int{UDB_WRONG_FILE_NUMBER} : entry->lastError, text);
}

void udbCodeText(int code, std::string& text) {
  const bool known = code >= 0 && static_cast<std::size_t>(code) < WordsOfCodes.size();
  text = known ? WordsOfCodes[static_cast<std::size_t>(code)] : "UNKNOWN ERROR";
}

int udbUpgrade(int file) {
  if (!Select(file)) return -1;
  UdbFile& entry = udbEntry(file);
  const auto upgrade = [&] {
    WorkFile& work = TheEngine().work;
    if (entry.header.corrupted != 0) return -1;  // with the words of success
    if (work.Version() == OldVersion) SetVersion(work.OwnHeaderPage(), CurrentVersion);
    work.WriteHeaderPage();
    return 0;
  };
  return AttemptGuarded(entry, Hold::Changing, upgrade, [&] {
    if (TheEngine().work.FoundDamage()) udbSaveHeader(entry);
  });
}

UdbHold::UdbHold(int file) {
  entry = TheEngine().files.Find(file);
  if (entry == nullptr || entry->OnlyOursToChange()) {
    entry = nullptr;
    held = CurrentHost().Lock();
    return;
  }
  try {
    guard = std::make_unique<Guard>(TheEngine().work.Undo(), *entry, Hold::Looking);
    entry->isHeld = true;
  } catch (const StoreFailure&) {
    entry = nullptr;
  }
}

UdbHold::~UdbHold() {
  if (held) CurrentHost().Unlock();
  if (entry != nullptr) entry->isHeld = false;
}
