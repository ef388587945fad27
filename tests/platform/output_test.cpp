// The console, and streams by name.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/child.h"
#include "platform/console.h"
#include "platform/posix/descriptor.h"
#include "platform/stdiofile.h"
#include "support/tempfolder.h"

namespace platform {
namespace {

TEST(Console, TerminalGetsUtf8) {
  const Descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || grantpt(terminal.Get()) != 0 || unlockpt(terminal.Get()) != 0) {
    GTEST_SKIP() << "no pseudo-terminals here";
  }
  // Kept open, so that what the child wrote outlives it.
  const Descriptor kept(open(ptsname(terminal.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(kept);
  const Child child([&](const auto& say) {
    dup2(kept.Get(), STDOUT_FILENO);
    WriteConsole(u"Жёлтый 🗒 " + std::u16string(1, 0xDC00) + std::u16string(1, 0xD83D));
    say('w');
  });
  EXPECT_EQ(child.Hear(), 'w');
  char bytes[100];
  const ssize_t n = read(terminal.Get(), bytes, sizeof bytes);
  ASSERT_GT(n, 0);
  EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(n)), "Жёлтый 🗒 \uFFFD\uFFFD");
}

TEST(Stream, OpensByUtf8NameAndStaysInThisProcess) {
  const TempFolder folder;
  const std::string path = folder.Path("Имя 🗒");
  EXPECT_EQ(OpenStream(path, "rb"), nullptr);
  EXPECT_EQ(errno, ENOENT);
  const Stream made = OpenStream(path, "a+b");
  ASSERT_TRUE(made);
  EXPECT_TRUE(fcntl(fileno(made.get()), F_GETFD) & FD_CLOEXEC);
  EXPECT_TRUE(OpenStream(path, "rb"));
}

}  // namespace
}  // namespace platform
