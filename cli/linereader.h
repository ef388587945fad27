// The lines of an input: a file, or standard input.
#pragma once

#include <cstdint>
#include <fstream>
#include <istream>
#include <sstream>
#include <string>

#include "output.h"

namespace kvor {

class LineReader {
 public:
  enum class Content {
    Lines,    // handed out byte for byte, as they come
    AnyText,  // UTF-8 or UTF-16, read whole at once. Lines come in UTF-8; what is no text makes a
              // line that is no UTF-8 either
  };
  // "-" is standard input. Throws Failure.
  explicit LineReader(const std::string& name, Content content = Content::Lines);

  // The next line without its end ("\n" or "\r\n"); false at the end of the input. A byte order
  // mark in front of the first line is dropped. Before it has to wait, `out` is flushed. An
  // interrupt ends the tool while it waits, unless work is pending.
  bool Next(std::string& line, Output& out, bool workPending = false);
  // Whether a second was spent in vain waiting for more of standard input, or an interrupt came.
  bool Stalls() const;

  // What the input is called in messages.
  const std::string& Name() const { return name; }
  std::uint64_t Number() const { return number; }

 private:
  void ReadAll();

  std::string name;
  std::ifstream file;
  std::istringstream text;
  std::istream* in;
  std::uint64_t number = 0;
};

}  // namespace kvor
