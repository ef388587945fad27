// A loaded plug-in and the factories that it has made.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kvorlib/mapfactory.h"
#include "platform/sharedlibrary.h"

namespace maps {

// A factory of a plug-in, in the chain. One that is no StaticMapFactory gets a place there through
// an object that stands for it.
class PluginFactory {
 public:
  explicit PluginFactory(MapFactory* made);
  // Destroys the factory's maps, takes it out of the chain, and frees it.
  ~PluginFactory();
  PluginFactory(PluginFactory const&) = delete;
  PluginFactory& operator=(PluginFactory const&) = delete;

  MapFactory* Get() const { return factory.get(); }

 private:
  std::unique_ptr<MapFactory> factory;
  std::unique_ptr<StaticMapFactory> proxy;  // null for one that stands in the chain by itself
};

// At its end the factories go first, then the module.
class PluginModule {
 public:
  explicit PluginModule(std::shared_ptr<platform::SharedLibrary> loaded);

  // Whether nothing has come of it, and nothing is about to.
  bool IsIdle() const { return factories.empty() && !asking; }
  bool Made(MapFactory const* factory) const;
  std::shared_ptr<platform::SharedLibrary> const& Library() const { return library; }

  // Has the plug-in make a factory for `prefix`. Null if it does not, whatever the reason.
  MapFactory* MakeFactory(std::string const& prefix);
  // Becomes the owner of what MakeFactory gave.
  void Keep(MapFactory* made);

 private:
  std::shared_ptr<platform::SharedLibrary> library;
  std::vector<std::unique_ptr<PluginFactory>> factories;
  bool asking = false;
};

}  // namespace maps
