// Processes that are started, the desktop (a script that stands in for it), and dates.
#include <sys/wait.h>
#include <unistd.h>

#include "kb/folderfixture.h"
#include "kvorlib/filehelpers.h"
#include "kvorlib/messages.h"
#include "platform/fdio.h"

namespace {

class Processes : public InFolder {
 protected:
  // Runs a script with the folder as $1.
  bool Shell(const std::string& script, CRPROCMODE mode) const {
    std::u16string msg = u"left alone";
    const std::string line = "sh -c \"" + script + "\" - \"" + folder.Path() + "\"";
    return CreateProc(kb::WidePath(line).c_str(), mode, msg) && msg == u"left alone";
  }
  bool Appears(const std::string& name) const {
    for (int i = 0; i < 500 && !Exists(name); ++i) usleep(20'000);
    return Exists(name);
  }
};

TEST_F(Processes, AreWaitedForInheritNoFilesAndKeepTheirExitCodeToThemselves) {
  const platform::FileNumber file(platform::OpenToOverwrite(Path("open")));
  const platform::FileNumber inherited(dup2(file.Get(), 77));
  ASSERT_EQ(dup2(file.Get(), STDIN_FILENO), STDIN_FILENO);
  for (const auto mode : {CRPROC_HIDDEN, CRPROC_WAIT, static_cast<CRPROCMODE>(9)}) {
    EXPECT_TRUE(
        Shell("sleep 0.1; test -e /proc/$$/fd/77 || readlink /proc/$$/fd/0 > $1/in; exit 3", mode));
    EXPECT_EQ(Content("in"), (mode == CRPROC_HIDDEN ? "/dev/null" : Path("open")) + "\n");
    std::filesystem::remove(Path("in"));
  }
}

TEST_F(Processes, NotWaitedForRunOnAndLeaveNothingToCollect) {
  ASSERT_TRUE(Shell("until test -e $1/go; do sleep 0.02; done; mkdir $1/done", CRPROC_NOWAIT));
  EXPECT_FALSE(Exists("done"));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "it is nobody's child here";
  Write("go");
  EXPECT_TRUE(Appears("done"));
}

TEST_F(Processes, ThatCannotStartAreToldByCommandLineAndError) {
  for (const auto mode : {CRPROC_HIDDEN, CRPROC_NOWAIT, CRPROC_WAIT})
    for (const std::u16string line : {u"/no/прог a  b", u""}) {
      std::u16string msg;
      EXPECT_FALSE(CreateProc(line.c_str(), mode, msg));
      EXPECT_EQ(msg, u"Cannot start " + line + u"; error 2");
    }
}

TEST_F(Processes, OpenOnTheDesktopWhatIsThereOrIsAnAddressElseTheUserIsTold) {
  static int told = 0;
  SetUserCallback([](const std::u16string& text) { told += text == u"Shell open error"; });
  const std::string path = std::getenv("PATH");
  setenv("PATH", folder.Path().c_str(), 1);
  EXPECT_FALSE(ShellOpen(u"http://a")) << "there is no desktop";
  Write("xdg-open", "#!/bin/sh\n/bin/mkdir \"$0 ${1##*/}\"");
  std::filesystem::permissions(Path("xdg-open"), std::filesystem::perms::owner_all);
  EXPECT_TRUE(ShellOpen(u"mail:b c") && Appears("xdg-open mail:b c"));
  EXPECT_TRUE(ShellOpen(Wide("./xdg-open")) && Appears("xdg-open xdg-open"));
  EXPECT_FALSE(ShellOpen(u"no file"));
  EXPECT_EQ(told, 2);
  SetUserCallback(nullptr);
  setenv("PATH", path.c_str(), 1);
}

TEST(Dates, AreOrderedFieldByFieldFromTheYearDown) {
  const std::u16string ascending[] = {u"",
                                      u"31 12 2001 23:59:59",
                                      u"30 01 2002 23:59:59",
                                      u"01 02 2002 23:59:59",
                                      u"02-02-2002 23.58.59",
                                      u"02 02 2002 23:59:58",
                                      u"02 02 2002 23:59:59"};
  for (const auto& a : ascending)
    for (const auto& b : ascending) EXPECT_EQ(DateCompare(a, b), &a < &b ? -1 : &a > &b ? 1 : 0);
  EXPECT_THAT(
      [&] { DateCompare(ascending[1], u"02 02 2002 23:59:5"); },
      testing::Throws<const char16_t*>(testing::Eq(std::u16string(u"Ошибочный формат даты"))));
}

TEST(Dates, AreStampedInLocalTimeUpToNinetyNineUnits) {
  setenv("TZ", "XYZ-14:30", 1);
  EXPECT_EQ(FormCurrentDate(u"%Z%z 🗄\xD800"), u"XYZ+1430 🗄\xD800");
  unsetenv("TZ");
  EXPECT_LE(DateCompare(FormCurrentDate(nullptr), FormCurrentDate(u"%d %m %Y %H:%M:%S")), 0);
  std::u16string pairs;
  while (pairs.size() < 98) pairs += u"🗄";
  EXPECT_EQ(FormCurrentDate((pairs + u"-").c_str()), pairs + u"-");
  EXPECT_EQ(FormCurrentDate((pairs + u"--").c_str()), u"");
}

}  // namespace
