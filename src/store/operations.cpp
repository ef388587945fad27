// Operations on records: the engine's face for what is told in udb.h.
#include "store/operations.h"

#include <algorithm>
#include <array>

#include "store/udb.h"

namespace store {

Engine& MakeEngine() {
  static Engine engine;
  madeEngine.store(&engine, std::memory_order_release);
  return engine;
}

bool Select(int file) {
  Engine& engine = TheEngine();
  UdbFile* const entry = engine.files.Find(file);
  if (entry == nullptr) return false;
  const std::uint16_t before = entry->lastError;
  const auto see = [&] {
    engine.work.Attach(*entry);
    engine.work.LoadHeader();
    return 0;
  };
  const int answer = Attempt(*entry, [&] {
    if (entry->OnlyOursToChange()) return see();
    const Guard guard(engine.work.Undo(), *entry, Hold::Looking);
    return see();
  });
  if (answer == 0) entry->lastError = before;
  return answer == 0;
}

bool SeeHeader(int file) {
  Engine& engine = TheEngine();
  UdbFile* const entry = engine.files.Find(file);
  return entry != nullptr && (engine.quick.KnowsHeader(*entry) || Select(file));
}

namespace {

// The entry of an open file, or null, as when there is no engine yet. It is not made for this:
// steps of walks are short.
UdbFile* EntryOf(int file) {
  Engine* const engine = madeEngine.load(std::memory_order_acquire);
  return engine == nullptr ? nullptr : engine->files.Find(file);
}

// A quick answer as the operation's; false if there is none.
bool IsSettled(UdbFile& entry, int answer) {
  if (answer == QuickReads::Unknown) return false;
  entry.lastError = answer == QuickReads::Lost ? UDB_SYSTEM_ERROR : UDB_SUCCESS;
  return true;
}

int AsAnswer(int answer) { return answer == QuickReads::Lost ? -1 : answer; }

// A whole key out of what a caller handed in, for the tree never to measure again.
Bytes WholeKey(UdbKey key) {
  WorkFile& work = TheEngine().work;
  const auto whole = KeyAtStart(work.KeyDescr(), key);
  if (!whole || whole->size() > MaxKey) work.Raise(UDB_WRONG_KEY);
  return *whole;
}

// Sets the cursor by the file's match mode: 0 or 1.
int Seek(UdbKey key) {
  Engine& engine = TheEngine();
  const Bytes whole = WholeKey(key);
  const int mode = engine.work.File().matchMode;
  const bool exact = mode != UDB_AT_OR_AFTER && mode != UDB_AFTER;
  const bool found = engine.tree.Descend(whole, exact ? Match::Exact : Match::AtOrAfter);
  if (exact) {
    if (found && engine.tree.CurrentHas(whole)) return 0;
    if (engine.work.Head().root != 0) engine.work.File().RememberMissed(whole);
    return 1;
  }
  if (!found || mode == UDB_AT_OR_AFTER) return found ? 0 : 1;
  return !engine.tree.CurrentHas(whole) || engine.tree.Advance() ? 0 : 1;
}

// Whether the key stands in the tree, the cursor at its place. Updates match exactly, whatever the
// file's mode: a hop into the next leaf would put a key behind its separator.
bool SeekForUpdate(Bytes key) {
  Tree& tree = TheEngine().tree;
  return tree.Descend(key, Match::Exact) && tree.CurrentHas(key);
}

template <typename Body>
int AttemptUpdate(UdbFile& entry, UdbKey bytes, UdbUpdate operation, Body body) {
  return AttemptGuarded(
      entry, Hold::Changing,
      [&] {
        const int answer = body();
        return answer == 0 ? udbUpdateHook(entry, bytes, operation, 0) : answer;
      },
      [&] { udbUpdateHook(entry, bytes, operation, -1); });
}

// Insertions and erasures of a file marked as corrupted are refused with no code of their own.
template <typename Body>
int AttemptUnlessCorrupted(int file, UdbKey bytes, UdbUpdate operation, Body body) {
  UdbFile* const found = TheEngine().files.Find(file);
  if (found == nullptr) return -1;
  UdbFile& entry = *found;
  const std::uint16_t before = entry.lastError;
  if (entry.header.corrupted != 0 && (!Select(file) || entry.header.corrupted != 0)) return -1;
  bool refused = false;
  const int answer = AttemptUpdate(entry, bytes, operation, [&] {
    refused = entry.header.corrupted != 0;
    return refused ? -1 : body();
  });
  if (refused && answer == -1 && entry.lastError == UDB_SUCCESS) entry.lastError = before;
  return answer;
}

int Insert(Bytes record) {
  Engine& engine = TheEngine();
  WorkFile& work = engine.work;
  const std::size_t pages = (record.size() + PageSize - 1) / PageSize;
  if (pages + 6 >= work.Head().freePages || !engine.tree.RootHasRoom()) {
    work.Raise(UDB_CANNOT_ALLOCATE_RECORD);
  }
  const auto key = KeyIn(work.KeyDescr(), record);
  if (!key || key->size() > MaxKey) work.Raise(UDB_WRONG_KEY);
  if (SeekForUpdate(*key)) return 1;
  StagedEntry staged;
  engine.records.Stage(record, *key, staged);
  engine.tree.Insert(staged);
  ++work.Head().recordCount;
  work.MarkDirty();
  return 0;
}

int Erase(UdbKey key) {
  Engine& engine = TheEngine();
  if (!SeekForUpdate(WholeKey(key))) return 1;
  engine.tree.Erase();
  if (engine.work.Head().recordCount > 0) --engine.work.Head().recordCount;
  engine.work.MarkDirty();
  return 0;
}

// False if it cannot be found out where the cursor stands, as in a file that is empty by now.
bool PlaceCursor(int file) {
  UdbFile* const entry = TheEngine().files.Find(file);
  if (entry == nullptr) return false;
  if (entry->missedSize == 0) return true;
  const std::uint16_t before = entry->lastError;
  const int answer = AttemptRead(*entry, [] { return TheEngine().tree.PlaceCursor(), 0; });
  entry->lastError = before;
  return answer == 0 && entry->missedSize == 0;
}

// By the record's key: erased in place, a leaf's last record would take the whole tree with it.
int EraseAtCursor() {
  Tree& tree = TheEngine().tree;
  const auto entry = tree.AtCursor();
  if (!entry) return 1;
  const Bytes key = tree.KeyOf(*entry);
  std::array<std::uint8_t, MaxKey> copy;
  if (key.size() > copy.size()) TheEngine().work.Raise(UDB_WRONG_KEY);
  std::copy(key.begin(), key.end(), copy.begin());
  return Erase(Bytes(copy).first(key.size()));
}

// Apart from the steps out of a copy, which are many and short.
[[gnu::noinline]] int NextInFile(UdbFile& entry, DataTransfer& record) {
  const int quick = QuickReads::Next(entry, record);
  if (IsSettled(entry, quick)) return AsAnswer(quick);
  if (entry.header.recordCount == 0 && !Select(TheEngine().files.NumberOf(entry))) return -1;
  const bool looksEmpty = entry.header.recordCount == 0;
  const int answer = AttemptRead(entry, [&] {
    Engine& engine = TheEngine();
    if (entry.header.recordCount == 0 || !engine.tree.Advance()) return 1;
    engine.records.Read(engine.tree.Current(), record);
    return 0;
  });
  // The end of an empty file needs no lock. But while it can be had, what was seen without it might
  // have been half an erasure.
  const bool refused = answer == -1 && entry.lastError == UDB_TIMEOUT;
  return refused && looksEmpty ? Attempt(entry, [] { return 1; }) : answer;
}

// Apart from the finding of the entry, too: fewer registers have to be saved.
[[gnu::noinline]] int Next(UdbFile& entry, DataTransfer& record) {
  if (!QuickReads::StepInCopy(entry, record)) return NextInFile(entry, record);
  entry.lastError = UDB_SUCCESS;
  return 0;
}

UdbMark MarkOf(const UdbFile& entry) {
  const Seen& seen = entry.seen;
  if (entry.cursorPage == 0 || entry.missedSize != 0 || seen.count == nullptr ||
      seen.header == Seen::Never || seen.cursor != seen.header) {
    return {};
  }
  return {{entry.cursorPage, entry.cursorOffset}, seen.count, seen.header};
}

bool IsAt(const UdbFile& entry, const UdbMark& mark) {
  const Seen& seen = entry.seen;
  return seen.count == mark.count && seen.header == mark.state && seen.cursor == mark.state &&
         entry.cursorPage == mark.at.page && entry.cursorOffset == mark.at.offset &&
         entry.missedSize == 0;
}

}  // namespace

}  // namespace store

using namespace store;  // NOLINT: the face stands at top level

void udbSaveHeader(UdbFile& file) {
  WorkFile& work = TheEngine().work;
  if (&work.File() == &file) work.SaveHeader();
}

int udbUpdateHook(UdbFile& file, UdbKey /*bytes*/, UdbUpdate /*operation*/, int result) {
  udbSaveHeader(file);
  return result;
}

int udbFind(int file, UdbKey key) {
  UdbFile* const entry = TheEngine().files.Find(file);
  if (entry == nullptr) return -1;
  const int quick = TheEngine().quick.Get(*entry, key, nullptr);
  if (IsSettled(*entry, quick)) return AsAnswer(quick);
  return AttemptRead(*entry, [&] { return Seek(key); });
}

int udbGet(int file, UdbKey key, DataTransfer& record) {
  UdbFile* const entry = TheEngine().files.Find(file);
  if (entry == nullptr) return -1;
  const int quick = TheEngine().quick.Get(*entry, key, &record);
  if (IsSettled(*entry, quick)) return AsAnswer(quick);
  return AttemptRead(*entry, [&] {
    const int answer = Seek(key);
    if (answer == 0) TheEngine().records.Read(TheEngine().tree.Current(), record);
    return answer;
  });
}

int udbGetNext(int file, DataTransfer& record) {
  UdbFile* const entry = EntryOf(file);
  return entry == nullptr ? -1 : Next(*entry, record);
}

int udbRewind(int file) {
  if (!SeeHeader(file)) return -1;
  UdbFile& entry = udbEntry(file);
  entry.SetCursor(0, 0);
  return Attempt(entry, [] { return 0; });
}

int udbInsert(int file, const unsigned char* record, std::uint32_t length) {
  const Bytes bytes(record, length);
  return AttemptUnlessCorrupted(file, bytes, UdbUpdate::Insert, [&] { return Insert(bytes); });
}

int udbUpdate(int file, UdbKey key, const unsigned char* record, std::uint32_t length) {
  UdbFile* const found = TheEngine().files.Find(file);
  if (found == nullptr) return -1;
  UdbFile& entry = *found;
  const Bytes bytes(record, length);
  return AttemptUpdate(entry, bytes, UdbUpdate::Update, [&] {
    Engine& engine = TheEngine();
    if (entry.header.corrupted != 0) return -1;  // with the words of success
    const Bytes whole = WholeKey(key);
    if (!SeekForUpdate(whole)) return 1;
    StagedEntry staged;
    // A record with another key than the one it takes the place of breaks the order of keys.
    const auto key = KeyIn(engine.work.KeyDescr(), bytes);
    if (!key || CompareKeys(engine.work.KeyDescr(), *key, whole) != 0) entry.seen.orders.DropAll();
    const std::size_t old = engine.tree.TakeOut();
    engine.records.Stage(bytes, whole, staged);
    engine.tree.Insert(staged, old);
    return 0;
  });
}

int udbErase(int file, UdbKey key) {
  return AttemptUnlessCorrupted(file, key, UdbUpdate::Erase, [&] { return Erase(key); });
}

int udbEraseCurrent(int file) {
  return AttemptUnlessCorrupted(file, {}, UdbUpdate::Erase, EraseAtCursor);
}

int udbGetPosition(int file, UdbPosition& position, std::string& key) {
  if (!PlaceCursor(file)) return -1;
  UdbFile& entry = udbEntry(file);
  if (TheEngine().quick.KeyAtCursor(entry, key) == QuickReads::Found) {
    position = {entry.cursorPage, entry.cursorOffset};
    return 0;
  }
  if (!Select(file)) return -1;
  position = {entry.cursorPage, entry.cursorOffset};
  key.clear();
  const auto found = TheEngine().tree.Probe(position.page, position.offset);
  if (!found) return -1;
  const auto bytes = found->Key(TheEngine().work.KeyDescr());
  if (!bytes) return -1;
  key.assign(bytes->begin(), bytes->end());
  return 0;
}

int udbSetPosition(int file, const UdbPosition& position, UdbKey key) {
  Engine& engine = TheEngine();
  UdbFile* const found = engine.files.Find(file);
  if (found == nullptr) return -1;
  UdbFile& entry = *found;
  if (engine.quick.GoTo(entry, position, key) == QuickReads::Found) return 0;
  if (!Select(file)) return -1;
  const KEYDESCR& kd = TheEngine().work.KeyDescr();
  const auto probed = TheEngine().tree.Probe(position.page, position.offset);
  // A page that was freed keeps its bytes; the record that they show is gone, or somewhere else.
  const bool inTree = probed && TheEngine().work.WasInUse(position.page);
  const auto there = inTree ? probed->Key(kd) : std::nullopt;
  const auto wanted = KeyAtStart(kd, key);
  if (!there || !wanted || CompareKeys(kd, *there, *wanted) != 0) return udbFind(file, key);
  entry.SetCursor(position.page, position.offset);
  entry.seen.LoseCursor();  // seen without the lock
  return 0;
}

UdbMark udbMark(int file) {
  const UdbFile* const entry = EntryOf(file);
  return entry != nullptr ? MarkOf(*entry) : UdbMark();
}

// No count is the same twice: in the state of the mark, the cursor that is where it was is at the
// same record. Whether the file is still in that state is seen by the step itself.
bool udbStepOn(int file, UdbMark& mark, DataTransfer& record) {
  UdbFile* const entry = EntryOf(file);
  if (entry == nullptr || mark.count == nullptr || !IsAt(*entry, mark)) return false;
  if (QuickReads::StepInCopy(*entry, record)) {
    mark.at.offset = entry->cursorOffset;
  } else if (QuickReads::Next(*entry, record) == QuickReads::Found) {
    mark = MarkOf(*entry);
  } else {
    return false;
  }
  entry->lastError = UDB_SUCCESS;
  return true;
}
