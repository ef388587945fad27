// The registry of plug-ins, and the table of libraries whose functions callers have asked for.
#include "maps/plugins.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kvorlib/encoding.h"
#include "kvorlib/filehelpers.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/plugins.h"
#include "maps/pluginmodule.h"
#include "platform/path.h"

namespace maps {

namespace {

constexpr int utf8Page = 65001;

using Module = std::shared_ptr<platform::SharedLibrary>;

struct Plugins {
  std::map<std::string, PluginModule> byPath;
  // Each cursor out of a plug-in holds its module.
  std::map<MapCursor const*, Module> cursors;
  // Modules whose last cursor went, perhaps with its code still running.
  std::vector<Module> spent;
};

// Never destroyed: at the end of the process cursors may still be going that are global objects.
// What is loaded has been let go by then (see Loaded).
Plugins& ThePlugins() {
  static Plugins* const plugins = std::make_unique<Plugins>().release();
  return *plugins;
}

using Dlls = std::map<std::u16string, std::unique_ptr<platform::SharedLibrary>>;

// Never destroyed either: a function may be called to the very end of the process.
Dlls& TheDlls() {
  static Dlls* const dlls = std::make_unique<Dlls>().release();
  return *dlls;
}

// A file below the library's folder. A leading separator does not lead out of it; ".." does, as in
// any path: what a name may load is as trusted as who writes descriptions of knowledge bases.
// Nothing if the folder cannot be had.
std::u16string BesideLibrary(std::u16string const& name) {
  std::u16string const folder = GetExecPath();
  return folder.empty() ? folder : folder + u'/' + name;
}

// Taken out first, too: the end of a module may come back here.
void DropSpent() { auto const gone = std::exchange(ThePlugins().spent, {}); }

bool IsOwned(MapFactory const* factory) {
  for (auto const& [path, module] : ThePlugins().byPath) {
    if (module.Made(factory)) return true;
  }
  return false;
}

bool Load(std::string const& path) {
  std::string unused;
  Module loaded = platform::LoadSharedLibrary(path, unused);
  if (loaded == nullptr) return false;
  ThePlugins().byPath.try_emplace(path, std::move(loaded));
  return true;
}

MapFactory* Loaded(std::string const& path, std::string const& prefix) {
  auto& byPath = ThePlugins().byPath;
  if (!byPath.contains(path) && !Load(path)) return nullptr;
  auto const at = byPath.find(path);
  PluginModule& module = at->second;
  MapFactory* const made = module.MakeFactory(prefix);
  if (made == nullptr) {
    if (module.IsIdle()) byPath.erase(at);
    return nullptr;
  }
  // Registered behind the module's global objects, so that it runs before their end: maps that the
  // process leaves open may still use them when they die.
  if (module.IsIdle()) static_cast<void>(std::atexit(UnloadPlugins));
  // A factory that serves several schemes is owned once.
  if (!IsOwned(made)) module.Keep(made);
  return made;
}

}  // namespace

std::optional<MapFactory*> FindPlugin(char const* scheme) {
  DropSpent();
  std::u16string value;
  KBEnv::GetKBMap()->GetEnv(u"_Plugin", value, A2U(scheme, utf8Page));
  if (value.empty()) return std::nullopt;
  std::u16string const path = BesideLibrary(platform::NativePath(value));
  if (path.empty()) return nullptr;
  return Loaded(U2A(path, utf8Page), std::string(scheme) + "://");
}

void UnloadPlugins() {
  // Taken out first: what a dying map does may come back here.
  auto const ending = std::exchange(ThePlugins().byPath, {});
  DropSpent();
}

void CursorHandedOut(MapCursor const* cursor, MapFactory const* factory) {
  for (auto const& [path, module] : ThePlugins().byPath) {
    if (module.Made(factory)) ThePlugins().cursors.insert_or_assign(cursor, module.Library());
  }
}

void CursorGone(MapCursor const* cursor) {
  auto& cursors = ThePlugins().cursors;
  if (cursors.empty()) return;
  auto const at = cursors.find(cursor);
  if (at == cursors.end()) return;
  ThePlugins().spent.push_back(std::move(at->second));
  cursors.erase(at);
}

}  // namespace maps

void* GetProcAddr(std::u16string const& dll, std::string const& function, std::u16string& error) {
  auto& dlls = maps::TheDlls();
  std::u16string const path = maps::BesideLibrary(dll);
  auto at = dlls.find(path);
  std::string unused;
  if (at == dlls.end()) {
    auto loaded =
        path.empty() ? nullptr : platform::LoadSharedLibrary(U2A(path, maps::utf8Page), unused);
    if (loaded == nullptr) {
      error = u"DLL " + dll + u" could not be loaded";
      return nullptr;
    }
    at = dlls.emplace(path, std::move(loaded)).first;
  }
  void* const found = at->second->Find(function, unused);
  if (found == nullptr)
    error = u"Function " + A2U(function, maps::utf8Page) + u" could not be loaded";
  return found;
}

void FreeDlls() { auto const gone = std::exchange(maps::TheDlls(), {}); }
