// The factory of store files.
#include "maps/stdmapfactory.h"

#include <string_view>

#include "maps/maps.h"
#include "maps/stdmap.h"
#include "store/udb.h"

namespace maps {

StdMapFactory::StdMapFactory(char const* servedPrefix)
    : StaticMapFactory(LibraryStart()), prefix(servedPrefix) {
  udbInit();
}

bool StdMapFactory::is_valid_command(int cmd) {
  return cmd == KeyDescrCommand || cmd == UpgradeCommand || StaticMapFactory::is_valid_command(cmd);
}

bool StdMapFactory::match_prefix(char const* text) {
  return std::string_view(text).starts_with(prefix);
}

PersistentMap* StdMapFactory::open_map(char const* uri, bool readOnly, KEYDESCR* /*kd*/) {
  return new StdPersistentMap(this, uri, readOnly);
}

PersistentMap* StdMapFactory::create_map(char const* uri, int /*flag*/, KEYDESCR* kd) {
  return new StdPersistentMap(this, uri, kd != nullptr ? *kd : NoLayout);
}

}  // namespace maps
