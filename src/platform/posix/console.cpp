// The console on POSIX systems: a terminal that takes UTF-8.
#include "platform/console.h"

#include <unistd.h>
#include <utf8.h>

#include <iterator>

#include "platform/posix/descriptor.h"

namespace platform {
namespace {

bool IsLead(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsTrail(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

std::string ToUtf8(const std::u16string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = text[i];
    if (IsLead(text[i]) && i + 1 < text.size() && IsTrail(text[i + 1])) {
      point = 0x10000 + ((point & 0x3FF) << 10) + (text[++i] & 0x3FF);
    } else if (IsLead(text[i]) || IsTrail(text[i])) {
      point = 0xFFFD;
    }
    utf8::append(point, std::back_inserter(bytes));
  }
  return bytes;
}

}  // namespace

bool OutputIsConsole() { return isatty(STDOUT_FILENO) == 1; }

bool ConsoleTakesWideTextOnly() { return false; }

void WriteConsole(const std::u16string& text) {
  const std::string bytes = ToUtf8(text);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t put = Uninterrupted(
        [&] { return write(STDOUT_FILENO, bytes.data() + done, bytes.size() - done); });
    if (put <= 0) return;
    done += static_cast<std::size_t>(put);
  }
}

}  // namespace platform
