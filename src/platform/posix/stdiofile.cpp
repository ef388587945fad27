// Streams of the C library on POSIX systems, where names are bytes already.
#include "platform/stdiofile.h"

namespace platform {

Stream OpenStream(const std::string& path, const std::string& mode) {
  // The letter e keeps the handle from started processes.
  return Stream(std::fopen(path.c_str(), (mode + 'e').c_str()));
}

int NumberOf(std::FILE* stream) { return fileno(stream); }

}  // namespace platform
