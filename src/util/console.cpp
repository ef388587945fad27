// The console of the process.

#include "util/console.h"

#include <iostream>
#include <utility>

#include "platform/console.h"

SetupUTF8WindowsConsole::SetupUTF8WindowsConsole(std::ostream& stream, Writer console)
    : output(stream) {
  if (!console) return;
  buffer.write = std::move(console);
  former = output.rdbuf(&buffer);
}

SetupUTF8WindowsConsole::~SetupUTF8WindowsConsole() {
  if (former != nullptr) output.rdbuf(former);
}

namespace {

const SetupUTF8WindowsConsole standardConsole(std::cout, platform::ConsoleTakesWideTextOnly()
                                                             ? &platform::WriteConsole
                                                             : SetupUTF8WindowsConsole::Writer());

}  // namespace
