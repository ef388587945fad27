// The bytes far behind any content that stand for what may be locked of a file.
#pragma once

#include <sys/types.h>

namespace platform {

constexpr off_t SharingByte = off_t{1} << 62;   // held by whoever has the file open
constexpr off_t WorkingByte = SharingByte + 1;  // held by whoever is at work in it

// Tries once. `type`: F_RDLCK, F_WRLCK or F_UNLCK. 0, or -1 with errno: EAGAIN or EACCES when
// somebody else holds the byte.
int LockByte(int fd, off_t byte, short type);

}  // namespace platform
