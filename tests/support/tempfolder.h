// A folder of a test's own, deleted with everything in it when the test is over.
#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    do {
      folder = std::filesystem::temp_directory_path() / ("kvor-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(folder));
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // The full path, in UTF-8, of `name` (UTF-8 as well) inside the folder.
  std::string Path(const std::string& name) const { return folder.string() + '/' + name; }
  std::string Path() const { return folder.string(); }

 private:
  std::filesystem::path folder;
};
