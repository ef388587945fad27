// Each phase is one loop over the records. An answer is compared inside the loop: that costs every
// engine the same, and no engine can win by being wrong.
#include "phases.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t openings = 25;

// Keeps the folder of a round empty at both ends.
class Folder {
 public:
  explicit Folder(std::string where) : path(std::move(where)) { Renew(); }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void Renew() {
    fs::remove_all(path);
    fs::create_directories(path);
  }

 private:
  std::string path;
};

// What the data take on disk: a file that was made large and left empty counts by its blocks.
double DataBytes(const Contender& contender, const std::string& dir) {
  double bytes = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
    struct stat status {};
    if (entry.path().filename().string().starts_with(contender.dataFile) &&
        ::stat(entry.path().c_str(), &status) == 0) {
      bytes += static_cast<double>(status.st_blocks) * 512;
    }
  }
  return bytes;
}

template <typename Work>
double NanosecondsEach(std::size_t operations, Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - begin;
  return spent.count() / static_cast<double>(operations);
}

void Require(bool good, const Contender& contender, const char* phase, const std::string& key) {
  if (!good) throw Failure(contender.name + ": wrong answer in " + phase + " at \"" + key + '"');
}

class Runner {
 public:
  Runner(const Contender& theContender, const Workload& theWork, const std::string& theDir)
      : contender(theContender), work(theWork), dir(theDir), folder(theDir) {}

  Round Run() {
    LoadSorted();
    LoadShuffled();
    Open();
    engine = contender.open(dir);
    GetHit();
    GetMiss();
    Scan(SCAN);
    Scan(SCAN_VALUES);
    Update();
    Erase();
    return round;
  }

 private:
  void LoadSorted() {
    engine = contender.open(dir);
    round.cost[LOAD_SORTED] = NanosecondsEach(work.items.size(), [this] {
      for (const Item& item : work.items) {
        Require(engine->Insert(item.key, item.value), contender, "load sorted", item.key);
      }
    });
    engine.reset();
    round.sortedBytes = DataBytes(contender, dir);
    folder.Renew();
  }

  void LoadShuffled() {
    engine = contender.open(dir);
    round.cost[LOAD_SHUFFLED] = ForMixed([this](const Item& item) {
      Require(engine->Insert(item.key, item.value), contender, "load shuffled", item.key);
    });
    const Item& again = work.items.front();
    Require(!engine->Insert(again.key, again.value), contender, "insert of a present key",
            again.key);
    engine.reset();
    round.shuffledBytes = DataBytes(contender, dir);
  }

  void Open() {
    std::vector<double> each;
    for (std::size_t i = 0; i < openings; ++i) {
      const Item& item = work.mixed[i % work.mixed.size()];
      std::string value;
      each.push_back(NanosecondsEach(1, [&] {
        engine = contender.open(dir);
        Require(engine->Get(item.key, value) && value == item.value, contender, "open+get",
                item.key);
      }));
      engine.reset();
    }
    std::nth_element(each.begin(), each.begin() + openings / 2, each.end());
    round.cost[OPEN] = each[openings / 2];
  }

  // Against the order of the load, so that no engine finds its last pages warm.
  void GetHit() {
    std::string value;
    round.cost[GET_HIT] = NanosecondsEach(work.items.size(), [&] {
      for (auto item = work.mixed.rbegin(); item != work.mixed.rend(); ++item) {
        Require(engine->Get(item->key, value) && value == item->value, contender, "get hit",
                item->key);
      }
    });
  }

  void GetMiss() {
    std::string value;
    round.cost[GET_MISS] = NanosecondsEach(work.absent.size(), [&] {
      for (const std::string& key : work.absent) {
        Require(!engine->Get(key, value), contender, "get miss", key);
      }
    });
  }

  // The values are looked into or not: an engine that hands out pointers does not touch them.
  void Scan(Phase phase) {
    const bool looksIn = phase == SCAN_VALUES;
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t inOrder = 0;
    round.cost[phase] = NanosecondsEach(work.items.size(), [&] {
      engine->Scan([&](std::string_view key, std::string_view value) {
        bytes += key.size() + value.size();
        if (count < work.items.size() && work.items[count].key == key &&
            (!looksIn || work.items[count].value == value)) {
          ++inOrder;
        }
        ++count;
      });
    });
    Require(count == work.items.size() && bytes == work.bytes, contender, phaseNames[phase],
            "its end");
    Require(!contender.ordered || inOrder == count, contender, phaseNames[phase], "order");
  }

  void Update() {
    std::vector<std::string> values;
    values.reserve(work.mixed.size());
    for (const Item& item : work.mixed) values.push_back(Workload::Updated(item.value));
    std::size_t place = 0;
    round.cost[UPDATE] = ForMixed([&](const Item& item) {
      Require(engine->Update(item.key, values[place++]), contender, "update", item.key);
    });
    std::string value;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string& key = work.mixed[i].key;
      Require(engine->Get(key, value) && value == values[i], contender, "update", key);
    }
  }

  void Erase() {
    round.cost[ERASE] = ForMixed([this](const Item& item) {
      Require(engine->Erase(item.key), contender, "erase", item.key);
    });
    std::size_t left = 0;
    engine->Scan([&left](std::string_view, std::string_view) { ++left; });
    Require(left == 0, contender, "erase", "its end");
    engine.reset();
  }

  template <typename Operation>
  double ForMixed(Operation operation) {
    return NanosecondsEach(work.mixed.size(), [&] {
      for (const Item& item : work.mixed) operation(item);
    });
  }

  const Contender& contender;
  const Workload& work;
  const std::string& dir;
  Folder folder;
  std::unique_ptr<Engine> engine;  // behind the folder: it is closed before the folder goes
  Round round;
};

}  // namespace

Round RunRound(const Contender& contender, const Workload& work, const std::string& dir) {
  return Runner(contender, work, dir).Run();
}

}  // namespace bench
