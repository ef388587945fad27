// The bytes far behind any content that stand for what may be locked of a file.
#pragma once

#include <sys/types.h>

namespace platform {

constexpr off_t SharingByte = off_t{1} << 62;  // held by whoever has the file open
constexpr off_t GateByte = SharingByte + 1;    // passed by whoever wants to work in it
constexpr off_t WorkingByte = GateByte + 1;    // held by whoever does

// Tries once. `type`: F_RDLCK, F_WRLCK or F_UNLCK. 0, or -1 with errno: EAGAIN or EACCES when
// somebody else holds one of the bytes.
int LockBytes(int fd, off_t first, off_t count, short type);

}  // namespace platform
