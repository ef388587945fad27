// The last error code on POSIX systems.
#include "platform/lasterror.h"

#include <cerrno>

namespace platform {

int LastSystemError() { return errno; }

}  // namespace platform
