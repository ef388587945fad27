// The lines of an input: a file, or standard input.
#include "linereader.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "outcome.h"
#include "terminal.h"

namespace kvor {

LineReader::LineReader(const std::string& input)
    : name(input == "-" ? "standard input" : input), in(&std::cin) {
  if (input == "-") {
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
    return;
  }
  errno = 0;
  file.open(input, std::ios::binary);
  if (!file) throw Failure(input, errno != 0 ? std::strerror(errno) : "cannot be opened");
  in = &file;
}

bool LineReader::Next(std::string& line, Output& out) {
  const bool mayWait = in->rdbuf()->in_avail() <= 0;
  if (mayWait) {
    out.Flush();
    InterruptScope::Waiting(true);
  }
  std::getline(*in, line);
  if (mayWait) InterruptScope::Waiting(false);
  if (in->bad()) throw Failure(name, "cannot be read");
  if (in->fail()) return false;  // nothing before the end
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (++number == 1 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
  return true;
}

}  // namespace kvor
