// Plug-ins that are not what a plug-in should be, one by each definition, and one that is odd but
// allowed: a factory outside the chain, the same for every scheme.
#include <cstdio>
#include <new>

#include "maps/memorymap.h"

#if defined(PLUGIN_THROWS)
// Leaves a factory behind in the chain.
extern "C" MapFactory* GetFactory(char const* prefix) {
  alignas(MemoryFactory) static char room[sizeof(MemoryFactory)];
  new (room) MemoryFactory(prefix);
  throw std::string("no");
}
#elif defined(PLUGIN_NULL)
extern "C" MapFactory* GetFactory(char const*) { return nullptr; }
#elif defined(PLUGIN_BARE)

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

extern "C" MapFactory* GetFactory(char const*) {
  static MapFactory* const only = new BareFactory;
  return only;
}
#else
extern "C" int CountCalls() {
  static int calls = 0;
  return ++calls;
}
#endif
