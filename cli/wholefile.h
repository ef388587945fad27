// A file that is written as a whole or not at all.
#pragma once

#include <optional>
#include <string>

#include "namelessfile.h"

namespace kvor {

// Takes its name only when it is finished: until then it has none, and whatever has the name
// already stays as it is. What is no ordinary file, a device or a pipe, is written to where it is.
//
//   WholeFile file("table.txt");
//   … write to file.Place() …
//   file.Finish();
class WholeFile {
 public:
  // Throws Failure for a folder, and for a file that may not be written.
  explicit WholeFile(const std::string& path);

  const std::string& Place() const { return file ? file->Path() : target; }
  // What was written is closed by now. Throws Failure. Without this nothing has been written.
  void Finish();

 private:
  std::string name;                  // as it was given
  std::string target;                // the file itself, where the name is a link: the link stays
  std::optional<NamelessFile> file;  // none when nothing is to take the place of the target
};

}  // namespace kvor
