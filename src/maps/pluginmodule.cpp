// A plug-in's entry point, and its factories' places in the chain.
#include "maps/pluginmodule.h"

#include <utility>

#include "maps/library.h"

namespace maps {

namespace {

using Entry = MapFactory* (*)(char const* prefix);

// Passes everything on to a factory that cannot stand in the chain itself. The maps are that
// factory's, not this one's.
class FactoryProxy final : public StaticMapFactory {
 public:
  explicit FactoryProxy(MapFactory& meant) : factory(meant) {}

  bool get_archive_records(std::u16string const& name,
                           std::vector<ArchiveRecord>& records) override {
    return factory.get_archive_records(name, records);
  }
  bool is_valid_command(int cmd) override { return factory.is_valid_command(cmd); }
  bool match_prefix(char const* prefix) override { return factory.match_prefix(prefix); }
  PersistentMap* open_map(char const* uri, bool readOnly, KEYDESCR* kd) override {
    return factory.open_map(uri, readOnly, kd);
  }
  PersistentMap* create_map(char const* uri, int flag, KEYDESCR* kd) override {
    return factory.create_map(uri, flag, kd);
  }
  bool spare_one(void* arg) override { return factory.spare_one(arg); }
  bool system_command(int cmd, void* arg) override { return factory.system_command(cmd, arg); }
  bool spare_two(void* first, void* second) override { return factory.spare_two(first, second); }
  bool spare_three() override { return factory.spare_three(); }

 private:
  MapFactory& factory;
};

StaticMapFactory* InChain(MapFactory const* factory) {
  auto* at = StaticMapFactory::get_first();
  while (at != nullptr && at != factory) at = at->get_next();
  return at;
}

StaticMapFactory* Behind(StaticMapFactory const* factory) {
  return factory != nullptr ? factory->get_next() : StaticMapFactory::get_first();
}

StaticMapFactory* LastInChain() {
  StaticMapFactory* last = nullptr;
  while (Behind(last) != nullptr) last = Behind(last);
  return last;
}

}  // namespace

PluginFactory::PluginFactory(MapFactory* made) : factory(made) {
  if (InChain(made) == nullptr) proxy = std::make_unique<FactoryProxy>(*made);
}

PluginFactory::~PluginFactory() {
  TheLibrary().list.DestroyMadeBy(factory.get());
  if (auto* const chained = InChain(factory.get())) chained->leave_chain();
}

PluginModule::PluginModule(std::shared_ptr<platform::SharedLibrary> loaded)
    : library(std::move(loaded)) {}

bool PluginModule::Made(MapFactory const* factory) const {
  for (auto const& one : factories) {
    if (one->Get() == factory) return true;
  }
  return false;
}

// A plug-in may fail with a factory already in the chain, which would stay there when the module
// has gone: whatever came meanwhile leaves again. One that opens a file of its own scheme while it
// is asked is not asked again.
MapFactory* PluginModule::MakeFactory(std::string const& prefix) {
  std::string unused;
  auto const entry = reinterpret_cast<Entry>(library->Find("GetFactory", unused));
  if (entry == nullptr || asking) return nullptr;
  auto* const last = LastInChain();
  MapFactory* made = nullptr;
  asking = true;
  try {
    made = entry(prefix.c_str());
  } catch (...) {
    made = nullptr;
  }
  asking = false;
  while (made == nullptr && Behind(last) != nullptr) Behind(last)->leave_chain();
  return made;
}

void PluginModule::Keep(MapFactory* made) {
  factories.push_back(std::make_unique<PluginFactory>(made));
}

}  // namespace maps
