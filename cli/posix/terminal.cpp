// Terminals and signals on POSIX systems.
#include "../terminal.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>

namespace kvor {
namespace {

volatile std::sig_atomic_t requested = 0;
volatile std::sig_atomic_t patient = 0;
volatile std::sig_atomic_t waits = 0;

struct Doomed {
  volatile std::sig_atomic_t exists = 0;
  std::array<char, 4096> path{};
};
std::array<Doomed, 4> doomed;

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
  for (const Doomed& file : doomed)
    if (file.exists != 0) unlink(file.path.data());
  Set(number, SIG_DFL);
  raise(number);
}

void Listen() {
  for (const int number : Signals) {
    struct sigaction old {};
    sigaction(number, nullptr, &old);
    if (old.sa_handler != SIG_IGN) Set(number, OnSignal);  // nohup stays in force
  }
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
  patient = 1;
  Listen();
}

InterruptScope::~InterruptScope() { patient = 0; }

bool InterruptScope::Requested() { return requested != 0; }

void InterruptScope::Waiting(bool waiting) { waits = waiting ? 1 : 0; }

GoesWithTheTool::GoesWithTheTool(const std::string& path) : place(0) {
  while (place < doomed.size() && doomed[place].exists != 0) ++place;
  if (place == doomed.size() || path.size() >= doomed[place].path.size()) {
    place = doomed.size();
    return;
  }
  std::copy(path.c_str(), path.c_str() + path.size() + 1, doomed[place].path.begin());
  std::atomic_signal_fence(std::memory_order_seq_cst);
  doomed[place].exists = 1;
  Listen();
}

GoesWithTheTool::~GoesWithTheTool() {
  if (place < doomed.size()) doomed[place].exists = 0;
}

}  // namespace kvor
