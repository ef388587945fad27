// What an engine promises about an operation that has returned: found out by trying, not by reading
// its manual. Nobody here promises to survive a power failure; that would take a sync each time.
#pragma once

#include <cstddef>
#include <string>

#include "engine.h"

namespace bench {

inline constexpr std::size_t kills = 10;

struct Promise {
  bool visible = false;      // another process reads the record while the file is open here
  std::size_t survived = 0;  // of so many kills amid writing: every acknowledged record was there
  std::size_t lost = 0;      // acknowledged records that were not, over all kills
  std::size_t acknowledged = 0;
  bool KeptByStore() const { return visible && survived == kills; }
};

// `program` is this program's own path: the other processes are further runs of it.
Promise TryPromise(const Contender& contender, const std::string& program, const std::string& dir);

// The other processes' part: `what` is "read", "write" (until killed) or "count". The answer is the
// exit code.
int OtherProcess(const Contender& contender, const std::string& what, const std::string& dir);

}  // namespace bench
