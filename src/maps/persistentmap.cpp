// The public operations of a map, each one frame around the operation that an implementation
// supplies, and what a map does by itself: its state, its list of cursors, copying record by
// record.
#include "kvorlib/persistentmap.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "kvorlib/mapfactory.h"
#include "kvorlib/messages.h"
#include "maps/frame.h"
#include "maps/plugins.h"

using maps::Framed;

namespace {

constexpr int utf8Page = 65001;
constexpr int toleratedRefusals = 50;

// A key's bytes as words in a message: up to the first zero.
std::string_view KeyWords(DataTransfer const& key) {
  char const* const first = key.GetData();
  return {first, std::find(first, first + key.Available(), '\0')};
}

void Report(PersistentMap const& map, DataTransfer const& key, ProcessMess* mess) {
  if (mess != nullptr) mess->AddMessage(A2U(map.get_full_err_mess(key), utf8Page));
}

}  // namespace

PersistentMap::PersistentMap(MapFactory* maker, std::string const& name)
    : factory(maker), uri(name) {}

PersistentMap::~PersistentMap() {
  while (!cursors.empty()) {
    MapCursor* const cursor = cursors.front();
    cursors.pop_front();
    cursor->detach();
  }
}

bool PersistentMap::extra_command(int cmd, void* arg, bool query) {
  return Framed(*this, false, [&] {
    reset_state();
    if (query) return factory != nullptr && factory->is_valid_command(cmd);
    return _extra_command(cmd, arg);
  });
}

bool PersistentMap::find(DataTransfer const& key) {
  return Framed(*this, false, [&] {
    reset_state();
    return _find(key);
  });
}

bool PersistentMap::get(DataTransfer const& key, DataTransfer& record) {
  return Framed(*this, false, [&] {
    reset_state();
    return _get(key, record);
  });
}

bool PersistentMap::getnext(DataTransfer& key, DataTransfer& record) {
  return Framed(*this, false, [&] {
    reset_state();
    return _getnext(key, record);
  });
}

bool PersistentMap::rewind() {
  return Framed(*this, false, [&] {
    reset_state();
    return _rewind();
  });
}

bool PersistentMap::put(DataTransfer const& key, DataTransfer const& record, bool overwrite) {
  return Framed(*this, false, [&] {
    reset_state();
    return _put(key, record, overwrite);
  });
}

bool PersistentMap::update(DataTransfer const& key, DataTransfer const& record) {
  return Framed(*this, false, [&] {
    reset_state();
    return _update(key, record);
  });
}

bool PersistentMap::erase(DataTransfer const& key) {
  return Framed(*this, false, [&] {
    reset_state();
    return _erase(key);
  });
}

bool PersistentMap::clear() {
  return Framed(*this, false, [&] {
    reset_state();
    return _clear();
  });
}

long PersistentMap::size() {
  return Framed(*this, -1L, [&] {
    reset_state();
    return _size();
  });
}

bool PersistentMap::get_index_map(std::vector<DataTransfer>& keys) {
  return Framed(*this, false, [&] {
    reset_state();
    return _get_index_map(keys);
  });
}

bool PersistentMap::copy(MapCursor* source, ProcessMess* mess) {
  return Framed(*this, false, [&] {
    reset_state();
    return _copy(source, mess);
  });
}

// The mode is remembered whether or not the implementation took it.
bool PersistentMap::set_exact_match(bool exact) {
  bool const taken = Framed(*this, false, [&] {
    reset_state();
    return _set_exact_match(exact);
  });
  exactMatch = exact;
  return taken;
}

MapCursor* PersistentMap::create_cursor(DataTransfer const& key, int count) {
  if (!is_usable()) return nullptr;
  return Framed(*this, static_cast<MapCursor*>(nullptr), [&] {
    MapCursor* const made =
        key.Size() > 0 || count != -1 ? _create_cursor(key, count) : _create_cursor();
    if (made != nullptr) {
      cursors.push_back(made);
      maps::CursorHandedOut(made, factory);
    }
    return made;
  });
}

std::string PersistentMap::get_full_err_mess(DataTransfer const& key) const {
  std::string words = "Table: " + uri;
  if (key.Size() > 0) words.append(" Key: ").append(KeyWords(key));
  return words.append(" ").append(errMess);
}

void PersistentMap::set_state(int level, std::string const& words) {
  if (!is_usable()) return;  // for good, whatever a layer above has to tell
  errLevel = level;
  errMess = words;
}

bool PersistentMap::_extra_command(int /*cmd*/, void* /*arg*/) {
  errMess = "Extra command not supported";
  return false;
}

bool PersistentMap::_get_index_map(std::vector<DataTransfer>& keys) {
  reset_state();
  std::unique_ptr<MapCursor> const walk(_create_cursor());
  if (walk == nullptr) {
    set_state(ErrData::ERR_ERROR, "Cursor creation error");
    return false;
  }
  DataTransfer record;
  do {
    keys.emplace_back();
  } while (walk->getnext(keys.back(), record));
  return has_error();  // turned round: callers read "true" as failure
}

void PersistentMap::reset_state() {
  if (!is_usable()) throw ErrBuf(errMess, errLevel);
  errLevel = ErrData::ERR_NONE;
  errMess.clear();
}

bool PersistentMap::_copy(MapCursor* source, ProcessMess* mess) {
  bool copied = true;
  int refusals = 0;
  DataTransfer key;
  DataTransfer record;
  while (source->getnext(key, record)) {
    if (!put(key, record, false)) {
      Report(*this, key, mess);
      if (++refusals > toleratedRefusals) {
        copied = false;
        break;
      }
    }
    if (mess != nullptr && !mess->Progress(-1, -1)) break;
  }
  if (has_error()) {
    copied = false;
    Report(*this, DataTransfer(), mess);
  }
  return copied;
}
