// Reading needs no lock, since a file gets its name only when it is whole and on disk: whoever
// opens it sees one state of the hive, and users may read a machine's hive that they must not lock.
// Who changes it holds a lock on a file of its own, which never goes, from the reading to the
// renaming.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // F_OFD_SETLK
#endif
#include "platform/posix/registryfile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/posix/descriptor.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds kPatience{10'000};
constexpr std::chrono::milliseconds kPause{5};
constexpr off_t kLongest = 64 << 20;  // of a file that can still be a hive

std::string HomeFolder() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return home;
  struct passwd entry = {};
  struct passwd* found = nullptr;
  std::vector<char> room(1 << 14);
  getpwuid_r(geteuid(), &entry, room.data(), room.size(), &found);
  return found != nullptr ? found->pw_dir : "";
}

// A relative folder in the variable does not count.
std::string UserFolder() {
  const char* const config = std::getenv("XDG_CONFIG_HOME");
  return (config != nullptr && *config == '/' ? std::string(config) : HomeFolder() + "/.config") +
         "/kvor";
}

bool MakeFolders(const std::string& folder, mode_t mode) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = folder.find('/', end + 1);
    if (mkdir(folder.substr(0, end).c_str(), mode) != 0 && errno != EEXIST) return false;
  }
  return true;
}

// 0, or why the lock was not had.
int LockWhole(int fd) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  while (Uninterrupted([&] { return fcntl(fd, F_OFD_SETLK, &lock); }) != 0) {
    if (errno != EAGAIN && errno != EACCES) return errno;
    if (std::chrono::steady_clock::now() > end) return ETIMEDOUT;
    std::this_thread::sleep_for(kPause);
  }
  return 0;
}

bool ReadAll(int fd, std::string& bytes) {
  char part[1 << 14];
  for (;;) {
    const ssize_t got = Uninterrupted([&] { return read(fd, part, sizeof part); });
    if (got <= 0) return got == 0;
    bytes.append(part, static_cast<std::size_t>(got));
  }
}

bool WriteAll(int fd, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t put =
        Uninterrupted([&] { return write(fd, bytes.data() + done, bytes.size() - done); });
    if (put <= 0) return false;
    done += static_cast<std::size_t>(put);
  }
  return true;
}

// The file behind a link, so that a link that a person made stays one.
std::string BehindLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real != nullptr ? real.get() : path;
}

}  // namespace

RegistryFile::RegistryFile(Hive hive)
    : folder(hive == Hive::Machine ? "/etc/xdg/kvor" : UserFolder()),
      path(folder + "/registry"),
      machine(hive == Hive::Machine) {}

RegistryAnswer RegistryFile::Answer(RegistryError error, const std::string& why) const {
  return {error, path + ": " + why};
}

RegistryAnswer RegistryFile::SystemFailure(int code) const {
  const bool refused = code == EACCES || code == EPERM || code == EROFS;
  return Answer(refused ? RegistryError::NoAccess : RegistryError::Failed,
                std::generic_category().message(code));
}

RegistryAnswer RegistryFile::Read(RegistryText& text) const {
  const Descriptor fd(Uninterrupted(
      [&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!fd && (errno == ENOENT || errno == ENOTDIR)) {
    text = RegistryText();
    return {};
  }
  struct stat status = {};
  if (!fd || fstat(fd.Get(), &status) != 0) return SystemFailure(errno);
  if (!S_ISREG(status.st_mode) || status.st_size > kLongest)
    return Answer(RegistryError::Broken, "no file of settings");
  std::string bytes;
  std::string words;
  if (!ReadAll(fd.Get(), bytes)) return SystemFailure(errno);
  if (!text.Parse(bytes, words)) return Answer(RegistryError::Broken, words);
  return {};
}

RegistryAnswer RegistryFile::MayAlter() const {
  for (const std::string& touched : {folder, path}) {
    if (faccessat(AT_FDCWD, touched.c_str(), W_OK, AT_EACCESS) != 0 && errno != ENOENT)
      return SystemFailure(errno);
  }
  return {};
}

RegistryAnswer RegistryFile::Alter(const Change& change) const {
  if (!MakeFolders(folder, machine ? 0755 : 0700)) return SystemFailure(errno);
  // A file that a person made read-only is meant to stay as it is, though it could be renamed over.
  if (auto allowed = MayAlter(); !allowed) return allowed;
  const Descriptor lock = AwayFromStreams(Uninterrupted([&] {
    return open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                0600);
  }));
  if (!lock) return SystemFailure(errno);
  if (const int code = LockWhole(lock.Get()); code != 0) {
    return Answer(RegistryError::Failed, code == ETIMEDOUT ? "locked by another process"
                                                           : std::generic_category().message(code));
  }
  RegistryText text;
  if (auto read = Read(text); !read) return read;
  const std::string before = text.Text();
  if (auto changed = change(text); !changed) return changed;
  const std::string after = text.Text();
  return before == after ? RegistryAnswer() : Write(after);
}

// Under the lock, so that one name serves for all that is not yet whole, and what a killed process
// left under it is simply in the way.
RegistryAnswer RegistryFile::Write(const std::string& bytes) const {
  const std::string target = BehindLinks(path);
  const std::string fresh = target + ".new";
  unlink(fresh.c_str());
  const Descriptor fd = AwayFromStreams(Uninterrupted([&] {
    return open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, machine ? 0644 : 0600);
  }));
  if (!fd) return SystemFailure(errno);
  struct stat old = {};
  const bool kept = stat(target.c_str(), &old) != 0 ||
                    ((old.st_uid == geteuid() || fchown(fd.Get(), old.st_uid, old.st_gid) == 0) &&
                     fchmod(fd.Get(), old.st_mode & 0777) == 0);
  if (!kept || !WriteAll(fd.Get(), bytes) || fsync(fd.Get()) != 0 ||
      rename(fresh.c_str(), target.c_str()) != 0) {
    const int code = errno;
    unlink(fresh.c_str());
    return SystemFailure(code);
  }
  // The new name is on disk when its folder is; without a way to say so it soon is, all the same.
  const Descriptor named(
      open(target.substr(0, target.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (named) fsync(named.Get());
  return {};
}

}  // namespace platform
