// Processes on POSIX systems. Whoever is not waited for is started by a child that ends at once:
// the system then gives it a new parent, which collects it, and no thread or signal is needed here.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // pipe2, posix_spawn_file_actions_addclosefrom_np
#endif
#include "platform/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "platform/path.h"
#include "platform/posix/commandline.h"
#include "platform/posix/descriptor.h"

namespace platform {
namespace {

enum class Streams { Inherited, Nowhere };

// A start that is prepared to the last byte: Run() allocates nothing, so that it may follow a fork
// in a program with threads.
class Launch {
 public:
  Launch(std::vector<std::string> pieces, Streams streams) : texts(std::move(pieces)) {
    for (std::string& text : texts) arguments.push_back(text.data());
    arguments.push_back(nullptr);
    error = posix_spawn_file_actions_init(&actions);
    if (streams == Streams::Nowhere) {
      Note(posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
      Note(posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
      Note(posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO));
    }
    Note(posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1));
  }
  ~Launch() { posix_spawn_file_actions_destroy(&actions); }
  Launch(const Launch&) = delete;
  Launch& operator=(const Launch&) = delete;

  // 0 or an `errno` value.
  int Run(pid_t& id) const {
    if (error != 0) return error;
    if (texts.empty()) return ENOENT;
    return posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ);
  }

 private:
  void Note(int outcome) {
    if (error == 0) error = outcome;
  }

  std::vector<std::string> texts;
  std::vector<char*> arguments;
  posix_spawn_file_actions_t actions = {};
  int error = 0;
};

void Collect(pid_t id) {
  Uninterrupted([&] { return waitpid(id, nullptr, 0); });
}

int RunToItsEnd(const Launch& launch) {
  pid_t id = 0;
  const int error = launch.Run(id);
  if (error == 0) Collect(id);
  return error;
}

int RunUncollected(const Launch& launch) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return errno;
  const Descriptor hearing(ends[0]);
  Descriptor telling(ends[1]);
  const pid_t between = fork();
  if (between < 0) return errno;
  if (between == 0) {
    pid_t id = 0;
    const int error = launch.Run(id);
    const bool told = write(telling.Get(), &error, sizeof error) == sizeof error;
    _exit(told ? 0 : 1);
  }
  telling = Descriptor();
  int error = 0;
  const ssize_t heard = Uninterrupted([&] { return read(hearing.Get(), &error, sizeof error); });
  Collect(between);
  return heard == sizeof error ? error : ECHILD;
}

// "mailto:…" and the like.
bool IsAddress(const std::string& path) {
  constexpr const char* schemeCharacters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+.-";
  const std::size_t end = path.find_first_not_of(schemeCharacters);
  return end != std::string::npos && end > 1 && path[end] == ':';
}

}  // namespace

int StartProcess(const std::string& commandLine, ProcessMode mode) {
  const Launch launch(SplitCommandLine(commandLine),
                      mode == ProcessMode::Hidden ? Streams::Nowhere : Streams::Inherited);
  return mode == ProcessMode::Started ? RunUncollected(launch) : RunToItsEnd(launch);
}

bool OpenOnDesktop(const std::string& path) {
  std::string what = path;
  if (FileExists(path)) {
    // In full, so that no name is taken for an option or an address.
    what = FullPath(path).value_or(path);
  } else if (!IsAddress(path)) {
    return false;
  }
  return RunUncollected(Launch({"xdg-open", what}, Streams::Nowhere)) == 0;
}

}  // namespace platform
