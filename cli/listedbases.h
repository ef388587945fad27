// The user's list of knowledge bases as it stands in the registry: what `kvor kb` shows and
// changes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kvorlib/knowledgebase.h"

namespace kvor {

// What the library has loaded under this very name, or null.
KBEnv::KBData* FindBase(const std::string& name);

// The key as it stood when it was read, with the bases that could not be loaded. They are in no
// list of the library, so what is written back is this, never the list. As long as there is no key,
// what the library has loaded came from the list of first bases beside it: it is here, too, since
// nobody reads that list again once there is a key.
class Registered {
 public:
  // REQUIRES: the library has been started.
  Registered();

  // The name of a base as it is listed: case does not count in the registry.
  std::string Listed(const std::string& name) const;
  // The value of a base, or null.
  const std::u16string* File(const std::string& name) const;
  // The library's own base counts as listed.
  bool Has(const std::string& name) const;
  std::string Default() const;
  std::vector<std::string> Names() const;

  void Set(const std::string& name, const std::u16string& value);
  void Erase(const std::string& name);
  // Reads the key again, and keeps others from changing it until what `change` makes of this is
  // stored. An answer of false stores nothing, and what is thrown leaves the registry as it was.
  // Throws Failure itself if it cannot be changed.
  void Change(const std::function<bool()>& change);

 private:
  KBEnv::Settings values;
  bool there = false;
};

}  // namespace kvor
