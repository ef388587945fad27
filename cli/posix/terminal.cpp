// Terminals and signals on POSIX systems.
#include "../terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace kvor {
namespace {

volatile std::sig_atomic_t requested = 0;
volatile std::sig_atomic_t patient = 0;
volatile std::sig_atomic_t waits = 0;

constexpr int Signals[] = {SIGINT, SIGTERM, SIGHUP};

void Set(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(number, &action, nullptr);
}

void OnSignal(int number) {
  requested = 1;
  // The second one is not patient, and while input is waited for nothing needs patience.
  if (patient != 0 && waits == 0) {
    patient = 0;
    return;
  }
  Set(number, SIG_DFL);
  raise(number);
}

}  // namespace

bool StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }
bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool InputComesSoon() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 1000) > 0;
}

void LetClosedPipesFail() { Set(SIGPIPE, SIG_IGN); }

// A file gets the lowest number that is free; what it is opened for here, no stream does.
void LetClosedStreamsFail() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(number, F_GETFD) == -1)
      open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

InterruptScope::InterruptScope() {
  requested = 0;
  patient = 1;
  for (const int number : Signals) {
    struct sigaction old {};
    sigaction(number, nullptr, &old);
    if (old.sa_handler != SIG_IGN) Set(number, OnSignal);  // nohup stays in force
  }
}

InterruptScope::~InterruptScope() { patient = 0; }

bool InterruptScope::Requested() { return requested != 0; }

void InterruptScope::Waiting(bool waiting) { waits = waiting ? 1 : 0; }

}  // namespace kvor
