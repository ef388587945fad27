// StdPersistentMap: a map that is one store file.
#pragma once

#include <cstdint>
#include <string>

#include "kvorlib/keydescr.h"
#include "kvorlib/persistentmap.h"
#include "maps/keyrules.h"

namespace maps {

// Commands of extra_command.
inline constexpr int KeyDescrCommand = 1;  // stores the KEYDESCR at the argument
inline constexpr int UpgradeCommand = 2;   // makes a file of version 23 one of version 24

class StdMapCursor;

class StdPersistentMap : public PersistentMap {
 public:
  // Each leaves the map at level 3, with the words, if there is no file to work on.
  StdPersistentMap(MapFactory* maker, char const* name, bool readOnly);
  StdPersistentMap(MapFactory* maker, char const* name, KEYDESCR const& kd);
  ~StdPersistentMap() override;

 protected:
  bool _find(DataTransfer const& key) override;
  bool _get(DataTransfer const& key, DataTransfer& record) override;
  bool _getnext(DataTransfer& key, DataTransfer& record) override;
  bool _rewind() override;
  bool _put(DataTransfer const& key, DataTransfer const& record, bool overwrite) override;
  bool _update(DataTransfer const& key, DataTransfer const& record) override;
  bool _set_exact_match(bool exact) override;
  bool _erase(DataTransfer const& key) override;
  bool _clear() override;
  long _size() override;
  bool _extra_command(int cmd, void* arg) override;
  bool _get_position(DataTransfer& position, std::string& key) override;
  bool _set_position(DataTransfer const& position, std::string const& key) override;
  MapCursor* _create_cursor(DataTransfer const& key, int count) override;
  MapCursor* _create_cursor() override;

 private:
  friend class StdMapCursor;

  void Open(bool readOnly);
  void Create(KEYDESCR const& kd);
  // The path inside the URI; false with its words if it is too long.
  bool CutPath(std::string& path);
  // Turns an answer of the store into the state, and into whether it was a success.
  bool Answered(int answer);
  // The same; after a success `key` is the one in the record.
  bool TakeKey(int answer, DataTransfer const& record, Bytes& key);
  bool ReadNext(DataTransfer& record, Bytes& key);
  // Reads the first record at or after the key into the cursor.
  bool ReadFrom(DataTransfer const& key, StdMapCursor& cursor);

  std::int32_t file = -1;
  KEYDESCR keyDescr;
};

// How often a record was put into a store file. A figure for whoever looks into a running program.
extern std::uint64_t putCalls;

}  // namespace maps
