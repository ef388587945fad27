// A map that is one store file: keys and records are checked against the file's layout, and the
// store's answers become the state of the map.
#include "maps/stdmap.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "kvorlib/errors.h"
#include "maps/frame.h"
#include "maps/keyrules.h"
#include "maps/library.h"
#include "maps/stdcursor.h"
#include "store/udb.h"

namespace maps {

static_assert(sizeof(KEYDESCR) == 4 && sizeof(UdbPosition) == 4, "both travel as four bytes");

std::uint64_t putCalls = 0;

namespace {

constexpr std::size_t pathLimit = 127;
constexpr int readOnlyFlags = 0;
constexpr int readWriteFlags = 2;

}  // namespace

StdPersistentMap::StdPersistentMap(MapFactory* maker, char const* name, bool readOnly)
    : PersistentMap(maker, name) {
  try {
    Open(readOnly);
  } catch (...) {
    set_state(ErrData::ERR_FATAL, "Exception arose");
  }
}

StdPersistentMap::StdPersistentMap(MapFactory* maker, char const* name, KEYDESCR const& kd)
    : PersistentMap(maker, name) {
  try {
    Create(kd);
  } catch (...) {
    set_state(ErrData::ERR_FATAL, "Exception arise");
  }
}

StdPersistentMap::~StdPersistentMap() {
  if (file != -1) udbClose(file);
}

void StdPersistentMap::Open(bool readOnly) {
  std::string path;
  if (!CutPath(path)) return set_state(ErrData::ERR_FATAL, "Wrong file name");
  std::string failure;
  file = udbOpen(path.c_str(), readOnly ? readOnlyFlags : readWriteFlags, failure);
  if (file == -1) return set_state(ErrData::ERR_FATAL, failure);
  if (!Answered(udbGetKeyDescr(file, keyDescr))) errLevel = ErrData::ERR_FATAL;
}

void StdPersistentMap::Create(KEYDESCR const& kd) {
  std::string path;
  if (!CutPath(path)) return set_state(ErrData::ERR_FATAL, "Wrong file name");
  std::string failure;
  file = udbCreate(path.c_str(), kd, failure);
  if (file == -1) return set_state(ErrData::ERR_FATAL, failure);
  keyDescr = kd;
}

bool StdPersistentMap::CutPath(std::string& path) {
  constexpr std::string_view schemeEnd = "://";
  std::string const& prefix = TheLibrary().stdPrefix;
  std::size_t at = 0;
  if (uri.starts_with(prefix)) {
    at = prefix.size();
  } else if (auto const scheme = uri.find(schemeEnd); scheme != std::string::npos) {
    at = scheme + schemeEnd.size();
  }
  if (uri.size() - at >= pathLimit) {
    set_state(ErrData::ERR_ERROR, "Too long name");
    return false;
  }
  path = uri.substr(at);
  return !path.empty();
}

bool StdPersistentMap::Answered(int answer) {
  errMess.clear();
  switch (answer) {
    case 0:
      errLevel = ErrData::ERR_NONE;
      break;
    case 1:
      errLevel = ErrData::ERR_WARNING;
      break;
    case -1:
      errLevel = ErrData::ERR_ERROR;
      udbErrorText(file, errMess);
      break;
    default:
      set_state(ErrData::ERR_ERROR, "Unsupported return code");
      break;
  }
  return errLevel == ErrData::ERR_NONE;
}

// A bad key cannot be there: for a mere question that is a "no", though one with words.
bool StdPersistentMap::_find(DataTransfer const& key) {
  StoreKey const wanted(keyDescr, key, ErrData::ERR_WARNING);
  return Answered(udbFind(file, wanted.Whole()));
}

bool StdPersistentMap::_get(DataTransfer const& key, DataTransfer& record) {
  StoreKey const wanted(keyDescr, key, ErrData::ERR_ERROR);
  return Answered(udbGet(file, wanted.Whole(), record));
}

bool StdPersistentMap::_getnext(DataTransfer& key, DataTransfer& record) {
  Bytes own;
  if (!ReadNext(record, own)) return false;
  key.SetData(own.data(), static_cast<int>(own.size()));
  return true;
}

bool StdPersistentMap::ReadNext(DataTransfer& record, Bytes& key) {
  return TakeKey(udbGetNext(file, record), record, key);
}

bool StdPersistentMap::TakeKey(int answer, DataTransfer const& record, Bytes& key) {
  if (!Answered(answer)) return false;
  key = KeyOf(keyDescr, BytesOf(record));
  return true;
}

bool StdPersistentMap::_rewind() { return Answered(udbRewind(file)); }

// The record is checked before the key: a key that is not the record's own is refused as that, not
// as a bad key. Between the insertion and the update another process may remove the record again.
bool StdPersistentMap::_put(DataTransfer const& key, DataTransfer const& record, bool overwrite) {
  ++putCalls;
  CheckRecord(keyDescr, key, record);
  StoreKey const own(keyDescr, key, ErrData::ERR_ERROR, StoreKey::Ends::Bare);
  Bytes const bytes = BytesOf(record);
  auto const length = static_cast<std::uint32_t>(bytes.size());
  int answer = udbInsert(file, bytes.data(), length);
  if (answer == 1 && overwrite) answer = udbUpdate(file, own.Whole(), bytes.data(), length);
  return Answered(answer);
}

bool StdPersistentMap::_update(DataTransfer const& key, DataTransfer const& record) {
  CheckRecord(keyDescr, key, record);
  StoreKey const own(keyDescr, key, ErrData::ERR_ERROR, StoreKey::Ends::Bare);
  Bytes const bytes = BytesOf(record);
  return Answered(
      udbUpdate(file, own.Whole(), bytes.data(), static_cast<std::uint32_t>(bytes.size())));
}

bool StdPersistentMap::_set_exact_match(bool exact) {
  return Answered(udbSetMatchMode(file, exact ? UDB_EXACT : UDB_AT_OR_AFTER));
}

bool StdPersistentMap::_erase(DataTransfer const& key) {
  StoreKey const wanted(keyDescr, key, ErrData::ERR_ERROR);
  return Answered(udbErase(file, wanted.Whole()));
}

bool StdPersistentMap::_clear() { return Answered(udbClear(file)); }

long StdPersistentMap::_size() {
  std::uint32_t count = 0;
  return Answered(udbGetCount(file, count)) ? static_cast<long>(count) : -1;
}

bool StdPersistentMap::_extra_command(int cmd, void* arg) {
  switch (cmd) {
    case KeyDescrCommand:
      std::memcpy(arg, &keyDescr, sizeof keyDescr);
      break;
    case UpgradeCommand:
      return udbUpgrade(file) == 0;
    default:
      set_state(ErrData::ERR_ERROR, "Command not supported");
      break;
  }
  return errLevel == ErrData::ERR_NONE;
}

bool StdPersistentMap::_get_position(DataTransfer& position, std::string& key) {
  UdbPosition at;
  if (udbGetPosition(file, at, key) != 0) return false;
  position.SetData(static_cast<void const*>(&at), sizeof at);
  return true;
}

bool StdPersistentMap::_set_position(DataTransfer const& position, std::string const& key) {
  UdbPosition at;
  Bytes const bytes = BytesOf(position);
  if (bytes.size() < sizeof at) return false;
  std::memcpy(&at, bytes.data(), sizeof at);
  auto const* const text = reinterpret_cast<unsigned char const*>(key.data());
  return udbSetPosition(file, at, {text, key.size()}) == 0;
}

MapCursor* StdPersistentMap::_create_cursor(DataTransfer const& key, int /*count*/) {
  return Framed(*this, static_cast<MapCursor*>(nullptr), [&]() -> MapCursor* {
    reset_state();
    auto cursor = std::make_unique<StdMapCursor>(this);
    UdbHold const hold(file);  // else the file could change before the position is noted
    auto const readFirst = [&] { return ReadNext(cursor->record, cursor->key); };
    cursor->hasNext =
        key.Size() > 0 ? ReadFrom(key, *cursor) : rewind() && Framed(*this, false, readFirst);
    if (cursor->hasNext) cursor->NotePosition();
    return cursor.release();
  });
}

MapCursor* StdPersistentMap::_create_cursor() { return _create_cursor(DataTransfer(), -1); }

// Nothing at or after the key, and a key that this layout cannot have, leave an empty cursor and no
// words: setting the mode back clears the state. A failure of the store must not look like that,
// and is told again.
bool StdPersistentMap::ReadFrom(DataTransfer const& key, StdMapCursor& cursor) {
  struct AtOrAfter {
    explicit AtOrAfter(StdPersistentMap& searched) : map(searched) { map._set_exact_match(false); }
    ~AtOrAfter() { map._set_exact_match(map.exactMatch); }
    AtOrAfter(AtOrAfter const&) = delete;
    AtOrAfter& operator=(AtOrAfter const&) = delete;
    StdPersistentMap& map;
  };
  int answer = 1;
  try {
    AtOrAfter const mode(*this);
    StoreKey const wanted(keyDescr, key, ErrData::ERR_ERROR);
    if (wanted.CanStand()) answer = udbGet(file, wanted.Whole(), cursor.record);
  } catch (ErrBuf const&) {
    return false;
  }
  return answer != 1 && TakeKey(answer, cursor.record, cursor.key);
}

}  // namespace maps
