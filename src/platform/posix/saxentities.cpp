// Depths of entities: a name may be used before it is declared, so a declaration raises all those
// that lead to it. Each is raised at most as often as the limit says.
#include "platform/posix/saxentities.h"

#include <algorithm>
#include <utility>

namespace platform {

bool EntityDepths::Declare(char kind, std::string_view name, std::string_view text) {
  Entity& own = entities[kind + std::string(name)];
  int depth = 1;
  for (std::size_t at = text.find_first_of("&%"); at != std::string_view::npos;) {
    const std::size_t end = text.find_first_of("&%;", at + 1);
    if (end == std::string_view::npos) break;
    if (text[end] == ';' && text[at + 1] != '#') {
      Entity& used = entities[std::string(text.substr(at, end - at))];
      if (used.users.empty() || used.users.back() != &own) used.users.push_back(&own);
      depth = std::max(depth, used.depth + 1);
    }
    at = text[end] == ';' ? text.find_first_of("&%", end) : end;
  }
  return Raise(own, depth);
}

bool EntityDepths::Raise(Entity& entity, int depth) {
  std::vector<std::pair<Entity*, int>> raised = {{&entity, depth}};
  while (!raised.empty()) {
    const auto [next, toDepth] = raised.back();
    raised.pop_back();
    if (toDepth > limit) return false;
    if (toDepth <= next->depth) continue;
    next->depth = toDepth;
    for (Entity* const user : next->users) raised.emplace_back(user, toDepth + 1);
  }
  return true;
}

}  // namespace platform
