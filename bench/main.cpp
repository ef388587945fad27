// kvorlib_bench: our store beside other embedded stores, on the same work, in one run.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "bulk.h"
#include "crowd.h"
#include "engine.h"
#include "layers.h"
#include "phases.h"
#include "promises.h"
#include "report.h"
#include "workload.h"

namespace {

using namespace bench;

struct Options {
  std::string dir = ".";
  std::string dictionaries = "/usr/share/dictd";
  std::size_t rounds = 3;
  std::size_t limit = ~std::size_t{0} >> 1;
  std::string only;  // engines whose name contains this
};

constexpr std::size_t sizes[] = {10'000, 100'000, 1'000'000};  // of files of random words

constexpr const char* usage =
    "usage: kvorlib_bench [--quick] [--rounds N] [--limit N] [--only TEXT] [--dir DIR]\n"
    "  --quick       20,000 records of each kind at most\n"
    "  --limit N     N records of each kind at most\n"
    "  --rounds N    each figure is the median of N rounds (3)\n"
    "  --only TEXT   only the engines whose name contains TEXT\n"
    "  --dir DIR     where the files are made (here)\n"
    "  --dictd DIR   where the dictionaries are (/usr/share/dictd)\n";

bool Parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--quick") {
      options.limit = 20000;
      continue;
    }
    if (i + 1 == argc) return false;
    const std::string value = argv[++i];
    if (word == "--rounds") {
      options.rounds = std::stoul(value);
    } else if (word == "--limit") {
      options.limit = std::stoul(value);
    } else if (word == "--only") {
      options.only = value;
    } else if (word == "--dir") {
      options.dir = value;
    } else if (word == "--dictd") {
      options.dictionaries = value;
    } else {
      return false;
    }
  }
  return options.rounds > 0 && options.limit > 0;
}

// Round by round, and within a round engine by engine, each round beginning with another one: what
// disturbs the machine for a while then touches one round of each rather than all of one.
void Measure(const Workload& work, const Options& options, std::size_t rounds,
             std::vector<Result>& results) {
  for (Result& result : results) result.rounds.clear();
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < results.size(); ++i) {
      Result& result = results[(i + round) % results.size()];
      std::fprintf(stderr, "%s, round %zu of %zu: %s\n", work.name.c_str(), round + 1, rounds,
                   result.contender->name.c_str());
      result.rounds.push_back(RunRound(*result.contender, work, options.dir + "/round"));
    }
  }
  PrintCosts(work, results);
  PrintRatios(results);
  std::fflush(stdout);
}

void MeasureCrowds(const Workload& work, const Options& options, std::vector<Result>& results) {
  const double seconds = work.items.size() < 100000 ? 0.2 : 1;
  for (Result& result : results) {
    std::fprintf(stderr, "%s, several processes: %s\n", work.name.c_str(),
                 result.contender->name.c_str());
    result.crowd =
        TryCrowd(*result.contender, work, options.dir + "/round", result.promise.visible, seconds);
  }
  PrintCrowds(work, results);
  std::fflush(stdout);
}

void Compare(const Options& options) {
  std::vector<std::string> absent;
  const std::vector<Contender> contenders = Contenders(absent);
  for (const std::string& name : absent) std::printf("Left out, not installed: %s\n", name.c_str());

  std::vector<Result> results;
  for (const Contender& contender : contenders) {
    if (contender.name.find(options.only) == std::string::npos) continue;
    std::fprintf(stderr, "promises: %s\n", contender.name.c_str());
    results.push_back(
        {&contender, TryPromise(contender, "/proc/self/exe", options.dir + "/promise"), {}, {}});
  }
  if (results.empty()) throw Failure("no engine has such a name");
  PrintPromises(results);

  const std::string& dictd = options.dictionaries;
  const std::string round = options.dir + "/round";
  const Workload words = Headwords(dictd + "/freedict-deu-eng.index", options.limit);
  Measure(words, options, options.rounds, results);
  CompareFills(words, round, options.rounds);
  MeasureCrowds(words, options, results);
  const Workload articles =
      Articles(dictd + "/mueller7.index", dictd + "/mueller7.dict.dz", options.limit);
  Measure(articles, options, options.rounds, results);
  CompareFills(articles, round, options.rounds);
  CompareLayers(articles, round, options.rounds);
  for (const std::size_t size : sizes) {
    if (size <= options.limit) Measure(RandomWords(size), options, 1, results);
  }
}

int RunAsOtherProcess(char** argv) {
  std::vector<std::string> absent;
  const std::vector<Contender> contenders = Contenders(absent);
  const auto chosen = std::find_if(contenders.begin(), contenders.end(),
                                   [&](const Contender& c) { return c.name == argv[3]; });
  return chosen == contenders.end() ? 2 : OtherProcess(*chosen, argv[2], argv[4]);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 5 && std::strcmp(argv[1], "--other-process") == 0) return RunAsOtherProcess(argv);
    Options options;
    if (!Parse(argc, argv, options)) {
      std::fputs(usage, stderr);
      return 2;
    }
    Compare(options);
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kvorlib_bench: %s\n", e.what());
    return 1;
  }
}
