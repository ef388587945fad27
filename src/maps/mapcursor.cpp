// What every cursor does: leaving its map, and reading off the keys.
#include <algorithm>

#include "kvorlib/encoding.h"
#include "kvorlib/persistentmap.h"
#include "maps/plugins.h"

// A cursor that was not closed must not stay on the list of its map.
MapCursor::~MapCursor() {
  maps::CursorGone(this);
  if (map != nullptr) map->cursors.remove(this);
}

void MapCursor::close() {
  if (map != nullptr) map->cursors.remove(this);
  detach();
}

bool MapCursor::getkeyarray(std::list<std::u16string>& keys) {
  DataTransfer key;
  DataTransfer record;
  while (getnext(key, record)) {
    char const* const first = key.GetData();
    keys.push_back(u8_w(first, std::find(first, first + key.Available(), '\0')));
    key.Clear();
  }
  return true;
}
