// Engines in several processes: what memory one takes, and what a lookup costs while one process
// writes and others read, too.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "engine.h"
#include "workload.h"

namespace bench {

inline constexpr std::array<std::size_t, 3> crowds = {1, 2, 4};  // readers beside one writer

struct Crowd {
  // Of a process that has opened the file and got every record: what it has for itself, and all
  // that it has in memory, shared regions and mapped files among it.
  double ownBytes = 0;
  double allBytes = 0;
  // Nanoseconds an operation takes in each process. Not a number: the engine does not do it, as its
  // promise says, or it gave up.
  std::array<double, crowds.size()> get{};
  std::array<double, crowds.size()> update{};
};

// Works in `dir`, which it empties before and after. `several`: whether other processes may use the
// file. Throws Failure.
Crowd TryCrowd(const Contender& contender, const Workload& work, const std::string& dir,
               bool several, double seconds);

}  // namespace bench
