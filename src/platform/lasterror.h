// The last error code of the system. A port owes exactly what this header says.
#pragma once

namespace platform {

// The code that the calling thread's latest failed system call left; 0 if none did. Calls that
// succeed need not reset it.
int LastSystemError();

}  // namespace platform
