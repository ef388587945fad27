// Each question takes a second process, because an engine may well show to its own process what
// nobody else can see yet. An answer that does not come in time counts as none.
#include "promises.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

extern char** environ;

namespace bench {
namespace {

constexpr unsigned patience = 20;  // seconds
constexpr int nothing = 255;

std::string KeyNumber(std::size_t i) { return "key-" + std::to_string(i * 7919 % 100000); }
std::string ValueNumber(std::size_t i) { return "value " + std::to_string(i); }

// The output of another run of this program, cut off when that process ends, however it does.
std::string Run(const std::string& program, const Contender& contender, const char* what,
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
  pid_t child = 0;
  const int failed = ::posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  std::string output;
  char bytes[256];
  ssize_t got = 0;
  while (failed == 0 && (got = ::read(ends[0], bytes, sizeof bytes)) > 0) {
    output.append(bytes, static_cast<std::size_t>(got));
  }
  ::close(ends[0]);
  if (failed != 0) throw Failure(program + ": cannot be run again");
  int status = 0;
  ::waitpid(child, &status, 0);
  return output;
}

void FillAndDie(const Contender& contender, const std::string& dir) {
  auto engine = contender.open(dir);
  for (std::size_t i = 0; i < crashRecords; ++i) engine->Insert(KeyNumber(i), ValueNumber(i));
  std::printf("acknowledged\n");
  std::fflush(stdout);
  ::raise(SIGKILL);
}

std::size_t CountGood(const Contender& contender, const std::string& dir) {
  auto engine = contender.open(dir);
  std::size_t good = 0;
  std::string value;
  for (std::size_t i = 0; i < crashRecords; ++i) {
    if (engine->Get(KeyNumber(i), value) && value == ValueNumber(i)) ++good;
  }
  return good;
}

}  // namespace

Promise TryPromise(const Contender& contender, const std::string& program, const std::string& dir) {
  namespace fs = std::filesystem;
  Promise promise;
  fs::remove_all(dir);
  fs::create_directories(dir);
  {
    auto engine = contender.open(dir);
    engine->Insert(KeyNumber(0), ValueNumber(0));
    promise.visible = Run(program, contender, "read", dir) == ValueNumber(0) + "\n";
  }
  fs::remove_all(dir);
  fs::create_directories(dir);
  if (Run(program, contender, "crash", dir) != "acknowledged\n") {
    throw Failure(contender.name + ": the process that was to be killed did not get that far");
  }
  const std::string count = Run(program, contender, "count", dir);
  promise.survivors = count.empty() ? 0 : std::stoul(count);
  fs::remove_all(dir);
  return promise;
}

int OtherProcess(const Contender& contender, const std::string& what, const std::string& dir) {
  ::alarm(patience);
  if (what == "crash") {
    FillAndDie(contender, dir);
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
