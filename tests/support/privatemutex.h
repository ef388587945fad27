// A mutex of a test's own for the store, with everything of it deleted when the test is over: who
// is killed while holding it disturbs nobody else, and nobody else mends what he left.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "store/host.h"

class PrivateMutex {
 public:
  // With another `mark`, another one.
  explicit PrivateMutex(const std::string& mark = {})
      : name("test" + std::to_string(getpid()) + mark) {}
  ~PrivateMutex() {
    std::error_code ignored;
    std::filesystem::remove(File(), ignored);
  }
  PrivateMutex(const PrivateMutex&) = delete;
  PrivateMutex& operator=(const PrivateMutex&) = delete;

  std::unique_ptr<store::Host> MakeHost(store::FileForm form) const {
    return store::MakeSystemHost(form, name.c_str());
  }
  // Where its memory lies; empty before the first host is made.
  std::filesystem::path File() const {
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", failed)) {
      if (entry.path().string().find('-' + name + '.') != std::string::npos) return entry.path();
    }
    return {};
  }

 private:
  std::string name;
};
