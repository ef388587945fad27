// Shared libraries, loaded while the program runs. A port owes exactly what this header says.
#pragma once

#include <memory>
#include <string>

namespace platform {

// A loaded library; lets go of it when destroyed. The code of a library stays for as long as
// somebody has it loaded, and whatever was taken from it dies with the last of them.
class SharedLibrary {
 public:
  virtual ~SharedLibrary() = default;

  // The address of an exported function; null with `words` (UTF-8) on failure.
  virtual void* Find(const std::string& symbol, std::string& words) = 0;
};

// Loads the library in the file `path` (UTF-8), with all that it needs: a name without a folder is
// a file of the current folder, never looked for elsewhere. Null with `words` (UTF-8) on failure.
// Where the system can tell that the library's own start-up code threw, that is a failure, too;
// POSIX loaders cannot, and the process is terminated.
std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path, std::string& words);

}  // namespace platform
