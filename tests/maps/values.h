// What goes into maps and comes out of them, as texts.
#pragma once

#include <string>

#include <kvorlib/persistentmap.h>

inline std::string const Zero(1, '\0');

inline std::string TextOf(DataTransfer const& value) {
  std::string text;
  value.GetData(text);
  return text;
}

inline DataTransfer BytesFrom(std::string const& text) {
  return {static_cast<void const*>(text.data()), static_cast<int>(text.size())};
}

// "2 Key too long": the level and the words.
inline std::string StateOf(PersistentMap const& map) {
  return std::to_string(map.get_err_level()) + ' ' + map.get_err_mess();
}
