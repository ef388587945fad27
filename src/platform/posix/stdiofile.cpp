// Streams of the C library on POSIX systems, where names are bytes already.
#include "platform/stdiofile.h"

#include "platform/posix/descriptor.h"

namespace platform {

Stream OpenStream(const std::string& path, const std::string& mode) {
  // The letter e keeps the handle from started processes.
  Stream stream(std::fopen(path.c_str(), (mode + 'e').c_str()));
  if (!stream || fileno(stream.get()) > STDERR_FILENO) return stream;
  const int number = fcntl(fileno(stream.get()), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  stream.reset(number < 0 ? nullptr : fdopen(number, mode.c_str()));
  if (!stream && number >= 0) close(number);
  return stream;
}

int NumberOf(std::FILE* stream) { return fileno(stream); }

}  // namespace platform
