// Whole files by descriptor on POSIX systems.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // F_OFD_SETLK
#endif
#include "platform/fdio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/posix/descriptor.h"

namespace platform {
namespace {

constexpr int LockTries = 10;
constexpr std::chrono::seconds BetweenTries(1);

int Open(const std::string& path, int flags, mode_t mode = 0666) {
  // Without O_NONBLOCK a pipe would be opened only when its other end is.
  return NumberAwayFromStreams(Uninterrupted(
      [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode); }));
}

// A lock of the open file description, so that closing another descriptor of the file drops
// nothing, and threads keep one another out.
bool SetLock(int fd, short type, std::int64_t n) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_len = n;
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

bool WithoutLocks(int error) {
  return error == EINVAL || error == ENOLCK || error == ENOSYS || error == ENOTSUP;
}

}  // namespace

FileNumber::~FileNumber() {
  if (number >= 0) close(number);
}

int OpenToRead(const std::string& path) { return Open(path, O_RDONLY); }

int OpenToOverwrite(const std::string& path) { return Open(path, O_WRONLY | O_CREAT); }

int OpenToReplace(const std::string& path) { return Open(path, O_RDWR | O_CREAT | O_TRUNC, 0600); }

bool Rewind(int fd) { return lseek(fd, 0, SEEK_SET) == 0; }

std::int64_t SizeOf(int fd) {
  struct stat status = {};
  return fstat(fd, &status) == 0 ? status.st_size : -1;
}

bool ReadAll(int fd, char* out, std::size_t n) {
  while (n > 0) {
    const ssize_t got = Uninterrupted([&] { return read(fd, out, n); });
    if (got <= 0) return false;
    out += got;
    n -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int fd, const char* bytes, std::size_t n) {
  while (n > 0) {
    const ssize_t put = Uninterrupted([&] { return write(fd, bytes, n); });
    if (put == 0) errno = ENOSPC;
    if (put <= 0) return false;
    bytes += put;
    n -= static_cast<std::size_t>(put);
  }
  return true;
}

bool ChangeSize(int fd, std::int64_t size) {
  return Uninterrupted([&] { return ftruncate(fd, size); }) == 0;
}

bool CutHere(int fd) {
  const off_t here = lseek(fd, 0, SEEK_CUR);
  return here >= 0 && ChangeSize(fd, here);
}

bool Commit(int fd) {
  return Uninterrupted([&] { return fsync(fd); }) == 0 || errno == EINVAL || errno == EROFS;
}

bool LockStart(int fd, std::int64_t n) {
  if (n == 0) return true;  // to the system, no bytes at all mean every byte
  const int mode = fcntl(fd, F_GETFL);
  if (mode == -1) return false;
  const short type = (mode & O_ACCMODE) == O_RDONLY ? F_RDLCK : F_WRLCK;
  for (int i = 1; !SetLock(fd, type, n); ++i) {
    if (errno != EAGAIN && errno != EACCES && errno != EINTR) return WithoutLocks(errno);
    if (i == LockTries) return false;
    std::this_thread::sleep_for(BetweenTries);
  }
  return true;
}

bool UnlockStart(int fd, std::int64_t n) {
  return n == 0 || SetLock(fd, F_UNLCK, n) || WithoutLocks(errno);
}

}  // namespace platform
