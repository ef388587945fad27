// The console behind the standard output. A port owes exactly what this header says.
#pragma once

#include <string>

namespace platform {

// Whether the standard output goes to a console that shows UTF-8 only when it is handed over as
// wide text. False where terminals take UTF-8 as it is (POSIX): the standard stream serves there.
bool ConsoleTakesWideTextOnly();

// Shows wide text on that console at once, past every stream. What cannot be shown is lost.
void WriteConsole(const std::u16string& text);

}  // namespace platform
