// Files without a name on Linux: the system shows each open file under the number of its handle.
#include "../namelessfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "../outcome.h"

namespace kvor {
namespace {

constexpr mode_t AnyNewFile = 0666;

// Some file systems have no files that never had a name.
int MakeAndUnlink(const std::string& folder) {
  std::random_device random;
  std::string name;
  int number = -1;
  do {
    name = folder + "/.kvor-" + std::to_string(random());
    number = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, AnyNewFile);
  } while (number < 0 && errno == EEXIST);
  if (number >= 0) unlink(name.c_str());
  return number;
}

}  // namespace

NamelessFile::NamelessFile(const std::string& folder, const std::string& about)
    : number(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, AnyNewFile)) {
  if (number < 0) number = MakeAndUnlink(folder);
  if (number < 0) throw Failure(about, std::strerror(errno));
  path = "/proc/self/fd/" + std::to_string(number);
}

NamelessFile::~NamelessFile() { close(number); }

std::error_code NamelessFile::TakeName(const std::string& name) const {
  if (linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return {};
  std::error_code error(errno, std::generic_category());
  // What had a name once cannot have another.
  if (error == std::errc::file_exists) return error;
  if (std::filesystem::copy_file(path, name, error)) return {};
  std::error_code ignored;
  if (error != std::errc::file_exists) std::filesystem::remove(name, ignored);
  return error;
}

}  // namespace kvor
