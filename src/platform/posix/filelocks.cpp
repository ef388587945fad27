// Who else may use a file, and the lock of those who do. The lock is one of the open file
// description, as that of sharing: it ends with the process, and no other descriptor drops it.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // F_OFD_SETLK
#endif
#include "platform/posix/filelocks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/posix/posixfile.h"

namespace platform {
namespace {

// Of these it is known that other machines, or another kernel, may see the same file.
bool IsReachedFromElsewhere(int fd) {
  constexpr std::uint32_t Known[] = {
      0x6969,      // nfs
      0xFF534D42,  // cifs
      0xFE534D42,  // smb2, smb3
      0x517B,      // smb
      0x65735546,  // fuse: sshfs and others
      0x01021997,  // 9p
      0x5346414F,  // afs
      0x6B414653,  // afs of the kernel
      0x00C36400,  // ceph
      0x01161970,  // gfs2
      0x7461636F,  // ocfs2
      0x0BD00BD0,  // lustre
      0x786F4256,  // vboxsf
  };
  struct statfs status = {};
  return fstatfs(fd, &status) == 0 &&
         std::find(std::begin(Known), std::end(Known), static_cast<std::uint32_t>(status.f_type)) !=
             std::end(Known);
}

}  // namespace

int LockBytes(int fd, off_t first, off_t count, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = first;
  lock.l_len = count;
  return Uninterrupted([&] { return fcntl(fd, F_OFD_SETLK, &lock); });
}

// The bits of the group are those of the widest entry of an access list, if there is one.
Company WhoElseUses(int fd) {
  struct stat status = {};
  if (fstat(fd, &status) != 0 || status.st_uid != geteuid()) return Company::Writers;
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return Company::Writers;
  if (IsReachedFromElsewhere(fd)) return Company::Writers;
  return (status.st_mode & (S_IRGRP | S_IROTH)) != 0 ? Company::Readers : Company::Own;
}

Company PosixFile::WhoElse() { return WhoElseUses(descriptor.Get()); }

Rights PosixFile::WhoMay() {
  struct stat status = {};
  if (fstat(descriptor.Get(), &status) != 0) return {};
  return {status.st_gid, status.st_mode & 0777};
}

bool PosixFile::Grant(const Rights& rights) {
  constexpr mode_t Others = S_IRWXG | S_IRWXO;
  struct stat status = {};
  if ((rights.mode & Others) == 0 || fstat(descriptor.Get(), &status) != 0) return false;
  const bool given = status.st_gid == rights.group ||
                     fchown(descriptor.Get(), static_cast<uid_t>(-1), rights.group) == 0;
  const mode_t mode = given ? rights.mode : rights.mode & ~mode_t{S_IRWXG};
  return fchmod(descriptor.Get(), mode | S_IRUSR | S_IWUSR) == 0;
}

namespace {

using Clock = std::chrono::steady_clock;

// The system could wait for the lock, but not for so long and no longer.
bool Obtain(int fd, off_t first, off_t count, short type, Clock::time_point end) {
  constexpr std::chrono::microseconds Longest(2000);
  std::chrono::microseconds pause(20);
  while (LockBytes(fd, first, count, type) != 0) {
    if (errno != EAGAIN && errno != EACCES) return errno != EBADF;
    if (Clock::now() >= end) return false;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, Longest);
  }
  return true;
}

}  // namespace

// Who wants to change keeps the gate shut, so that those who look do not follow each other for
// ever; they leave it open behind them.
bool PosixFile::Lock(Hold hold, std::chrono::milliseconds patience) {
  const int fd = descriptor.Get();
  const Clock::time_point end = Clock::now() + patience;
  if (hold == Hold::Looking) {
    if (!Obtain(fd, GateByte, 2, F_RDLCK, end)) return false;
    LockBytes(fd, GateByte, 1, F_UNLCK);
    return true;
  }
  if (!Obtain(fd, GateByte, 1, F_WRLCK, end)) return false;
  if (Obtain(fd, WorkingByte, 1, F_WRLCK, end)) return true;
  LockBytes(fd, GateByte, 1, F_UNLCK);
  return false;
}

void PosixFile::Unlock() { LockBytes(descriptor.Get(), GateByte, 2, F_UNLCK); }

}  // namespace platform
