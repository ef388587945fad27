// StdMapCursor: a walk over a store file.
#pragma once

#include <string>
#include <string_view>

#include "kvorlib/persistentmap.h"
#include "maps/keyrules.h"
#include "store/udb.h"

namespace maps {

class StdPersistentMap;

// Reads one record ahead, and keeps that record's key: several cursors can walk one file at once,
// and the file may be changed between two steps, although the store knows one position a file. The
// record that was read ahead is handed out even if it has been erased meanwhile.
class StdMapCursor : public MapCursor {
 public:
  explicit StdMapCursor(StdPersistentMap* walked);
  ~StdMapCursor() override;

  // The cursor, if it is one of these.
  static StdMapCursor* Of(MapCursor& cursor);

  bool getnext(DataTransfer& nextKey, DataTransfer& nextRecord) override;
  // The same as texts. The record in place lives until the next step.
  bool NextText(std::string& nextRecord, std::string& nextKey);
  bool NextInPlace(std::string_view& nextRecord);
  bool empty() override { return !hasNext; }
  bool is_valid() override { return map != nullptr; }
  bool detach() override;

 private:
  friend class StdPersistentMap;

  void ReadAhead();
  // The file stands on the record that was read ahead: remembers where that is.
  void NotePosition();
  // The record that was read ahead is damage if its key is not behind this one.
  void GoOnOnlyBehind(std::string const& left);
  // As NotePosition, of the record in hand, when nothing but a mark was kept of its place.
  void NoteMarked();
  StdPersistentMap& Walked() const;

  DataTransfer record;
  Bytes key;              // in the record
  DataTransfer position;  // this and the next: as of the last step that could not go by the mark
  std::string keyText;
  bool hasNext = false;
  UdbMark mark;
  bool isMarked = false;  // the place is that of the mark, and the two above are out of date
  DataTransfer inHand;    // the record that was handed out last
};

}  // namespace maps
