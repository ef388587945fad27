// The form of paths, and the place of the library's own file. A port owes exactly what this header
// says. Paths are UTF-8 but where they are wide.
#pragma once

#include <optional>
#include <string>

namespace platform {

// A path out of a data file, which may be written with either separator, in the platform's form:
// here each backslash becomes '/', and nothing else changes. Everything that a data file names goes
// through this once, where it is read. Paths that come from the system or from a caller do not:
// a backslash may be part of a name there.
std::u16string NativePath(std::u16string path);
std::string NativePath(std::string path);

// The path from the root, without "." and "..", links left as they are but for those in front of a
// "..". What it names need not be there. Nothing if the present folder or one in front of a ".."
// cannot be had.
std::optional<std::string> FullPath(const std::string& path);

// The library's own file, as it was called when it was loaded: its full path, links resolved. The
// program's file when the library's code is part of the program. Empty if it cannot be had.
const std::string& LibraryFile();

}  // namespace platform
