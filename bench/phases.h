// The work that each engine does, phase by phase, with a clock beside it and every answer checked.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "engine.h"
#include "workload.h"

namespace bench {

enum Phase : std::size_t {
  LOAD_SORTED,
  LOAD_SHUFFLED,
  GET_HIT,
  GET_MISS,
  SCAN,
  SCAN_VALUES,
  UPDATE,
  ERASE,
  OPEN,
  phaseCount
};

inline constexpr std::array<const char*, phaseCount> phaseNames = {
    "load sorted", "load shuffled", "get hit", "get miss", "scan",
    "scan values", "update",        "erase",   "open get"};

// One round of one engine: nanoseconds an operation, and the file's bytes after each load.
struct Round {
  std::array<double, phaseCount> cost{};
  double sortedBytes = 0;
  double shuffledBytes = 0;
};

// Works in `dir`, which it empties before and after. Throws Failure on a wrong answer.
Round RunRound(const Contender& contender, const Workload& work, const std::string& dir);

}  // namespace bench
