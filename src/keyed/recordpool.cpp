// A walk over a keyed file.
#include "kvorlib/recordpool.h"

#include "keyed/utf8.h"
#include "kvorlib/persistentmap.h"
#include "maps/stdcursor.h"

RecordPool::RecordPool() = default;

RecordPool::~RecordPool() = default;

void RecordPool::SetCursor(MapCursor* walk) {
  cursor.reset(walk);
  stored = walk != nullptr ? maps::StdMapCursor::Of(*walk) : nullptr;
}

bool RecordPool::is_valid() const { return cursor != nullptr && cursor->is_valid(); }

bool RecordPool::empty() const { return is_valid() && cursor->empty(); }

bool RecordPool::GetNext(DataTransfer& key, DataTransfer& record) {
  return is_valid() && cursor->getnext(key, record);
}

bool RecordPool::GetNextInPlace(std::string_view& record, DataTransfer& room) {
  if (stored != nullptr) return stored->NextInPlace(record);
  DataTransfer key;
  if (!GetNext(key, room)) return false;
  record = {room.GetData(), static_cast<std::size_t>(room.Available())};
  return true;
}

bool RecordPool::GetNext(std::string& record, std::string& key) {
  if (stored != nullptr) return stored->NextText(record, key);
  DataTransfer keyBytes;
  DataTransfer recordBytes;
  if (!GetNext(keyBytes, recordBytes)) return false;
  recordBytes.GetData(record);
  keyBytes.GetData(key);
  return true;
}

bool RecordPool::GetNext(std::u16string& record, std::u16string& key) {
  std::string recordText;
  std::string keyText;
  if (!GetNext(recordText, keyText)) return false;
  record = keyed::Wide(recordText);
  key = keyed::Wide(keyText);
  return true;
}

bool RecordPool::GetKeyArray(std::list<std::u16string>& keys) {
  return is_valid() && cursor->getkeyarray(keys);
}
