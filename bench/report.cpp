// Plain text tables: engines down, phases across.
#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace bench {
namespace {

constexpr int nameWidth = 18;
constexpr int cellWidth = 9;

using Measure = double (*)(const Result&, std::size_t);

double CostOf(const Result& result, std::size_t phase) {
  return result.Cost(static_cast<Phase>(phase));
}
double SizeOf(const Result& result, std::size_t kind) {
  return kind == 0 ? result.SortedBytes() : result.ShuffledBytes();
}

// Memory of its own and all; lookups and updates beside one, two, four readers.
double CrowdFigure(const Result& result, std::size_t which) {
  const Crowd& crowd = result.crowd;
  if (which < 2) return which == 0 ? crowd.ownBytes : crowd.allBytes;
  const auto& costs = which < 2 + crowds.size() ? crowd.get : crowd.update;
  return costs[(which - 2) % crowds.size()];
}

const Result* BestPeer(const std::vector<Result>& results, Measure measure, std::size_t which,
                       bool samePromise) {
  const Result* best = nullptr;
  for (const Result& peer : results) {
    if (peer.contender->ours || (samePromise && !peer.promise.KeptByStore())) continue;
    if (std::isnan(measure(peer, which))) continue;
    if (best == nullptr || measure(peer, which) < measure(*best, which)) best = &peer;
  }
  return best;
}

void PrintRatioRow(const char* name, const std::vector<Result>& results, Measure measure,
                   std::size_t which) {
  std::printf("%-*s", nameWidth, name);
  for (const bool samePromise : {true, false}) {
    const Result* best = BestPeer(results, measure, which, samePromise);
    std::printf("  %-*s", nameWidth, best == nullptr ? "-" : best->contender->name.c_str());
    for (const Result& ours : results) {
      if (!ours.contender->ours) continue;
      if (best == nullptr) {
        std::printf("%7s", "-");
      } else {
        std::printf("%7.2f", measure(ours, which) / std::max(measure(*best, which), 1.0));
      }
    }
  }
  std::printf("\n");
}

// The headings in two lines: "load sorted" over one narrow column.
void PrintHeadings(const std::vector<std::string>& names) {
  std::string upper(nameWidth, ' ');
  std::string lower(nameWidth, ' ');
  for (const std::string& name : names) {
    const std::size_t gap = name.find(' ');
    const bool two = gap != name.npos;
    const std::string above = two ? name.substr(0, gap) : "";
    const std::string below = two ? name.substr(gap + 1) : name;
    upper += std::string(cellWidth - above.size(), ' ') + above;
    lower += std::string(cellWidth - below.size(), ' ') + below;
  }
  std::printf("%s\n%s\n", upper.c_str(), lower.c_str());
}

// False if there is nobody to be compared with.
bool PrintRatioHeadings(const std::vector<Result>& results) {
  const auto ours = [](const Result& result) { return result.contender->ours; };
  if (std::all_of(results.begin(), results.end(), ours)) return false;
  std::printf(
      "\nOur cost as a multiple of the best peer's (below 1: we are faster, or smaller)\n\n");
  std::printf("%-*s", nameWidth, "");
  for (const char* group : {"same promise", "of all"}) {
    std::printf("  %-*s", nameWidth, group);
    for (const Result& result : results) {
      if (!ours(result)) continue;
      const std::string& name = result.contender->name;
      std::printf("%7s", name.substr(name.rfind(' ') + 1).substr(0, 5).c_str());
    }
  }
  std::printf("\n");
  return true;
}

}  // namespace

double Result::Cost(Phase phase) const {
  std::vector<double> costs;
  for (const Round& round : rounds) costs.push_back(round.cost[phase]);
  std::sort(costs.begin(), costs.end());
  const std::size_t middle = costs.size() / 2;
  return costs.size() % 2 == 1 ? costs[middle] : (costs[middle - 1] + costs[middle]) / 2;
}

void PrintPromises(const std::vector<Result>& results) {
  std::printf(
      "What becomes of an operation that has returned, without any sync. Tried with a second\n"
      "process that reads at once, and with %zu writers that were killed amid their writing.\n\n",
      kills);
  std::printf("%-*s  %-8s  %-12s  %-20s  %s\n", nameWidth, "", "seen at", "kills with",
              "records lost of", "set-up");
  std::printf("%-*s  %-8s  %-12s  %-20s\n", nameWidth, "", "once", "nothing lost",
              "those acknowledged");
  for (const Result& result : results) {
    const Promise& promise = result.promise;
    std::printf("%-*s  %-8s  %5zu of %-3zu  %8zu of %-8zu  %s\n", nameWidth,
                result.contender->name.c_str(), promise.visible ? "yes" : "no", promise.survived,
                kills, promise.lost, promise.acknowledged, result.contender->setup.c_str());
  }
}

void PrintCosts(const Workload& work, const std::vector<Result>& results) {
  std::printf("\n%s: %zu records, %.1f MB (%s)\n", work.name.c_str(), work.items.size(),
              static_cast<double>(work.bytes) / 1e6, work.what.c_str());
  std::printf("Nanoseconds an operation, median of %zu rounds; MB of the file after each load\n\n",
              results.front().rounds.size());
  std::vector<std::string> names(phaseNames.begin(), phaseNames.end());
  names.insert(names.end(), {"MB sorted", "MB shuffled"});
  PrintHeadings(names);
  for (const Result& result : results) {
    std::printf("%-*s", nameWidth, result.contender->name.c_str());
    for (std::size_t phase = 0; phase < phaseCount; ++phase) {
      std::printf("%*.0f", cellWidth, CostOf(result, phase));
    }
    std::printf("%*.1f%*.1f\n", cellWidth, result.SortedBytes() / 1e6, cellWidth,
                result.ShuffledBytes() / 1e6);
  }
}

void PrintRatios(const std::vector<Result>& results) {
  if (!PrintRatioHeadings(results)) return;
  for (std::size_t phase = 0; phase < phaseCount; ++phase) {
    PrintRatioRow(phaseNames[phase], results, CostOf, phase);
  }
  PrintRatioRow("size, sorted", results, SizeOf, 0);
  PrintRatioRow("size, shuffled", results, SizeOf, 1);
}

void PrintCrowds(const Workload& work, const std::vector<Result>& results) {
  std::vector<std::string> names = {"MB own", "MB all"};
  for (const char* what : {"get", "update"}) {
    for (const std::size_t readers : crowds) {
      names.push_back(what + std::string(" ") + std::to_string(readers));
    }
  }
  std::printf(
      "\n%s: memory of a process that got all records; nanoseconds of a lookup, and of an\n"
      "update, while one process updates and 1, 2, 4 others look up, each in turn\n\n",
      work.name.c_str());
  PrintHeadings(names);
  for (const Result& result : results) {
    std::printf("%-*s", nameWidth, result.contender->name.c_str());
    for (std::size_t which = 0; which < names.size(); ++which) {
      const double figure = CrowdFigure(result, which);
      if (std::isnan(figure)) {
        std::printf("%*s", cellWidth, "-");
      } else {
        std::printf("%*.*f", cellWidth, which < 2 ? 1 : 0, which < 2 ? figure / 1e6 : figure);
      }
    }
    std::printf("\n");
  }
  if (!PrintRatioHeadings(results)) return;
  for (std::size_t which = 1; which < names.size(); ++which) {
    PrintRatioRow(names[which].c_str(), results, CrowdFigure, which);
  }
}

}  // namespace bench
