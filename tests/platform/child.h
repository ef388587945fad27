// A forked process that tells the test how far it got, and can be killed there.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

class Child {
 public:
  // Runs `work` in the child; what it passes to the function it is given reaches Hear().
  explicit Child(const std::function<void(const std::function<void(char)>&)>& work) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    id = fork();
    if (id == 0) {
      work([&](char c) {
        if (write(ends[1], &c, 1) != 1) _exit(2);
      });
      _exit(0);
    }
    close(ends[1]);
    hearing = ends[0];
  }
  ~Child() {
    if (id > 0) Kill();
    close(hearing);
  }

  // The next thing that the child says; 0 when it is gone.
  char Hear() const {
    char c = 0;
    return read(hearing, &c, 1) == 1 ? c : '\0';
  }
  void Kill() {
    kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
    id = 0;
  }

 private:
  pid_t id = 0;
  int hearing = -1;
};
