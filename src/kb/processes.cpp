// Starting processes, and the user's desktop.
#include "kb/pathtext.h"
#include "kvorlib/filehelpers.h"
#include "kvorlib/messages.h"
#include "platform/process.h"

namespace {

platform::ProcessMode ModeOf(CRPROCMODE mode) {
  switch (mode) {
    case CRPROC_HIDDEN:
      return platform::ProcessMode::Hidden;
    case CRPROC_NOWAIT:
      return platform::ProcessMode::Started;
    default:
      return platform::ProcessMode::Waited;
  }
}

std::u16string Decimal(int number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace

bool CreateProc(const char16_t* commandLine, CRPROCMODE mode, std::u16string& msg) {
  const int error = platform::StartProcess(kb::NarrowPath(commandLine), ModeOf(mode));
  if (error == 0) return true;
  msg = std::u16string(u"Cannot start ") + commandLine + u"; error " + Decimal(error);
  return false;
}

bool ShellOpen(const std::u16string& path) {
  if (platform::OpenOnDesktop(kb::NarrowPath(path))) return true;
  UserMessage(u"Shell open error");
  return false;
}
