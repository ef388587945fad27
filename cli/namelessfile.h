// A file that has no name until it is whole. One source a platform.
#pragma once

#include <string>
#include <system_error>

namespace kvor {

// Nobody else sees it, and it goes with the tool, however that ends.
class NamelessFile {
 public:
  // An empty one in this folder, with the rights of any new file. Throws Failure naming `about`.
  NamelessFile(const std::string& folder, const std::string& about);
  ~NamelessFile();
  NamelessFile(const NamelessFile&) = delete;
  NamelessFile& operator=(const NamelessFile&) = delete;

  // By this it can be opened as often as is wanted, while the object lives.
  const std::string& Path() const { return path; }

  // From now on it is under this name, too, in the folder, and stays. Nobody must have the name.
  std::error_code TakeName(const std::string& name) const;

 private:
  int number;
  std::string path;
};

}  // namespace kvor
