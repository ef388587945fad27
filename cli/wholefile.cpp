// Writing beside a file, and putting what was written in its place.
#include "wholefile.h"

#include <cerrno>
#include <cstdio>
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
  if (kept) throw Failure(path, "cannot be written");
  part = target + ".part";
  std::FILE* made = nullptr;
  while ((made = std::fopen(part.c_str(), "wbx")) == nullptr && errno == EEXIST) part += '~';
  if (made == nullptr) throw Failure(path, "cannot be written");
  std::fclose(made);
  goes.emplace(part);
}

WholeFile::~WholeFile() {
  std::error_code ignored;
  if (!part.empty()) fs::remove(part, ignored);
}

void WholeFile::Finish() {
  if (part.empty()) return;
  std::error_code error;
  const fs::perms mode = fs::status(target, error).permissions();
  if (!error) fs::permissions(part, mode, error);
  goes.reset();  // the name may be another tool's as soon as it is free
  fs::rename(part, target, error);
  if (error) throw Failure(name, error.message());
  part.clear();
}

}  // namespace kvor
