// Terminals and signals on POSIX systems.
#include "../terminal.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>

namespace kvor {
namespace {

volatile std::sig_atomic_t requested = 0;
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
  Set(number, SIG_DFL);
  if (waits != 0) raise(number);
}

}  // namespace

bool StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }
bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool InputComesSoon() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 1000) > 0;
}

void LetClosedPipesFail() { Set(SIGPIPE, SIG_IGN); }

InterruptScope::InterruptScope() {
  requested = 0;
  for (const int number : Signals) {
    struct sigaction old {};
    sigaction(number, nullptr, &old);
    if (old.sa_handler != SIG_IGN) Set(number, OnSignal);  // nohup stays in force
  }
}

InterruptScope::~InterruptScope() {
  for (const int number : Signals) {
    struct sigaction old {};
    sigaction(number, nullptr, &old);
    if (old.sa_handler == OnSignal) Set(number, SIG_DFL);
  }
}

bool InterruptScope::Requested() { return requested != 0; }

void InterruptScope::Waiting(bool waiting) { waits = waiting ? 1 : 0; }

}  // namespace kvor
