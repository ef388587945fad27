// Splitting a command line. Backslashes mean something in front of a quote alone, so that most of
// those in paths and patterns can stand as they are.
#include "platform/posix/commandline.h"

#include <algorithm>
#include <cstddef>

namespace platform {
namespace {

constexpr std::string_view Blanks = " \t\r\n";

// Takes one piece off the front of `rest`, which begins with it.
std::string TakePiece(std::string_view& rest) {
  std::string piece;
  bool quoted = false;
  while (!rest.empty() && (quoted || Blanks.find(rest.front()) == std::string_view::npos)) {
    const std::size_t slashes = std::min(rest.find_first_not_of('\\'), rest.size());
    rest.remove_prefix(slashes);
    if (rest.empty() || rest.front() != '"') {
      piece.append(slashes, '\\');
      if (slashes > 0) continue;  // what follows may be a blank
      piece += rest.front();
    } else {
      piece.append(slashes / 2, '\\');
      if (slashes % 2 != 0) {
        piece += '"';
      } else {
        quoted = !quoted;
      }
    }
    rest.remove_prefix(1);
  }
  return piece;
}

}  // namespace

std::vector<std::string> SplitCommandLine(std::string_view line) {
  std::vector<std::string> pieces;
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
    if (line.empty()) return pieces;
    pieces.push_back(TakePiece(line));
  }
}

}  // namespace platform
