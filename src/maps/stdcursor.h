// StdMapCursor: a walk over a store file.
#pragma once

#include <string>

#include "kvorlib/persistentmap.h"

namespace maps {

class StdPersistentMap;

// Reads one record ahead, and keeps that record's key: several cursors can walk one file at once,
// and the file may be changed between two steps, although the store knows one position a file. The
// record that was read ahead is handed out even if it has been erased meanwhile.
class StdMapCursor : public MapCursor {
 public:
  explicit StdMapCursor(StdPersistentMap* walked);
  ~StdMapCursor() override;

  bool getnext(DataTransfer& nextKey, DataTransfer& nextRecord) override;
  bool empty() override { return !hasNext; }
  bool is_valid() override { return map != nullptr; }
  bool detach() override;

 private:
  friend class StdPersistentMap;

  void ReadAhead();
  // The file stands on the record in hand: remembers where that is.
  void NotePosition();
  StdPersistentMap& Walked() const;

  DataTransfer key;
  DataTransfer record;
  DataTransfer position;
  std::string keyText;
  bool hasNext = false;
};

}  // namespace maps
