// Building up and shutting down, and the operations that go by the chain of factories and the list.
#include "maps/library.h"

#include <algorithm>
#include <string_view>

#include "maps/maps.h"
#include "maps/plugins.h"

namespace maps {

namespace {

constexpr std::string_view schemeEnd = "://";

// At load, before anybody else can ask.
[[maybe_unused]] Library const& built = TheLibrary();

std::string PrefixOf(std::string const& uri) {
  auto const at = uri.find(schemeEnd);
  return at != std::string::npos ? uri.substr(0, at + schemeEnd.size()) : TheLibrary().stdPrefix;
}

// A factory may come from outside, so that what it throws ends here.
template <typename Ask>
bool Agreed(Ask ask) {
  try {
    return ask();
  } catch (...) {
    return false;
  }
}

MapFactory* InChain(std::string const& prefix) {
  for (auto* factory = StaticMapFactory::get_first(); factory != nullptr;
       factory = factory->get_next()) {
    if (Agreed([&] { return factory->match_prefix(prefix.c_str()); })) return factory;
  }
  return nullptr;
}

std::string SchemeOf(std::string const& prefix) {
  return prefix.substr(0, prefix.size() - std::min(prefix.size(), schemeEnd.size()));
}

template <typename Make>
PersistentMap* Made(char const* uri, Make make) {
  MapFactory* const factory = FindFactory(uri);
  if (factory == nullptr) return nullptr;
  try {
    return make(*factory);
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

Library& TheLibrary() {
  static Library library;
  return library;
}

MapFactory* FindFactory(char const* uri) {
  std::string prefix = PrefixOf(uri);
  for (;;) {
    MapFactory* const factory = InChain(prefix);
    if (factory != nullptr) return factory;
    // A plug-in that is named and cannot be had is no reason to make store files in its place.
    auto const plugin = FindPlugin(SchemeOf(prefix).c_str());
    if (plugin.has_value()) return *plugin;
    std::string fallback = PrefixOf(TheLibrary().stdPrefix);
    if (prefix == fallback) return nullptr;
    prefix.swap(fallback);
  }
}

PersistentMap* OpenMap(char const* uri, bool readOnly, KEYDESCR* kd) {
  PersistentMap* const map =
      Made(uri, [&](MapFactory& factory) { return factory.open_map(uri, readOnly, kd); });
  if (map != nullptr) TheLibrary().list.Add(map, map->is_usable());
  return map;
}

PersistentMap* CreateMap(char const* uri, int flag, KEYDESCR* kd) {
  PersistentMap* const map =
      Made(uri, [&](MapFactory& factory) { return factory.create_map(uri, flag, kd); });
  if (map != nullptr) TheLibrary().list.Add(map, true);
  return map;
}

bool CloseMap(PersistentMap* map) { return TheLibrary().list.Close(map); }

bool IsOpenMap(PersistentMap const* map) { return TheLibrary().list.IsListed(map); }

std::uint64_t MapNumber(PersistentMap const* map) { return TheLibrary().list.Number(map); }

std::uint64_t OpenMapNumber(PersistentMap const* map) {
  return TheLibrary().list.ListedNumber(map);
}

bool RunSystemCommand(int cmd, void* arg, char const* prefix) {
  bool obeyed = true;
  for (auto* factory = StaticMapFactory::get_first(); factory != nullptr;
       factory = factory->get_next()) {
    bool const meant = Agreed([&] {
      return prefix != nullptr ? factory->match_prefix(prefix) : factory->is_valid_command(cmd);
    });
    if (meant && !Agreed([&] { return factory->system_command(cmd, arg); })) obeyed = false;
  }
  return obeyed;
}

}  // namespace maps

void udbShutDown() {
  maps::TheLibrary().list.DestroyAll();
  maps::UnloadPlugins();
}
