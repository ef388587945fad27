// A walk over a store file.
#include "maps/stdcursor.h"

#include <typeinfo>

#include "maps/frame.h"
#include "maps/keyrules.h"
#include "maps/stdmap.h"
#include "store/page.h"
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

StdMapCursor* StdMapCursor::Of(MapCursor& cursor) {
  return typeid(cursor) == typeid(StdMapCursor) ? static_cast<StdMapCursor*>(&cursor) : nullptr;
}

bool StdMapCursor::getnext(DataTransfer& nextKey, DataTransfer& nextRecord) {
  if (!is_valid() || !hasNext) return false;
  nextKey.SetData(key.data(), static_cast<int>(key.size()));
  nextRecord = record;
  ReadAhead();
  return true;
}

bool StdMapCursor::NextText(std::string& nextRecord, std::string& nextKey) {
  if (!is_valid() || !hasNext) return false;
  record.GetData(nextRecord);
  nextKey.assign(reinterpret_cast<char const*>(key.data()), key.size());
  ReadAhead();
  return true;
}

bool StdMapCursor::NextInPlace(std::string_view& nextRecord) {
  if (!is_valid() || !hasNext) return false;
  ReadAhead();
  nextRecord = {inHand.GetData(), static_cast<std::size_t>(inHand.Available())};
  return true;
}

// If nobody has touched the file since, the walk simply goes on. Otherwise puts the file back on
// the record in hand, wherever it stands now, and reads the one behind it. If the record in hand
// has gone, the search for it leaves the file where its key would stand, and the walk goes on
// behind that place. Other processes are kept out, lest they move records in between.
void StdMapCursor::ReadAhead() {
  StdPersistentMap& walked = Walked();
  inHand.Swap(record);
  if (udbStepOn(walked.file, mark, record)) {
    isMarked = true;
    hasNext = Framed(walked, false, [&] { return walked.TakeKey(0, record, key); });
    // Only of a long record may the key be another one than its entry's, by damage: gone back to by
    // that, the walk could run in a circle.
    if (hasNext && record.Size() >= static_cast<int>(store::FirstExternal)) NotePosition();
    return;
  }
  if (isMarked) NoteMarked();
  UdbHold const hold(walked.file);
  std::string const left = keyText;
  hasNext = Framed(walked, false, [&] {
    walked._set_position(position, left);
    return walked.ReadNext(record, key);
  });
  if (hasNext) NotePosition();
  if (hasNext) GoOnOnlyBehind(left);
}

// Among keys out of order the search for one may come out in front of it: the walk would never end.
void StdMapCursor::GoOnOnlyBehind(std::string const& left) {
  auto const bytes = [](std::string const& text) {
    return Bytes(reinterpret_cast<unsigned char const*>(text.data()), text.size());
  };
  if (store::CompareKeys(Walked().keyDescr, bytes(left), bytes(keyText)) < 0) return;
  hasNext = false;
  Walked().set_state(ErrData::ERR_ERROR, "FILE CORRUPTED");
}

void StdMapCursor::NoteMarked() {
  StdPersistentMap const& walked = Walked();
  position.SetData(static_cast<void const*>(&mark.at), sizeof mark.at);
  Framed(Walked(), false, [&] {
    Bytes const own = KeyOf(walked.keyDescr, BytesOf(inHand));
    keyText.assign(own.begin(), own.end());
    if (walked.keyDescr.IsText()) keyText += static_cast<char>(walked.keyDescr.len);
    return true;
  });
  isMarked = false;
}

// Without its position the record could not be left behind again: the walk ends as failed.
void StdMapCursor::NotePosition() {
  mark = udbMark(Walked().file);
  isMarked = false;
  if (Walked()._get_position(position, keyText)) return;
  hasNext = false;
  Walked().Answered(-1);
}

}  // namespace maps
