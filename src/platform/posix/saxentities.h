// How deep entities stand within entities. The parser goes into one entity from within another by
// recursion, so the depth has to be known before the first of them is used.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class EntityDepths {
 public:
  explicit EntityDepths(int maxDepth) : limit(maxDepth) {}

  // Takes note of a declaration. False when entities now stand too deep within each other, as they
  // do without end when one stands within itself. `kind` is '&' or, for parameter entities, '%'.
  bool Declare(char kind, std::string_view name, std::string_view text);

 private:
  struct Entity {
    int depth = 0;
    std::vector<Entity*> users;  // those whose text names this one; they stay where they are
  };

  bool Raise(Entity& entity, int depth);

  int limit;
  std::map<std::string, Entity> entities;  // by kind and name
};

}  // namespace platform
