// Every part is played by a child of its own, forked while no engine is open here.
#include "crowd.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <numeric>
#include <vector>

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t most = crowds.back() + 1;
constexpr int patience = 20000;  // milliseconds until everybody has come

// What children and parent have in common.
struct Board {
  std::atomic<std::size_t> ready;
  std::atomic<bool> go;
  std::atomic<bool> ending;
  std::array<double, most> cost;  // by child; the first one writes
  double ownBytes;
  double allBytes;
};

class SharedBoard {
 public:
  SharedBoard()
      : at(::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                  0)) {
    if (at == MAP_FAILED) throw Failure("no memory to share");
  }
  ~SharedBoard() { ::munmap(at, sizeof(Board)); }
  SharedBoard(const SharedBoard&) = delete;
  SharedBoard& operator=(const SharedBoard&) = delete;
  Board& operator*() const { return *static_cast<Board*>(at); }
  Board* operator->() const { return static_cast<Board*>(at); }

 private:
  void* at;
};

class Child {
 public:
  explicit Child(const std::function<void()>& part) : pid(::fork()) {
    if (pid < 0) throw Failure("no process can be started");
    if (pid != 0) return;
    int code = 0;
    try {
      part();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "  gave up: %s\n", e.what());
      code = 1;
    }
    ::_exit(code);
  }
  ~Child() {
    if (pid <= 0) return;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool EndsWell() {
    int status = 0;
    const bool ended = ::waitpid(pid, &status, 0) == pid;
    pid = -1;
    return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

 private:
  pid_t pid;
};

// A line of what the system says about this process' memory, in bytes.
double MemoryOf(const std::string& name) {
  std::ifstream in("/proc/self/smaps_rollup");
  std::string word;
  double kilobytes = 0;
  while (in >> word) {
    if (word == name && in >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

class Crew {
 public:
  Crew(const Contender& theContender, const Workload& theWork, const std::string& theDir)
      : contender(theContender), work(theWork), dir(theDir) {
    fs::remove_all(dir);
    fs::create_directories(dir);
    RunAlone([this] {
      const auto engine = contender.open(dir);
      for (const Item& item : work.mixed) engine->Insert(item.key, item.value);
    });
  }
  ~Crew() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  void MeasureMemory(Crowd& crowd) {
    RunAlone([this] {
      ::malloc_trim(0);
      const double own = MemoryOf("Anonymous:");
      const double all = MemoryOf("Rss:");
      const auto engine = contender.open(dir);
      for (const Item& item : work.mixed) GetOne(*engine, item);
      board->ownBytes = MemoryOf("Anonymous:") - own;
      board->allBytes = MemoryOf("Rss:") - all;
    });
    crowd.ownBytes = board->ownBytes;
    crowd.allBytes = board->allBytes;
  }

  // The costs of a lookup, on the average of the readers, and of an update.
  std::pair<double, double> Compete(std::size_t readers, double seconds) {
    board->ready = 0;
    board->go = board->ending = false;
    std::vector<std::unique_ptr<Child>> children;
    for (std::size_t id = 0; id <= readers; ++id) {
      children.push_back(std::make_unique<Child>([this, id] { Play(id); }));
    }
    for (int i = 0; board->ready <= readers && i < patience; ++i) ::usleep(1000);
    board->go = true;
    ::usleep(static_cast<useconds_t>(seconds * 1e6));
    board->ending = true;
    bool good = true;
    for (const auto& child : children) good = child->EndsWell() && good;
    if (!good) return {none, none};
    const auto first = board->cost.begin() + 1;
    const auto last = first + static_cast<std::ptrdiff_t>(readers);
    return {std::accumulate(first, last, 0.0) / static_cast<double>(readers), board->cost[0]};
  }

 private:
  void RunAlone(const std::function<void()>& part) {
    if (!Child(part).EndsWell()) throw Failure(contender.name + ": a process of its own failed");
  }

  // A writer may just have changed the value.
  void GetOne(Engine& engine, const Item& item) {
    if (!engine.Get(item.key, value) ||
        (value != item.value && value != Workload::Updated(item.value))) {
      throw Failure(contender.name + ": wrong answer beside a writer at \"" + item.key + '"');
    }
  }

  void Play(std::size_t id) {
    const auto engine = contender.open(dir);
    GetOne(*engine, work.mixed.front());
    ++board->ready;
    while (!board->go) ::usleep(200);
    const auto begin = Clock::now();
    std::size_t done = 0;
    const std::size_t from = id * work.items.size() / most;
    while (!board->ending || done == 0) {
      const Item& item = work.mixed[(from + done) % work.mixed.size()];
      if (id == 0) {
        const bool turned = done / work.items.size() % 2 == 0;
        engine->Update(item.key, turned ? Workload::Updated(item.value) : item.value);
      } else {
        GetOne(*engine, item);
      }
      ++done;
    }
    const std::chrono::duration<double, std::nano> spent = Clock::now() - begin;
    board->cost[id] = spent.count() / static_cast<double>(done);
  }

  const Contender& contender;
  const Workload& work;
  const std::string& dir;
  SharedBoard board;
  std::string value;
};

}  // namespace

Crowd TryCrowd(const Contender& contender, const Workload& work, const std::string& dir,
               bool several, double seconds) {
  Crowd crowd;
  Crew crew(contender, work, dir);
  crew.MeasureMemory(crowd);
  for (std::size_t i = 0; i < crowds.size(); ++i) {
    const auto costs = several ? crew.Compete(crowds[i], seconds) : std::pair(none, none);
    crowd.get[i] = costs.first;
    crowd.update[i] = costs.second;
  }
  return crowd;
}

}  // namespace bench
