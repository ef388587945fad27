// Files on POSIX systems. Nothing here knows who may share a file, so the rules of sharing are
// acted out with a lock on one byte far behind any content: every holder has it shared, or alone.
// It is a lock of the open file description, so closing another descriptor of the same file drops
// nothing, and it ends with the process. A file system without such locks does without the rules.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // F_OFD_SETLK, statx
#endif
#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/filelocks.h"
#include "platform/posix/posixfile.h"

namespace platform {
namespace {

constexpr int OpeningTries = 16;

enum class Claim { Had, Refused, Unsupported };

// `type`: F_RDLCK to hold the file with others, F_WRLCK to hold it alone.
Claim ClaimSharing(int fd, short type) {
  int answer = LockBytes(fd, SharingByte, 1, type);
  if (answer != 0 && errno == EBADF) {
    // A descriptor that may not write cannot hold the byte alone; it can ask whether it could.
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = SharingByte;
    lock.l_len = 1;
    answer = Uninterrupted([&] { return fcntl(fd, F_OFD_GETLK, &lock); });
    if (answer == 0 && lock.l_type != F_UNLCK) return Claim::Refused;
  }
  if (answer == 0) return Claim::Had;
  return errno == EAGAIN || errno == EACCES ? Claim::Refused : Claim::Unsupported;
}

int FlagsOf(OpenMode mode) {
  switch (mode) {
    case OpenMode::ReadOnly:
      return O_RDONLY;
    case OpenMode::ReadWrite:
      return O_RDWR;
    case OpenMode::CreateNew:
      return O_RDWR | O_CREAT | O_EXCL;
    case OpenMode::CreateAppend:
      return O_RDWR | O_CREAT | O_APPEND;
  }
  return O_RDONLY;
}

// Never waits: without O_NONBLOCK a pipe would be opened only when its other end is.
Descriptor OpenAtOnce(const std::string& path, int flags) {
  return AwayFromStreams(Uninterrupted(
      [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600); }));
}

bool StillNamed(const std::string& path, const struct stat& opened) {
  struct stat named = {};
  return stat(path.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino;
}

enum class Opening { Done, Failed, Again };

// One attempt. Again: the file lost its name before the claim on it was had.
Opening TryOpen(const std::string& path, OpenMode mode, Sharing sharing, Descriptor& fd,
                int& error) {
  fd = OpenAtOnce(path, FlagsOf(mode));
  if (!fd) {
    error = errno == EISDIR ? EACCES : errno;
    return Opening::Failed;
  }
  struct stat status = {};
  if (fstat(fd.Get(), &status) != 0) {
    error = errno;
    return Opening::Failed;
  }
  error = EACCES;
  if (!S_ISREG(status.st_mode)) return Opening::Failed;
  switch (ClaimSharing(fd.Get(), sharing == Sharing::All ? F_RDLCK : F_WRLCK)) {
    case Claim::Refused:
      return Opening::Failed;
    case Claim::Unsupported:
      return Opening::Done;
    case Claim::Had:
      break;
  }
  return StillNamed(path, status) ? Opening::Done : Opening::Again;
}

}  // namespace

std::ptrdiff_t PosixFile::Read(std::uint64_t offset, void* out, std::size_t n) {
  std::size_t done = 0;
  while (done < n) {
    const ssize_t got = Uninterrupted([&] {
      return pread(descriptor.Get(), static_cast<char*>(out) + done, n - done,
                   static_cast<off_t>(offset + done));
    });
    if (got < 0) return Failed(-1);
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<std::ptrdiff_t>(done);
}

bool PosixFile::Write(std::uint64_t offset, const void* bytes, std::size_t n) {
  std::size_t done = 0;
  while (done < n) {
    const ssize_t put = Uninterrupted([&] {
      return pwrite(descriptor.Get(), static_cast<const char*>(bytes) + done, n - done,
                    static_cast<off_t>(offset + done));
    });
    if (put == 0) errno = ENOSPC;
    if (put <= 0) return Failed(false);
    done += static_cast<std::size_t>(put);
  }
  return true;
}

std::int64_t PosixFile::Size() {
  struct stat status = {};
  return fstat(descriptor.Get(), &status) == 0 ? status.st_size : Failed(-1);
}

bool PosixFile::Truncate(std::uint64_t size) {
  return Uninterrupted([&] { return ftruncate(descriptor.Get(), static_cast<off_t>(size)); }) ==
             0 ||
         Failed(false);
}

// The time of the last access goes with it: to set the one alone is for the owner.
void PosixFile::Touch() { futimens(descriptor.Get(), nullptr); }

bool PosixFile::Identity(FileIdentity& identity) {
  struct statx status = {};
  if (statx(descriptor.Get(), "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0) {
    // Some sandboxes refuse this call alone.
    struct stat plain = {};
    if (fstat(descriptor.Get(), &plain) != 0) return Failed(false);
    identity = {plain.st_dev, plain.st_ino};
    return true;
  }
  identity = {makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino};
  if ((status.stx_mask & STATX_BTIME) != 0) {
    identity.born = static_cast<std::uint64_t>(status.stx_btime.tv_sec) * 1'000'000'000 +
                    status.stx_btime.tv_nsec;
  }
  return true;
}

Descriptor OpenDescriptor(const std::string& path, OpenMode mode, Sharing sharing, int& error) {
  for (int i = 0; i < OpeningTries; ++i) {
    Descriptor fd;
    const Opening result = TryOpen(path, mode, sharing, fd, error);
    if (result == Opening::Failed) return {};
    if (result == Opening::Done) return fd;
  }
  return {};
}

std::unique_ptr<File> OpenFile(const std::string& path, OpenMode mode, Sharing sharing,
                               int& error) {
  Descriptor fd = OpenDescriptor(path, mode, sharing, error);
  return fd ? std::make_unique<PosixFile>(std::move(fd)) : nullptr;
}

int RemoveFile(const std::string& path) {
  Descriptor fd;  // holds the claim until the name is gone
  for (int i = 0; i < OpeningTries; ++i) {
    fd = OpenAtOnce(path, O_RDWR);
    if (!fd) fd = OpenAtOnce(path, O_RDONLY);
    if (!fd) break;  // what may not be opened may still be deleted
    if (ClaimSharing(fd.Get(), F_WRLCK) == Claim::Refused) return EACCES;
    struct stat status = {};
    if (fstat(fd.Get(), &status) == 0 && StillNamed(path, status)) break;
  }
  if (unlink(path.c_str()) == 0) return 0;
  return errno == EISDIR ? EACCES : errno;
}

int ReplaceFile(const std::string& from, const std::string& to) {
  struct stat wanted = {};
  struct stat made = {};
  const Descriptor fd = OpenAtOnce(from, O_RDWR);
  if (!fd || stat(to.c_str(), &wanted) != 0 || fstat(fd.Get(), &made) != 0) return errno;
  const bool sameOwner = wanted.st_uid == made.st_uid && wanted.st_gid == made.st_gid;
  // The mode last: a change of the owner may take bits of it.
  if (!sameOwner && fchown(fd.Get(), wanted.st_uid, wanted.st_gid) != 0) return errno;
  if (fchmod(fd.Get(), wanted.st_mode & 07777) != 0) return errno;
  if (Uninterrupted([&] { return fsync(fd.Get()); }) != 0) return errno;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

bool FileExists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

}  // namespace platform
