// Writing aside, and putting what was written in its place.
#include "wholefile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "outcome.h"

namespace kvor {

namespace fs = std::filesystem;

WholeFile::WholeFile(const std::string& path) : name(path), target(path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) throw Failure(path, "is a folder");
  if (fs::is_other(path, ignored)) return;
  const fs::path real = fs::canonical(path, ignored);
  if (!real.empty()) target = real.string();
  const bool kept = !real.empty() && !std::ofstream(target, std::ios::app);
  if (kept) throw Failure(path, std::strerror(errno));
  const std::string folder = fs::path(target).parent_path().string();
  file.emplace(folder.empty() ? "." : folder, path);
}

// A name that is taken can only be taken over by another name.
void WholeFile::Finish() {
  if (!file) return;
  std::error_code error;
  const fs::perms mode = fs::status(target, error).permissions();
  if (!error) fs::permissions(file->Path(), mode, error);
  std::string part = target + ".part";
  while ((error = file->TakeName(part)) == std::errc::file_exists) part += '~';
  if (error) throw Failure(name, error.message());
  fs::rename(part, target, error);
  if (!error) return;
  std::error_code ignored;
  fs::remove(part, ignored);
  throw Failure(name, error.message());
}

}  // namespace kvor
