// Reading and changing the key of the user's list.
#include "listedbases.h"

#include "environment.h"
#include "outcome.h"

namespace kvor {
namespace {

using KBEnv::KBMap;

constexpr const char16_t* Key = u"Software\\Kvor-3\\KBase";

struct Finder : KBMap {
  using KBMap::GetKB;
};

KBMap& Loaded() { return *KBEnv::GetKBMap(); }

}  // namespace

KBEnv::KBData* FindBase(const std::string& name) { return (Loaded().*&Finder::GetKB)(Wide(name)); }

Registered::Registered() {
  std::u16string words;
  there = Loaded().ReadDataFromKey(false, Key, values, words);
  if (there) return;
  std::vector<std::u16string> loaded;
  Loaded().GetKBArray(loaded, false);
  for (const std::u16string& name : loaded)
    if (!KBMap::KBIsLocal(name)) values[name] = FindBase(Narrow(name))->FileName;
}

std::string Registered::Listed(const std::string& name) const {
  if (KBMap::KBIsLocal(Wide(name))) return "<LOCAL>";
  const auto found = name.empty() ? values.end() : values.find(Wide(name));
  return found == values.end() ? name : Narrow(found->first);
}

const std::u16string* Registered::File(const std::string& name) const {
  const auto found = name.empty() ? values.end() : values.find(Wide(name));
  return found == values.end() ? nullptr : &found->second;
}

bool Registered::Has(const std::string& name) const {
  return KBMap::KBIsLocal(Wide(name)) || File(name) != nullptr;
}

std::string Registered::Default() const {
  const auto found = values.find(u"");
  return found == values.end() ? std::string() : Narrow(found->second);
}

std::vector<std::string> Registered::Names() const {
  std::vector<std::string> names;
  for (const auto& [name, file] : values)
    if (!name.empty()) names.push_back(Narrow(name));
  return names;
}

void Registered::Set(const std::string& name, const std::u16string& value) {
  values[Wide(name)] = value;
}

void Registered::Erase(const std::string& name) { values.erase(Wide(name)); }

void Registered::Change(const std::function<bool()>& change) {
  const auto changed = [&](KBEnv::Settings& now) {
    if (there || !now.empty()) values = now;
    if (!change()) return false;
    now = values;
    return true;
  };
  std::u16string words;
  if (!Loaded().ChangeDataInKey(false, Key, changed, words))
    throw Failure("the registry", OneLine(words));
}

}  // namespace kvor
