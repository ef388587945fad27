// A file descriptor that is closed when its owner goes, and the loop around interrupted calls.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : number(fd) {}
  Descriptor(Descriptor&& o) noexcept : number(std::exchange(o.number, -1)) {}
  Descriptor& operator=(Descriptor&& o) noexcept {
    std::swap(number, o.number);
    return *this;
  }
  ~Descriptor() {
    if (number >= 0) close(number);
  }

  int Get() const { return number; }
  explicit operator bool() const { return number >= 0; }

 private:
  int number = -1;
};

// Makes a call again for as long as a signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
  auto answer = call();
  while (answer == -1 && errno == EINTR) answer = call();
  return answer;
}

// Moves a descriptor that has just been opened away from the standard streams: where a program was
// started with one of them closed, its output would go into whatever is opened next. Passes -1 on.
inline int NumberAwayFromStreams(int opened) {
  if (opened < 0 || opened > STDERR_FILENO) return opened;
  const Descriptor low(opened);
  return fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

inline Descriptor AwayFromStreams(int opened) { return Descriptor(NumberAwayFromStreams(opened)); }

}  // namespace platform
