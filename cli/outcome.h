// How a command ends: its exit code, and the failure that ends it early.
#pragma once

#include <stdexcept>
#include <string>

namespace kvor {

// The exit codes of the tool. docs/kvor.md and --help tell the same.
enum ExitCode : int {
  Fine = 0,      // done, and the answer is yes
  Negative = 1,  // done, and the answer is no: a key is absent, a record was refused, damage found
  Failed = 2,    // not done: a file, the input or the output failed, or the command line is wrong
};

// The command cannot go on. Becomes the line "kvor: ABOUT: WORDS" and the code Failed.
class Failure : public std::runtime_error {
 public:
  Failure(std::string failedFile, const std::string& words)
      : std::runtime_error(words), about(std::move(failedFile)) {}
  const std::string& About() const { return about; }

 private:
  std::string about;
};

// The reader of standard output has gone: nobody is left to be told, so the tool ends without
// words.
class OutputClosed {};

// "kvor: ABOUT: WORDS" on standard error.
void Complain(const std::string& about, const std::string& words);

}  // namespace kvor
