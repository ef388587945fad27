// The console on POSIX systems: a terminal that takes UTF-8.
#include "platform/console.h"

#include <unistd.h>

#include "platform/codepage.h"
#include "platform/posix/descriptor.h"

namespace platform {

bool ConsoleTakesWideTextOnly() { return false; }

void WriteConsole(const std::u16string& text) {
  std::string bytes;
  EncodeCodePage(kUtf8CodePage, text, 3 * text.size(), bytes);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t put = Uninterrupted(
        [&] { return write(STDOUT_FILENO, bytes.data() + done, bytes.size() - done); });
    if (put <= 0) return;
    done += static_cast<std::size_t>(put);
  }
}

}  // namespace platform
