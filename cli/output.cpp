// Standard output, buffered, with every failure noticed; and complaints and progress beside it.
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "outcome.h"
#include "terminal.h"

namespace kvor {

void Complain(const std::string& about, const std::string& words) {
  std::string line = "kvor: ";
  if (!about.empty()) line += about + ": ";
  line += words + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

void Output::Write() {
  const std::string piece = std::move(pending);
  pending.clear();
  errno = 0;
  if (piece.empty() || std::fwrite(piece.data(), 1, piece.size(), stdout) == piece.size()) return;
  if (errno == EPIPE) throw OutputClosed();
  throw Failure("standard output", std::strerror(errno));
}

void Output::Flush() {
  Write();
  errno = 0;
  if (std::fflush(stdout) == 0) return;
  if (errno == EPIPE) throw OutputClosed();
  throw Failure("standard output", std::strerror(errno));
}

Progress::Progress(std::string what) : noun(std::move(what)), terminal(StderrIsTerminal()) {}

void Progress::Show(std::uint64_t count) {
  if (!terminal || count % 256 != 0) return;
  const auto now = std::chrono::steady_clock::now();
  if (shown && now - last < std::chrono::milliseconds(200)) return;
  last = now;
  shown = true;
  std::fprintf(stderr, "\r%llu %s", static_cast<unsigned long long>(count), noun.c_str());
  std::fflush(stderr);
}

void Progress::Clear() {
  if (!shown) return;
  std::fputs("\r\033[K", stderr);
  shown = false;
}

}  // namespace kvor
