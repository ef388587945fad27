// The tables that the benchmark prints.
#pragma once

#include <string>
#include <vector>

#include "crowd.h"
#include "engine.h"
#include "phases.h"
#include "promises.h"
#include "workload.h"

namespace bench {

// An engine with all its rounds.
struct Result {
  const Contender* contender = nullptr;
  Promise promise;
  std::vector<Round> rounds;
  Crowd crowd;

  double Cost(Phase phase) const;  // the median of the rounds
  double SortedBytes() const { return rounds.front().sortedBytes; }
  double ShuffledBytes() const { return rounds.front().shuffledBytes; }
};

void PrintPromises(const std::vector<Result>& results);
void PrintCosts(const Workload& work, const std::vector<Result>& results);
// How many times the cost of the best peer our engines take: of the best that keeps the same
// promise, and of the best of all.
void PrintRatios(const std::vector<Result>& results);
// Memory, and readers beside a writer, with the same ratios.
void PrintCrowds(const Workload& work, const std::vector<Result>& results);

}  // namespace bench
