// A file that is written as a whole or not at all.
#pragma once

#include <optional>
#include <string>

#include "terminal.h"

namespace kvor {

// Takes its name only when it is finished: until then it lies beside, and whatever has the name
// already stays as it is. A tool that is interrupted leaves nothing there; one that is killed
// leaves a part, which is in nobody's way. What is no ordinary file, a device or a pipe, is written
// to where it is.
//
//   WholeFile file("table.txt");
//   … write to file.Place() …
//   file.Finish();
class WholeFile {
 public:
  // Throws Failure for a folder, and for a file that may not be written.
  explicit WholeFile(const std::string& path);
  ~WholeFile();  // without Finish, nothing has been written
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  const std::string& Place() const { return part.empty() ? target : part; }
  // What was written is closed by now. Throws Failure.
  void Finish();

 private:
  std::string name;    // as it was given
  std::string target;  // the file itself, where the name is a link: the link stays
  std::string part;    // made here; empty when nothing is to take the place of the target
  std::optional<GoesWithTheTool> goes;
};

}  // namespace kvor
