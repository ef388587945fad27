// A folder of its own for one test, removed with all it holds.
#pragma once

#include <filesystem>
#include <string>

class TestFolder {
 public:
  TestFolder() {
    std::string made = (std::filesystem::temp_directory_path() / "kvorlib-XXXXXX").string();
    if (mkdtemp(made.data()) == nullptr) std::abort();
    path = made;
  }
  ~TestFolder() { std::filesystem::remove_all(path); }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path / name).string(); }

 private:
  std::filesystem::path path;
};
