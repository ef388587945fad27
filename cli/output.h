// Standard output, buffered, with every failure noticed; and complaints and progress beside it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace kvor {

// "1 record", "2 records".
std::string Counted(std::uint64_t count, std::string_view noun);

// Collects text and writes it in large pieces. Throws Failure, or OutputClosed when the reader of a
// pipe has gone.
class Output {
 public:
  Output& operator<<(std::string_view text) {
    pending += text;
    if (pending.size() >= Piece) Write();
    return *this;
  }
  Output& operator<<(char c) { return *this << std::string_view(&c, 1); }
  Output& operator<<(std::uint64_t number) { return *this << std::to_string(number); }

  // To be called before the tool waits for input and when all is done.
  void Flush();

 private:
  static constexpr std::size_t Piece = std::size_t{64} * 1024;
  void Write();

  std::string pending;
};

// A count that goes up on the terminal while a command works. Silent when standard error is none.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(std::uint64_t count);
  // Takes the line away, so that something else can be printed.
  void Clear();

 private:
  std::string noun;
  bool terminal;
  bool shown = false;
  std::chrono::steady_clock::time_point last{};
};

}  // namespace kvor
