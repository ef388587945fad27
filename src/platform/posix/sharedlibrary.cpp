// Shared libraries on POSIX systems.
#include "platform/sharedlibrary.h"

#include <dlfcn.h>

namespace platform {
namespace {

std::string LastWords() {
  const char* const words = dlerror();
  return words != nullptr ? words : "unknown failure of the loader";
}

class PosixSharedLibrary final : public SharedLibrary {
 public:
  explicit PosixSharedLibrary(void* loaded) : handle(loaded) {}
  ~PosixSharedLibrary() override { dlclose(handle); }
  PosixSharedLibrary(const PosixSharedLibrary&) = delete;
  PosixSharedLibrary& operator=(const PosixSharedLibrary&) = delete;

  void* Find(const std::string& symbol, std::string& words) override {
    void* const found = dlsym(handle, symbol.c_str());
    if (found == nullptr) words = LastWords();
    return found;
  }

 private:
  void* handle;
};

}  // namespace

// Everything is bound at once: a library that lacks something fails here, not at its first call.
std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path, std::string& words) {
  // Without a slash the loader would look through its own folders.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle != nullptr) return std::make_unique<PosixSharedLibrary>(handle);
  words = LastWords();
  return nullptr;
}

}  // namespace platform
