// The state of the persistent layers, built when the library is loaded or first used, whichever
// comes first: the list of maps, the standard prefix, the standard factory.
#pragma once

#include <string>

#include "maps/maplist.h"
#include "maps/stdmapfactory.h"

namespace maps {

struct Library {
  Library() = default;
  // At unload: maps first, so that their files are closed while the store is still there.
  ~Library() { list.DestroyAll(); }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;

  MapList list;
  std::string stdPrefix = "std://";
  StdMapFactory standard{"std://"};  // the last member: leaving the chain needs the list
};

Library& TheLibrary();

}  // namespace maps
