// PersistentMap and MapCursor: the abstract keyed store and its forward walker.
//
// Callers mostly hold an IndexFile (indexfile.h), which holds a map. Who writes a plug-in for a
// further scheme derives from both classes here, and from a factory (mapfactory.h).
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "kvorlib/datatransfer.h"
#include "kvorlib/export.h"

class MapCursor;
class MapFactory;
class ProcessMess;

namespace maps {
class MapList;
}

// Bytes in, bytes out, keys in an order that the implementation defines.
//
// The public operations never throw. Each clears the state, calls the protected operation that
// bears its name, and turns whatever that throws into a state and a negative answer. The state is a
// level, on the scale of ErrData::ERRTYPE, and words:
//   0  the operation did what it was asked for
//   1  it did not, for a good reason: not found, key present. No words, but for a key that cannot
//      occur in this map at all
//   2  it failed. The next operation clears this and is carried out
//   3  the map is unusable: every further operation answers negatively and keeps these words
//
// Maps are made by a factory, counted by their holders, and destroyed by the list of maps when the
// last holder lets go or the library shuts down. Narrow texts are UTF-8. A map belongs to one
// thread at a time.
class KVORLIB_API PersistentMap {
 public:
  // Carries out the command `cmd`, whose meaning for `arg` is the map's. With `query`, tells
  // whether the factory knows the command, and does nothing. Command 1 stores the KEYDESCR at
  // `arg`. Command 2 makes a store file of version 23 one of version 24: its records of 2030 bytes
  // and more cannot be read any more. A failure of that has no words.
  virtual bool extra_command(int cmd, void* arg, bool query);
  // Detaches the cursors that are still open.
  virtual ~PersistentMap();

  PersistentMap(PersistentMap const&) = delete;
  PersistentMap& operator=(PersistentMap const&) = delete;

  bool find(DataTransfer const& key);
  bool get(DataTransfer const& key, DataTransfer& record);
  // The record behind the one that was found or handed out last.
  bool getnext(DataTransfer& key, DataTransfer& record);
  bool rewind();
  // A key that is there already: replaced with `overwrite`, else false at level 1.
  bool put(DataTransfer const& key, DataTransfer const& record, bool overwrite);
  bool update(DataTransfer const& key, DataTransfer const& record);
  bool erase(DataTransfer const& key);
  bool clear();
  // The number of records, -1 on failure.
  long size();
  // Appends the keys in order, and one empty element behind them. The answer is turned round:
  // false says that all went well, true that the walk failed. (False also comes, with its state,
  // when no cursor could be made or something was thrown.)
  bool get_index_map(std::vector<DataTransfer>& keys);
  // Puts everything that `source` still has to give into this map, never over a record that is
  // there. Each refused record is reported to `mess`; the 51st ends the copy. `mess` may be null;
  // it is asked to go on after each record, and its "no" ends the copy without a failure.
  bool copy(MapCursor* source, ProcessMess* mess);

  // Whether a lookup wants the key itself (true, as at first) or takes the next higher one.
  bool set_exact_match(bool exact);
  bool get_exact_match() const { return exactMatch; }

  // A cursor at the first record at or after `key`; at the first of all for an empty key. The
  // caller owns it and deletes it; it may outlive the map. `count` is a hint. Null on failure; but
  // one that only could not read its first record is empty, and the map has the words. A key that
  // cannot occur in this map leaves it empty, too, and no words.
  MapCursor* create_cursor(DataTransfer const& key, int count);

  std::string const& get_uri() const { return uri; }
  std::string const& get_err_mess() const { return errMess; }
  int get_err_level() const { return errLevel; }
  bool is_usable() const { return errLevel != 3; }
  bool has_error() const { return errLevel == 2 || errLevel == 3; }
  // "Table: URI Key: KEY WORDS", without the key's part for an empty key.
  std::string get_full_err_mess(DataTransfer const& key) const;
  MapFactory* get_factory() const { return factory; }

  // One more holder. Letting go falls to the list of maps.
  void add_ref() { ++refCount; }
  // For the layers above, which have failures of their own to tell of this map. An unusable map
  // keeps its state.
  void set_state(int level, std::string const& words);

 protected:
  PersistentMap(MapFactory* maker, std::string const& name);

  // What an implementation supplies. These may throw anything; an ErrBuf carries the level and the
  // words of the state. A false answer leaves the state as the implementation set it.
  virtual bool _find(DataTransfer const& key) = 0;
  virtual bool _get(DataTransfer const& key, DataTransfer& record) = 0;
  virtual bool _getnext(DataTransfer& key, DataTransfer& record) = 0;
  virtual bool _rewind() = 0;
  virtual bool _put(DataTransfer const& key, DataTransfer const& record, bool overwrite) = 0;
  virtual bool _update(DataTransfer const& key, DataTransfer const& record) = 0;
  virtual bool _set_exact_match(bool exact) = 0;
  virtual bool _erase(DataTransfer const& key) = 0;
  virtual bool _clear() = 0;
  virtual long _size() = 0;
  // Knows no command: words without a level, and false.
  virtual bool _extra_command(int cmd, void* arg);
  virtual bool _get_index_map(std::vector<DataTransfer>& keys);
  // Back to level 0. Throws an ErrBuf with the words that stand when the map is unusable.
  virtual void reset_state();
  // Where the map stands: some bytes, and the key of the record there.
  virtual bool _get_position(DataTransfer& position, std::string& key) = 0;
  virtual bool _set_position(DataTransfer const& position, std::string const& key) = 0;
  virtual bool _copy(MapCursor* source, ProcessMess* mess);
  virtual MapCursor* _create_cursor(DataTransfer const& key, int count) = 0;
  virtual MapCursor* _create_cursor() = 0;

  MapFactory* factory;
  std::int32_t refCount = 1;
  std::int32_t errLevel = 0;
  std::string errMess;
  std::string uri;
  bool exactMatch = true;
  std::list<MapCursor*> cursors;  // open on this map; not owned

 private:
  friend class MapCursor;
  friend class maps::MapList;
};

// A forward walk over a map, owned by whoever created it. Cursor and map may die in any order: a
// cursor whose map has gone has nothing more to give.
class KVORLIB_API MapCursor {
 public:
  virtual bool getnext(DataTransfer& key, DataTransfer& record) = 0;
  // Appends the keys that are left, each up to its first zero byte, read as UTF-8.
  virtual bool getkeyarray(std::list<std::u16string>& keys);
  virtual bool empty() = 0;
  virtual bool is_valid() = 0;
  // Lets go of the map: an implementation sets `map` to null and answers true. The map calls it
  // when it dies.
  virtual bool detach() = 0;
  virtual ~MapCursor();

  MapCursor(MapCursor const&) = delete;
  MapCursor& operator=(MapCursor const&) = delete;

  // Ends the walk: the map forgets the cursor, and the cursor the map.
  void close();

 protected:
  explicit MapCursor(PersistentMap* walked) : map(walked) {}

  PersistentMap* map;  // null once detached
};
