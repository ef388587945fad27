// Each question takes a second process, because an engine may well show to its own process what
// nobody else can see yet. An answer that does not come in time counts as none.
#include "promises.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>

extern char** environ;

namespace bench {
namespace {

constexpr unsigned patience = 5;  // seconds
constexpr int nothing = 255;

namespace fs = std::filesystem;

std::string KeyNumber(std::size_t i) { return "key-" + std::to_string(i * 7919 % 1000003); }
std::string ValueNumber(std::size_t i) { return "value " + std::to_string(i); }

// How many insertions have returned: counted in a file's mapping, which outlives its writer.
class Acknowledged {
 public:
  explicit Acknowledged(const std::string& dir) {
    const int fd = ::open((dir + "/acknowledged").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0 || ::ftruncate(fd, sizeof(Counter)) != 0) throw Failure("no file for the count");
    void* memory = ::mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    if (memory == MAP_FAILED) throw Failure("no mapping for the count");
    counter = static_cast<Counter*>(memory);
  }
  ~Acknowledged() { ::munmap(counter, sizeof(Counter)); }
  Acknowledged(const Acknowledged&) = delete;
  Acknowledged& operator=(const Acknowledged&) = delete;

  std::size_t Get() const { return counter->load(); }
  void Set(std::size_t count) { counter->store(count); }

 private:
  using Counter = std::atomic<std::size_t>;
  Counter* counter = nullptr;
};

// Another run of this program, as one of the processes below.
class Process {
 public:
  Process(const std::string& program, const Contender& contender, const char* what,
          const std::string& dir) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw Failure("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string words[] = {program, "--other-process", what, contender.name, dir};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(),
                         words[3].data(), words[4].data(), nullptr};
    const int failed =
        ::posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    output = ends[0];
    if (failed != 0) throw Failure(program + ": cannot be run again");
  }
  ~Process() {
    ::close(output);
    int status = 0;
    ::waitpid(child, &status, 0);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // All that it says until it ends, however it ends.
  std::string Words() const {
    std::string words;
    char bytes[256];
    ssize_t got = 0;
    while ((got = ::read(output, bytes, sizeof bytes)) > 0) {
      words.append(bytes, static_cast<std::size_t>(got));
    }
    return words;
  }
  void Kill() const { ::kill(child, SIGKILL); }

 private:
  pid_t child = 0;
  int output = -1;
};

void WriteUntilKilled(const Contender& contender, const std::string& dir) {
  auto engine = contender.open(dir);
  Acknowledged acknowledged(dir);
  for (std::size_t i = 0;; ++i) {
    engine->Insert(KeyNumber(i), ValueNumber(i));
    acknowledged.Set(i + 1);
  }
}

std::size_t CountGood(const Contender& contender, const std::string& dir) {
  auto engine = contender.open(dir);
  const std::size_t acknowledged = Acknowledged(dir).Get();
  std::size_t good = 0;
  std::string value;
  for (std::size_t i = 0; i < acknowledged; ++i) {
    if (engine->Get(KeyNumber(i), value) && value == ValueNumber(i)) ++good;
  }
  return good;
}

void KillWriter(const Contender& contender, const std::string& program, const std::string& dir,
                std::size_t number, Promise& promise) {
  {
    const Process writer(program, contender, "write", dir);
    const Acknowledged acknowledged(dir);
    for (int i = 0; acknowledged.Get() == 0; ++i) {
      if (i == 5000) throw Failure(contender.name + ": the process to be killed did not begin");
      ::usleep(1000);
    }
    ::usleep(static_cast<useconds_t>(10000 + 3700 * number));
    writer.Kill();
  }
  const std::string words = Process(program, contender, "count", dir).Words();
  const std::size_t there = words.empty() ? 0 : std::stoul(words);
  const std::size_t acknowledged = Acknowledged(dir).Get();
  promise.acknowledged += acknowledged;
  promise.lost += acknowledged - there;
  if (there == acknowledged) ++promise.survived;
}

void EmptyFolder(const std::string& dir) {
  fs::remove_all(dir);
  fs::create_directories(dir);
}

}  // namespace

Promise TryPromise(const Contender& contender, const std::string& program, const std::string& dir) {
  Promise promise;
  EmptyFolder(dir);
  {
    auto engine = contender.open(dir);
    engine->Insert(KeyNumber(0), ValueNumber(0));
    const Process reader(program, contender, "read", dir);
    promise.visible = reader.Words() == ValueNumber(0) + "\n";
  }
  for (std::size_t number = 0; number < kills; ++number) {
    EmptyFolder(dir);
    KillWriter(contender, program, dir, number, promise);
  }
  fs::remove_all(dir);
  return promise;
}

int OtherProcess(const Contender& contender, const std::string& what, const std::string& dir) {
  ::alarm(patience);  // a lock that a dead process left may hold an engine up for ever
  if (what == "write") {
    WriteUntilKilled(contender, dir);
  } else if (what == "count") {
    std::printf("%zu\n", CountGood(contender, dir));
  } else if (what == "read") {
    std::string value;
    if (!contender.open(dir)->Get(KeyNumber(0), value)) return nothing;
    std::printf("%s\n", value.c_str());
  } else {
    return nothing;
  }
  // Output first: an engine may hang while it closes, and what it answered counts.
  std::fflush(stdout);
  return 0;
}

}  // namespace bench
