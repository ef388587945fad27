// Starting processes, and handing things to the user's desktop. A port owes exactly what this
// header says.
#pragma once

#include <string>

namespace platform {

enum class ProcessMode {
  Hidden,   // no window, no terminal: the standard streams lead nowhere; waited for
  Waited,   // waited for, without a limit
  Started,  // not waited for; nothing is left to be collected when it ends
};

// Starts a command line (UTF-8): the program's name, searched for where programs lie, and its
// arguments, parted by blanks and tabs outside double quotes. Backslashes in front of a quote are
// halved, and an odd one makes the quote part of the argument; a quote that is not closed reaches
// to the end. Of the open files the standard streams alone are inherited.
// 0, or the `errno` value that says why it did not start. How it ended is not told.
int StartProcess(const std::string& commandLine, ProcessMode mode);

// Opens a file, folder or address (UTF-8; "scheme:…") with the user's program for it, without
// waiting. False if there is no such file, or nobody who knows the user's programs; what becomes of
// it afterwards is not told.
bool OpenOnDesktop(const std::string& path);

}  // namespace platform
