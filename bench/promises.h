// What an engine promises about an operation that has returned: found out by trying, not by reading
// its manual. Nobody here promises to survive a power failure; that would take a sync each time.
#pragma once

#include <cstddef>
#include <string>

#include "engine.h"

namespace bench {

inline constexpr std::size_t crashRecords = 2000;

struct Promise {
  bool visible = false;       // another process reads the record while the file is open here
  std::size_t survivors = 0;  // of crashRecords that a killed process had inserted
  bool KeptByStore() const { return visible && survivors == crashRecords; }
};

// `program` is this program's own path: the other processes are further runs of it.
Promise TryPromise(const Contender& contender, const std::string& program, const std::string& dir);

// The other processes' part: `what` is "read", "crash" or "count". The answer is the exit code.
int OtherProcess(const Contender& contender, const std::string& what, const std::string& dir);

}  // namespace bench
