// A folder of a test's own, deleted with everything in it when the test is over.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

#include "kvorlib/encoding.h"

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
  std::u16string Wide(const std::string& name) const { return A2U(Path(name), 65001); }

  // A file of these bytes, in a folder that is there.
  void Write(const std::string& name, const std::string& bytes = "") const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path folder;
};
