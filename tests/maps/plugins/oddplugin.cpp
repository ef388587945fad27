// A plug-in that is not what a plug-in should be, as the scheme asks for: "throws", "null". For
// other schemes it is odd but allowed: a factory outside the chain, the same one each time.
#include <cstdio>
#include <new>

#include "maps/memorymap.h"

struct Global {
  ~Global() { std::fputs("module ", stderr); }
} const global;

class BareMap final : public MemoryMap {
 public:
  using MemoryMap::MemoryMap;
  ~BareMap() override { std::fputs("map ", stderr); }
};

class BareFactory final : public MapFactory {
 public:
  ~BareFactory() override { std::fputs("factory ", stderr); }
  bool match_prefix(char const*) override { return false; }  // asked for each file
  PersistentMap* open_map(char const*, bool, KEYDESCR*) override { return nullptr; }
  PersistentMap* create_map(char const* uri, int, KEYDESCR*) override {
    return new BareMap(this, uri, &store);
  }

 private:
  MemoryStore store;
};

extern "C" MapFactory* GetFactory(char const* prefix) {
  std::string const scheme = prefix;
  if (scheme == "null://") return nullptr;
  if (scheme == "throws://") {
    alignas(MemoryFactory) static char room[sizeof(MemoryFactory)];
    new (room) MemoryFactory(scheme);  // stays behind in the chain
    throw scheme;
  }
  static MapFactory* const only = new BareFactory;
  return only;
}
