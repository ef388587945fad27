// Each fill factor: load, and then two portions of records that lie between the others.
#include "bulk.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "engine.h"
#include "kvorlib/storetools.h"
#include "store/udb.h"

namespace bench {
namespace {

constexpr char stop = ' ';
constexpr std::array<unsigned, 5> fills = {100, 95, 90, 80, 65};

struct Costs {
  double load, compact, few, many;  // nanoseconds a record
  double loadedMB, fewMB, manyMB;
};

template <typename Work>
double Each(std::size_t operations, Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - begin;
  return spent.count() / static_cast<double>(operations);
}

UdbKey BytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

void Require(bool good, const std::string& words) {
  if (!good) throw Failure("bulk: " + words);
}

class Trial {
 public:
  Trial(const Workload& theWork, const std::string& dir) : work(theWork), path(dir + "/kv.dat") {
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
  }

  Costs Run(unsigned fill) {
    Costs costs{};
    costs.load = Each(work.items.size(), [this] { Load(); });
    costs.compact = Each(work.items.size(), [&] { Compact(fill); });
    costs.loadedMB = MB();
    // Every hundredth of the absent keys, then nine more: they come in no order.
    costs.few = Insert(0, work.absent.size() / 100);
    costs.fewMB = MB();
    costs.many = Insert(work.absent.size() / 100, work.absent.size() / 10);
    costs.manyMB = MB();
    return costs;
  }

 private:
  void Load() {
    std::string words;
    udbClose(udbCreate(path.c_str(), KEYDESCR(4, stop, 0), words));
    std::size_t at = 0;
    std::string record;
    const LoadReport report = LoadStore(path, [&]() -> std::optional<UdbKey> {
      if (at == work.items.size()) return std::nullopt;
      record.assign(work.items[at].key);
      record += stop;
      record += work.items[at++].value;
      return BytesOf(record);
    });
    Require(report.done && report.stored == work.items.size(), report.failure);
  }
  void Compact(unsigned fill) {
    const CompactReport report = CompactStore(path, fill);
    Require(report.done && report.records == work.items.size(), report.failure);
  }
  double Insert(std::size_t first, std::size_t last) {
    std::string words;
    const int file = udbOpen(path.c_str(), 2, words);
    Require(file >= 0, words);
    std::string record;
    const double cost = Each(last - first, [&] {
      for (std::size_t i = first; i < last; ++i) {
        record.assign(work.absent[i]);
        record += stop;
        record += work.items[i].value;
        const auto bytes = BytesOf(record);
        Require(udbInsert(file, bytes.data(), static_cast<std::uint32_t>(bytes.size())) == 0,
                "insertion");
      }
    });
    udbClose(file);
    return cost;
  }
  double MB() const { return static_cast<double>(std::filesystem::file_size(path)) / 1e6; }

  const Workload& work;
  std::string path;
};

double Median(std::vector<Costs> rounds, double Costs::*field) {
  const auto middle = rounds.begin() + static_cast<std::ptrdiff_t>(rounds.size() / 2);
  std::nth_element(rounds.begin(), middle, rounds.end(),
                   [&](const Costs& a, const Costs& b) { return a.*field < b.*field; });
  return (*middle).*field;
}

}  // namespace

void CompareFills(const Workload& work, const std::string& dir, std::size_t rounds) {
  std::printf(
      "%s loaded at once, then compacted with leaves filled so far (of 100); then 1 %% more, and\n"
      "10 %% more, inserted one by one between them. Nanoseconds a record, MB of the file\n\n"
      "fill     load  compact       MB     +1 %%       MB    +10 %%       MB\n",
      work.name.c_str());
  for (const unsigned fill : fills) {
    std::vector<Costs> all;
    for (std::size_t round = 0; round < rounds; ++round) {
      all.push_back(Trial(work, dir).Run(fill));
      std::filesystem::remove_all(dir);
    }
    const auto of = [&](double Costs::*field) { return Median(all, field); };
    std::printf("%4u%9.0f%9.0f%9.1f%9.0f%9.1f%9.0f%9.1f\n", fill, of(&Costs::load),
                of(&Costs::compact), of(&Costs::loadedMB), of(&Costs::few), of(&Costs::fewMB),
                of(&Costs::many), of(&Costs::manyMB));
  }
  std::printf("\n");
}

}  // namespace bench
