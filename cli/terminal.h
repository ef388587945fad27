// What the tool asks of the system around it: terminals and signals. One source a platform.
#pragma once

namespace kvor {

bool StderrIsTerminal();
bool StdoutIsTerminal();

// Whether standard input has something to read, its end among it, within a second. False, too, when
// an interrupt came.
bool InputComesSoon();

// Lets a write to a pipe without a reader fail instead of ending the process.
void LetClosedPipesFail();

// Of the standard streams those that the tool was started without fail, and no file that is opened
// later comes in their place, to be written full of complaints.
void LetClosedStreamsFail();

// While one lives, an interrupt (Ctrl-C, a polite kill) ends the tool at the next safe point: at
// once while it waits for input, otherwise after the operation in hand. So a store file is never
// left in the middle of an update. There is one at a time.
class InterruptScope {
 public:
  InterruptScope();
  ~InterruptScope();
  InterruptScope(const InterruptScope&) = delete;
  InterruptScope& operator=(const InterruptScope&) = delete;

  static bool Requested();
  // Around waiting for input, with nothing half done.
  static void Waiting(bool waiting);
};

}  // namespace kvor
