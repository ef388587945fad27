// Paths on POSIX systems, and the file that this code was loaded from.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // dladdr1
#endif
#include "platform/path.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

namespace platform {
namespace {

std::string RealPath(const char* path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path, nullptr), std::free);
  return real ? real.get() : std::string();
}

// The loader has no name for the program, and that of a library is what it was asked for, which may
// be relative to the folder that was the present one then.
std::string FindLibraryFile() {
  static const char here = 0;
  Dl_info info = {};
  void* map = nullptr;
  if (dladdr1(&here, &info, &map, RTLD_DL_LINKMAP) == 0 || map == nullptr) return {};
  const char* const name = static_cast<const link_map*>(map)->l_name;
  return RealPath(name != nullptr && *name != '\0' ? name : "/proc/self/exe");
}

// Looked up as the code is loaded, before anybody can change the present folder.
[[maybe_unused]] const std::string& lookedUpAtLoad = LibraryFile();

}  // namespace

std::u16string NativePath(std::u16string path) {
  std::replace(path.begin(), path.end(), u'\\', u'/');
  return path;
}

std::string NativePath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::optional<std::string> FullPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) return std::nullopt;
  std::filesystem::path full;
  for (const std::filesystem::path& piece : absolute) {
    if (piece.empty() || piece == ".") continue;
    if (piece != "..") {
      full /= piece;
      continue;
    }
    // What lies above a link's name is not what lies above the folder that it leads to.
    const std::string folder = RealPath(full.c_str());
    if (folder.empty()) return std::nullopt;
    full = std::filesystem::path(folder).parent_path();
  }
  return full.string();
}

const std::string& LibraryFile() {
  static const std::string path = FindLibraryFile();
  return path;
}

}  // namespace platform
