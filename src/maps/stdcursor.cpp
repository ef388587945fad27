// A walk over a store file.
#include "maps/stdcursor.h"

#include "maps/frame.h"
#include "maps/stdmap.h"
#include "store/udb.h"

namespace maps {

StdMapCursor::StdMapCursor(StdPersistentMap* walked) : MapCursor(walked) {}

StdMapCursor::~StdMapCursor() {
  if (is_valid()) close();
}

bool StdMapCursor::detach() {
  map = nullptr;
  return true;
}

StdPersistentMap& StdMapCursor::Walked() const { return static_cast<StdPersistentMap&>(*map); }

bool StdMapCursor::getnext(DataTransfer& nextKey, DataTransfer& nextRecord) {
  if (!is_valid() || !hasNext) return false;
  nextKey = key;
  nextRecord = record;
  ReadAhead();
  return true;
}

// Puts the file back on the record in hand, wherever it stands now, and reads the one behind it. If
// the record in hand has gone, the search for it leaves the file where its key would stand, and the
// walk goes on behind that place. Other processes are kept out, lest they move records in between.
void StdMapCursor::ReadAhead() {
  StdPersistentMap& walked = Walked();
  UdbHold const hold(walked.file);
  hasNext = Framed(walked, false, [&] {
    walked._set_position(position, keyText);
    return walked._getnext(key, record);
  });
  if (hasNext) NotePosition();
}

// Without its position the record could not be left behind again: the walk ends as failed.
void StdMapCursor::NotePosition() {
  if (Walked()._get_position(position, keyText)) return;
  hasNext = false;
  Walked().Answered(-1);
}

}  // namespace maps
