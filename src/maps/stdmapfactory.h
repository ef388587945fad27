// The factory of store files, "std://".
#pragma once

#include <string>

#include "kvorlib/mapfactory.h"

namespace maps {

// Its construction readies the store's table of files: there is one, made as the library is built.
class StdMapFactory : public StaticMapFactory {
 public:
  explicit StdMapFactory(char const* servedPrefix);

  bool is_valid_command(int cmd) override;
  bool match_prefix(char const* text) override;
  PersistentMap* open_map(char const* uri, bool readOnly, KEYDESCR* kd) override;
  PersistentMap* create_map(char const* uri, int flag, KEYDESCR* kd) override;

 private:
  std::string prefix;
};

}  // namespace maps
